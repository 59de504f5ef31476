#include "widgets/emptylist.h"

#include <QAbstractItemView>

void emptyList::hidesScrollBar(QAbstractItemView* view)
{
    const QAbstractItemModel* model = view->model();
    const auto update = [view, model] {
        view->setHorizontalScrollBarPolicy(model->rowCount() == 0 ? Qt::ScrollBarAlwaysOff
                                                                  : Qt::ScrollBarAsNeeded);
    };
    QObject::connect(model, &QAbstractItemModel::rowsInserted, view, update);
    QObject::connect(model, &QAbstractItemModel::rowsRemoved, view, update);
    QObject::connect(model, &QAbstractItemModel::modelReset, view, update);
    update();
}
