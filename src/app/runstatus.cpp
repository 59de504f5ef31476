#include "app/runstatus.h"

#include "app/remainingtime.h"
#include "widgets/contextmenu.h"
#include "widgets/desktop.h"
#include "widgets/elidedlabel.h"
#include "widgets/plaintooltip.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QContextMenuEvent>
#include <QElapsedTimer>
#include <QHelpEvent>
#include <QLocale>
#include <QMenu>
#include <QStatusBar>
#include <QToolTip>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int kHighestThreshold = 100;

QString number(qint64 value)
{
    return QLocale().toString(value);
}

RunStatus::Clock clockFromNow()
{
    QElapsedTimer timer;
    timer.start();
    return [timer] { return timer.elapsed(); };
}

void appendWithoutFingerprint(QStringList& paths, const QList<FingerprintRecord>& records)
{
    for (const FingerprintRecord& record : records) {
        if (std::get<1>(record).isEmpty()) {
            paths.append(std::get<0>(record));
        }
    }
}

QString asSentence(const QString& text)
{
    if (text.isEmpty()) {
        return {};
    }
    return text.endsWith(u'.') ? text + u' ' : text + u". "_s;
}

#if QT_VERSION < QT_VERSION_CHECK(6, 8, 0)
/** Screen readers read a notification aloud when it is shown, which they do with no other label. */
class NotificationInterface : public QAccessibleWidget
{
public:
    explicit NotificationInterface(ElidedLabel* label)
        : QAccessibleWidget(label, QAccessible::Notification)
        , m_label(label)
    {
    }

    QString text(QAccessible::Text kind) const override
    {
        const QString given = QAccessibleWidget::text(kind);
        return kind == QAccessible::Name && given.isEmpty() ? m_label->text() : given;
    }

private:
    ElidedLabel* m_label;
};

QAccessibleInterface* newNotification(const QString& /*className*/, QObject* object)
{
    auto* label = qobject_cast<ElidedLabel*>(object);
    return label != nullptr ? new NotificationInterface(label) : nullptr;
}
#endif

ElidedLabel* newLabel(const QString& name, const QString& description)
{
#if QT_VERSION < QT_VERSION_CHECK(6, 8, 0)
    // Before the first label, whose interface is made once.
    QAccessible::installFactory(&newNotification);
#endif
    auto* label = new ElidedLabel;
    label->setObjectName(name);
    label->setAccessibleDescription(description);
    return label;
}

} // namespace

RunStatus::RunStatus(QStatusBar* bar, QObject* parent)
    : QObject(parent)
    , m_label(newLabel(u"runStatusLabel"_s, tr("What the search does, and what came of it")))
    , m_warning(newLabel(u"thresholdLabel"_s, tr("Why the search finds everything or nothing")))
    , m_clock(clockFromNow())
{
    bar->addWidget(m_label, 1);
    bar->addPermanentWidget(m_warning);
    m_label->installEventFilter(this);
    contextMenu::opensByKey(m_label);
    m_late.setSingleShot(true);
    connect(this, &RunStatus::announced, this, &RunStatus::announce);
    connect(&m_late, &QTimer::timeout, this, &RunStatus::showLatest);
    clear();
}

void RunStatus::setClock(const Clock& clock)
{
    m_clock = clock;
}

void RunStatus::listing()
{
    begin(Stage::Listing);
    m_label->setText(tr("Looking for audio files"));
}

void RunStatus::reading(qint64 done, qint64 total)
{
    showProgress(Stage::Reading, done, total);
}

void RunStatus::filesRead(const QList<FingerprintRecord>& first,
                          const QList<FingerprintRecord>& second)
{
    m_filesRead = first.size() + second.size();
    m_withoutFingerprint.clear();
    appendWithoutFingerprint(m_withoutFingerprint, first);
    appendWithoutFingerprint(m_withoutFingerprint, second);
    // The records come in the order in which the workers were done.
    m_withoutFingerprint.sort();
}

void RunStatus::comparing(qint64 done, qint64 total)
{
    showProgress(Stage::Comparing, done, total);
}

void RunStatus::finish(const QString& result)
{
    begin(Stage::Ended);
    m_label->setText(endText());
    // Reached by Tab only while it has a menu.
    m_label->setFocusPolicy(m_withoutFingerprint.isEmpty() ? Qt::NoFocus : Qt::TabFocus);
    Q_EMIT announced(
        (asSentence(result) + asSentence(m_label->text()) + asSentence(m_warning->text()))
            .trimmed());
}

void RunStatus::warnOfThreshold(int threshold)
{
    QString text;
    if (threshold <= 0) {
        text = tr("Threshold %1: every file counts as a duplicate of every other");
    } else if (threshold > kHighestThreshold) {
        text = tr("Threshold %1: no file can be similar enough");
    }
    m_warning->setText(text.isEmpty() ? text : text.arg(number(threshold)));
    m_warning->setVisible(!text.isEmpty());
}

void RunStatus::clear()
{
    begin(Stage::None);
    m_filesRead = 0;
    m_withoutFingerprint.clear();
    m_label->setFocusPolicy(Qt::NoFocus);
    m_label->clear();
    m_warning->clear();
    m_warning->hide();
}

bool RunStatus::eventFilter(QObject* /*watched*/, QEvent* event)
{
    if (event->type() == QEvent::ToolTip) {
        return showFiles(static_cast<QHelpEvent*>(event));
    }
    if (event->type() == QEvent::ContextMenu) {
        return openMenu(static_cast<QContextMenuEvent*>(event));
    }
    return false;
}

void RunStatus::begin(Stage stage)
{
    m_late.stop();
    m_label->setAccessibleName({});
    m_stage = stage;
    m_stageStart = m_clock();
    m_lastShown.reset();
    m_minutesShown.reset();
}

void RunStatus::showProgress(Stage stage, qint64 done, qint64 total)
{
    if (m_stage == Stage::None || m_stage > stage) {
        return;
    }
    if (m_stage != stage) {
        begin(stage);
    }
    m_done = done;
    m_total = total;
    const qint64 sinceShown = m_lastShown ? m_clock() - *m_lastShown : kIntervalMs;
    if (sinceShown >= kIntervalMs) {
        showLatest();
    } else if (!m_late.isActive()) {
        m_late.start(static_cast<int>(kIntervalMs - sinceShown));
    }
}

void RunStatus::showLatest()
{
    m_late.stop();
    const qint64 now = m_clock();
    m_lastShown = now;
    const auto remainingMs = remainingTime::estimateMs(now - m_stageStart, m_done, m_total);
    if (remainingMs) {
        m_minutesShown = remainingTime::steadyMinutes(*remainingMs, m_minutesShown);
    }
    const QString text = progressText();
    if (text != m_label->text()) {
        m_label->setText(text);
    }
}

QString RunStatus::progressText() const
{
    QString text = tr("Comparing");
    if (m_stage == Stage::Reading) {
        text = tr("Reading %1 of %2 files").arg(number(m_done), number(m_total));
    }
    return m_minutesShown ? text + u", "_s + remainingTime::text(*m_minutesShown) : text;
}

QString RunStatus::endText() const
{
    if (m_filesRead == 0) {
        return tr("No files read");
    }
    const qsizetype failed = m_withoutFingerprint.size();
    if (m_filesRead == 1) {
        return failed == 0 ? tr("1 file read") : tr("1 file read, it gave no fingerprint");
    }
    const QString read = tr("%1 files read").arg(number(m_filesRead));
    return failed == 0 ? read : read + tr(", %1 of them gave no fingerprint").arg(number(failed));
}

/** False where there is no file to name, so that the label may show its own text. */
bool RunStatus::showFiles(const QHelpEvent* event)
{
    if (m_stage != Stage::Ended || m_withoutFingerprint.isEmpty()) {
        return false;
    }
    QStringList lines = m_withoutFingerprint.mid(0, kMostNamed);
    const qsizetype others = m_withoutFingerprint.size() - lines.size();
    if (others > 0) {
        lines.append(tr("and %1 more").arg(number(others)));
    }
    QToolTip::showText(event->globalPos(), plainToolTip(lines.join(u'\n'), *m_label), m_label);
    return true;
}

bool RunStatus::openMenu(const QContextMenuEvent* event)
{
    if (m_stage != Stage::Ended || m_withoutFingerprint.isEmpty()) {
        return false;
    }
    contextMenu::open(m_label, event->globalPos(), [this](QMenu& menu) {
        connect(menu.addAction(tr("Copy paths")), &QAction::triggered, this,
                [paths = m_withoutFingerprint] { desktop::copyPaths(paths); });
    });
    return true;
}

void RunStatus::announce(const QString& text)
{
    m_label->setAccessibleName(text);
#if QT_VERSION >= QT_VERSION_CHECK(6, 8, 0)
    QAccessibleAnnouncementEvent event(m_label, text);
#else
    // Older versions have no words of an event's own, and pass on no alert.
    QAccessibleEvent event(m_label, QAccessible::ObjectShow);
#endif
    QAccessible::updateAccessibility(&event);
}
