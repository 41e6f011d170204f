#include "views/MainWindow.h"

#include "base/VirtualClock.h"
#include "core/AppState.h"
#include "core/NorvaneApp.h"
#include "services/ConnectivityDiagnostics.h"
#include "services/FileLogger.h"
#include "support/AppStateTestAccess.h"
#include "support/TempHome.h"
#include "views/CapturePickerWindow.h"
#include "views/DiagnosticsView.h"
#include "views/SettingsView.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

class MainWindowTest : public ::testing::Test {
protected:
    void SetUp() override { home.installFakeUv(); }

    QAction* action(MainWindow& window, const QString& text) {
        const QList<QAction*> actions = window.menuBar()->findChildren<QAction*>();
        for (QAction* candidate : actions) {
            if (candidate->text() == text)
                return candidate;
        }
        return nullptr;
    }

    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
};

TEST_F(MainWindowTest, OpensAtItsDefaultSizeWithTheProgramsTitle) {
    NorvaneApp app(log);
    MainWindow window(app);
    window.show();
    QApplication::processEvents();
    EXPECT_EQ(window.windowTitle(), u"Norvane"_s);
    EXPECT_EQ(window.size(), QSize(700, 800));
    EXPECT_EQ(window.minimumSize(), QSize(600, 450));
}

TEST_F(MainWindowTest, CannotShrinkBelowItsMinimum) {
    NorvaneApp app(log);
    MainWindow window(app);
    window.show();
    window.resize(300, 200);
    QApplication::processEvents();
    EXPECT_GE(window.width(), 600);
    EXPECT_GE(window.height(), 450);
}

TEST_F(MainWindowTest, ShowsTheScreenThatTheSessionNames) {
    NorvaneApp app(log);
    MainWindow window(app);
    EXPECT_EQ(window.currentScreenName(), u"setup"_s);
    app.appState().startReplay(CaptureConfig{});
    EXPECT_EQ(window.currentScreenName(), u"running"_s);
    AppStateTestAccess::setScreen(app.appState(), AppState::Screen::finishing);
    EXPECT_EQ(window.currentScreenName(), u"finishing"_s);
}

TEST_F(MainWindowTest, WithoutUvTheBootstrapScreenShows) {
    QFile::remove(home.path() + u"/.local/bin/uv"_s);
    NorvaneApp app(log);
    MainWindow window(app);
    EXPECT_EQ(window.currentScreenName(), u"bootstrapping"_s);
}

TEST_F(MainWindowTest, DiagnosticsScreenExplainsTheFailureAndLeadsBack) {
    NorvaneApp app(log);
    MainWindow window(app);
    window.show();
    app.appState().enterDiagnostics(u"uv: boom"_s);
    ASSERT_EQ(window.currentScreenName(), u"diagnostics"_s);
    ASSERT_NE(window.findChild<DiagnosticsView*>(), nullptr);
    // The diagnosis runs on the simulator's ip and ping, which answer at once.
    QElapsedTimer waited;
    waited.start();
    while ((!app.appState().diagnostics() || !app.appState().diagnostics()->phase().isCompleted()) &&
           waited.elapsed() < 20'000)
        QApplication::processEvents(QEventLoop::AllEvents, 20);
    ASSERT_TRUE(app.appState().diagnostics()->phase().isCompleted());
    QApplication::processEvents();
    QPushButton* tryAgain = nullptr;
    for (QPushButton* button : window.findChildren<QPushButton*>()) {
        if (button->text() == u"Try Again"_s && button->isVisible())
            tryAgain = button;
    }
    ASSERT_NE(tryAgain, nullptr);
    tryAgain->click();
    EXPECT_EQ(window.currentScreenName(), u"setup"_s);
}

TEST_F(MainWindowTest, SettingsOpensOneSettingsWindowFromTheMenu) {
    NorvaneApp app(log);
    MainWindow window(app);
    window.show();
    QAction* settings = action(window, u"Settings..."_s);
    ASSERT_NE(settings, nullptr);
    EXPECT_EQ(settings->shortcut(), QKeySequence(QKeySequence::Preferences));
    settings->trigger();
    QApplication::processEvents();
    SettingsView* shown = window.findChild<SettingsView*>();
    ASSERT_NE(shown, nullptr);
    EXPECT_TRUE(shown->isVisible());
    EXPECT_EQ(shown->windowTitle(), u"Settings"_s);
    shown->close();
    settings->trigger();
    QApplication::processEvents();
    EXPECT_EQ(window.findChildren<SettingsView*>().size(), 1);
    EXPECT_TRUE(shown->isVisible());
}

TEST_F(MainWindowTest, MenusCarryTheHelpLinkTheQuestionsLineAndQuit) {
    NorvaneApp app(log);
    MainWindow window(app);
    QAction* quit = action(window, u"Quit Norvane"_s);
    ASSERT_NE(quit, nullptr);
    EXPECT_EQ(quit->shortcut(), QKeySequence(QKeySequence::Quit));
    EXPECT_NE(action(window, u"How It Works"_s), nullptr);
    QAction* questions = action(window, u"Questions? Post to #quillon on Slack"_s);
    ASSERT_NE(questions, nullptr);
    EXPECT_FALSE(questions->isEnabled());
}

TEST_F(MainWindowTest, QuitDuringACaptureAsksWithTheAlertsWordsAndCancelKeepsGoing) {
    NorvaneApp app(log);
    MainWindow window(app);
    window.show();
    app.appState().startReplay(CaptureConfig{});
    action(window, u"Quit Norvane"_s)->trigger();
    QMessageBox* alert = window.quitAlert();
    ASSERT_NE(alert, nullptr);
    EXPECT_EQ(alert->text(), u"<b>A test is running</b>"_s);
    EXPECT_EQ(alert->windowTitle(), u"A test is running"_s);
    EXPECT_EQ(alert->informativeText(),
              u"Stopping now will end the current capture. Results collected so far will be saved."_s);
    QStringList buttons;
    for (QAbstractButton* button : alert->buttons())
        buttons.append(button->text());
    buttons.sort();
    EXPECT_EQ(buttons, (QStringList{u"Cancel"_s, u"Stop and Quit"_s}));

    alert->escapeButton()->click();
    QApplication::processEvents();
    EXPECT_FALSE(app.showQuitConfirmation());
    EXPECT_EQ(window.currentScreenName(), u"running"_s);
}

TEST_F(MainWindowTest, ClosingTheWindowDuringACaptureAsksFirstAndKeepsTheWindow) {
    NorvaneApp app(log);
    MainWindow window(app);
    window.show();
    app.appState().startReplay(CaptureConfig{});
    EXPECT_FALSE(window.close());
    EXPECT_TRUE(window.isVisible());
    ASSERT_NE(window.quitAlert(), nullptr);
    EXPECT_TRUE(app.showQuitConfirmation());
    window.quitAlert()->escapeButton()->click();
    QApplication::processEvents();
    EXPECT_FALSE(app.showQuitConfirmation());
}

TEST_F(MainWindowTest, UpdateGateCoversTheScreensWhileTheyGoOnBehindIt) {
    NorvaneApp app(log);
    MainWindow window(app);
    window.show();
    auto* notice = new QLabel(u"update required"_s);
    window.showUpdateGate(notice);
    EXPECT_TRUE(window.isUpdateGateShown());
    EXPECT_TRUE(notice->isVisible());
    app.appState().startReplay(CaptureConfig{});
    EXPECT_EQ(window.currentScreenName(), u"running"_s);
    EXPECT_TRUE(window.isUpdateGateShown());
    window.removeUpdateGate();
    EXPECT_FALSE(window.isUpdateGateShown());
    EXPECT_EQ(window.currentScreenName(), u"running"_s);
}

} // namespace

TEST_F(MainWindowTest, TestHistoryOpensOneWindowFromTheMenuAndRaisesItAgain) {
    NorvaneApp app(log);
    MainWindow window(app);
    window.show();
    QAction* history = action(window, u"Test History"_s);
    ASSERT_NE(history, nullptr);
    history->trigger();
    QApplication::processEvents();
    const QList<CapturePickerWindow*> open = window.findChildren<CapturePickerWindow*>();
    ASSERT_EQ(open.size(), 1);
    EXPECT_TRUE(open.first()->isVisible());
    EXPECT_EQ(open.first()->windowTitle(), u"Test History"_s);
    emit window.captureHistoryRequested();
    QApplication::processEvents();
    EXPECT_EQ(window.findChildren<CapturePickerWindow*>().size(), 1)
        << "the open window is raised, not doubled";
    EXPECT_EQ(window.openCaptureHistory(), open.first());
}

TEST_F(MainWindowTest, TheResultsScreensHistoryButtonOpensTestHistory) {
    NorvaneApp app(log);
    MainWindow window(app);
    window.show();
    AppStateTestAccess::setScreen(app.appState(), AppState::Screen::results);
    QApplication::processEvents();
    QPushButton* historyButton = nullptr;
    for (QPushButton* button : window.findChildren<QPushButton*>()) {
        if (button->text() == u"History"_s && button->isVisible())
            historyButton = button;
    }
    ASSERT_NE(historyButton, nullptr);
    historyButton->click();
    QApplication::processEvents();
    ASSERT_EQ(window.findChildren<CapturePickerWindow*>().size(), 1);
    EXPECT_TRUE(window.findChildren<CapturePickerWindow*>().first()->isVisible());
}
