#pragma once

// Stands in for the toolkit's widgets, player and dialogs, so that the window's own code can be
// compiled and run without them: they remember what the run asks for and draw nothing.

#include <QHash>
#include <QList>
#include <QObject>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariant>

class QWidget : public QObject
{
    Q_OBJECT
public:
    explicit QWidget(QObject* parent = nullptr)
        : QObject(parent)
    {
    }
    void setVisible(bool visible)
    {
        m_visible = visible;
    }
    bool isVisible() const
    {
        return m_visible;
    }
    void show()
    {
        m_visible = true;
    }
    void hide()
    {
        m_visible = false;
    }
    void setEnabled(bool /*enabled*/) {}
    void setWindowTitle(const QString& /*title*/) {}
    void activateWindow() {}
    bool close()
    {
        hide();
        return true;
    }

private:
    bool m_visible = true;
};

class QCloseEvent
{
public:
    void accept() {}
};

class QMainWindow : public QWidget
{
    Q_OBJECT
public:
    using QWidget::QWidget;

protected:
    virtual void closeEvent(QCloseEvent* /*event*/) {}
};

class QIcon
{
public:
    enum Mode { Normal };
    enum State { Off };
    void addFile(const QString& /*name*/, const QSize& /*size*/, Mode /*mode*/, State /*state*/) {}
};

class QKeySequence
{
public:
    enum StandardKey { New, Preferences, Quit, HelpContents };
    QKeySequence(QKeyCombination /*keys*/) {}
    QKeySequence(Qt::Key /*key*/) {}
    static QList<QKeySequence> keyBindings(StandardKey /*key*/)
    {
        return {};
    }
};

class QAction : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;
    void setShortcuts(const QList<QKeySequence>& /*keys*/) {}
    void setAutoRepeat(bool /*repeat*/) {}
Q_SIGNALS:
    void triggered(bool checked);
};

class QPushButton : public QWidget
{
public:
    using QWidget::QWidget;
    void click() {}
};

class QLabel : public QWidget
{
public:
    using QWidget::QWidget;
    void setText(const QString& text)
    {
        m_text = text;
    }
    QString text() const
    {
        return m_text;
    }

private:
    QString m_text;
};

class QStatusBar : public QWidget
{
public:
    using QWidget::QWidget;
    void showMessage(const QString& /*message*/) {}
    void clearMessage() {}
};

class QProgressBar : public QWidget
{
public:
    using QWidget::QWidget;
    void setValue(int value)
    {
        m_value = value;
    }
    int value() const
    {
        return m_value;
    }
    void setTextVisible(bool /*visible*/) {}

    void setRange(int /*minimum*/, int /*maximum*/) {}

private:
    int m_value = 0;
};

class QAbstractSlider : public QWidget
{
public:
    using QWidget::QWidget;
    enum SliderAction { SliderMove };
};

class QSlider : public QAbstractSlider
{
    Q_OBJECT
public:
    using QAbstractSlider::QAbstractSlider;
    bool isSliderDown() const
    {
        return false;
    }
    int sliderPosition() const
    {
        return 0;
    }
    void setValue(int /*value*/) {}
    void setRange(int /*minimum*/, int /*maximum*/) {}
Q_SIGNALS:
    void sliderMoved(int position);
    void actionTriggered(int action);
};

class QComboBox : public QWidget
{
public:
    using QWidget::QWidget;
    void setCurrentIndex(int index)
    {
        m_index = index;
    }
    int currentIndex() const
    {
        return m_index;
    }

private:
    int m_index = 0;
};

class QLineEdit : public QLabel
{
public:
    using QLabel::QLabel;
};

class QDialog : public QWidget
{
    Q_OBJECT
public:
    explicit QDialog(QWidget* parent = nullptr)
        : QWidget(parent)
    {
        last = this;
    }
    /** The dialog that was built last. */
    static inline QDialog* last = nullptr;
    void accept()
    {
        hide();
        Q_EMIT finished(1);
    }
    void reject()
    {
        hide();
        Q_EMIT finished(0);
    }
Q_SIGNALS:
    void finished(int result);
};

class QListWidgetItem
{
public:
    explicit QListWidgetItem(QString text)
        : m_text(std::move(text))
    {
    }
    QString text() const
    {
        return m_text;
    }
    void setCheckState(Qt::CheckState state)
    {
        m_state = state;
    }
    Qt::CheckState checkState() const
    {
        return m_state;
    }
    void setToolTip(const QString& /*text*/) {}
    void setData(int role, const QVariant& value)
    {
        m_data.insert(role, value);
    }
    QVariant data(int role) const
    {
        return m_data.value(role);
    }

private:
    QString m_text;
    Qt::CheckState m_state = Qt::Unchecked;
    QHash<int, QVariant> m_data;
};

class QListWidget : public QWidget
{
public:
    using QWidget::QWidget;
    ~QListWidget() override
    {
        clear();
    }
    void addItem(const QString& text)
    {
        addItem(new QListWidgetItem(text));
    }
    void addItem(QListWidgetItem* item)
    {
        m_items.append(item);
    }
    void setItemDelegate(QObject* /*delegate*/) {}
    void clear()
    {
        qDeleteAll(m_items);
        m_items.clear();
    }
    int count() const
    {
        return static_cast<int>(m_items.size());
    }
    QListWidgetItem* item(int row) const
    {
        return m_items.value(row);
    }
    int currentRow() const
    {
        return -1;
    }
    QListWidgetItem* takeItem(int row)
    {
        return row < 0 ? nullptr : m_items.takeAt(row);
    }

private:
    QList<QListWidgetItem*> m_items;
};

class QTreeWidgetItem
{
public:
    explicit QTreeWidgetItem(QStringList cells)
        : m_cells(std::move(cells))
    {
    }
    ~QTreeWidgetItem()
    {
        qDeleteAll(m_children);
    }
    Q_DISABLE_COPY_MOVE(QTreeWidgetItem)
    void addChild(QTreeWidgetItem* child)
    {
        m_children.append(child);
    }
    QString text(int column) const
    {
        return m_cells.value(column);
    }
    const QList<QTreeWidgetItem*>& children() const
    {
        return m_children;
    }

private:
    QStringList m_cells;
    QList<QTreeWidgetItem*> m_children;
};

class QHeaderView : public QWidget
{
public:
    using QWidget::QWidget;
    int count() const
    {
        return 1;
    }
    int sectionSize(int /*column*/) const
    {
        return 0;
    }
    int sectionSizeHint(int /*column*/) const
    {
        return 0;
    }
    void resizeSection(int /*column*/, int /*width*/) {}
};

class QTreeWidget : public QWidget
{
public:
    using QWidget::QWidget;
    ~QTreeWidget() override
    {
        clear();
    }
    QHeaderView* header()
    {
        return &m_header;
    }
    void setItemDelegate(QObject* /*delegate*/) {}
    QTreeWidgetItem* currentItem() const
    {
        return nullptr;
    }
    void clear()
    {
        qDeleteAll(m_rows);
        m_rows.clear();
    }
    void insertTopLevelItems(int /*row*/, const QList<QTreeWidgetItem*>& rows)
    {
        m_rows = rows + m_rows;
    }
    void expandAll() {}
    const QList<QTreeWidgetItem*>& rows() const
    {
        return m_rows;
    }

private:
    QHeaderView m_header;
    QList<QTreeWidgetItem*> m_rows;
};

class QShortcut : public QObject
{
    Q_OBJECT
public:
    QShortcut(Qt::Key /*key*/, QObject* parent)
        : QObject(parent)
    {
    }
    void setContext(Qt::ShortcutContext /*context*/) {}
    void setAutoRepeat(bool /*repeat*/) {}
Q_SIGNALS:
    void activated();
};

class QFileDialog
{
public:
    enum Option { ShowDirsOnly = 1, DontResolveSymlinks = 2 };
    static QString getExistingDirectory(QWidget* /*parent*/, const QString& /*caption*/,
                                        const QString& /*folder*/, int /*options*/)
    {
        return {};
    }
};

class QAudioOutput : public QObject
{
public:
    using QObject::QObject;
};

class QMediaPlayer : public QObject
{
    Q_OBJECT
public:
    enum PlaybackState { StoppedState, PlayingState, PausedState };
    enum MediaStatus { NoMedia };
    using QObject::QObject;
    void setAudioOutput(QAudioOutput* /*output*/) {}
    qint64 duration() const
    {
        return 0;
    }
    void stop() {}
    void setSource(const QUrl& /*source*/) {}
Q_SIGNALS:
    void positionChanged(qint64 position);
    void durationChanged(qint64 duration);
    void playbackStateChanged(QMediaPlayer::PlaybackState state);
    void mediaStatusChanged(QMediaPlayer::MediaStatus status);
};
