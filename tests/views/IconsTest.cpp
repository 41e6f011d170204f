#include "views/Icons.h"

#include "views/Theme.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QLabel>
#include <QPalette>
#include <QPixmap>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

// Every symbol name that the screens ask for.
const QStringList usedSymbols = {
    u"antenna.radiowaves.left.and.right"_s,
    u"arrow.2.circlepath"_s,
    u"arrow.clockwise"_s,
    u"arrow.clockwise.icloud"_s,
    u"arrow.down.circle"_s,
    u"arrow.triangle.2.circlepath"_s,
    u"bubble.left"_s,
    u"calendar"_s,
    u"chart.bar"_s,
    u"chart.line.downtrend.xyaxis"_s,
    u"checkmark"_s,
    u"checkmark.circle.fill"_s,
    u"checkmark.icloud"_s,
    u"checkmark.seal.fill"_s,
    u"circle"_s,
    u"clock"_s,
    u"clock.arrow.circlepath"_s,
    u"doc.on.doc"_s,
    u"doc.text.magnifyingglass"_s,
    u"exclamationmark.icloud"_s,
    u"exclamationmark.triangle"_s,
    u"exclamationmark.triangle.fill"_s,
    u"folder"_s,
    u"gearshape"_s,
    u"icloud.slash"_s,
    u"info.circle"_s,
    u"lightbulb"_s,
    u"lock"_s,
    u"lock.shield"_s,
    u"magnifyingglass"_s,
    u"network"_s,
    u"note.text"_s,
    u"number"_s,
    u"play.fill"_s,
    u"play.rectangle"_s,
    u"play.rectangle.fill"_s,
    u"plus"_s,
    u"point.3.connected.trianglepath.dotted"_s,
    u"questionmark.circle"_s,
    u"safari"_s,
    u"sparkles"_s,
    u"speedometer"_s,
    u"square.and.arrow.up"_s,
    u"stethoscope"_s,
    u"stop.fill"_s,
    u"tag"_s,
    u"trash"_s,
    u"waveform.path.ecg"_s,
    u"wifi"_s,
    u"wifi.exclamationmark"_s,
    u"wifi.slash"_s,
    u"xmark.circle"_s,
    u"xmark.circle.fill"_s,
    u"xmark.shield"_s,
};

int inkedPixels(const QImage& image) {
    int count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            count += qAlpha(image.pixel(x, y)) > 0 ? 1 : 0;
    return count;
}

// The colour of the most opaque pixel: the ink, free of antialiased edges.
QColor inkColour(const QImage& image) {
    QRgb best = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (qAlpha(image.pixel(x, y)) > qAlpha(best))
                best = image.pixel(x, y);
    return QColor::fromRgba(best);
}

QImage rendered(const QIcon& icon, int side, QIcon::Mode mode = QIcon::Normal) {
    return icon.pixmap(QSize(side, side), 1.0, mode).toImage().convertToFormat(QImage::Format_ARGB32);
}

// The desktop's theme wins when it has a match: these tests are about our drawings, so no theme.
class IconsTest : public ::testing::Test {
protected:
    QString savedTheme;
    void SetUp() override {
        savedTheme = QIcon::themeName();
        QIcon::setThemeName(u"norvane-test-no-such-theme"_s);
        Theme::apply(*qApp, Theme::Scheme::Light);
    }
    void TearDown() override {
        QIcon::setThemeName(savedTheme);
        Theme::apply(*qApp, Theme::Scheme::Light);
    }
};

} // namespace

TEST_F(IconsTest, EverySymbolTheScreensUseHasADrawingThatRenders) {
    for (const QString& name : usedSymbols) {
        SCOPED_TRACE(name.toStdString());
        EXPECT_TRUE(Icons::hasDrawing(name));
        const QImage image = rendered(Icons::drawing(name), 24);
        EXPECT_EQ(image.size(), QSize(24, 24));
        // Enough ink to be a picture, not so much that it is a blot.
        const int inked = inkedPixels(image);
        EXPECT_GT(inked, 24);
        EXPECT_LT(inked, 24 * 24 * 3 / 4);
    }
}

TEST_F(IconsTest, SymbolFallsBackToTheDrawingWhenTheThemeHasNone) {
    const QImage image = rendered(Icons::symbol(u"wifi.slash"_s), 24);
    EXPECT_GT(inkedPixels(image), 24);
    EXPECT_EQ(inkColour(image).rgb(), qApp->palette().color(QPalette::WindowText).rgb());
}

TEST_F(IconsTest, DrawnIconIsInThePaletteTextColourAtSmallAndLargeSizes) {
    const QColor text = qApp->palette().color(QPalette::Active, QPalette::WindowText);
    for (int side : {16, 48}) {
        SCOPED_TRACE(side);
        const QImage image = rendered(Icons::symbol(u"stop.fill"_s), side);
        EXPECT_EQ(image.size(), QSize(side, side));
        EXPECT_GT(inkedPixels(image), side * side / 4);
        const QColor ink = inkColour(image);
        EXPECT_EQ(ink.alpha(), 255);
        EXPECT_EQ(ink.rgb(), text.rgb());
    }
}

TEST_F(IconsTest, SwitchingToTheDarkSchemeRecoloursTheSameIcon) {
    const QIcon icon = Icons::symbol(u"stethoscope"_s);
    const QColor light = inkColour(rendered(icon, 32));
    Theme::apply(*qApp, Theme::Scheme::Dark);
    const QColor darkText = qApp->palette().color(QPalette::Active, QPalette::WindowText);
    const QColor dark = inkColour(rendered(icon, 32));
    EXPECT_NE(light.rgb(), dark.rgb());
    EXPECT_EQ(dark.rgb(), darkText.rgb());
}

TEST_F(IconsTest, DisabledIconTakesTheDisabledTextColour) {
    Theme::apply(*qApp, Theme::Scheme::Dark);
    const QColor disabled = qApp->palette().color(QPalette::Disabled, QPalette::WindowText);
    const QColor ink = inkColour(rendered(Icons::symbol(u"stop.fill"_s), 32, QIcon::Disabled));
    EXPECT_EQ(ink.rgb(), disabled.rgb());
    EXPECT_NE(ink.rgb(), qApp->palette().color(QPalette::Active, QPalette::WindowText).rgb());
}

TEST_F(IconsTest, HighDensityScreensGetAPixmapAtTheirOwnResolution) {
    const QPixmap pixmap = Icons::symbol(u"wifi"_s).pixmap(QSize(16, 16), 2.0);
    EXPECT_EQ(pixmap.size(), QSize(32, 32));
    EXPECT_DOUBLE_EQ(pixmap.devicePixelRatio(), 2.0);
    EXPECT_GT(inkedPixels(pixmap.toImage()), 32);
}

TEST_F(IconsTest, FixedTintKeepsItsColourInBothSchemes) {
    const QColor green(0x2e, 0xa0, 0x43);
    const QIcon icon = Icons::symbol(u"checkmark"_s, green);
    EXPECT_EQ(inkColour(rendered(icon, 24)).rgb(), green.rgb());
    Theme::apply(*qApp, Theme::Scheme::Dark);
    EXPECT_EQ(inkColour(rendered(icon, 24)).rgb(), green.rgb());
}

TEST_F(IconsTest, WhiteInAFilledDrawingIsAHoleNotInk) {
    const QImage image = rendered(Icons::drawing(u"xmark.circle.fill"_s), 48);
    // The middle of the cross is cut out of the disc; the disc beside it is solid.
    EXPECT_LT(qAlpha(image.pixel(24, 24)), 64);
    EXPECT_EQ(qAlpha(image.pixel(24, 8)), 255);
}

TEST_F(IconsTest, UnknownNameStillGetsAGenericDrawing) {
    EXPECT_FALSE(Icons::hasDrawing(u"no.such.symbol"_s));
    const QIcon icon = Icons::symbol(u"no.such.symbol"_s);
    ASSERT_FALSE(icon.isNull());
    EXPECT_GT(inkedPixels(rendered(icon, 24)), 24);
}

TEST_F(IconsTest, TheDesktopThemeWinsAndAFixedTintKeepsItsShape) {
    // A theme of one icon: a red square inset in a transparent frame.
    QTemporaryDir themes;
    ASSERT_TRUE(themes.isValid());
    const QString themeDir = themes.path() + u"/norvane-test-theme"_s;
    ASSERT_TRUE(QDir().mkpath(themeDir + u"/24x24/status"_s));
    QFile index(themeDir + u"/index.theme"_s);
    ASSERT_TRUE(index.open(QIODevice::WriteOnly));
    index.write("[Icon Theme]\nName=Test\nDirectories=24x24/status\n\n[24x24/status]\nSize=24\nType=Fixed\n");
    index.close();
    QImage square(24, 24, QImage::Format_ARGB32);
    square.fill(Qt::transparent);
    for (int y = 6; y < 18; ++y)
        for (int x = 6; x < 18; ++x)
            square.setPixel(x, y, qRgb(255, 0, 0));
    ASSERT_TRUE(square.save(themeDir + u"/24x24/status/network-wireless-offline.png"_s));
    const QStringList savedPaths = QIcon::themeSearchPaths();
    QIcon::setThemeSearchPaths({themes.path()});
    QIcon::setThemeName(u"norvane-test-theme"_s);

    const QImage theirs = rendered(Icons::symbol(u"wifi.slash"_s), 24);
    EXPECT_EQ(QColor(theirs.pixel(12, 12)).rgb(), qRgb(255, 0, 0));
    const QColor blue(0x20, 0x60, 0xd0);
    const QImage tinted = rendered(Icons::symbol(u"wifi.slash"_s, blue), 24);
    EXPECT_EQ(QColor(tinted.pixel(12, 12)).rgb(), blue.rgb());
    EXPECT_EQ(qAlpha(tinted.pixel(2, 2)), 0);
    // A symbol the theme has nothing for still gets our drawing.
    EXPECT_EQ(inkColour(rendered(Icons::symbol(u"stethoscope"_s), 24)).rgb(),
              qApp->palette().color(QPalette::WindowText).rgb());

    QIcon::setThemeSearchPaths(savedPaths);
}

TEST_F(IconsTest, ASymbolOnALabelFollowsASchemeSwitch) {
    QLabel label;
    Icons::showOn(&label, u"folder"_s, 24);
    label.show();
    const QColor light = inkColour(label.pixmap().toImage());
    EXPECT_EQ(light.rgb(), qApp->palette().color(QPalette::WindowText).rgb());
    Theme::apply(*qApp, Theme::Scheme::Dark);
    QApplication::processEvents();
    const QColor dark = inkColour(label.pixmap().toImage());
    EXPECT_EQ(dark.rgb(), qApp->palette().color(QPalette::WindowText).rgb());
    EXPECT_NE(light.rgb(), dark.rgb());
    EXPECT_EQ(label.pixmap().deviceIndependentSize(), QSizeF(24, 24));
}

TEST_F(IconsTest, ATintedSymbolOnALabelKeepsItsColourAcrossSchemes) {
    QLabel label;
    const QColor orange(245, 158, 11);
    Icons::showOn(&label, u"exclamationmark.triangle.fill"_s, 16, orange);
    Theme::apply(*qApp, Theme::Scheme::Dark);
    QApplication::processEvents();
    EXPECT_EQ(inkColour(label.pixmap().toImage()).rgb(), orange.rgb());
}
