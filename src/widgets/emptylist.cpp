#include "widgets/emptylist.h"

#include <QAbstractItemView>

void emptyList::hidesScrollBar(QAbstractItemView* view)
{
    // The model resets when the view deletes it, which is no view any more by then.
    const auto update = [object = static_cast<QObject*>(view)] {
        if (auto* const remaining = qobject_cast<QAbstractItemView*>(object)) {
            const bool isEmpty = remaining->model()->rowCount() == 0;
            remaining->setHorizontalScrollBarPolicy(isEmpty ? Qt::ScrollBarAlwaysOff
                                                            : Qt::ScrollBarAsNeeded);
        }
    };
    const QAbstractItemModel* model = view->model();
    QObject::connect(model, &QAbstractItemModel::rowsInserted, view, update);
    QObject::connect(model, &QAbstractItemModel::rowsRemoved, view, update);
    QObject::connect(model, &QAbstractItemModel::modelReset, view, update);
    update();
}
