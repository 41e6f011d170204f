// Each screen of the main window used with the keyboard alone and read by a screen reader: Tab reaches
// every control and each has a name, the figures carry their words, and a whole capture runs from the
// setup screen to the results on key presses only.

#include "views/MainWindow.h"

#include "base/VirtualClock.h"
#include "capture/CaptureLibraryModel.h"
#include "core/AppState.h"
#include "core/NorvaneApp.h"
#include "screens/CapturePickerScreen.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/AppStateTestAccess.h"
#include "support/CaptureLines.h"
#include "support/DiagnosisScenario.h"
#include "support/PumpUntil.h"
#include "support/TabWalk.h"
#include "support/TempHome.h"
#include "support/TestPaths.h"
#include "views/CapturePickerWindow.h"
#include "views/ResultsLatencyChartView.h"
#include "views/SettingsView.h"
#include "views/StatCardView.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QChartView>
#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using Screen = AppState::Screen;

namespace {

class KeyboardAccessTest : public ::testing::Test {
protected:
    void SetUp() override {
        home.installFakeUv();
        app = std::make_unique<NorvaneApp>(log);
        app->appState().setUploadsSuppressed(true);
        window = std::make_unique<MainWindow>(*app);
        window->show();
        QApplication::processEvents();
    }
    void TearDown() override {
        window.reset();
        app.reset();
    }

    AppState& state() { return app->appState(); }
    void feed(const QString& line) { state().pythonProcess().processLine(line); }

    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::keyClick(window->windowHandle(), key, modifiers);
        QApplication::processEvents();
    }
    void type(const QString& text) {
        for (const QChar character : text)
            QTest::keyClick(window->windowHandle(), character.toLatin1());
    }
    // Tabs until the focus is on the control with this accessible name; false when a round passes first.
    bool tabTo(const QString& name) {
        for (int press = 0; press < 60; ++press) {
            if (QWidget* focus = QApplication::focusWidget(); focus && focus->accessibleName() == name)
                return true;
            QTest::keyClick(window->windowHandle(), Qt::Key_Tab);
            QApplication::processEvents();
        }
        return false;
    }

    // Every widget of the kind on show has a name and, in words, what it shows; returns them.
    template <typename Shown> QList<Shown*> expectSpoken() {
        QList<Shown*> shown;
        const QList<Shown*> all = window->findChildren<Shown*>();
        for (Shown* widget : all) {
            if (!widget->isVisible())
                continue;
            shown.append(widget);
            EXPECT_FALSE(widget->accessibleName().isEmpty());
            EXPECT_FALSE(widget->accessibleDescription().isEmpty()) << widget->accessibleName().toStdString();
        }
        EXPECT_FALSE(shown.isEmpty());
        return shown;
    }

    // A figure card says its rating, which its colour shows, in words too.
    void expectCardsSpoken() {
        for (const StatCardView* card : expectSpoken<StatCardView>()) {
            if (const std::optional<QString> rating = card->card().ratingLine()) {
                EXPECT_TRUE(card->accessibleDescription().contains(u"Rating: "_s + *rating))
                    << card->accessibleDescription().toStdString();
            }
        }
    }
    void expectChartsSpoken() { expectSpoken<QChartView>(); }

    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    std::unique_ptr<NorvaneApp> app;
    std::unique_ptr<MainWindow> window;
};

TEST_F(KeyboardAccessTest, SetupScreenEveryControlByTabWithAName) {
    ASSERT_EQ(window->currentScreenName(), u"setup"_s);
    TabWalk::expectInBothSchemes(*window);
    // With a name the start button takes part too.
    ASSERT_TRUE(tabTo(u"Location"_s));
    type(u"Gate 12"_s);
    QStringList names;
    for (const QWidget* stop : TabWalk::expectInBothSchemes(*window))
        names.append(stop->accessibleName());
    EXPECT_TRUE(names.contains(u"Start Monitoring"_s)) << names.join(u", "_s).toStdString();
    EXPECT_TRUE(names.contains(u"Test History"_s)) << names.join(u", "_s).toStdString();
}

TEST_F(KeyboardAccessTest, RunningScreenEveryControlByTabWithAName) {
    state().startReplay(CaptureConfig{});
    for (int second = 1; second <= 5; ++second)
        feed(CaptureLines::ping(24, second));
    feed(CaptureLines::status(24, 5));
    time.advance(1.0);
    QApplication::processEvents();
    ASSERT_EQ(window->currentScreenName(), u"running"_s);
    const QList<QWidget*> stops = TabWalk::expectInBothSchemes(*window);
    EXPECT_FALSE(stops.isEmpty());
    expectCardsSpoken();
    expectChartsSpoken();
}

TEST_F(KeyboardAccessTest, FinishingScreenHasANameAndNoControlOutOfReach) {
    AppStateTestAccess::setScreen(state(), Screen::finishing);
    QApplication::processEvents();
    TabWalk::expectInBothSchemes(*window);
    QWidget* page = window->findChild<QWidget*>(u"finishing"_s);
    ASSERT_NE(page, nullptr);
    EXPECT_FALSE(page->accessibleName().isEmpty());
}

TEST_F(KeyboardAccessTest, CelebrationScreenTakesTheFocusAndReturnSkipsToTheResults) {
    state().startReplay(CaptureConfig{});
    for (int second = 1; second <= 5; ++second)
        feed(CaptureLines::ping(24, second));
    feed(CaptureLines::complete(60));
    ASSERT_EQ(window->currentScreenName(), u"celebration"_s);
    const QList<QWidget*> stops = TabWalk::expectInBothSchemes(*window);
    ASSERT_EQ(stops.size(), 1);
    EXPECT_FALSE(stops.first()->accessibleDescription().isEmpty()) << "the thanks, in words";
    press(Qt::Key_Return);
    EXPECT_EQ(window->currentScreenName(), u"results"_s);
}

TEST_F(KeyboardAccessTest, CelebrationScreenHoldsTheFocusAsItComesAndSpaceSkipsToo) {
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    state().startReplay(CaptureConfig{});
    feed(CaptureLines::ping(24, 1));
    feed(CaptureLines::complete(60));
    ASSERT_EQ(window->currentScreenName(), u"celebration"_s);
    ASSERT_NE(QApplication::focusWidget(), nullptr);
    EXPECT_EQ(QApplication::focusWidget()->objectName(), u"celebration"_s);
    press(Qt::Key_Space);
    EXPECT_EQ(window->currentScreenName(), u"results"_s);
}

TEST_F(KeyboardAccessTest, ResultsScreenEveryControlByTabWithAName) {
    state().loadCapture(testDataPath(u"analyze/wifi_capture_20260314T093000Z.csv"_s));
    QApplication::processEvents();
    ASSERT_EQ(window->currentScreenName(), u"results"_s);
    const QList<QWidget*> stops = TabWalk::expectInBothSchemes(*window);
    EXPECT_GE(stops.size(), 3);
    expectCardsSpoken();
    expectChartsSpoken();

    // A series of the latency chart goes and comes back by Space on its legend entry.
    auto* chart = window->findChild<ResultsLatencyChartView*>();
    ASSERT_NE(chart, nullptr);
    ASSERT_TRUE(tabTo(u"ICMP"_s));
    press(Qt::Key_Space);
    EXPECT_EQ(chart->hiddenSeries().size(), 1);
    press(Qt::Key_Space);
    EXPECT_TRUE(chart->hiddenSeries().isEmpty());
}

TEST_F(KeyboardAccessTest, DiagnosticsScreenEveryControlByTabWithAName) {
    // With the internet in reach the fault is the tool's, and its own words can be shown.
    DiagnosisScenario network(DiagnosisScenario::Network::fine);
    ASSERT_TRUE(DiagnosisScenario::enterAndFinish(
        state(), u"Traceback (most recent call last):\n  File \"cli.py\", line 12, in <module>\n"
                 u"ModuleNotFoundError: No module named 'norvane'"_s));
    QApplication::processEvents();
    ASSERT_EQ(window->currentScreenName(), u"diagnostics"_s);
    const QList<QWidget*> stops = TabWalk::expectInBothSchemes(*window);
    EXPECT_GE(stops.size(), 2);

    // "Show Error" opens by keyboard, and the panel of the tool's words is one more stop.
    auto* toggle = window->findChild<QPushButton*>(u"errorToggle"_s);
    ASSERT_NE(toggle, nullptr);
    ASSERT_TRUE(tabTo(toggle->accessibleName()));
    press(Qt::Key_Space);
    QWidget* panel = window->findChild<QWidget*>(u"errorPanel"_s);
    ASSERT_NE(panel, nullptr);
    ASSERT_TRUE(panel->isVisible());
    EXPECT_TRUE(TabWalk::expectInBothSchemes(*window).contains(panel));
}

TEST_F(KeyboardAccessTest, SettingsWindowEveryControlByTabWithAName) {
    SettingsView* settings = window->openSettings();
    const QList<QWidget*> stops = TabWalk::expectInBothSchemes(*settings);
    EXPECT_GE(stops.size(), 2);
}

TEST_F(KeyboardAccessTest, CaptureHistoryEveryControlByTabWithAName) {
    const QString folder = PythonProcess::outputDirectory();
    QDir().mkpath(folder);
    ASSERT_TRUE(QFile::copy(testDataPath(u"analyze/wifi_capture_20260314T093000Z.csv"_s),
                            folder + u"/wifi_capture_20260314T093000Z.csv"_s));
    CapturePickerWindow* history = window->openCaptureHistory();
    QSignalSpy changed(&history->screen(), &CapturePickerScreen::stateChanged);
    while (history->screen().library().isLoading())
        ASSERT_TRUE(changed.wait(60'000));
    QApplication::processEvents();
    const QList<QWidget*> stops = TabWalk::expectInBothSchemes(*history);
    EXPECT_TRUE(stops.contains(history->table()));

    // A row's menu opens from the keyboard's menu key, and "Delete" in it asks first.
    for (int press = 0; press < 10 && QApplication::focusWidget() != history->table(); ++press)
        QTest::keyClick(history->windowHandle(), Qt::Key_Tab);
    ASSERT_EQ(QApplication::focusWidget(), history->table());
    QTest::keyClick(history->windowHandle(), Qt::Key_Down);
    QTest::keyClick(history->windowHandle(), Qt::Key_Menu);
    QMenu* menu = history->rowMenu();
    ASSERT_NE(menu, nullptr);
    for (int step = 0; step < 5 && (!menu->activeAction() || menu->activeAction()->text() != u"Delete"_s);
         ++step)
        QTest::keyClick(menu, Qt::Key_Down);
    ASSERT_NE(menu->activeAction(), nullptr);
    QTest::keyClick(menu, Qt::Key_Return);
    QApplication::processEvents();
    ASSERT_NE(history->deleteAlert(), nullptr);
    QTest::keyClick(history->deleteAlert(), Qt::Key_Escape);
    QApplication::processEvents();
    EXPECT_TRUE(QFile::exists(folder + u"/wifi_capture_20260314T093000Z.csv"_s));
    history->close();
    CaptureLibraryModel::scanPool().waitForDone();
    QApplication::processEvents();
}

TEST_F(KeyboardAccessTest, MenuListsTheShortcutsOfQuitSettingsAndHistory) {
    QStringList shown;
    for (QAction* top : window->menuBar()->actions()) {
        if (!top->menu())
            continue;
        for (QAction* item : top->menu()->actions()) {
            if (!item->shortcut().isEmpty())
                shown.append(item->text() + u' ' + item->shortcut().toString(QKeySequence::PortableText));
        }
    }
    EXPECT_TRUE(shown.contains(u"Quit Norvane Ctrl+Q"_s)) << shown.join(u", "_s).toStdString();
    EXPECT_TRUE(shown.contains(u"Settings... Ctrl+,"_s)) << shown.join(u", "_s).toStdString();
    EXPECT_TRUE(shown.contains(u"Test History Ctrl+H"_s)) << shown.join(u", "_s).toStdString();
    EXPECT_TRUE(shown.contains(u"Start Monitoring Ctrl+Return"_s)) << shown.join(u", "_s).toStdString();
}

TEST_F(KeyboardAccessTest, SettingsAndHistoryOpenFromTheirShortcutsEvenWhileTyping) {
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    ASSERT_TRUE(qobject_cast<QLineEdit*>(QApplication::focusWidget())) << "the setup screen opens in a field";
    press(Qt::Key_Comma, Qt::ControlModifier);
    SettingsView* settings = window->findChild<SettingsView*>();
    ASSERT_NE(settings, nullptr);
    EXPECT_TRUE(settings->isVisible());
    settings->close();
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    ASSERT_TRUE(qobject_cast<QLineEdit*>(QApplication::focusWidget()));
    press(Qt::Key_H, Qt::ControlModifier);
    const QList<CapturePickerWindow*> open = window->findChildren<CapturePickerWindow*>();
    ASSERT_EQ(open.size(), 1);
    open.first()->close();
    CaptureLibraryModel::scanPool().waitForDone();
    QApplication::processEvents();
}

// The simulator's tool plays a real capture; the session's timers run on the virtual clock.
class KeyboardCaptureTest : public KeyboardAccessTest {
protected:
    void SetUp() override {
        qputenv("NORVANE_SIM_SPEED", "300");
        KeyboardAccessTest::SetUp();
    }
    void TearDown() override {
        KeyboardAccessTest::TearDown();
        qunsetenv("NORVANE_SIM_SPEED");
    }

    // Pumps the child's output until the condition holds; virtual time moves only once the tool has
    // spoken, so a slow start can't set off the startup watchdog.
    bool runUntil(const std::function<bool()>& done) {
        return pumpUntil(done, [this] {
            if (state().pythonProcess().latestEvent() || !state().pythonProcess().isChildRunning())
                time.advance(0.1);
        });
    }
};

TEST_F(KeyboardCaptureTest, AWholeCaptureFromSetupToResultsOnKeyPressesOnly) {
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    ASSERT_EQ(window->currentScreenName(), u"setup"_s);

    // Setup: a name in the location field, an open-ended run, then Control-Return.
    ASSERT_TRUE(tabTo(u"Location"_s));
    type(u"Gate 12"_s);
    ASSERT_TRUE(tabTo(u"Timed Test"_s));
    press(Qt::Key_Right);
    ASSERT_EQ(QApplication::focusWidget()->accessibleName(), u"Run Continuously"_s);
    press(Qt::Key_Space);
    press(Qt::Key_Return, Qt::ControlModifier);
    // The start waits for the check of the video tests' browser, which asks the tool.
    ASSERT_TRUE(runUntil([&] { return window->currentScreenName() == u"running"_s; }));

    // Running: let the tool measure a while, then Tab to "Stop Test" and press Space.
    ASSERT_TRUE(runUntil([&] { return state().latencyPoints().size() >= 20; }));
    window->activateWindow();
    ASSERT_TRUE(tabTo(u"Stop Test"_s));
    press(Qt::Key_Space);
    EXPECT_EQ(window->currentScreenName(), u"finishing"_s);

    // The tool writes its files and ends; the reveal takes the keyboard's focus and Return skips it.
    ASSERT_TRUE(runUntil([&] { return window->currentScreenName() == u"celebration"_s; }));
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    press(Qt::Key_Tab);
    press(Qt::Key_Return);
    ASSERT_EQ(window->currentScreenName(), u"results"_s);
    EXPECT_TRUE(state().captureId());
    EXPECT_EQ(state().captureLocation(), u"Gate 12"_s);
    EXPECT_FALSE(state().errorMessage());
    ASSERT_TRUE(runUntil([&] { return !state().pythonProcess().isChildRunning(); }));

    // Results: "New Test" by keyboard leads back to the setup screen.
    ASSERT_TRUE(tabTo(u"New Test"_s));
    press(Qt::Key_Return);
    EXPECT_EQ(window->currentScreenName(), u"setup"_s);
}

TEST_F(KeyboardCaptureTest, StartMonitoringFromTheMenuByKeyboardOnceTheSetupHasAName) {
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    QAction* start = nullptr;
    QMenu* menu = window->menuBar()->actions().first()->menu();
    for (QAction* item : menu->actions()) {
        if (item->text() == u"Start Monitoring"_s)
            start = item;
    }
    ASSERT_NE(start, nullptr);
    EXPECT_FALSE(start->isEnabled()) << "nothing to name the capture by yet";
    ASSERT_TRUE(tabTo(u"Location"_s));
    type(u"Gate 12"_s);
    EXPECT_TRUE(start->isEnabled());

    // Alt and the menu's underlined letter open it; the arrows go down to the entry, Return chooses it.
    press(Qt::Key_N, Qt::AltModifier);
    ASSERT_EQ(QApplication::activePopupWidget(), menu);
    for (int step = 0; step < 10 && menu->activeAction() != start; ++step)
        QTest::keyClick(menu, Qt::Key_Down);
    ASSERT_EQ(menu->activeAction(), start);
    QTest::keyClick(menu, Qt::Key_Return);
    ASSERT_TRUE(runUntil([&] { return window->currentScreenName() == u"running"_s; }));
    EXPECT_FALSE(start->isEnabled()) << "only while the setup screen shows";
}

} // namespace
