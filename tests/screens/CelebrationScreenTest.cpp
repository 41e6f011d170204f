#include "screens/CelebrationScreen.h"

#include "capture/ResultsAnalysis.h"
#include "core/AppState.h"
#include "support/CaptureLines.h"
#include "support/ReplayedSession.h"

#include <gtest/gtest.h>

#include <QSet>
#include <QSignalSpy>

using namespace Qt::StringLiterals;
using Appreciation = TriviaContent::Appreciation;
using Screen = AppState::Screen;

namespace {

QList<Appreciation> oneOfEachCategory() {
    return {
        {u"general"_s, u"thanks general"_s}, {u"short_run"_s, u"thanks short"_s},
        {u"long_run"_s, u"thanks long"_s},   {u"french"_s, u"merci"_s},
        {u"german"_s, u"danke"_s},           {u"japanese"_s, u"ありがとう"_s},
    };
}

const QList<Appreciation> shortAndLongOnly{{u"short_run"_s, u"thanks short"_s},
                                           {u"long_run"_s, u"thanks long"_s}};

QStringList labels(const QList<CelebrationRow>& rows) {
    QStringList result;
    for (const CelebrationRow& row : rows)
        result.append(row.label);
    return result;
}

std::optional<CelebrationRow> rowNamed(const QList<CelebrationRow>& rows, const QString& label) {
    for (const CelebrationRow& row : rows) {
        if (row.label == label)
            return row;
    }
    return std::nullopt;
}

} // namespace

// --- texts and rules without a session ---------------------------------------------------------------

TEST(CelebrationText, AnimatedValuesCountUpFromZeroTogether) {
    EXPECT_EQ(formatAnimatedValue(std::nullopt, u"ms (P50)"_s, 1), u"---"_s);
    EXPECT_EQ(formatAnimatedValue(std::nullopt, u"%"_s, 0.5), u"---"_s);
    EXPECT_EQ(formatAnimatedValue(3.0, u"%"_s, 0.5), u"1.5"_s);
    EXPECT_EQ(formatAnimatedValue(3.0, u"%"_s, 0), u"0.0"_s);
    EXPECT_EQ(formatAnimatedValue(3.0, u"%"_s, 1), u"3.0"_s);
    EXPECT_EQ(formatAnimatedValue(87.9, u"ms (P50)"_s, 1), u"87"_s) << "a whole number, truncated";
    EXPECT_EQ(formatAnimatedValue(100, u"Mbps"_s, 0.5), u"50"_s);
    EXPECT_EQ(formatAnimatedValue(100, u"Mbps"_s, 0), u"0"_s);
}

TEST(CelebrationText, TheVerdictIsGoodWithoutAnyFigureAndAllFourRowsShowDashes) {
    const CelebrationFigures figures = CelebrationFigures::fromCapture(CaptureSnapshot{});
    EXPECT_EQ(figures.quality, QualityRating::good);
    EXPECT_TRUE(figures.isCelebration());
    const QList<CelebrationRow> rows = celebrationRows(figures);
    EXPECT_EQ(labels(rows), (QStringList{u"Latency"_s, u"Loss"_s, u"Download"_s, u"Upload"_s}));
    for (const CelebrationRow& row : rows) {
        EXPECT_EQ(row.valueText(1), u"---"_s) << row.label.toStdString();
        EXPECT_EQ(row.unitText(), QString()) << "no unit beside a missing figure";
    }
    EXPECT_EQ(rows.at(0).unit, u"ms (P50)"_s);
    EXPECT_EQ(rows.at(1).unit, u"%"_s);
    EXPECT_EQ(rows.at(2).unit, u"Mbps"_s);
    EXPECT_EQ(rows.at(3).unit, u"Mbps"_s);
}

TEST(CelebrationText, OnlyGoodOrBetterIsACelebration) {
    for (const QualityRating::Value value : QualityRating::allCases()) {
        CelebrationFigures figures;
        figures.quality = value;
        EXPECT_EQ(figures.isCelebration(), QualityRating(value) <= QualityRating::good);
    }
}

TEST(CelebrationText, YouTubeResolutionOf1920x1080ShowsTheText1080pAnd3840x2160Shows4K) {
    CaptureSnapshot capture;
    capture.youtubeAbrResolution = u"1920x1080"_s;
    capture.youtubeSegmentMbps = {30.0};
    std::optional<CelebrationRow> row =
        rowNamed(celebrationRows(CelebrationFigures::fromCapture(capture)), u"YouTube"_s);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->value, std::nullopt) << "the player's resolution wins over the segment rate";
    EXPECT_EQ(row->valueText(0), u"1080p"_s);
    EXPECT_EQ(row->valueText(1), u"1080p"_s);
    EXPECT_EQ(row->unitText(), QString());

    capture.youtubeAbrResolution = u"3840x2160"_s;
    row = rowNamed(celebrationRows(CelebrationFigures::fromCapture(capture)), u"YouTube"_s);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->valueText(1), u"4K"_s);
}

TEST(CelebrationText, YouTubeSegmentsAloneGiveARateWithTheResolutionItCarries) {
    CaptureSnapshot capture;
    capture.youtubeSegmentMbps = {1.0, 2.0, 3.0};
    const CelebrationFigures figures = CelebrationFigures::fromCapture(capture);
    EXPECT_EQ(figures.youTubeMbps, 2.0);
    EXPECT_EQ(figures.youTubeRes, u"1080p"_s);
    const std::optional<CelebrationRow> row = rowNamed(celebrationRows(figures), u"YouTube"_s);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->unitText(), u"Mbps (~1080p)"_s);
    EXPECT_EQ(row->valueText(1), u"2"_s);
}

TEST(CelebrationText, YouTubeThresholdsOfTheSegmentRate) {
    const std::pair<double, QString> cases[] = {{9, u"4K"_s},      {8.99, u"1440p"_s}, {4, u"1440p"_s},
                                                {1.6, u"1080p"_s}, {0.8, u"720p"_s},   {0.79, u"SD"_s}};
    for (const auto& [mbps, resolution] : cases) {
        CaptureSnapshot capture;
        capture.youtubeSegmentMbps = {mbps};
        EXPECT_EQ(CelebrationFigures::fromCapture(capture).youTubeRes, resolution) << mbps;
    }
}

TEST(CelebrationText, NetflixRowOnlyWhenMeasuredWithTheResolutionItCarries) {
    CaptureSnapshot capture;
    EXPECT_FALSE(rowNamed(celebrationRows(CelebrationFigures::fromCapture(capture)), u"Netflix"_s));
    const std::pair<double, QString> cases[] = {
        {8, u"4K"_s}, {4, u"1080p"_s}, {3.99, u"720p"_s}, {2, u"720p"_s}, {1.5, u"SD"_s}};
    for (const auto& [mbps, resolution] : cases) {
        capture.cdnThroughputPoints = {{u"netflix_oca"_s, mbps, QDateTime()}};
        const std::optional<CelebrationRow> row =
            rowNamed(celebrationRows(CelebrationFigures::fromCapture(capture)), u"Netflix"_s);
        ASSERT_TRUE(row) << mbps;
        EXPECT_EQ(row->unitText(), u"Mbps (~"_s + resolution + u')') << mbps;
    }
}

TEST(CelebrationText, RowsComeInTheirOrderWithVideoLast) {
    CaptureSnapshot capture;
    capture.cdnThroughputPoints = {{u"netflix_oca"_s, 5, QDateTime()}};
    capture.youtubeAbrResolution = u"1280x720"_s;
    EXPECT_EQ(labels(celebrationRows(CelebrationFigures::fromCapture(capture))),
              (QStringList{u"Latency"_s, u"Loss"_s, u"Download"_s, u"Upload"_s, u"Netflix"_s, u"YouTube"_s}));
}

TEST(CelebrationText, TheMediansOfTheSpeedTestsComeFirstAndMoreThanOneTestSaysP50) {
    CaptureSnapshot capture;
    capture.throughputPoints = {{1, 10, u"download"_s, u"t"_s, QDateTime()},
                                {2, 30, u"download"_s, u"t"_s, QDateTime()},
                                {3, 50, u"download"_s, u"t"_s, QDateTime()},
                                {4, 0.8, u"upload"_s, u"t"_s, QDateTime()}};
    capture.stats.downloadMbps = 300; // the last rate, which the results' verdict would read
    capture.stats.uploadMbps = 200;
    const CelebrationFigures figures = CelebrationFigures::fromCapture(capture);
    EXPECT_EQ(figures.downloadMbps, 30.0);
    EXPECT_EQ(figures.uploadMbps, 0.8);
    EXPECT_EQ(figures.quality, QualityRating::impaired) << "the median upload of 0.8 Mbps rates impaired";
    EXPECT_EQ(ResultsAnalysis::quality(capture), QualityRating::superior)
        << "the results read the last rates";
    const QList<CelebrationRow> rows = celebrationRows(figures);
    EXPECT_EQ(rows.at(2).unitText(), u"Mbps (P50)"_s);
    EXPECT_EQ(rows.at(3).unitText(), u"Mbps"_s);
}

TEST(CelebrationText, WithoutSpeedTestsTheLastRatesStandIn) {
    CaptureSnapshot capture;
    capture.stats.downloadMbps = 250;
    capture.stats.uploadMbps = 120;
    const CelebrationFigures figures = CelebrationFigures::fromCapture(capture);
    EXPECT_EQ(figures.downloadMbps, 250.0);
    EXPECT_EQ(figures.uploadMbps, 120.0);
    EXPECT_EQ(figures.quality, QualityRating::superior);
}

TEST(CelebrationText, AGeostationaryLinkIsRatedOnItsOwnScale) {
    CaptureSnapshot capture;
    capture.stats.latencyMs = 620;
    capture.latencyPoints = {{QDateTime(), 620, false, u"ping"_s, u"1.1.1.1"_s}};
    const CelebrationFigures figures = CelebrationFigures::fromCapture(capture);
    EXPECT_TRUE(figures.isGeo);
    EXPECT_EQ(figures.quality, QualityRating::good);
}

TEST(CelebrationMessage, ImpairedOrWorseGetsOneOfTheFiveFixedTexts) {
    EXPECT_EQ(CelebrationScreen::toughConditionsMessages,
              (QStringList{u"Tough conditions — your data still helps."_s,
                           u"Not great, but now we know. Thank you."_s,
                           u"Hard to test in rough conditions. We appreciate it."_s,
                           u"Even bad results are good data."_s,
                           u"The network struggled, but the capture didn’t. Thanks."_s}));
    QSet<QString> seen;
    for (quint32 seed = 0; seed < 200; ++seed) {
        QRandomGenerator random(seed);
        for (const QualityRating rating : {QualityRating::impaired, QualityRating::broken}) {
            const QString message = CelebrationScreen::chooseMessage(rating, 60, oneOfEachCategory(), random);
            EXPECT_TRUE(CelebrationScreen::toughConditionsMessages.contains(message))
                << message.toStdString();
            seen.insert(message);
        }
    }
    EXPECT_EQ(seen.size(), 5) << "each of the five can come up";
}

TEST(CelebrationMessage, FairAndBetterDrawFromTheThanksThatFitTheRun) {
    const QSet<QString> shortRun{u"thanks general"_s, u"thanks short"_s, u"merci"_s, u"danke"_s,
                                 u"ありがとう"_s};
    QSet<QString> seen;
    for (quint32 seed = 0; seed < 200; ++seed) {
        QRandomGenerator random(seed);
        for (const QualityRating::Value value :
             {QualityRating::superior, QualityRating::excellent, QualityRating::good, QualityRating::fair})
            seen.insert(CelebrationScreen::chooseMessage(value, 120, oneOfEachCategory(), random));
    }
    EXPECT_EQ(seen, shortRun);
}

TEST(CelebrationMessage, ExactlyThreeHundredSecondsUsesShortRun) {
    for (quint32 seed = 0; seed < 50; ++seed) {
        QRandomGenerator random(seed);
        EXPECT_EQ(CelebrationScreen::chooseMessage(QualityRating::good, 300, shortAndLongOnly, random),
                  u"thanks short"_s);
        EXPECT_EQ(CelebrationScreen::chooseMessage(QualityRating::good, 300.001, shortAndLongOnly, random),
                  u"thanks long"_s);
    }
}

TEST(CelebrationMessage, AnEmptyAppreciationsTableGivesThanksForTesting) {
    QRandomGenerator random(1);
    EXPECT_EQ(CelebrationScreen::chooseMessage(QualityRating::good, 60, {}, random),
              u"Thanks for testing with us."_s);
    EXPECT_EQ(CelebrationScreen::chooseMessage(QualityRating::fair, 60, {{u"unknown"_s, u"x"_s}}, random),
              u"Thanks for testing with us."_s)
        << "none in the chosen categories counts as none";
}

TEST(CelebrationMessage, TheRunLastsAsLongAsTheCompleteEventSaysElseTheElapsedTime) {
    CaptureSnapshot capture;
    capture.stats.elapsedSec = 42;
    EXPECT_EQ(CelebrationScreen::runDuration(capture), 42);
    capture.durationSec = 300;
    EXPECT_EQ(CelebrationScreen::runDuration(capture), 300);
}

// --- the sequence on a session -------------------------------------------------------------------------

class CelebrationScreenTest : public ReplayedSession {
protected:
    CelebrationScreen screen{state};
    QDateTime start;

    void SetUp() override {
        ReplayedSession::SetUp();
        screen.setAppreciations(oneOfEachCategory());
        screen.setRandomSeed(7);
    }

    // Five answered pings at `rttMs`, fast speed tests, and the end of a run of `seconds`.
    void finishCapture(double rttMs, double seconds = 62) {
        for (int second = 1; second <= 5; ++second)
            feed(CaptureLines::ping(rttMs, second));
        feed(CaptureLines::speedTest(u"download"_s, 150, 1));
        feed(CaptureLines::speedTest(u"upload"_s, 60, 2));
        feed(CaptureLines::complete(seconds));
        ASSERT_EQ(state.screen(), Screen::celebration);
    }
    void appear() {
        start = time.now();
        screen.appear();
    }
    double elapsed() const { return double(start.msecsTo(time.now())) / 1000.0; }
    // Moves the clock to `seconds` after the screen appeared.
    void advanceTo(double seconds) { time.advance(seconds - elapsed()); }
};

TEST_F(CelebrationScreenTest, TheFiguresAreTakenOnceWhenTheScreenAppears) {
    finishCapture(30);
    appear();
    EXPECT_EQ(screen.quality(), QualityRating::excellent);
    EXPECT_EQ(screen.figures().latencyMs, 30.0);
    EXPECT_EQ(screen.figures().lossPct, 0.0);
    EXPECT_EQ(screen.figures().downloadMbps, 150.0);
    EXPECT_EQ(screen.verdictText(), u"Excellent"_s);
    EXPECT_TRUE(screen.isCelebration());
    EXPECT_EQ(labels(screen.rows()), (QStringList{u"Latency"_s, u"Loss"_s, u"Download"_s, u"Upload"_s}));
}

TEST_F(CelebrationScreenTest, StepsFollowEachOtherWithTheirExactWaits) {
    finishCapture(30);
    QSignalSpy screens(&state, &AppState::screenChanged);
    appear();
    // Step 1: the rows one by one.
    EXPECT_TRUE(screen.showStat(0));
    EXPECT_FALSE(screen.showStat(1));
    advanceTo(0.079);
    EXPECT_FALSE(screen.showStat(1));
    advanceTo(0.08);
    EXPECT_TRUE(screen.showStat(1));
    advanceTo(0.16);
    EXPECT_TRUE(screen.showStat(2));
    EXPECT_FALSE(screen.showStat(3));
    advanceTo(0.24);
    EXPECT_TRUE(screen.showStat(3));
    // Step 2: the counting up, 0.1 s after the last row.
    advanceTo(0.339);
    EXPECT_EQ(screen.statProgress(time.now()), 0);
    advanceTo(0.34);
    EXPECT_GT(screen.statProgress(time.now().addMSecs(1)), 0);
    // Step 3: the divider 0.6 s later.
    advanceTo(0.939);
    EXPECT_FALSE(screen.showDivider());
    advanceTo(0.94);
    EXPECT_TRUE(screen.showDivider());
    // Step 4: the ring 0.1 s later; steps 5 and 6, verdict and confetti, 0.1 s after it.
    advanceTo(1.039);
    EXPECT_FALSE(screen.showRing());
    advanceTo(1.04);
    EXPECT_TRUE(screen.showRing());
    EXPECT_FALSE(screen.showVerdict());
    advanceTo(1.14);
    EXPECT_TRUE(screen.showVerdict());
    EXPECT_TRUE(screen.confettiLaunched());
    EXPECT_EQ(screen.particles().size(), 38);
    // Step 7: the message 0.3 s later; step 8: the skip hint 0.8 s after that.
    advanceTo(1.439);
    EXPECT_FALSE(screen.showMessage());
    advanceTo(1.44);
    EXPECT_TRUE(screen.showMessage());
    advanceTo(2.239);
    EXPECT_FALSE(screen.showSkipHint());
    advanceTo(2.24);
    EXPECT_TRUE(screen.showSkipHint());
    // Step 9: the results, 3 s after the hint.
    advanceTo(5.239);
    EXPECT_EQ(state.screen(), Screen::celebration);
    EXPECT_TRUE(screen.isSequenceRunning());
    advanceTo(5.24);
    EXPECT_EQ(state.screen(), Screen::results);
    EXPECT_FALSE(screen.isSequenceRunning());
    EXPECT_EQ(screens.count(), 1);
}

TEST_F(CelebrationScreenTest, SixRowsTakeTwoMoreRowGaps) {
    feed(CaptureLines::netflix(12));
    feed(CaptureLines::youTubeAbr(u"1920x1080"_s));
    finishCapture(30);
    appear();
    ASSERT_EQ(screen.rows().size(), 6);
    advanceTo(0.4);
    EXPECT_TRUE(screen.showStat(5));
    advanceTo(0.499);
    EXPECT_EQ(screen.statProgress(time.now()), 0);
    advanceTo(5.399);
    EXPECT_EQ(state.screen(), Screen::celebration);
    advanceTo(5.4);
    EXPECT_EQ(state.screen(), Screen::results);
    const std::optional<CelebrationRow> youTube = rowNamed(screen.rows(), u"YouTube"_s);
    ASSERT_TRUE(youTube);
    EXPECT_EQ(youTube->valueText(screen.statProgress(time.now())), u"1080p"_s);
}

TEST_F(CelebrationScreenTest, FigureCountUpWithAnEaseOutOverEightTenthsOfASecond) {
    finishCapture(30);
    appear();
    const CelebrationRow& latency = screen.rows().at(0);
    advanceTo(0.3);
    EXPECT_EQ(latency.valueText(screen.statProgress(time.now())), u"0"_s);
    advanceTo(0.34 + 0.4);
    const double halfway = screen.statProgress(time.now());
    EXPECT_GT(halfway, 0.5) << "an ease-out is past the middle at half time";
    EXPECT_LT(halfway, 1);
    const int shown = latency.valueText(halfway).toInt();
    EXPECT_GT(shown, 15);
    EXPECT_LT(shown, 30);
    advanceTo(0.34 + 0.8);
    EXPECT_EQ(screen.statProgress(time.now()), 1);
    EXPECT_EQ(latency.valueText(screen.statProgress(time.now())), u"30"_s);
}

TEST_F(CelebrationScreenTest, RowsFadeInOverThreeTenthsOfASecond) {
    finishCapture(30);
    appear();
    EXPECT_EQ(screen.rowOpacity(0, time.now()), 0);
    EXPECT_EQ(screen.rowOpacity(1, time.now()), 0);
    advanceTo(0.15);
    EXPECT_GT(screen.rowOpacity(0, time.now()), 0.5);
    EXPECT_LT(screen.rowOpacity(0, time.now()), 1);
    advanceTo(0.3);
    EXPECT_EQ(screen.rowOpacity(0, time.now()), 1);
    EXPECT_EQ(screen.rowOpacity(7, time.now()), 0);
}

TEST_F(CelebrationScreenTest, TheRingGrowsToFourTimesAndFadesOut) {
    finishCapture(10);
    appear();
    EXPECT_EQ(screen.ringOpacity(time.now()), 0) << "no ring before its step";
    advanceTo(1.04);
    EXPECT_EQ(screen.ringScale(time.now()), 1);
    EXPECT_EQ(screen.ringOpacity(time.now()), 1);
    advanceTo(1.04 + 0.35);
    EXPECT_GT(screen.ringScale(time.now()), 2.5);
    EXPECT_LT(screen.ringOpacity(time.now()), 0.5);
    advanceTo(1.04 + 0.7);
    EXPECT_EQ(screen.ringScale(time.now()), 4);
    EXPECT_EQ(screen.ringOpacity(time.now()), 0);
}

TEST_F(CelebrationScreenTest, TheVerdictSpringsIntoPlaceWithAnOvershoot) {
    finishCapture(10);
    appear();
    advanceTo(1.14);
    EXPECT_EQ(screen.verdictScale(time.now()), CelebrationScreen::verdictStartScale);
    EXPECT_EQ(screen.verdictOpacity(time.now()), 0);
    double largest = 0;
    for (int step = 1; step <= 100; ++step) {
        time.advance(0.01);
        largest = std::max(largest, screen.verdictScale(time.now()));
        EXPECT_LE(screen.verdictOpacity(time.now()), 1);
    }
    EXPECT_GT(largest, 1.04) << "a damping of 0.6 overshoots";
    EXPECT_NEAR(screen.verdictScale(time.now()), 1, 0.01);
    EXPECT_EQ(screen.verdictOpacity(time.now()), 1);
}

TEST_F(CelebrationScreenTest, MessageFadesInAndTheSkipHintEasesInToHalfOpacity) {
    finishCapture(10);
    appear();
    advanceTo(1.44);
    EXPECT_EQ(screen.messageOpacity(time.now()), 0);
    advanceTo(1.44 + 0.4);
    EXPECT_EQ(screen.messageOpacity(time.now()), 1);
    EXPECT_EQ(screen.skipHintOpacity(time.now()), 0);
    advanceTo(2.24 + 0.25);
    EXPECT_GT(screen.skipHintOpacity(time.now()), 0);
    EXPECT_LT(screen.skipHintOpacity(time.now()), 0.25) << "an ease-in is behind the middle at half time";
    advanceTo(2.24 + 0.5);
    EXPECT_EQ(screen.skipHintOpacity(time.now()), 0.5);
}

TEST_F(CelebrationScreenTest, AFairVerdictHasNoRingNoConfettiAndTheSameTimingApartFromTheRing) {
    finishCapture(150);
    appear();
    EXPECT_EQ(screen.quality(), QualityRating::fair);
    EXPECT_FALSE(screen.isCelebration());
    EXPECT_TRUE(QStringList({u"thanks general"_s, u"thanks short"_s, u"merci"_s, u"danke"_s, u"ありがとう"_s})
                    .contains(screen.message()))
        << screen.message().toStdString();
    advanceTo(0.94);
    EXPECT_TRUE(screen.showDivider());
    advanceTo(1.039);
    EXPECT_FALSE(screen.showVerdict());
    advanceTo(1.04);
    EXPECT_TRUE(screen.showVerdict()) << "straight after the divider's wait";
    EXPECT_FALSE(screen.showRing());
    EXPECT_FALSE(screen.confettiLaunched());
    EXPECT_TRUE(screen.particles().isEmpty());
    EXPECT_TRUE(screen.confettiFrames(time.now()).isEmpty());
    advanceTo(1.339);
    EXPECT_FALSE(screen.showMessage());
    advanceTo(1.34);
    EXPECT_TRUE(screen.showMessage());
    advanceTo(2.14);
    EXPECT_TRUE(screen.showSkipHint());
    advanceTo(5.139);
    EXPECT_EQ(state.screen(), Screen::celebration);
    advanceTo(5.14);
    EXPECT_EQ(state.screen(), Screen::results);
    EXPECT_FALSE(screen.showRing());
}

TEST_F(CelebrationScreenTest, AnImpairedVerdictGetsOneOfTheFiveFixedTexts) {
    finishCapture(300);
    appear();
    EXPECT_EQ(screen.quality(), QualityRating::impaired);
    EXPECT_TRUE(CelebrationScreen::toughConditionsMessages.contains(screen.message()))
        << screen.message().toStdString();
}

TEST_F(CelebrationScreenTest, ARunOfExactlyThreeHundredSecondsGetsTheShortRunThanks) {
    screen.setAppreciations(shortAndLongOnly);
    finishCapture(30, 300);
    appear();
    EXPECT_EQ(screen.message(), u"thanks short"_s);
}

TEST_F(CelebrationScreenTest, ALongerRunGetsTheLongRunThanks) {
    screen.setAppreciations(shortAndLongOnly);
    finishCapture(30, 301);
    appear();
    EXPECT_EQ(screen.message(), u"thanks long"_s);
}

TEST_F(CelebrationScreenTest, AnEmptyAppreciationsTableGivesThanksForTestingWithUs) {
    screen.setAppreciations({});
    finishCapture(30);
    appear();
    EXPECT_EQ(screen.message(), u"Thanks for testing with us."_s);
}

TEST_F(CelebrationScreenTest, WithoutACompleteEventTheElapsedTimeChoosesTheThanks) {
    screen.setAppreciations(shortAndLongOnly);
    feed(CaptureLines::status(30, 900));
    state.stopCapture();
    state.finishingWaitRanOut();
    ASSERT_EQ(state.screen(), Screen::celebration);
    ASSERT_FALSE(state.completeEvent());
    appear();
    EXPECT_EQ(screen.message(), u"thanks long"_s);
}

TEST_F(CelebrationScreenTest, AClickDuringStepOneGoesStraightToResultsAndNothingRunsAfterwards) {
    finishCapture(30);
    QSignalSpy screens(&state, &AppState::screenChanged);
    QSignalSpy changes(&screen, &CelebrationScreen::changed);
    appear();
    advanceTo(0.1);
    ASSERT_TRUE(screen.showStat(1));
    ASSERT_FALSE(screen.showStat(2));
    const int changesBefore = int(changes.count());
    screen.advance();
    EXPECT_EQ(state.screen(), Screen::results);
    EXPECT_FALSE(screen.isSequenceRunning());
    time.advance(30);
    EXPECT_FALSE(screen.showStat(2));
    EXPECT_FALSE(screen.showDivider());
    EXPECT_FALSE(screen.showVerdict());
    EXPECT_FALSE(screen.showSkipHint());
    EXPECT_EQ(changes.count(), changesBefore);
    EXPECT_EQ(screens.count(), 1);
}

TEST_F(CelebrationScreenTest, AdvanceMovesOnAtMostOnce) {
    finishCapture(30);
    QSignalSpy screens(&state, &AppState::screenChanged);
    appear();
    advanceTo(2);
    screen.advance();
    screen.advance();
    time.advance(10);
    EXPECT_EQ(screens.count(), 1);
    EXPECT_EQ(state.screen(), Screen::results);
}

TEST_F(CelebrationScreenTest, AdvanceDoesNothingOnceTheCaptureHasLeftTheCelebration) {
    finishCapture(30);
    appear();
    state.newCapture();
    ASSERT_EQ(state.screen(), Screen::setup);
    screen.advance();
    EXPECT_EQ(state.screen(), Screen::setup);
    time.advance(10);
    EXPECT_EQ(state.screen(), Screen::setup) << "the end of the sequence leaves another screen alone";
}

TEST_F(CelebrationScreenTest, DisappearingStopsTheSequence) {
    finishCapture(30);
    appear();
    advanceTo(0.5);
    screen.disappear();
    EXPECT_FALSE(screen.isSequenceRunning());
    time.advance(10);
    EXPECT_FALSE(screen.showDivider());
    EXPECT_EQ(state.screen(), Screen::celebration);
}

TEST_F(CelebrationScreenTest, ItMovesOnlyWhileSomethingAnimates) {
    finishCapture(150); // fair: no confetti to outlast the rest
    appear();
    EXPECT_TRUE(screen.isMoving(time.now()));
    advanceTo(1.5);
    EXPECT_TRUE(screen.isMoving(time.now())) << "the verdict settles and the message fades in";
    advanceTo(2.0);
    EXPECT_FALSE(screen.isMoving(time.now())) << "before the skip hint all holds still";
    advanceTo(2.2);
    EXPECT_TRUE(screen.isMoving(time.now()));
    advanceTo(2.7);
    EXPECT_FALSE(screen.isMoving(time.now()));
}

TEST_F(CelebrationScreenTest, ConfettiFliesOutOfTheCentreAndIsGoneAfterItsFlight) {
    finishCapture(10);
    appear();
    advanceTo(1.14);
    ASSERT_TRUE(screen.confettiLaunched());
    const QList<ConfettiFrame> launch = screen.confettiFrames(time.now());
    ASSERT_EQ(launch.size(), screen.particles().size());
    for (const ConfettiFrame& frame : launch) {
        EXPECT_EQ(frame.x, 0);
        EXPECT_EQ(frame.y, 0);
        EXPECT_EQ(frame.opacity, 1);
    }
    advanceTo(1.14 + Confetti::maxDuration);
    for (const ConfettiFrame& frame : screen.confettiFrames(time.now()))
        EXPECT_EQ(frame.opacity, 0);
}

TEST_F(CelebrationScreenTest, TheWordsOfThanksComeFromTheResourceByDefault) {
    CelebrationScreen fromResource(state);
    finishCapture(30);
    fromResource.appear();
    QStringList fitting;
    for (const Appreciation& appreciation : TriviaContent::appreciations()) {
        if (TriviaContent::categoriesFor(62).contains(appreciation.category))
            fitting.append(appreciation.message);
    }
    if (fitting.isEmpty())
        EXPECT_EQ(fromResource.message(), CelebrationScreen::fallbackMessage);
    else
        EXPECT_TRUE(fitting.contains(fromResource.message())) << fromResource.message().toStdString();
}

TEST_F(CelebrationScreenTest, AGeostationaryVerdictSaysSo) {
    feed(CaptureLines::status(620, 30));
    finishCapture(620);
    appear();
    EXPECT_TRUE(screen.isGeo());
    EXPECT_EQ(screen.verdictText(), u"Good (GEO)"_s);
}
