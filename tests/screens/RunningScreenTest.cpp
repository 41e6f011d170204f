#include "screens/RunningScreen.h"

#include "base/Settings.h"
#include "base/VirtualClock.h"
#include "core/AppState.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/PumpUntil.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <functional>

using namespace Qt::StringLiterals;
using Kind = RunningStatusNotice::Kind;

namespace {

QStringList titles(const QList<StatCard>& cards) {
    QStringList result;
    for (const StatCard& card : cards)
        result.append(card.title);
    return result;
}

std::optional<QualityRating> rating(QualityRating::Value value) {
    return QualityRating(value);
}

} // namespace

// --- Texts of figures ---------------------------------------------------------------------------------

TEST(RunningScreenText, TimeClockPrintsMinutesAndTwoDigitSecondsWithoutHours) {
    EXPECT_EQ(RunningScreen::formatTimeClock(125), u"2:05"_s);
    EXPECT_EQ(RunningScreen::formatTimeClock(0), u"0:00"_s);
    EXPECT_EQ(RunningScreen::formatTimeClock(59.99), u"0:59"_s) << "cut, not rounded";
    EXPECT_EQ(RunningScreen::formatTimeClock(3725), u"62:05"_s) << "minutes are not folded into hours";
    EXPECT_EQ(RunningScreen::formatTimeClock(-3), u"0:00"_s);
}

TEST(RunningScreenText, RateOf9_96Reads10_0MbpsAnd10Reads10Mbps) {
    EXPECT_EQ(RunningScreen::formatSpeedMbps(9.96), u"10.0 Mbps"_s);
    EXPECT_EQ(RunningScreen::formatSpeedMbps(10.0), u"10 Mbps"_s);
    EXPECT_EQ(RunningScreen::formatSpeedMbps(10.96), u"10 Mbps"_s);
    EXPECT_EQ(RunningScreen::formatSpeedMbps(0.04), u"0.0 Mbps"_s);
}

TEST(RunningScreenText, ObservedRateBelowATenthReadsIdleInTheSecondaryColour) {
    using Text = RunningScreen::ObservedRateText;
    EXPECT_EQ(RunningScreen::formatObservedThroughput(std::nullopt), (Text{u"---"_s, std::nullopt}));
    EXPECT_EQ(RunningScreen::formatObservedThroughput(25.9), (Text{u"25 Mbps"_s, std::nullopt}));
    EXPECT_EQ(RunningScreen::formatObservedThroughput(1.0), (Text{u"1 Mbps"_s, std::nullopt}));
    EXPECT_EQ(RunningScreen::formatObservedThroughput(0.99), (Text{u"1.0 Mbps"_s, std::nullopt}));
    EXPECT_EQ(RunningScreen::formatObservedThroughput(0.1), (Text{u"0.1 Mbps"_s, std::nullopt}));
    EXPECT_EQ(RunningScreen::formatObservedThroughput(0.09), (Text{u"idle"_s, CardColor::secondaryText()}));
    EXPECT_EQ(RunningScreen::formatObservedThroughput(0.0), (Text{u"idle"_s, CardColor::secondaryText()}));
}

TEST(RunningScreenText, BlockedLineSortsTheKeys) {
    EXPECT_FALSE(RunningScreen::blockedText({}));
    EXPECT_EQ(RunningScreen::blockedText({u"udp:8.8.8.8"_s, u"dns:1.1.1.1"_s, u"tcp:example.net"_s}),
              u"Blocked: dns:1.1.1.1, tcp:example.net, udp:8.8.8.8"_s);
}

TEST(RunningScreenText, StderrTailKeepsTheLastTwoNonBlankLines) {
    EXPECT_FALSE(RunningScreen::stderrTail(QString()));
    EXPECT_FALSE(RunningScreen::stderrTail(u"  \n\t\n"_s));
    EXPECT_EQ(RunningScreen::stderrTail(u"only\n"_s), u"only"_s);
    EXPECT_EQ(RunningScreen::stderrTail(u"one\ntwo\n\n   \nthree\r\n\n"_s), u"two\nthree"_s);
}

TEST(RunningScreenText, DiagnoseMessageNamesTheSeconds) {
    EXPECT_EQ(RunningScreen::diagnoseMessage(23), u"No data received after 23 seconds"_s);
}

// --- Progress -------------------------------------------------------------------------------------------

TEST(RunningProgress, TimedCaptureShowsTheBarAndTheTimeLeft) {
    CaptureStats stats;
    stats.elapsedSec = 65.7;
    stats.remainingSec = 60;
    const RunningProgress progress = RunningProgress::forStats(stats);
    EXPECT_TRUE(progress.showsBar());
    EXPECT_EQ(progress.elapsedText, u"1:05"_s);
    EXPECT_EQ(progress.remainingText, u"1:00 remaining"_s);
    EXPECT_DOUBLE_EQ(progress.barValue, 65.7);
    EXPECT_DOUBLE_EQ(progress.barMaximum, 125.7);
}

TEST(RunningProgress, ContinuousOrFinishedCaptureShowsTheElapsedClockAlone) {
    CaptureStats stats;
    stats.elapsedSec = 125;
    EXPECT_FALSE(RunningProgress::forStats(stats).showsBar());
    EXPECT_EQ(RunningProgress::forStats(stats).elapsedText, u"2:05"_s);
    stats.remainingSec = 0;
    EXPECT_FALSE(RunningProgress::forStats(stats).showsBar()) << "nothing left: no bar";
}

// --- Status notice ----------------------------------------------------------------------------------------

TEST(RunningStatusNotice, StartUpShowsAnIndicatorUntilTheFirstStatus) {
    RunningStatusNotice notice = RunningStatusNotice::forState(0, false, 0, {});
    EXPECT_EQ(notice.kind, Kind::startingUp);
    EXPECT_EQ(notice.text, u"Starting up..."_s);
    EXPECT_TRUE(notice.showsSpinner);
    notice = RunningStatusNotice::forState(0, true, 0, {});
    EXPECT_EQ(notice.kind, Kind::startingProbes);
    EXPECT_EQ(notice.text, u"Starting probes..."_s);
    EXPECT_TRUE(notice.showsSpinner);
    // Before the first status the start-up line wins over the silence.
    EXPECT_EQ(RunningStatusNotice::forState(0, true, 45, u"boom"_s).kind, Kind::startingProbes);
}

TEST(RunningStatusNotice, ExactlyFiveSecondsShowsTheFirstNoticeAndExactlyTwentyTheSecond) {
    EXPECT_EQ(RunningStatusNotice::forState(12, true, 4, {}), RunningStatusNotice{});

    RunningStatusNotice notice = RunningStatusNotice::forState(12, true, 5, {});
    EXPECT_EQ(notice.kind, Kind::noDataWarning);
    EXPECT_EQ(notice.text, u"No data for 5s — check network connectivity"_s);
    EXPECT_EQ(notice.icon, u"exclamationmark.triangle"_s);
    EXPECT_FALSE(notice.offersStopAndDiagnose);
    EXPECT_FALSE(notice.showsSpinner);

    EXPECT_EQ(RunningStatusNotice::forState(12, true, 19, {}).kind, Kind::noDataWarning);

    notice = RunningStatusNotice::forState(12, true, 20, {});
    EXPECT_EQ(notice.kind, Kind::noDataDiagnose);
    EXPECT_EQ(notice.text, u"No data received for 20s"_s);
    EXPECT_EQ(notice.icon, u"exclamationmark.triangle"_s);
    EXPECT_TRUE(notice.offersStopAndDiagnose);
}

TEST(RunningStatusNotice, SilenceNoticesCarryTheLastLinesOfStandardError) {
    const QString stderrText = u"warming up\nprobe socket stalled\nretrying in 5s\n"_s;
    EXPECT_EQ(RunningStatusNotice::forState(3, true, 7, stderrText).stderrTail,
              u"probe socket stalled\nretrying in 5s"_s);
    EXPECT_EQ(RunningStatusNotice::forState(3, true, 25, stderrText).stderrTail,
              u"probe socket stalled\nretrying in 5s"_s);
    EXPECT_FALSE(RunningStatusNotice::forState(3, true, 25, {}).stderrTail);
    EXPECT_FALSE(RunningStatusNotice::forState(3, true, 2, stderrText).stderrTail) << "no notice, no lines";
}

// --- Buttons ---------------------------------------------------------------------------------------------

TEST(RunningButtons, PassiveCaptureOffersNoTestButtons) {
    InfoEvent info;
    info.profile = u"passive"_s;
    const RunningButtons buttons = RunningButtons::forState(info, std::nullopt);
    EXPECT_FALSE(buttons.speedTestOffered);
    EXPECT_FALSE(buttons.youTubeOffered);
    info.profile = u"active"_s;
    EXPECT_TRUE(RunningButtons::forState(info, std::nullopt).speedTestOffered);
    EXPECT_TRUE(RunningButtons::forState(std::nullopt, std::nullopt).youTubeOffered)
        << "before the info event both are offered";
}

TEST(RunningButtons, BothTestsWaitWhileAThroughputTestRunsOrCalibrates) {
    for (const QString& phase : {u"testing"_s, u"calibrating"_s}) {
        const RunningButtons buttons = RunningButtons::forState(InfoEvent{}, phase);
        EXPECT_FALSE(buttons.speedTestEnabled) << phase.toStdString();
        EXPECT_FALSE(buttons.youTubeEnabled) << phase.toStdString();
    }
    const RunningButtons idle = RunningButtons::forState(InfoEvent{}, u"complete"_s);
    EXPECT_TRUE(idle.speedTestEnabled);
    EXPECT_TRUE(idle.youTubeEnabled);
}

TEST(RunningButtons, YouTubeNeedsTheBrowserButAbsentCountsAsAvailable) {
    InfoEvent info;
    EXPECT_TRUE(RunningButtons::forState(info, std::nullopt).youTubeEnabled);
    info.youtubeAbrAvailable = false;
    RunningButtons buttons = RunningButtons::forState(info, std::nullopt);
    EXPECT_FALSE(buttons.youTubeEnabled);
    EXPECT_TRUE(buttons.youTubeOffered);
    EXPECT_TRUE(buttons.speedTestEnabled);
    info.youtubeAbrAvailable = true;
    EXPECT_TRUE(RunningButtons::forState(info, std::nullopt).youTubeEnabled);
}

// --- Cards (ages need the clock) ---------------------------------------------------------------------

class RunningCardsTest : public ::testing::Test {
protected:
    VirtualClock time;
    ScopedVirtualTime scope{time};
};

TEST_F(RunningCardsTest, NoInternetReadsNoInternetThoughALatencyIsKnownAndBothCardsAreBroken) {
    CaptureStats stats;
    stats.latencyMs = 23;
    stats.lossPct = 0;
    stats.noInternetDetected = true;
    const StatCard latency = RunningScreen::latencyCard(stats);
    EXPECT_EQ(latency.value, u"No Internet"_s);
    EXPECT_EQ(latency.rating, rating(QualityRating::broken));
    const StatCard loss = RunningScreen::lossCard(stats, time.now());
    EXPECT_EQ(loss.value, u"0.0 %"_s);
    EXPECT_EQ(loss.rating, rating(QualityRating::broken));
}

TEST_F(RunningCardsTest, LatencyIsAWholeNumberAndAboveFourHundredIsRatedAsGeo) {
    CaptureStats stats;
    EXPECT_EQ(RunningScreen::latencyCard(stats).value, u"---"_s);
    EXPECT_FALSE(RunningScreen::latencyCard(stats).rating);
    stats.latencyMs = 23.9;
    StatCard card = RunningScreen::latencyCard(stats);
    EXPECT_EQ(card.title, u"Latency"_s);
    EXPECT_EQ(card.value, u"23 ms"_s);
    EXPECT_EQ(card.rating, rating(QualityRating::excellent));
    EXPECT_FALSE(card.ratingQualifier);

    stats.latencyMs = 400.0; // not above: the terrestrial scale
    card = RunningScreen::latencyCard(stats);
    EXPECT_EQ(card.rating, rating(QualityRating::impaired));
    EXPECT_FALSE(card.ratingQualifier);

    stats.latencyMs = 612;
    card = RunningScreen::latencyCard(stats);
    EXPECT_EQ(card.rating, rating(QualityRating::good)) << "612 ms is good for a geostationary link";
    EXPECT_EQ(card.ratingQualifier, u"GEO"_s);
    EXPECT_EQ(card.ratingLine(), u"Good (GEO)"_s);
}

TEST_F(RunningCardsTest, LossHasOneDecimalAndBreathesOnceStillForMoreThanFiveSeconds) {
    CaptureStats stats; // lastLossChange is the moment it was made
    EXPECT_EQ(RunningScreen::lossCard(stats, time.now()).value, u"---"_s);
    stats.lossPct = 2.34;
    StatCard card = RunningScreen::lossCard(stats, time.now());
    EXPECT_EQ(card.title, u"Loss"_s);
    EXPECT_EQ(card.value, u"2.3 %"_s);
    EXPECT_EQ(card.rating, QualityRating::rateLoss(2.34));
    EXPECT_FALSE(card.breathing);
    EXPECT_FALSE(RunningScreen::lossCard(stats, time.now().addMSecs(5000)).breathing) << "exactly 5 s";
    EXPECT_TRUE(RunningScreen::lossCard(stats, time.now().addMSecs(5001)).breathing);
}

TEST_F(RunningCardsTest, AnErrorThatHolds403ReadsRateLimited) {
    CaptureStats stats;
    stats.downloadError = u"HTTP 403 Forbidden"_s;
    StatCard card = RunningScreen::downloadTestCard(stats);
    EXPECT_EQ(card.value, u"Failed"_s);
    EXPECT_EQ(card.subtitle, u"Rate limited"_s);
    EXPECT_FALSE(card.rating);

    stats.uploadError = u"status 429"_s;
    EXPECT_EQ(RunningScreen::uploadTestCard(stats).subtitle, u"Rate limited"_s);
    stats.uploadError = u"read timeout after 10s"_s;
    EXPECT_EQ(RunningScreen::uploadTestCard(stats).subtitle, u"Timed out"_s);
    stats.uploadError = u"connection reset"_s;
    EXPECT_EQ(RunningScreen::uploadTestCard(stats).subtitle, u"Test failed"_s);
    EXPECT_EQ(RunningScreen::uploadTestCard(stats).value, u"Failed"_s);
}

TEST_F(RunningCardsTest, AFailedTestAfterAGoodOneKeepsTheRateAndShowsItsAge) {
    CaptureStats stats;
    stats.downloadMbps = 48.2;
    stats.downloadUpdatedAt = time.now();
    stats.downloadError = u"HTTP 403"_s;
    StatCard card = RunningScreen::downloadTestCard(stats);
    EXPECT_EQ(card.value, u"48 Mbps"_s);
    EXPECT_EQ(card.rating, QualityRating::rateDownload(48.2));
    EXPECT_FALSE(card.subtitle) << "a fresh rate has no age yet";
    time.advance(95);
    card = RunningScreen::downloadTestCard(stats);
    EXPECT_EQ(card.value, u"48 Mbps"_s) << "a rate never goes blank";
    EXPECT_EQ(card.subtitle, u"2m ago"_s);
}

TEST_F(RunningCardsTest, SpeedTestCardsNameTheirTargetAndQualifyCalibrationBeforeGeo) {
    CaptureStats stats;
    EXPECT_EQ(RunningScreen::downloadTestCard(stats).title, u"DL Test"_s);
    EXPECT_EQ(RunningScreen::downloadTestCard(stats).value, u"---"_s);
    EXPECT_FALSE(RunningScreen::downloadTestCard(stats).subtitle);
    stats.downloadTarget = u"akamai"_s;
    EXPECT_EQ(RunningScreen::downloadTestCard(stats).title, u"DL Test (Akamai)"_s);
    EXPECT_EQ(RunningScreen::uploadTestCard(stats).title, u"UL Test"_s) << "no target on the upload card";

    stats.uploadMbps = 9.96;
    stats.latencyMs = 650;
    StatCard card = RunningScreen::uploadTestCard(stats);
    EXPECT_EQ(card.value, u"10.0 Mbps"_s);
    EXPECT_EQ(card.rating, QualityRating::rateUpload(9.96));
    EXPECT_EQ(card.ratingQualifier, u"GEO"_s);
    stats.isCalibrationSpeed = true;
    EXPECT_EQ(RunningScreen::uploadTestCard(stats).ratingQualifier, u"calibration"_s);
    EXPECT_EQ(RunningScreen::downloadTestCard(stats).ratingQualifier, u"calibration"_s);
}

TEST_F(RunningCardsTest, SignalAndDnsCards) {
    CaptureStats stats;
    EXPECT_EQ(RunningScreen::signalCard(stats).value, u"---"_s);
    EXPECT_EQ(RunningScreen::dnsCard(stats).value, u"---"_s);
    stats.rssi = -61;
    stats.dnsMs = 18.8;
    stats.dnsUpdatedAt = time.now();
    const StatCard signal = RunningScreen::signalCard(stats);
    EXPECT_EQ(signal.title, u"Signal"_s);
    EXPECT_EQ(signal.value, u"-61 dBm"_s);
    EXPECT_EQ(signal.rating, QualityRating::rateSignal(-61));
    EXPECT_TRUE(signal.rating);
    StatCard dns = RunningScreen::dnsCard(stats);
    EXPECT_EQ(dns.title, u"DNS"_s);
    EXPECT_EQ(dns.value, u"18 ms"_s);
    EXPECT_FALSE(dns.rating);
    EXPECT_FALSE(dns.subtitle);
    time.advance(40);
    EXPECT_EQ(RunningScreen::dnsCard(stats).subtitle, u"1m ago"_s);
}

TEST_F(RunningCardsTest, ThroughputCardsShowTheLastObservedPoint) {
    QList<ObservedThroughputPoint> points;
    EXPECT_EQ(RunningScreen::downloadThroughputCard(points).value, u"---"_s);
    points.append({time.now(), 30.0, 0.02});
    points.append({time.now(), 12.7, 0.4});
    const StatCard download = RunningScreen::downloadThroughputCard(points);
    EXPECT_EQ(download.title, u"DL Throughput"_s);
    EXPECT_EQ(download.value, u"12 Mbps"_s);
    EXPECT_FALSE(download.rating);
    EXPECT_FALSE(download.valueColor);
    const StatCard upload = RunningScreen::uploadThroughputCard(points);
    EXPECT_EQ(upload.title, u"UL Throughput"_s);
    EXPECT_EQ(upload.value, u"0.4 Mbps"_s);
    points.append({time.now(), 0.0, 0.05});
    EXPECT_EQ(RunningScreen::uploadThroughputCard(points).value, u"idle"_s);
    EXPECT_EQ(RunningScreen::uploadThroughputCard(points).valueColor, CardColor::secondaryText());
}

TEST_F(RunningCardsTest, YouTubeTileAppearsOnlyWithVideoResults) {
    CaptureSnapshot video;
    EXPECT_FALSE(RunningScreen::youTubeTile(video));
    video.youtubeSegmentQuality = u"hd1080"_s; // a quality alone is no result
    EXPECT_FALSE(RunningScreen::youTubeTile(video));
}

TEST_F(RunningCardsTest, YouTubeForcedResolutionShowsADifferingAutoResolution) {
    CaptureSnapshot video;
    video.youtubeForcedResolution = u"1920x1080"_s;
    video.youtubeAbrResolution = u"1280x720"_s;
    std::optional<StatCard> tile = RunningScreen::youTubeTile(video);
    ASSERT_TRUE(tile);
    EXPECT_EQ(tile->title, u"YouTube"_s);
    EXPECT_EQ(tile->value, u"1080p (720p auto)"_s);
    EXPECT_EQ(tile->rating, rating(QualityRating::excellent)) << "rated by the forced resolution";
    EXPECT_FALSE(tile->subtitle);

    video.youtubeAbrResolution = u"hd1080"_s; // the same resolution, spelt otherwise
    EXPECT_EQ(RunningScreen::youTubeTile(video)->value, u"1080p"_s);
    video.youtubeAbrResolution.reset();
    EXPECT_EQ(RunningScreen::youTubeTile(video)->value, u"1080p"_s);
}

TEST_F(RunningCardsTest, YouTubeAutoResolutionAloneSaysAuto) {
    CaptureSnapshot video;
    video.youtubeAbrResolution = u"854x480"_s;
    video.youtubeSegmentMbps = {30.0}; // a resolution outranks segment rates
    const std::optional<StatCard> tile = RunningScreen::youTubeTile(video);
    ASSERT_TRUE(tile);
    EXPECT_EQ(tile->value, u"480p"_s);
    EXPECT_EQ(tile->subtitle, u"auto"_s);
    EXPECT_EQ(tile->rating, rating(QualityRating::fair));
}

TEST_F(RunningCardsTest, YouTubeSegmentRatesAloneShowTheLastRateAndItsQuality) {
    CaptureSnapshot video;
    video.youtubeSegmentMbps = {30.0, 3.9};
    std::optional<StatCard> tile = RunningScreen::youTubeTile(video);
    ASSERT_TRUE(tile);
    EXPECT_EQ(tile->value, u"3.9 Mbps"_s);
    EXPECT_FALSE(tile->subtitle) << "no quality, no label";
    EXPECT_EQ(tile->rating, rating(QualityRating::good));
    video.youtubeSegmentQuality = u"hd1080"_s;
    EXPECT_EQ(RunningScreen::youTubeTile(video)->subtitle, u"~1080p"_s);

    // The rate thresholds: 20, 4, 1.6 and 0.8.
    const QList<std::pair<double, QualityRating::Value>> steps = {
        {20.0, QualityRating::superior}, {19.9, QualityRating::excellent}, {4.0, QualityRating::excellent},
        {1.6, QualityRating::good},      {0.8, QualityRating::fair},       {0.79, QualityRating::impaired},
    };
    for (const auto& [rate, expected] : steps) {
        video.youtubeSegmentMbps = {rate};
        EXPECT_EQ(RunningScreen::youTubeTile(video)->rating, rating(expected)) << rate;
    }
}

TEST_F(RunningCardsTest, NetflixTileFollowsTheLastNetflixRateOnly) {
    QList<CdnThroughputPoint> points{{u"akamai"_s, 50.0, time.now()}};
    EXPECT_FALSE(RunningScreen::netflixTile(points));
    points.append({u"netflix_oca"_s, 5.5, time.now()});
    points.append({u"akamai"_s, 1.0, time.now()});
    std::optional<StatCard> tile = RunningScreen::netflixTile(points);
    ASSERT_TRUE(tile);
    EXPECT_EQ(tile->title, u"Netflix"_s);
    EXPECT_EQ(tile->value, u"5.5 Mbps"_s);
    EXPECT_EQ(tile->subtitle, u"~1080p"_s);
    EXPECT_EQ(tile->rating, rating(QualityRating::good));

    const QList<std::pair<double, QString>> resolutions = {
        {8.0, u"~4K"_s}, {7.9, u"~1080p"_s}, {2.0, u"~720p"_s}, {1.99, u"~SD"_s}};
    for (const auto& [rate, label] : resolutions) {
        points.append({u"netflix_oca"_s, rate, time.now()});
        EXPECT_EQ(RunningScreen::netflixTile(points)->subtitle, label) << rate;
        EXPECT_EQ(RunningScreen::netflixTile(points)->rating, QualityRating::rateNetflix(rate));
    }
}

TEST_F(RunningCardsTest, RowsTakeTheVideoTilesInTheMiddleWhenTheyHaveData) {
    CaptureSnapshot snapshot;
    RunningCards cards = RunningScreen::cardsFor(snapshot, time.now());
    EXPECT_EQ(titles(cards.firstRow()),
              (QStringList{u"Latency"_s, u"Loss"_s, u"DL Test"_s, u"DL Throughput"_s}));
    EXPECT_EQ(titles(cards.secondRow()),
              (QStringList{u"Signal"_s, u"DNS"_s, u"UL Test"_s, u"UL Throughput"_s}));

    snapshot.youtubeAbrResolution = u"1920x1080"_s;
    snapshot.cdnThroughputPoints.append({u"netflix_oca"_s, 12.0, time.now()});
    cards = RunningScreen::cardsFor(snapshot, time.now());
    EXPECT_EQ(titles(cards.firstRow()),
              (QStringList{u"Latency"_s, u"Loss"_s, u"YouTube"_s, u"DL Test"_s, u"DL Throughput"_s}));
    EXPECT_EQ(titles(cards.secondRow()),
              (QStringList{u"Signal"_s, u"DNS"_s, u"Netflix"_s, u"UL Test"_s, u"UL Throughput"_s}));
}

// --- The live object: clock, session and actions ----------------------------------------------------

class RunningScreenTest : public ::testing::Test {
protected:
    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    AppState state{log};

    void feed(const QString& json) { state.pythonProcess().processLine(json); }
    void status(double elapsed) { feed(u"{\"event\":\"status\",\"elapsed_sec\":%1}"_s.arg(elapsed)); }
};

TEST_F(RunningScreenTest, ClockRunsOnlyWhileTheScreenIsRunning) {
    RunningScreen screen(state);
    EXPECT_FALSE(screen.isClockRunning());
    time.advance(10);
    EXPECT_EQ(screen.noDataSeconds(), 0);

    QSignalSpy ticks(&screen, &RunningScreen::ticked);
    state.startReplay(CaptureConfig{});
    EXPECT_TRUE(screen.isClockRunning());
    EXPECT_EQ(screen.noDataSeconds(), 0);
    time.advance(3);
    EXPECT_EQ(screen.noDataSeconds(), 3);
    EXPECT_EQ(ticks.count(), 3);
    EXPECT_EQ(screen.now(), time.now());
    time.advance(0.5);
    EXPECT_EQ(screen.noDataSeconds(), 3) << "whole seconds only";
}

TEST_F(RunningScreenTest, AStatusEventThatMovesTheElapsedTimeResetsTheCount) {
    RunningScreen screen(state);
    state.startReplay(CaptureConfig{});
    time.advance(4);
    status(1);
    EXPECT_EQ(screen.noDataSeconds(), 0);
    time.advance(6);
    status(1); // the same elapsed time proves nothing
    EXPECT_EQ(screen.noDataSeconds(), 6);
    status(7);
    EXPECT_EQ(screen.noDataSeconds(), 0);
    time.advance(1);
    EXPECT_EQ(screen.noDataSeconds(), 1);
}

TEST_F(RunningScreenTest, LeavingTheScreenStopsTheClockAndANewCaptureStartsItAtZero) {
    RunningScreen screen(state);
    state.startReplay(CaptureConfig{});
    status(2);
    time.advance(8);
    state.stopCapture();
    EXPECT_EQ(state.screen(), AppState::Screen::finishing);
    EXPECT_FALSE(screen.isClockRunning());
    time.advance(30);
    EXPECT_EQ(screen.noDataSeconds(), 8);

    state.startReplay(CaptureConfig{});
    EXPECT_TRUE(screen.isClockRunning());
    EXPECT_EQ(screen.noDataSeconds(), 0);
}

TEST_F(RunningScreenTest, AScreenMadeWhileRunningStartsItsClockAtOnce) {
    state.startReplay(CaptureConfig{});
    RunningScreen screen(state);
    EXPECT_TRUE(screen.isClockRunning());
    time.advance(2);
    EXPECT_EQ(screen.noDataSeconds(), 2);
}

TEST_F(RunningScreenTest, NoticeFollowsTheSessionFromStartUpToSilence) {
    RunningScreen screen(state);
    state.startReplay(CaptureConfig{});
    EXPECT_EQ(screen.statusNotice().text, u"Starting up..."_s);
    feed(uR"({"event":"info","capture_id":"c-1"})"_s);
    EXPECT_EQ(screen.statusNotice().text, u"Starting probes..."_s);
    status(1);
    EXPECT_EQ(screen.statusNotice().kind, Kind::none);
    time.advance(5);
    EXPECT_EQ(screen.statusNotice().text, u"No data for 5s — check network connectivity"_s);
    time.advance(15);
    EXPECT_EQ(screen.statusNotice().text, u"No data received for 20s"_s);
    EXPECT_TRUE(screen.statusNotice().offersStopAndDiagnose);
}

TEST_F(RunningScreenTest, StopAndDiagnoseExplainsTheSilenceInSeconds) {
    RunningScreen screen(state);
    state.startReplay(CaptureConfig{});
    status(1);
    time.advance(23);
    screen.stopAndDiagnose();
    EXPECT_EQ(state.screen(), AppState::Screen::diagnostics);
    EXPECT_EQ(state.errorMessage(), u"No data received after 23 seconds"_s);
    EXPECT_FALSE(screen.isClockRunning());
}

TEST_F(RunningScreenTest, StopTestStopsTheCapture) {
    RunningScreen screen(state);
    state.startReplay(CaptureConfig{});
    screen.stopTest();
    EXPECT_EQ(state.screen(), AppState::Screen::finishing);
}

TEST_F(RunningScreenTest, FiguresComeFromTheSession) {
    RunningScreen screen(state);
    state.startReplay(CaptureConfig{});
    feed(
        uR"({"event":"status","elapsed_sec":65,"remaining_sec":235,"icmp_rtt_ms":31.4,"icmp_loss_pct":1.25,"rssi":-58,"dns_ms":12})"_s);
    EXPECT_EQ(screen.progress().elapsedText, u"1:05"_s);
    EXPECT_EQ(screen.progress().remainingText, u"3:55 remaining"_s);
    const RunningCards cards = screen.cards();
    EXPECT_EQ(cards.latency.value, u"31 ms"_s);
    EXPECT_EQ(cards.loss.value, u"1.2 %"_s) << "C's rounding of the tie 1.25";
    EXPECT_EQ(cards.signal.value, u"-58 dBm"_s);
    EXPECT_EQ(cards.dns.value, u"12 ms"_s);
    EXPECT_FALSE(cards.loss.breathing);
    time.advance(6);
    EXPECT_TRUE(screen.cards().loss.breathing) << "the figure has held still for six seconds";
    feed(uR"({"event":"status","elapsed_sec":72,"icmp_rtt_ms":31.4,"icmp_loss_pct":2.5})"_s);
    EXPECT_FALSE(screen.cards().loss.breathing) << "a new figure";
}

TEST_F(RunningScreenTest, WarningsBlockedProbesAndTheBrowserNotice) {
    RunningScreen screen(state);
    state.startReplay(CaptureConfig{});
    EXPECT_TRUE(screen.warningLines().isEmpty());
    EXPECT_FALSE(screen.blockedLine());
    EXPECT_FALSE(screen.browserNotice());
    feed(uR"({"event":"error","message":"Traceroute unavailable","fatal":false})"_s);
    ASSERT_EQ(screen.warningLines().size(), 1);
    EXPECT_EQ(screen.warningLines()[0],
              (IconLine{u"exclamationmark.triangle.fill"_s, u"Traceroute unavailable"_s}));

    // A target that stays lost for ten seconds while another answers is blocked.
    const auto probe = [this](const QString& type, const QString& target, bool loss) {
        feed(u"{\"event\":\"probe\",\"type\":\"%1\",\"target\":\"%2\",\"loss\":%3,\"ts\":\"%4\"%5}"_s.arg(
            type, target, loss ? u"true"_s : u"false"_s, time.now().toString(Qt::ISODateWithMs),
            loss ? QString() : u",\"rtt_ms\":20"_s));
    };
    for (int second = 0; second <= 10; ++second) {
        probe(u"ping"_s, u"1.1.1.1"_s, false);
        probe(u"udp"_s, u"9.9.9.9"_s, true);
        time.advance(1);
    }
    ASSERT_TRUE(screen.blockedLine());
    EXPECT_EQ(*screen.blockedLine(), (IconLine{u"xmark.shield"_s, u"Blocked: udp:9.9.9.9"_s}));
}

TEST_F(RunningScreenTest, TestButtonsAreHiddenForAPassiveCaptureAndWaitForARunningTest) {
    RunningScreen screen(state);
    state.startReplay(CaptureConfig{});
    feed(uR"({"event":"info","profile":"passive"})"_s);
    EXPECT_FALSE(screen.buttons().speedTestOffered);
    feed(uR"({"event":"info","profile":"active","youtube_abr_available":false})"_s);
    EXPECT_TRUE(screen.buttons().speedTestOffered);
    EXPECT_FALSE(screen.buttons().youTubeEnabled);
    feed(
        uR"({"event":"throughput_status","phase":"testing","direction":"download","ts":"2026-03-14T09:30:00Z"})"_s);
    EXPECT_FALSE(screen.buttons().speedTestEnabled);
}

// --- Commands to a real tool ------------------------------------------------------------------------

class RunningScreenChildTest : public RunningScreenTest {
protected:
    void SetUp() override {
        home.installFakeUv();
        Settings().setBool(Settings::autoUpload, false);
    }

    // Lets the tool's output in until the condition holds, moving virtual time on a little once the
    // tool has spoken so that its start can't trip the startup watchdog.
    bool runUntil(const std::function<bool()>& done) {
        return pumpUntil(done, [&] {
            if (state.pythonProcess().latestEvent() || !state.pythonProcess().isChildRunning())
                time.advance(0.1);
        });
    }

    QString logText() {
        log.waitForIdle();
        QFile file(log.logPath());
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }
};

TEST_F(RunningScreenChildTest, TestButtonsSendTheirCommandsOnlyWhileTheyAreEnabled) {
    // With a browser in the cache the tool can run video tests, and says so in its info event.
    QDir().mkpath(home.path() + u"/.cache/ms-playwright/chromium-1187"_s);
    RunningScreen screen(state);
    state.startCapture(CaptureConfig{});
    ASSERT_EQ(state.screen(), AppState::Screen::running);
    ASSERT_TRUE(runUntil([this] { return state.infoEvent().has_value(); }));
    ASSERT_EQ(state.infoEvent()->youtubeAbrAvailable, true);

    // The session believes a test is running: the buttons are disabled and nothing is sent.
    feed(uR"({"event":"throughput_status","phase":"calibrating","ts":"2026-03-14T09:30:00Z"})"_s);
    screen.requestSpeedTest();
    screen.requestYouTubeTest();
    EXPECT_FALSE(logText().contains(u"sent stdin command: SPEEDTEST"_s));
    EXPECT_FALSE(logText().contains(u"sent stdin command: TESTYOUTUBE"_s));

    feed(uR"({"event":"throughput_status","phase":"complete","ts":"2026-03-14T09:30:00Z"})"_s);
    screen.requestSpeedTest();
    EXPECT_TRUE(logText().contains(u"INFO  [PythonProcess] sent stdin command: SPEEDTEST"_s));
    feed(uR"({"event":"throughput_status","phase":"complete","ts":"2026-03-14T09:30:00Z"})"_s);
    screen.requestYouTubeTest();
    EXPECT_TRUE(logText().contains(u"INFO  [PythonProcess] sent stdin command: TESTYOUTUBE"_s));

    // Stop and Diagnose interrupts the tool before it explains the failure.
    QSignalSpy ended(&state, &AppState::processTerminated);
    screen.stopAndDiagnose();
    EXPECT_TRUE(logText().contains(u"stop requested, sending SIGINT"_s));
    EXPECT_EQ(state.screen(), AppState::Screen::diagnostics);
    ASSERT_TRUE(state.errorMessage());
    EXPECT_TRUE(state.errorMessage()->startsWith(u"No data received after "_s));
    ASSERT_TRUE(runUntil([&] { return ended.count() > 0; }));
}

TEST_F(RunningScreenChildTest, ARetryWithoutTheBrowserBringsTheBrowserNotice) {
    qputenv("NORVANE_SIM_SCENARIO", "browser-missing");
    QDir().mkpath(home.path() + u"/.cache/ms-playwright/chromium-1187"_s);
    RunningScreen screen(state);
    state.startCapture(CaptureConfig{});
    const bool started = runUntil([this] { return state.infoEvent().has_value(); });
    qunsetenv("NORVANE_SIM_SCENARIO");
    ASSERT_TRUE(started);
    ASSERT_TRUE(screen.browserNotice());
    EXPECT_EQ(
        *screen.browserNotice(),
        (IconLine{u"play.rectangle"_s, u"YouTube ABR unavailable — browser not cached for offline use"_s}));

    QSignalSpy ended(&state, &AppState::processTerminated);
    screen.stopTest();
    ASSERT_TRUE(runUntil([&] { return ended.count() > 0; }));
}
