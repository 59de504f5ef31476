#include <QColor>
#include <QDir>
#include <QImage>
#include <QPainter>
#include <QTest>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

const QString appIcon = QStringLiteral("app-icon.png");

// The backgrounds of a usual light and a usual dark desktop style.
const QColor lightBackground(0xff, 0xff, 0xff);
const QColor darkBackground(0x20, 0x23, 0x26);

// The size in the window's own buttons, in pixels.
constexpr int buttonSize = 22;

// WCAG 2.1, success criterion 1.4.11: the contrast of graphics with what is around them.
constexpr double minimumContrast = 3.0;

QStringList iconNames()
{
    return {appIcon,
            QStringLiteral("app-window-icon.png"),
            QStringLiteral("close.png"),
            QStringLiteral("copy.png"),
            QStringLiteral("delete.png"),
            QStringLiteral("find-duplicates.png"),
            QStringLiteral("folder-add.png"),
            QStringLiteral("folder-minus.png"),
            QStringLiteral("help.png"),
            QStringLiteral("move.png"),
            QStringLiteral("new-comparison.png"),
            QStringLiteral("pause.png"),
            QStringLiteral("play.png"),
            QStringLiteral("settings.png"),
            QStringLiteral("stop.png")};
}

QImage loadIcon(const QString& name)
{
    return QImage(QStringLiteral(":/icons/") + name).convertToFormat(QImage::Format_ARGB32);
}

/** Relative luminance as WCAG 2.1 defines it, 0 to 1. */
double luminance(const QColor& color)
{
    const auto linear = [](double channel) {
        return channel <= 0.04045 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) +
           0.0722 * linear(color.blueF());
}

/** Contrast ratio as WCAG 2.1 defines it, 1 to 21. */
double contrast(const QColor& first, const QColor& second)
{
    const auto [darker, lighter] = std::minmax({luminance(first), luminance(second)});
    return (lighter + 0.05) / (darker + 0.05);
}

/**
 * The colours that make the icon's shape: its solid pixels. Of the program's own icon, whose
 * drawing is on a tile, only the tile's rim counts.
 */
QList<QColor> shapeColors(const QString& name, const QImage& image)
{
    const int rim = name == appIcon ? image.width() / 8 : image.width();
    QList<QColor> colors;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const int toEdge = std::min({x, y, image.width() - 1 - x, image.height() - 1 - y});
            const QColor color = image.pixelColor(x, y);
            if (color.alpha() >= 250 && toEdge < rim) {
                colors.append(color);
            }
        }
    }
    return colors;
}

/** The icon as a button shows it, on a plain background. */
QImage shownInButton(const QString& name, const QColor& background)
{
    const QImage icon = loadIcon(name).scaled(buttonSize, buttonSize, Qt::IgnoreAspectRatio,
                                              Qt::SmoothTransformation);
    QImage shown(icon.size(), QImage::Format_RGB32);
    shown.fill(background);
    QPainter(&shown).drawImage(0, 0, icon);
    return shown;
}

/** How many pixels of a button's icon stand out from \a background. */
int pixelsThatStandOut(const QString& name, const QColor& background)
{
    const QImage shown = shownInButton(name, background);
    int count = 0;
    for (int y = 0; y < shown.height(); ++y) {
        for (int x = 0; x < shown.width(); ++x) {
            count += contrast(shown.pixelColor(x, y), background) >= minimumContrast ? 1 : 0;
        }
    }
    return count;
}

/** How many pixels of two icons differ by a quarter of the way from black to white or more. */
int differingPixelsWithoutColor(const QString& first, const QString& second)
{
    const QImage one = shownInButton(first, lightBackground);
    const QImage other = shownInButton(second, lightBackground);
    int count = 0;
    for (int y = 0; y < one.height(); ++y) {
        for (int x = 0; x < one.width(); ++x) {
            count += std::abs(qGray(one.pixel(x, y)) - qGray(other.pixel(x, y))) >= 64 ? 1 : 0;
        }
    }
    return count;
}

} // namespace

class tst_Icons : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void collectionHoldsExactlyTheFifteenIcons();
    void iconsAreSharpAtTwiceTheirLargestUse_data()
    {
        addIconRows();
    }
    void iconsAreSharpAtTwiceTheirLargestUse();
    void iconsStandOutOnLightAndDark_data()
    {
        addIconRows();
    }
    void iconsStandOutOnLightAndDark();
    void iconsAreReadableInAButton_data()
    {
        addIconRows();
    }
    void iconsAreReadableInAButton();
    void iconsAreToldApartWithoutColor();

private:
    static void addIconRows();
};

void tst_Icons::addIconRows()
{
    QTest::addColumn<QString>("name");
    for (const QString& name : iconNames()) {
        QTest::newRow(qPrintable(name)) << name;
    }
}

void tst_Icons::collectionHoldsExactlyTheFifteenIcons()
{
    QCOMPARE(QDir(QStringLiteral(":/icons")).entryList(QDir::Files, QDir::Name), iconNames());
}

void tst_Icons::iconsAreSharpAtTwiceTheirLargestUse()
{
    QFETCH(QString, name);
    const int side = name == appIcon ? 256 : 64;
    QCOMPARE(loadIcon(name).size(), QSize(side, side));
}

void tst_Icons::iconsStandOutOnLightAndDark()
{
    QFETCH(QString, name);
    const QImage image = loadIcon(name);
    const QList<QColor> colors = shapeColors(name, image);
    // A nearly empty picture would pass the comparison below.
    QVERIFY(colors.size() > image.width() * image.height() / 20);
    for (const QColor& color : colors) {
        const double least =
            std::min(contrast(color, lightBackground), contrast(color, darkBackground));
        QVERIFY2(
            least >= minimumContrast,
            qPrintable(QStringLiteral("%1 has a contrast of %2").arg(color.name()).arg(least)));
    }
}

void tst_Icons::iconsAreReadableInAButton()
{
    QFETCH(QString, name);
    // Less than a tenth of the icon would be hard to make out.
    constexpr int least = buttonSize * buttonSize / 10;
    for (const QColor& background : {lightBackground, darkBackground}) {
        const int count = pixelsThatStandOut(name, background);
        QVERIFY2(count >= least,
                 qPrintable(QStringLiteral("%1 pixels on %2").arg(count).arg(background.name())));
    }
}

void tst_Icons::iconsAreToldApartWithoutColor()
{
    const QStringList names = iconNames();
    for (qsizetype first = 0; first < names.size(); ++first) {
        for (qsizetype second = first + 1; second < names.size(); ++second) {
            const int count = differingPixelsWithoutColor(names.at(first), names.at(second));
            // The sign on a folder, the only difference between the two folders, has about that.
            QVERIFY2(count >= 12, qPrintable(QStringLiteral("%1 and %2 differ in %3 pixels")
                                                 .arg(names.at(first), names.at(second))
                                                 .arg(count)));
        }
    }
}

QTEST_GUILESS_MAIN(tst_Icons)
#include "tst_icons.moc"
