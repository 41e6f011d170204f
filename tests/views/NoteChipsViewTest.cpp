#include "views/NoteChipsView.h"

#include "views/FlowLayout.h"
#include "views/RunningParts.h"
#include "views/Theme.h"

#include "base/VirtualClock.h"
#include "core/AppState.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/PumpUntil.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// --- the flow layout --------------------------------------------------------------------------------

TEST(FlowLayoutArrange, NoItemsGiveTheSizeZero) {
    const FlowLayout::Arrangement arrangement = FlowLayout::arrange({}, 300, 8);
    EXPECT_TRUE(arrangement.positions.isEmpty());
    EXPECT_EQ(arrangement.size, QSize(0, 0));
    EXPECT_EQ(FlowLayout::arrange({}, std::nullopt, 8).size, QSize(0, 0));
}

TEST(FlowLayoutArrange, ItemsWrapWhenTheNextWouldPassTheEdge) {
    const FlowLayout::Arrangement arrangement =
        FlowLayout::arrange({QSize(50, 20), QSize(50, 24), QSize(50, 20)}, 120, 10);
    EXPECT_EQ(arrangement.positions, (QList<QPoint>{QPoint(0, 0), QPoint(60, 0), QPoint(0, 34)}));
    EXPECT_EQ(arrangement.size, QSize(110, 54)) << "the row is as tall as its tallest item";
}

TEST(FlowLayoutArrange, AnItemThatJustFitsStaysInTheRow) {
    const FlowLayout::Arrangement arrangement = FlowLayout::arrange({QSize(50, 20), QSize(60, 20)}, 120, 10);
    EXPECT_EQ(arrangement.positions.last(), QPoint(60, 0));
    EXPECT_EQ(arrangement.size, QSize(120, 20));
}

TEST(FlowLayoutArrange, WithoutAWidthEverythingStaysInOneRow) {
    const FlowLayout::Arrangement arrangement =
        FlowLayout::arrange({QSize(500, 20), QSize(500, 20), QSize(500, 20)}, std::nullopt, 6);
    EXPECT_EQ(arrangement.positions, (QList<QPoint>{QPoint(0, 0), QPoint(506, 0), QPoint(1012, 0)}));
    EXPECT_EQ(arrangement.size, QSize(1512, 20));
}

TEST(FlowLayoutArrange, NarrowerThanAChipGivesOneChipPerRowEachOverflowing) {
    const FlowLayout::Arrangement arrangement =
        FlowLayout::arrange({QSize(80, 20), QSize(90, 20), QSize(70, 20)}, 30, 5);
    EXPECT_EQ(arrangement.positions, (QList<QPoint>{QPoint(0, 0), QPoint(0, 25), QPoint(0, 50)}));
    EXPECT_EQ(arrangement.size, QSize(90, 70)) << "the widest row sets the width, past the proposal";
}

TEST(FlowLayout, PlacesWidgetsInsideItsMarginsAndSkipsHiddenOnes) {
    QWidget host;
    auto* layout = new FlowLayout(&host, 4);
    layout->setContentsMargins(3, 2, 3, 2);
    QList<QWidget*> items;
    for (int i = 0; i < 3; ++i) {
        auto* item = new QWidget(&host);
        item->setFixedSize(40, 10);
        layout->addWidget(item);
        items.append(item);
    }
    items[1]->hide();
    layout->setGeometry(QRect(0, 0, 100, 100));
    EXPECT_EQ(items[0]->geometry(), QRect(3, 2, 40, 10));
    EXPECT_EQ(items[2]->geometry(), QRect(47, 2, 40, 10));
    EXPECT_EQ(layout->heightForWidth(100), 14);
    EXPECT_EQ(layout->heightForWidth(60), 28) << "two rows when only one fits";
    EXPECT_EQ(layout->sizeHint(), QSize(90, 14));
}

TEST(FlowLayout, AWindowNarrowerThanAChipStacksTheChipsAndLetsThemOverflow) {
    QWidget host;
    auto* layout = new FlowLayout(&host, 6);
    layout->setContentsMargins(0, 0, 0, 0);
    QList<QWidget*> items;
    for (int i = 0; i < 3; ++i) {
        auto* item = new QWidget(&host);
        item->setFixedSize(80, 20);
        layout->addWidget(item);
        items.append(item);
    }
    layout->setGeometry(QRect(0, 0, 30, 200));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(items[i]->geometry(), QRect(0, i * 26, 80, 20)) << i;
}

// --- the chips --------------------------------------------------------------------------------------

class NoteChipsViewTest : public ::testing::Test {
protected:
    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    AppState state{log};
    QStringList sent;
    std::unique_ptr<NoteChipsView> view;

    void TearDown() override {
        view.reset();
        Theme::apply(*qApp, Theme::Scheme::Light);
    }

    void open() {
        view = std::make_unique<NoteChipsView>(state, [this](const QString& line) { sent.append(line); });
        view->resize(700, 200);
        view->show();
        QApplication::processEvents();
    }

    void feed(const QString& json) { state.pythonProcess().processLine(json); }

    QStringList chipLabels() const {
        QStringList labels;
        for (const NoteChipButton* button : view->chipButtons()) {
            if (button->isVisibleTo(view.get()))
                labels.append(button->accessibleName());
        }
        return labels;
    }
    NoteChipButton* chip(const QString& label) const {
        for (NoteChipButton* button : view->chipButtons()) {
            if (button->chip().label == label)
                return button;
        }
        return nullptr;
    }
};

TEST_F(NoteChipsViewTest, TheFactoryBuildsTheChips) {
    std::unique_ptr<QWidget> widget(makeNoteChips(state, nullptr));
    auto* chips = dynamic_cast<NoteChipsView*>(widget.get());
    ASSERT_NE(chips, nullptr);
    EXPECT_EQ(chips->chipButtons().size(), 3);
}

TEST_F(NoteChipsViewTest, ACaptureWithoutCategoryShowsTheThreeUniversalChips) {
    open();
    EXPECT_EQ(chipLabels(), (QStringList{u"Broken"_s, u"Slow"_s, u"Fast"_s}));
    EXPECT_EQ(chip(u"Broken"_s)->text(), u"Broken"_s);
    EXPECT_EQ(chip(u"Broken"_s)->accessibleDescription(), u"Feels broken"_s);
    EXPECT_EQ(chip(u"Broken"_s)->focusPolicy(), Qt::StrongFocus);
}

TEST_F(NoteChipsViewTest, AFlightShowsThePhasesOfTheFlightToo) {
    open();
    feed(uR"({"event":"info","capture_id":"c1","category":"flight"})"_s);
    EXPECT_EQ(chipLabels(), (QStringList{u"Taxi"_s, u"Takeoff"_s, u"Cruise"_s, u"Descent"_s, u"Gate"_s,
                                         u"Broken"_s, u"Slow"_s, u"Fast"_s}));
    // All eight fit on one row of a 700-point window.
    EXPECT_EQ(chip(u"Taxi"_s)->y(), chip(u"Fast"_s)->y());
}

TEST_F(NoteChipsViewTest, ANarrowWindowWrapsTheChips) {
    feed(uR"({"event":"info","capture_id":"c1","category":"flight"})"_s);
    open();
    view->resize(chip(u"Taxi"_s)->width() * 3, 400);
    QApplication::processEvents();
    EXPECT_GT(chip(u"Fast"_s)->y(), chip(u"Taxi"_s)->y());
    EXPECT_EQ(chip(u"Taxi"_s)->x(), 0);
}

TEST_F(NoteChipsViewTest, AClickSendsTheNoteAndLightsTheChipBriefly) {
    open();
    QTest::mouseClick(chip(u"Slow"_s), Qt::LeftButton);
    EXPECT_EQ(sent, (QStringList{u"NOTE Feels slow"_s}));
    EXPECT_TRUE(chip(u"Slow"_s)->isHighlighted());
    EXPECT_FALSE(chip(u"Fast"_s)->isHighlighted());
    time.advance(NoteChips::highlightSeconds);
    EXPECT_FALSE(chip(u"Slow"_s)->isHighlighted());
}

TEST_F(NoteChipsViewTest, TheKeyboardCanTapAChip) {
    open();
    chip(u"Fast"_s)->setFocus();
    QTest::keyClick(chip(u"Fast"_s), Qt::Key_Space);
    EXPECT_EQ(sent, (QStringList{u"NOTE Feels fast"_s}));
}

TEST_F(NoteChipsViewTest, TheNotesListAppearsWithTheFirstNote) {
    open();
    EXPECT_TRUE(view->noteRows().isEmpty());
    const QDateTime when(QDate(2024, 6, 2), QTime(9, 5, 7));
    feed(uR"({"event":"note","text":"Takeoff","ts":"%1"})"_s.arg(when.toUTC().toString(Qt::ISODateWithMs)));
    feed(uR"({"event":"note","text":"Feels slow","ts":"%1"})"_s.arg(
        when.addSecs(75).toUTC().toString(Qt::ISODateWithMs)));
    EXPECT_EQ(view->noteRows(), (QStringList{u"09:05:07  Takeoff"_s, u"09:06:22  Feels slow"_s}));
    EXPECT_TRUE(view->findChild<QWidget*>(u"notesList"_s)->isVisible());
}

TEST_F(NoteChipsViewTest, ANewCaptureEmptiesTheNotesList) {
    open();
    feed(uR"({"event":"note","text":"Gate","ts":"x"})"_s);
    ASSERT_EQ(view->noteRows().size(), 1);
    state.startReplay(CaptureConfig{});
    EXPECT_TRUE(view->noteRows().isEmpty());
}

TEST_F(NoteChipsViewTest, ChipColoursFollowTheSchemeAndTheTap) {
    const QColor accent(0x3d, 0x8b, 0xfd);
    EXPECT_EQ(NoteChipButton::fillColor(true, false, accent), QColor::fromRgbF(0.17f, 0.17f, 0.17f));
    EXPECT_EQ(NoteChipButton::fillColor(false, false, accent), QColor::fromRgbF(0.9f, 0.9f, 0.9f));
    const QColor tapped = NoteChipButton::fillColor(true, true, accent);
    EXPECT_EQ(tapped.rgb(), accent.rgb());
    EXPECT_NEAR(tapped.alphaF(), 0.15, 0.001);
    EXPECT_EQ(NoteChipButton::strokeColor(false, true, accent), accent);
    EXPECT_EQ(NoteChipButton::strokeColor(true, false, accent).rgb(), QColor(Qt::white).rgb());
    EXPECT_NEAR(NoteChipButton::strokeColor(false, false, accent).alphaF(), 0.12, 0.001);
}

// A real tool: the tapped note goes to its standard input and comes back as an event.
TEST(NoteChipsViewWithTool, ATappedNoteReachesTheToolAndComesBackIntoTheList) {
    TempHome home;
    home.installFakeUv();
    struct SimulatorSpeed {
        SimulatorSpeed() { qputenv("NORVANE_SIM_SPEED", "300"); }
        ~SimulatorSpeed() { qunsetenv("NORVANE_SIM_SPEED"); }
    } fastSimulator;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    auto state = std::make_unique<AppState>(log);
    auto view = std::make_unique<NoteChipsView>(*state);
    view->resize(700, 200);
    view->show();

    auto runUntil = [&](const std::function<bool()>& done) {
        return pumpUntil(done, [&] {
            if (state->pythonProcess().latestEvent() || !state->pythonProcess().isChildRunning())
                time.advance(0.1);
        });
    };

    state->startCapture(CaptureConfig{});
    ASSERT_TRUE(runUntil([&] { return state->stats().elapsedSec > 0; }));
    NoteChipButton* slow = nullptr;
    for (NoteChipButton* button : view->chipButtons()) {
        if (button->chip().label == u"Slow"_s)
            slow = button;
    }
    ASSERT_NE(slow, nullptr);
    QTest::mouseClick(slow, Qt::LeftButton);
    ASSERT_TRUE(runUntil([&] { return !view->noteRows().isEmpty(); }));
    EXPECT_TRUE(QRegularExpression(u"^\\d\\d:\\d\\d:\\d\\d  Feels slow$"_s)
                    .match(view->noteRows().first())
                    .hasMatch())
        << view->noteRows().first().toStdString();

    QSignalSpy ended(state.get(), &AppState::processTerminated);
    state->stopCapture();
    EXPECT_TRUE(runUntil([&] { return ended.count() > 0; }));
    view.reset();
    state.reset();
}
