#include "screens/CapturePickerScreen.h"

#include "capture/CaptureDataTestSupport.h"
#include "core/AppState.h"
#include "services/FileLogger.h"
#include "support/TempHome.h"
#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;
using Screen = AppState::Screen;
using State = CapturePickerScreen::State;

TEST(CapturePickerScreenWords, AreTheWindowsOwn) {
    EXPECT_EQ(CapturePickerScreen::windowTitle, u"Test History"_s);
    EXPECT_EQ(CapturePickerScreen::loadingText, u"Scanning captures..."_s);
    EXPECT_EQ(CapturePickerScreen::emptyTitle, u"No captures found"_s);
    EXPECT_EQ(CapturePickerScreen::emptyMessage,
              u"Run a test first, or check the capture directory in Settings"_s);
    EXPECT_EQ(CapturePickerScreen::emptySymbol, u"doc.text.magnifyingglass"_s);
    EXPECT_EQ(CapturePickerScreen::filterPlaceholder, u"Filter by date, location, or network"_s);
    EXPECT_EQ(CapturePickerScreen::loadButtonTitle, u"Load Results"_s);
    EXPECT_EQ(CapturePickerScreen::cancelButtonTitle, u"Cancel"_s);
    EXPECT_EQ(CapturePickerScreen::deleteMenuTitle, u"Delete"_s);
    EXPECT_EQ(CapturePickerScreen::deleteAlertTitle, u"Delete Capture?"_s);
    EXPECT_EQ(CapturePickerScreen::deleteAlertMessage,
              u"This will permanently delete the capture CSV and associated files. This cannot be undone."_s);
    EXPECT_EQ(CapturePickerScreen::deleteAlertConfirm, u"Delete"_s);
    EXPECT_EQ(CapturePickerScreen::deleteAlertCancel, u"Cancel"_s);
}

class CapturePickerScreenTest : public ::testing::Test {
protected:
    TempHome home;
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    AppState state{log};
    const Screen firstScreen = state.screen();
    QTemporaryDir folder;
    QList<Screen> screensAtDismiss;
    CapturePickerScreen screen{state, folder.path(), [this] { screensAtDismiss.append(state.screen()); }};
    QAbstractItemModelTester tester{&screen.library(), QAbstractItemModelTester::FailureReportingMode::Fatal};

    void SetUp() override { state.setUploadsSuppressed(true); }

    // Shows the window's face after the scan of the folder.
    void appearAndWait() {
        QSignalSpy changed(&screen, &CapturePickerScreen::stateChanged);
        screen.appear();
        ASSERT_EQ(screen.state(), State::loading);
        while (screen.library().isLoading())
            ASSERT_TRUE(changed.wait(60'000));
    }
    void selectNetwork(const QString& network) {
        for (const CaptureSummary& capture : screen.library().captures()) {
            if (capture.network == network)
                screen.library().setSelected(capture.id);
        }
        ASSERT_TRUE(screen.library().selected());
    }
};

TEST_F(CapturePickerScreenTest, StartsLoadingUntilItAppears) {
    EXPECT_EQ(screen.state(), State::loading);
    EXPECT_FALSE(screen.showDeleteAlert());
    EXPECT_FALSE(screen.canLoadSelected());
}

TEST_F(CapturePickerScreenTest, AFolderWithoutCapturesShowsTheEmptyStateWithNoError) {
    appearAndWait();
    EXPECT_EQ(screen.state(), State::empty);
    EXPECT_FALSE(state.errorMessage());
    EXPECT_EQ(state.screen(), firstScreen);
}

TEST_F(CapturePickerScreenTest, AFolderThatDoesNotExistShowsTheEmptyStateToo) {
    CapturePickerScreen missing(state, folder.filePath(u"not-there"_s), [] {});
    QSignalSpy changed(&missing, &CapturePickerScreen::stateChanged);
    missing.appear();
    ASSERT_TRUE(changed.wait(60'000));
    EXPECT_EQ(missing.state(), State::empty);
}

TEST_F(CapturePickerScreenTest, CapturesShowTheTableAndAFilterThatMatchesNothingKeepsIt) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    appearAndWait();
    EXPECT_EQ(screen.state(), State::table);
    EXPECT_EQ(screen.library().rowCount(), 3);
    screen.library().setFilterText(u"matches no capture at all"_s);
    EXPECT_EQ(screen.library().rowCount(), 0);
    EXPECT_EQ(screen.state(), State::table);
}

TEST_F(CapturePickerScreenTest, AppearingAgainDoesNotScanAgain) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    appearAndWait();
    screen.library().setSelected(screen.library().captures().first().id);
    screen.appear();
    EXPECT_FALSE(screen.library().isLoading());
    EXPECT_TRUE(screen.library().selected());
}

TEST_F(CapturePickerScreenTest, LoadWithNothingSelectedDoesNothing) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    appearAndWait();
    screen.loadSelected();
    EXPECT_TRUE(screensAtDismiss.isEmpty());
    EXPECT_EQ(state.screen(), firstScreen);
}

TEST_F(CapturePickerScreenTest, LoadOfASelectionTheFilterHidesDoesNothing) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    appearAndWait();
    selectNetwork(u"Guest WiFi"_s);
    screen.library().setFilterText(u"Airport"_s);
    EXPECT_TRUE(screen.canLoadSelected());
    screen.loadSelected();
    EXPECT_TRUE(screensAtDismiss.isEmpty());
    EXPECT_EQ(state.screen(), firstScreen);
}

TEST_F(CapturePickerScreenTest, LoadDismissesFirstThenOpensTheCaptureInTheResults) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    appearAndWait();
    selectNetwork(u"Guest WiFi"_s);
    screen.loadSelected();
    EXPECT_EQ(screensAtDismiss, QList<Screen>{firstScreen});
    EXPECT_EQ(state.screen(), Screen::results);
    EXPECT_FALSE(state.errorMessage());
    EXPECT_EQ(state.captureLocation(), u"Hotel Lobby"_s);
}

TEST_F(CapturePickerScreenTest, DeleteAsksFirstAndCancelKeepsEverything) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    appearAndWait();
    selectNetwork(u"Guest WiFi"_s);
    const QString csv = *screen.library().selectedCsvPath();
    QSignalSpy alert(&screen, &CapturePickerScreen::deleteAlertChanged);
    screen.requestDelete();
    EXPECT_TRUE(screen.showDeleteAlert());
    EXPECT_TRUE(QFileInfo::exists(csv));
    screen.cancelDelete();
    EXPECT_FALSE(screen.showDeleteAlert());
    EXPECT_EQ(alert.count(), 2);
    EXPECT_TRUE(QFileInfo::exists(csv));
    EXPECT_EQ(screen.library().allCaptures().size(), 3);
    EXPECT_TRUE(screen.library().selected());
}

TEST_F(CapturePickerScreenTest, AfterADeleteTheSelectionIsEmptyAndLoadIsDisabled) {
    copyTestFolder(testDataPath(u"library/basic"_s), folder.path());
    appearAndWait();
    selectNetwork(u"Guest WiFi"_s);
    const QString csv = *screen.library().selectedCsvPath();
    const QString raw = QString(csv).replace(u".csv"_s, u"_throughput_raw.csv"_s);
    ASSERT_TRUE(QFileInfo::exists(raw));
    screen.requestDelete();
    screen.confirmDelete();
    EXPECT_FALSE(screen.showDeleteAlert());
    EXPECT_FALSE(screen.library().selected());
    EXPECT_FALSE(screen.canLoadSelected());
    EXPECT_FALSE(QFileInfo::exists(csv));
    EXPECT_FALSE(QFileInfo::exists(raw));
    EXPECT_EQ(screen.library().allCaptures().size(), 2);
    EXPECT_FALSE(readFile(folder.filePath(u"captures.json"_s)).contains("Hotel Lobby"));
    EXPECT_EQ(screen.state(), State::table);
}

TEST_F(CapturePickerScreenTest, DeletingTheLastCaptureShowsTheEmptyState) {
    copyTestFolder(testDataPath(u"library/single"_s), folder.path());
    appearAndWait();
    ASSERT_EQ(screen.state(), State::table);
    selectNetwork(u"Guest WiFi"_s);
    QSignalSpy changed(&screen, &CapturePickerScreen::stateChanged);
    screen.requestDelete();
    screen.confirmDelete();
    EXPECT_GE(changed.count(), 1);
    EXPECT_EQ(screen.state(), State::empty);
}
