#include "screens/FinishingScreen.h"

#include "base/VirtualClock.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/AppStateTestAccess.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <memory>

using namespace Qt::StringLiterals;
using Screen = AppState::Screen;

namespace {

const QString completeLine =
    uR"({"event":"complete","samples":310,"csv_file":"/tmp/capture.csv","duration_sec":62})"_s;

} // namespace

TEST(FinishingScreenRule, OnlyACaptureStillFinishingMovesOnToTheCelebration) {
    EXPECT_EQ(FinishingScreen::screenAfterWait(Screen::finishing), Screen::celebration);
    for (Screen other : {Screen::bootstrapping, Screen::setup, Screen::running, Screen::celebration,
                         Screen::results, Screen::diagnostics})
        EXPECT_EQ(FinishingScreen::screenAfterWait(other), std::nullopt)
            << AppState::screenName(other).toStdString();
}

TEST(FinishingScreenRule, SaysItIsSavingResults) {
    EXPECT_EQ(FinishingScreen::message(), u"Saving results..."_s);
    EXPECT_EQ(FinishingScreen::fallbackSeconds, 30.0);
    EXPECT_EQ(FinishingScreen::spacing, 16);
}

class FinishingScreenTest : public ::testing::Test {
protected:
    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    AppState state{log};
    int moves = 0;
    // The move as it would be made from inside AppState: the screen changes, nothing else.
    FinishingScreen screen{state, [this] {
                               ++moves;
                               AppStateTestAccess::setScreen(state, Screen::celebration);
                           }};

    void SetUp() override {
        state.setUploadsSuppressed(true);
        // A capture without a child, stopped by the user: the finishing screen is up and nothing will
        // ever end it but the fallback.
        state.startReplay(CaptureConfig{});
        state.stopCapture();
        ASSERT_EQ(state.screen(), Screen::finishing);
    }

    void feed(const QString& json) { state.pythonProcess().processLine(json); }
};

TEST_F(FinishingScreenTest, TheFallbackFiresAtExactlyThirtySeconds) {
    screen.appear();
    time.advance(29.999);
    EXPECT_EQ(state.screen(), Screen::finishing);
    EXPECT_TRUE(screen.isWaiting());
    time.advance(0.001);
    EXPECT_EQ(state.screen(), Screen::celebration);
    EXPECT_EQ(moves, 1);
    EXPECT_FALSE(screen.isWaiting());
}

TEST_F(FinishingScreenTest, CompleteAfterTwoSecondsShowsTheCelebrationAndTheWaitDoesNothing) {
    screen.appear();
    time.advance(2);
    feed(completeLine);
    EXPECT_EQ(state.screen(), Screen::celebration);
    ASSERT_TRUE(state.completeEvent());
    // The celebration moves on to the results long before the wait is up; the wait must not pull the
    // program back.
    time.advance(10);
    AppStateTestAccess::setScreen(state, Screen::results);
    time.advance(20);
    EXPECT_EQ(moves, 0);
    EXPECT_EQ(state.screen(), Screen::results);
}

TEST_F(FinishingScreenTest, TheScreenIsReadAfterTheWaitNotBefore) {
    screen.appear();
    AppStateTestAccess::setScreen(state, Screen::diagnostics);
    time.advance(15);
    AppStateTestAccess::setScreen(state, Screen::finishing);
    time.advance(15);
    EXPECT_EQ(moves, 1) << "finishing again when the wait ends";
    EXPECT_EQ(state.screen(), Screen::celebration);
}

TEST_F(FinishingScreenTest, LeavingTheScreenEndsTheWaitAsIfItRanOut) {
    screen.appear();
    time.advance(5);
    screen.disappear();
    EXPECT_EQ(state.screen(), Screen::celebration);
    EXPECT_EQ(moves, 1);
    EXPECT_FALSE(screen.isWaiting());
    time.advance(30);
    EXPECT_EQ(moves, 1) << "the wait ended once";
}

TEST_F(FinishingScreenTest, LeavingBecauseTheCaptureMovedOnChangesNothing) {
    screen.appear();
    feed(completeLine);
    ASSERT_EQ(state.screen(), Screen::celebration);
    AppStateTestAccess::setScreen(state, Screen::results);
    screen.disappear();
    EXPECT_EQ(moves, 0);
    EXPECT_EQ(state.screen(), Screen::results);
}

TEST_F(FinishingScreenTest, LeavingWithoutHavingAppearedDoesNothing) {
    screen.disappear();
    EXPECT_EQ(moves, 0);
    EXPECT_EQ(state.screen(), Screen::finishing);
}

TEST_F(FinishingScreenTest, AppearingAgainWaitsTheFullLengthAgain) {
    screen.appear();
    time.advance(20);
    screen.appear();
    time.advance(20);
    EXPECT_EQ(state.screen(), Screen::finishing);
    time.advance(10);
    EXPECT_EQ(state.screen(), Screen::celebration);
    EXPECT_EQ(moves, 1);
}

TEST_F(FinishingScreenTest, NoWaitOutlivesTheScreen) {
    auto shortLived = std::make_unique<FinishingScreen>(state, [this] { ++moves; });
    shortLived->appear();
    shortLived.reset();
    time.advance(60);
    EXPECT_EQ(moves, 0);
    EXPECT_EQ(state.screen(), Screen::finishing);
}

// The move that the program makes: AppState's own way out of a wait that ran out.
class FinishingScreenTerminationTest : public FinishingScreenTest {
protected:
    FinishingScreen delivered{state, [this] { state.finishingWaitRanOut(); }};
};

TEST_F(FinishingScreenTerminationTest, AChildThatNeverEndsLeadsToTheCelebrationWithoutCompleteEvent) {
    delivered.appear();
    time.advance(29.9);
    EXPECT_EQ(state.screen(), Screen::finishing);
    time.advance(0.1);
    EXPECT_EQ(state.screen(), Screen::celebration);
    EXPECT_FALSE(state.completeEvent());
}
