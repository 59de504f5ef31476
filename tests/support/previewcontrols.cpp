#include "support/previewcontrols.h"

#include <QStyle>
#include <QStyleOptionSlider>
#include <QTest>
#include <QUrl>
#include <QWheelEvent>

namespace {

constexpr QSize kIconSize(22, 22);
constexpr int kHangGuardMs = 60000;

QImage iconImage(const QIcon& icon)
{
    return icon.pixmap(kIconSize).toImage();
}

} // namespace

PreviewControls::PreviewControls(const WindowFixture& fixture)
    : player(fixture.find<QMediaPlayer>(""))
    , playButton(fixture.find<QPushButton>("playButton"))
    , stopButton(fixture.find<QPushButton>("stopButton"))
    , slider(fixture.find<QSlider>("audioSlider"))
    , label(fixture.find<QLabel>("audioDurationLabel"))
    , tree(fixture.find<QTreeWidget>("treeWidget"))
{
}

QTreeWidgetItem* PreviewControls::list(const QString& reference,
                                       const QStringList& duplicates) const
{
    auto* row = new QTreeWidgetItem(tree, {reference, QString()});
    for (const QString& path : duplicates) {
        // Owned by the row above it.
        new QTreeWidgetItem(row, {path, QStringLiteral("87%")});
    }
    row->setExpanded(true);
    return row;
}

void PreviewControls::doubleClick(QTreeWidgetItem* row, int column) const
{
    driver::doubleClick(tree, row, column);
}

bool PreviewControls::play(const QString& path) const
{
    doubleClick(list(path));
    return plays(0) && loadedPath() == path;
}

bool PreviewControls::plays(qint64 ms) const
{
    const auto beyond = [&] {
        return player->position() > ms && (slider->isSliderDown() || slider->value() > ms) &&
               player->playbackState() == QMediaPlayer::PlayingState;
    };
    if (QTest::qWaitFor(beyond, kHangGuardMs)) {
        return true;
    }
    qWarning() << "does not play:" << player->source() << player->playbackState()
               << player->mediaStatus() << player->errorString() << "at" << player->position()
               << "of" << player->duration() << "ms, slider at" << slider->value();
    return false;
}

bool PreviewControls::takeHandle()
{
    m_grip = handle().center();
    QTest::mousePress(slider, Qt::LeftButton, {}, m_grip);
    return slider->isSliderDown();
}

void PreviewControls::drawHandleTo(double fraction)
{
    m_grip.setX(static_cast<int>(slider->width() * fraction));
    QTest::mouseMove(slider, m_grip);
}

void PreviewControls::releaseHandle()
{
    QTest::mouseRelease(slider, Qt::LeftButton, {}, m_grip);
}

void PreviewControls::clickSlider(double fraction) const
{
    const QPoint place(static_cast<int>(slider->width() * fraction), slider->height() / 2);
    QTest::mouseClick(slider, Qt::LeftButton, {}, place);
}

void PreviewControls::turnWheel(int eighths) const
{
    const QPoint place = slider->rect().center();
    QWheelEvent event(place, slider->mapToGlobal(place), QPoint(), QPoint(0, eighths), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(slider, &event);
}

double PreviewControls::handleAt() const
{
    return QRectF(handle()).center().x() / slider->width();
}

bool PreviewControls::shows(const char* name) const
{
    const QIcon expected(QStringLiteral(":/icons/%1.png").arg(QLatin1StringView(name)));
    return !expected.isNull() && iconImage(playButton->icon()) == iconImage(expected);
}

bool PreviewControls::hasButtons(const char* iconName, bool stopEnabled) const
{
    return shows(iconName) && playButton->iconSize() == kIconSize &&
           stopButton->isEnabled() == stopEnabled;
}

QString PreviewControls::loadedPath() const
{
    return player->source().toLocalFile();
}

QRect PreviewControls::handle() const
{
    QStyleOptionSlider option;
    option.initFrom(slider);
    option.orientation = slider->orientation();
    option.minimum = slider->minimum();
    option.maximum = slider->maximum();
    option.sliderPosition = slider->sliderPosition();
    option.sliderValue = slider->value();
    option.upsideDown = option.direction == Qt::RightToLeft;
    option.direction = Qt::LeftToRight;
    return slider->style()->subControlRect(QStyle::CC_Slider, &option, QStyle::SC_SliderHandle,
                                           slider);
}
