#include "views/HoneycombView.h"

#include "views/RunningParts.h"
#include "views/ScaledFont.h"
#include "views/Theme.h"

#include "base/VirtualClock.h"
#include "core/AppState.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QFontInfo>
#include <QImage>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

int greyLevel(double level) {
    return int(std::lround(level * 255));
}

// The colour of a pixel as the eye sees it, within a step or two of rounding.
void expectNear(const QColor& actual, const QColor& expected, int tolerance = 3) {
    EXPECT_NEAR(actual.red(), expected.red(), tolerance) << actual.name().toStdString();
    EXPECT_NEAR(actual.green(), expected.green(), tolerance) << actual.name().toStdString();
    EXPECT_NEAR(actual.blue(), expected.blue(), tolerance) << actual.name().toStdString();
}

QColor blend(const QColor& top, double opacity, const QColor& bottom) {
    auto mix = [opacity](int a, int b) { return int(std::lround(a * opacity + b * (1 - opacity))); };
    return QColor(mix(top.red(), bottom.red()), mix(top.green(), bottom.green()),
                  mix(top.blue(), bottom.blue()));
}

} // namespace

// --- colours ----------------------------------------------------------------------------------------

TEST(HoneycombViewColours, EmptyCellIsNotDrawn) {
    EXPECT_FALSE(HoneycombView::cellFill(HexCell{10, 10, std::nullopt, false, false}));
    EXPECT_FALSE(HoneycombView::cellStroke(HexCell{10, 10, std::nullopt, true, false}, true));
}

TEST(HoneycombViewColours, CellsTakeTheColourOfTheirRating) {
    for (const QualityRating rating : {QualityRating::superior, QualityRating::excellent, QualityRating::good,
                                       QualityRating::fair, QualityRating::impaired}) {
        const RgbColor rgb = rating.color();
        EXPECT_EQ(HoneycombView::cellFill(HexCell{0, 0, rating, false, false}),
                  QColor(rgb.red, rgb.green, rgb.blue))
            << rating.rawValue().toStdString();
    }
}

TEST(HoneycombViewColours, BrokenIsADarkGreyInsteadOfItsOwnColour) {
    const QColor fill = *HoneycombView::cellFill(HexCell{0, 0, QualityRating::broken, false, false});
    EXPECT_EQ(fill, QColor::fromRgbF(0.25f, 0.25f, 0.25f));
    const RgbColor own = QualityRating(QualityRating::broken).color();
    EXPECT_NE(fill, QColor(own.red, own.green, own.blue));
}

TEST(HoneycombViewColours, BrokenCellOfAnEarlierGenerationIsGreyAtAQuarterOpacity) {
    const QColor fill = *HoneycombView::cellFill(HexCell{0, 0, QualityRating::broken, false, true});
    EXPECT_EQ(fill.rgb(), QColor::fromRgbF(0.25f, 0.25f, 0.25f).rgb());
    EXPECT_NEAR(fill.alphaF(), 0.25, 0.001);
}

TEST(HoneycombViewColours, FadedCellsKeepTheirHueAtAQuarterOpacity) {
    const QColor fill = *HoneycombView::cellFill(HexCell{0, 0, QualityRating::good, false, true});
    const RgbColor rgb = QualityRating(QualityRating::good).color();
    EXPECT_EQ(fill.rgb(), QColor(rgb.red, rgb.green, rgb.blue).rgb());
    EXPECT_NEAR(fill.alphaF(), 0.25, 0.001);
}

TEST(HoneycombViewColours, SpeedTestCellsAreOutlinedForTheScheme) {
    const HexCell cell{0, 0, QualityRating::excellent, true, false};
    const QPen dark = *HoneycombView::cellStroke(cell, true);
    EXPECT_DOUBLE_EQ(dark.widthF(), 1.2);
    EXPECT_EQ(dark.color().rgb(), QColor(Qt::white).rgb());
    EXPECT_NEAR(dark.color().alphaF(), 0.7, 0.001);
    const QPen light = *HoneycombView::cellStroke(cell, false);
    EXPECT_EQ(light.color().rgb(), QColor(Qt::black).rgb());
    EXPECT_NEAR(light.color().alphaF(), 0.5, 0.001);
    EXPECT_FALSE(HoneycombView::cellStroke(HexCell{0, 0, QualityRating::excellent, false, false}, true));
}

TEST(HoneycombViewColours, BackgroundBorderAndLabelFollowTheScheme) {
    EXPECT_EQ(HoneycombView::backgroundColor(true), QColor::fromRgbF(0.06f, 0.06f, 0.06f));
    EXPECT_EQ(HoneycombView::backgroundColor(false), QColor::fromRgbF(0.92f, 0.92f, 0.92f));
    EXPECT_EQ(HoneycombView::borderColor(true).rgb(), QColor(Qt::white).rgb());
    EXPECT_NEAR(HoneycombView::borderColor(false).alphaF(), 0.1, 0.001);
    EXPECT_EQ(HoneycombView::labelColor(false).rgb(), QColor(Qt::black).rgb());
    EXPECT_NEAR(HoneycombView::labelColor(true).alphaF(), 0.3, 0.001);
}

TEST(HoneycombViewColours, HexagonHasACornerPointingUp) {
    const QPolygonF shape = HoneycombView::hexagon(QPointF(20, 30), 7);
    ASSERT_EQ(shape.size(), 6);
    double top = 1e9;
    for (const QPointF& corner : shape) {
        EXPECT_NEAR(std::hypot(corner.x() - 20, corner.y() - 30), 7, 1e-9);
        top = std::min(top, corner.y());
    }
    EXPECT_NEAR(top, 23, 1e-9);
    const auto apex =
        std::find_if(shape.begin(), shape.end(), [](QPointF p) { return std::abs(p.y() - 23) < 1e-9; });
    EXPECT_NEAR(apex->x(), 20, 1e-9);
}

// --- the strip --------------------------------------------------------------------------------------

class HoneycombViewTest : public ::testing::Test {
protected:
    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    AppState state{log};

    void TearDown() override { Theme::apply(*qApp, Theme::Scheme::Light); }

    void feed(const QString& json) { state.pythonProcess().processLine(json); }

    std::unique_ptr<HoneycombView> shownView(int width) {
        auto view = std::make_unique<HoneycombView>(state);
        view->resize(width, HoneycombView::stripHeight);
        view->show();
        QApplication::processEvents();
        return view;
    }

    void fillAll(QualityRating quality, bool isSpeedTest = false) {
        HoneycombState& model = state.honeycomb();
        for (qsizetype i = 0; i < model.cells().size(); ++i)
            model.fillNext(quality, isSpeedTest);
    }
};

TEST_F(HoneycombViewTest, TheFactoryBuildsTheStrip) {
    std::unique_ptr<QWidget> widget(makeHoneycombView(state, nullptr));
    EXPECT_NE(dynamic_cast<HoneycombView*>(widget.get()), nullptr);
    EXPECT_EQ(widget->height(), 50);
    EXPECT_EQ(widget->accessibleName(), u"Honeycomb"_s);
}

TEST_F(HoneycombViewTest, ItLaysTheGridOutForItsWidthWhenItAppears) {
    auto view = std::make_unique<HoneycombView>(state);
    EXPECT_TRUE(state.honeycomb().cells().isEmpty()) << "nothing is laid out before it shows";
    view->resize(600, 50);
    view->show();
    QApplication::processEvents();
    const double radius = HoneycombState::pickRadius(300, 600, 50);
    EXPECT_EQ(state.honeycomb().hexRadius(), radius);
    EXPECT_EQ(state.honeycomb().cells().size(), HoneycombState::gridCells(radius, 600, 50).size());
    EXPECT_EQ(view->labelText(), u"0 samples"_s);
}

TEST_F(HoneycombViewTest, LabelCountsSamplesAndShowsTheGenerationAfterAFade) {
    auto view = shownView(400);
    state.honeycomb().fillNext(QualityRating::good, false);
    state.honeycomb().fillNext(QualityRating::fair, true);
    EXPECT_EQ(view->labelText(), u"2 samples"_s);
    EXPECT_EQ(view->accessibleDescription(), u"2 samples"_s);

    const auto cells = state.honeycomb().cells().size();
    fillAll(QualityRating::good); // two left over spill into the next generation
    EXPECT_EQ(state.honeycomb().generation(), 1);
    EXPECT_EQ(view->labelText(), u"%1 samples · gen 2"_s.arg(cells + 2));
    EXPECT_EQ(view->accessibleDescription(), view->labelText());
}

TEST_F(HoneycombViewTest, AWidthChangeLaysOutAgainAndLosesThePaintedCells) {
    auto view = shownView(600);
    fillAll(QualityRating::good);
    state.honeycomb().fillNext(QualityRating::good, false);
    ASSERT_EQ(state.honeycomb().generation(), 1);
    view->resize(420, 50);
    QApplication::processEvents();
    EXPECT_EQ(state.honeycomb().filledCount(), 0);
    EXPECT_EQ(view->labelText(), u"0 samples"_s);
    EXPECT_EQ(state.honeycomb().cells().size(),
              HoneycombState::gridCells(HoneycombState::pickRadius(300, 420, 50), 420, 50).size());
}

TEST_F(HoneycombViewTest, ShowingAgainAtTheSameWidthKeepsTheCells) {
    auto view = shownView(500);
    state.honeycomb().fillNext(QualityRating::good, false);
    view->hide();
    view->show();
    QApplication::processEvents();
    EXPECT_EQ(state.honeycomb().filledCount(), 1);
}

TEST_F(HoneycombViewTest, ANewCaptureBringsANewModelLaidOutAtOnce) {
    auto view = shownView(600);
    HoneycombState* first = view->model();
    state.startReplay(CaptureConfig{});
    EXPECT_NE(view->model(), first);
    EXPECT_EQ(view->model(), &state.honeycomb());
    EXPECT_FALSE(state.honeycomb().cells().isEmpty());
    state.honeycomb().fillNext(QualityRating::superior, false);
    EXPECT_EQ(view->labelText(), u"1 samples"_s);
}

TEST_F(HoneycombViewTest, TheCapturesLengthResizesTheStripWhileItIsStillEmpty) {
    auto view = shownView(600);
    state.startReplay(CaptureConfig{});
    const double defaultRadius = HoneycombState::pickRadius(300, 600, 50);
    EXPECT_EQ(state.honeycomb().hexRadius(), defaultRadius);
    // 60 seconds: the strip should fill over two minutes.
    feed(uR"({"event":"info","capture_id":"c1","duration_secs":60})"_s);
    QApplication::processEvents();
    ASSERT_EQ(state.honeycomb().targetFillSeconds(), 120);
    const double radius = HoneycombState::pickRadius(120, 600, 50);
    ASSERT_NE(radius, defaultRadius) << "the test needs a width where the two targets differ";
    EXPECT_EQ(state.honeycomb().hexRadius(), radius);
}

TEST_F(HoneycombViewTest, AStripWithPaintedCellsIsNotLaidOutAgainForANewTarget) {
    auto view = shownView(600);
    state.startReplay(CaptureConfig{});
    state.honeycomb().fillNext(QualityRating::good, false);
    feed(uR"({"event":"info","capture_id":"c1","duration_secs":60})"_s);
    QApplication::processEvents();
    EXPECT_EQ(state.honeycomb().filledCount(), 1);
    EXPECT_EQ(state.honeycomb().hexRadius(), HoneycombState::pickRadius(300, 600, 50));
}

TEST_F(HoneycombViewTest, PaintsEmptyCellsAsBackgroundAndFadedBrokenCellsAsAQuarterGrey) {
    auto view = shownView(600);
    QImage before = view->grab().toImage();
    const HexCell probe = state.honeycomb().cells().at(8);
    const QColor background = HoneycombView::backgroundColor(false);
    expectNear(before.pixelColor(int(probe.x), int(probe.y)), background);

    fillAll(QualityRating::broken);
    state.honeycomb().fillNext(QualityRating::good, false); // fades every cell, paints one fresh
    QApplication::processEvents();
    const QImage after = view->grab().toImage();
    int fadedChecked = 0;
    int freshChecked = 0;
    for (const HexCell& cell : state.honeycomb().cells()) {
        if (cell.x > 590 || cell.y > 45)
            continue; // clipped by the strip's edge
        if (cell.x > 450 && cell.y < 20)
            continue; // under the label in the top trailing corner
        SCOPED_TRACE(u"cell at %1, %2"_s.arg(cell.x).arg(cell.y).toStdString());
        const QColor pixel = after.pixelColor(int(std::lround(cell.x)), int(std::lround(cell.y)));
        if (cell.faded) {
            expectNear(pixel, blend(QColor::fromRgbF(0.25f, 0.25f, 0.25f), 0.25, background));
            ++fadedChecked;
        } else {
            const RgbColor good = QualityRating(QualityRating::good).color();
            expectNear(pixel, QColor(good.red, good.green, good.blue));
            ++freshChecked;
        }
    }
    EXPECT_GT(fadedChecked, 10);
    EXPECT_LE(freshChecked, 1);
}

TEST_F(HoneycombViewTest, TheLabelStandsOnAClearPatchOverAFullStrip) {
    auto view = shownView(600);
    fillAll(QualityRating::good);
    QApplication::processEvents();
    const QImage image = view->grab().toImage();
    // Inside the patch's rounded ends.
    const int round = QFontMetrics(view->labelFont()).height() / 2 + 1;
    const QRect patch = view->labelArea().toAlignedRect().adjusted(round, 1, -round, -1);
    ASSERT_FALSE(patch.isEmpty());
    EXPECT_GT(patch.left(), 300) << "in the trailing corner";
    EXPECT_LT(patch.top(), 10) << "at the top";
    const RgbColor good = QualityRating(QualityRating::good).color();
    int cellPixels = 0;
    int clearPixels = 0;
    for (int y = patch.top(); y <= patch.bottom(); ++y) {
        for (int x = patch.left(); x <= patch.right(); ++x) {
            const QRgb pixel = image.pixel(x, y);
            cellPixels += pixel == QColor(good.red, good.green, good.blue).rgb();
            clearPixels += pixel == HoneycombView::backgroundColor(false).rgb();
        }
    }
    EXPECT_EQ(cellPixels, 0);
    EXPECT_GT(clearPixels, patch.width() * patch.height() / 3) << "the rest is the label's own text";
}

TEST_F(HoneycombViewTest, LabelStaysReadableOnASmallDesktopFont) {
    HoneycombView view(state);
    const double smallest = pointsOf(smallestReadableFont());
    QFont desktop;
    desktop.setPointSizeF(smallest);
    view.setFont(desktop);
    EXPECT_GE(view.labelFont().pointSizeF(), smallest);
    desktop.setPointSizeF(26);
    view.setFont(desktop);
    EXPECT_DOUBLE_EQ(view.labelFont().pointSizeF(), std::max(18.0, smallest)) << "nine points to thirteen";
}

TEST_F(HoneycombViewTest, DarkSchemeDrawsOnANearBlackStrip) {
    Theme::apply(*qApp, Theme::Scheme::Dark);
    auto view = shownView(600);
    const HexCell probe = state.honeycomb().cells().at(8);
    expectNear(view->grab().toImage().pixelColor(int(probe.x), int(probe.y)),
               QColor(greyLevel(0.06), greyLevel(0.06), greyLevel(0.06)));
}

TEST_F(HoneycombViewTest, RepaintsOnlyWhenItsModelChanges) {
    auto view = shownView(600);
    int paints = 0;
    struct Counter : QObject {
        int* count;
        explicit Counter(int* c)
            : count(c) {}
        bool eventFilter(QObject*, QEvent* event) override {
            if (event->type() == QEvent::Paint)
                ++*count;
            return false;
        }
    } counter(&paints);
    view->installEventFilter(&counter);
    QApplication::processEvents();
    paints = 0;
    feed(uR"({"event":"status","elapsed_sec":3})"_s);
    feed(uR"({"event":"probe","type":"ping","target":"1.1.1.1","loss":false,"rtt_ms":20,"ts":"x"})"_s);
    QApplication::processEvents();
    EXPECT_EQ(paints, 0);
    state.honeycomb().fillNext(QualityRating::good, false);
    QApplication::processEvents();
    EXPECT_EQ(paints, 1);
}
