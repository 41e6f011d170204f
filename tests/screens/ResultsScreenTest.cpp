#include "screens/ResultsScreen.h"

#include "base/Settings.h"
#include "base/VirtualClock.h"
#include "capture/QualityRating.h"
#include "capture/ResultsAnalysis.h"
#include "core/AppState.h"
#include "platform/Locations.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/AppStateTestAccess.h"
#include "support/TempHome.h"
#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;
using Kind = ResultsFact::Kind;
using Screen = AppState::Screen;

namespace {

const QString analyzedCapture = u"analyze/wifi_capture_20260314T093000Z.csv"_s;

QList<Kind> kinds(const ResultsHeader& header) {
    QList<Kind> result;
    for (const ResultsFact& fact : header.facts)
        result.append(fact.kind);
    return result;
}

std::optional<ResultsFact> fact(const ResultsHeader& header, Kind kind) {
    for (const ResultsFact& candidate : header.facts) {
        if (candidate.kind == kind)
            return candidate;
    }
    return std::nullopt;
}

CaptureSnapshot everyFact() {
    CaptureSnapshot capture;
    capture.captureDate = QDateTime(QDate(2026, 3, 14), QTime(9, 30));
    capture.ssid = u"Hotel Lobby"_s;
    capture.vpn = u"Ostrel Secure"_s;
    capture.durationSec = 125.9;
    capture.sampleCount = 4242;
    capture.captureId = u"3f2a9c1e"_s;
    return capture;
}

QList<LatencyPoint> pings(double rttMs, int count) {
    QList<LatencyPoint> points;
    const QDateTime start(QDate(2026, 3, 14), QTime(9, 30), Qt::UTC);
    for (int index = 0; index < count; ++index) {
        LatencyPoint point;
        point.date = start.addSecs(index);
        point.probeType = u"ping"_s;
        point.target = u"1.1.1.1"_s;
        point.rttMs = rttMs;
        points.append(point);
    }
    return points;
}

const QLocale english(QLocale::English, QLocale::UnitedStates);

} // namespace

// --- the header, as a pure function of the capture ------------------------------------------------------

TEST(ResultsHeaderRule, EveryFactInOrderWithItsIcon) {
    const ResultsHeader header = ResultsScreen::headerFor(everyFact(), english);
    EXPECT_EQ(header.title, u"Test Complete"_s);
    EXPECT_EQ(header.checkIcon, u"checkmark.circle.fill"_s);
    EXPECT_EQ(kinds(header), (QList<Kind>{Kind::date, Kind::network, Kind::vpn, Kind::length, Kind::samples,
                                          Kind::captureId}));
    QStringList texts;
    QStringList icons;
    for (const ResultsFact& each : header.facts) {
        texts.append(each.text);
        icons.append(each.icon);
    }
    EXPECT_EQ(texts, (QStringList{u"Mar 14, 2026, 9:30 AM"_s, u"Hotel Lobby"_s, u"Ostrel VPN"_s, u"2m 05s"_s,
                                  u"4242 samples"_s, u"3f2a9c1e"_s}));
    EXPECT_EQ(icons,
              (QStringList{u"calendar"_s, u"wifi"_s, u"lock.shield"_s, u"clock"_s, u"number"_s, u"tag"_s}));
}

TEST(ResultsHeaderRule, OnlyTheCaptureIdIsSelectable) {
    const ResultsHeader header = ResultsScreen::headerFor(everyFact(), english);
    for (const ResultsFact& each : header.facts)
        EXPECT_EQ(each.selectable, each.kind == Kind::captureId) << each.text.toStdString();
}

TEST(ResultsHeaderRule, AbsentFactsAreLeftOut) {
    EXPECT_TRUE(ResultsScreen::headerFor(CaptureSnapshot{}, english).facts.isEmpty());

    CaptureSnapshot capture = everyFact();
    capture.ssid = QString();
    capture.vpn = QString();
    capture.durationSec.reset();
    EXPECT_EQ(kinds(ResultsScreen::headerFor(capture, english)),
              (QList<Kind>{Kind::date, Kind::samples, Kind::captureId}));

    capture.captureDate.reset();
    capture.sampleCount.reset();
    capture.captureId.reset();
    capture.ssid = u"Cafe"_s;
    EXPECT_EQ(kinds(ResultsScreen::headerFor(capture, english)), QList<Kind>{Kind::network});
}

TEST(ResultsHeaderRule, AVpnReadsOstrelVpnOnlyForOstrelNames) {
    EXPECT_EQ(ResultsScreen::vpnText(u"Ostrel"_s), u"Ostrel VPN"_s);
    EXPECT_EQ(ResultsScreen::vpnText(u"Ostrel Secure"_s), u"Ostrel VPN"_s);
    EXPECT_EQ(ResultsScreen::vpnText(u"WireGuard"_s), u"VPN"_s);
    EXPECT_EQ(ResultsScreen::vpnText(u"ostrel"_s), u"VPN"_s) << "the prefix is case-sensitive";
    EXPECT_EQ(ResultsScreen::vpnText(QString()), std::nullopt);
    EXPECT_EQ(ResultsScreen::vpnText(std::nullopt), std::nullopt);
}

TEST(ResultsHeaderRule, TheDateIsAnAbbreviatedDateAndAShortTimeInLocalTime) {
    EXPECT_EQ(ResultsScreen::formatCaptureDate(QDateTime(QDate(2026, 11, 2), QTime(21, 5, 59)), english),
              u"Nov 2, 2026, 9:05 PM"_s);
    const QDateTime utc(QDate(2026, 3, 14), QTime(9, 30), Qt::UTC);
    EXPECT_EQ(ResultsScreen::formatCaptureDate(utc, english),
              ResultsScreen::formatCaptureDate(utc.toLocalTime(), english));
    // Without a language of its own the text is still a short one, without seconds.
    EXPECT_EQ(ResultsScreen::formatCaptureDate(QDateTime(QDate(2026, 3, 14), QTime(9, 30, 12)), QLocale::c()),
              u"Mar 14, 2026, 9:30 AM"_s);
}

TEST(ResultsHeaderRule, TheQualityLineGivesTheVerdictInItsColourAndTheExplanation) {
    CaptureSnapshot capture;
    capture.latencyPoints = pings(30, 20);
    capture.stats.latencyMs = 30;
    const ResultsQualityLine line = ResultsScreen::headerFor(capture, english).quality;
    const QualityRating verdict = ResultsAnalysis::quality(capture);
    EXPECT_EQ(line.label, u"Quality:"_s);
    EXPECT_EQ(line.verdict, verdict.rawValue());
    EXPECT_EQ(line.verdictColor, verdict.color());
    EXPECT_EQ(line.geoSuffix, std::nullopt);
    EXPECT_EQ(line.separator, u" - "_s);
    EXPECT_EQ(line.explanation, ResultsAnalysis::qualityExplanation(capture));
    EXPECT_EQ(line.plainText(), u"Quality: "_s + verdict.rawValue() + u" - "_s + line.explanation);
}

TEST(ResultsHeaderRule, AGeostationaryLinkAddsGeoBehindTheVerdict) {
    CaptureSnapshot capture;
    capture.latencyPoints = pings(620, 20);
    capture.stats.latencyMs = 620;
    const ResultsQualityLine line = ResultsScreen::headerFor(capture, english).quality;
    EXPECT_EQ(line.geoSuffix, u" (GEO)"_s);
    EXPECT_TRUE(line.plainText().startsWith(u"Quality: "_s + line.verdict + u" (GEO) - "_s));
}

// --- shares and cards as pure functions -------------------------------------------------------------------

TEST(ResultsShareRule, TheLinkIsTheSiteWithTheCapturePath) {
    EXPECT_EQ(ResultsScreen::shareLinkFor(u"https://norvane.example"_s, u"3f2a9c1e"_s),
              u"https://norvane.example/c/3f2a9c1e/"_s);
    EXPECT_EQ(ResultsScreen::shareLinkFor(u"https://norvane.example"_s, std::nullopt), std::nullopt);
}

TEST(ResultsShareRule, EnabledOnlyWithACaptureIdAndAFinishedUpload) {
    EXPECT_TRUE(ResultsScreen::shareEnabledFor(u"id"_s, true));
    EXPECT_FALSE(ResultsScreen::shareEnabledFor(u"id"_s, false));
    EXPECT_FALSE(ResultsScreen::shareEnabledFor(std::nullopt, true));
    EXPECT_FALSE(ResultsScreen::shareEnabledFor(std::nullopt, false));
}

TEST(ResultsCardRule, ACardCarriesEveryFieldOfItsFigure) {
    const ResultFigure figure{u"RTT (P50)"_s, u"612 ms"_s, QualityRating::fair, u"GEO"_s, u"note"_s};
    const StatCard card = ResultsScreen::card(figure);
    EXPECT_EQ(card.title, figure.title);
    EXPECT_EQ(card.value, figure.value);
    EXPECT_EQ(card.rating, figure.rating);
    EXPECT_EQ(card.ratingQualifier, figure.ratingQualifier);
    EXPECT_EQ(card.subtitle, figure.subtitle);
    EXPECT_FALSE(card.breathing);
    EXPECT_FALSE(card.valueColor);
}

// --- the screen over a session ----------------------------------------------------------------------------

class ResultsScreenTest : public ::testing::Test {
protected:
    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    AppState state{log};
    QStringList clipboard;
    ResultsScreen screen{state, [this](const QString& text) { clipboard.append(text); }};

    void SetUp() override {
        state.setUploadsSuppressed(true);
        qputenv("NORVANE_SITE_URL", "http://127.0.0.1:9/");
    }
    void TearDown() override { qunsetenv("NORVANE_SITE_URL"); }

    void feed(const QString& json) { state.pythonProcess().processLine(json); }
    void replay() { state.startReplay(CaptureConfig{}); }
    void info(const QString& captureId) {
        feed(uR"({"event":"info","ssid":"Hotel Lobby","vpn":"Ostrel","capture_id":"%1","duration_secs":60})"_s
                 .arg(captureId));
    }
    void finishUpload() {
        JSONEvent summary;
        summary.payload = UploadSummaryEvent{1, 0};
        AppStateTestAccess::uploadEvent(state, state.uploadGeneration(), summary);
    }
    QStringList cardValues(const QList<StatCard>& cards) const {
        QStringList values;
        for (const StatCard& card : cards)
            values.append(card.value);
        return values;
    }
};

TEST_F(ResultsScreenTest, AFinishedCaptureShowsItsOwnFacts) {
    replay();
    info(u"3f2a9c1e"_s);
    feed(
        uR"({"event":"complete","samples":310,"capture_id":"3f2a9c1e","csv_file":"/tmp/c.csv","duration_sec":62})"_s);
    const ResultsHeader header = screen.header();
    EXPECT_EQ(fact(header, Kind::network)->text, u"Hotel Lobby"_s);
    EXPECT_EQ(fact(header, Kind::vpn)->text, u"Ostrel VPN"_s);
    EXPECT_EQ(fact(header, Kind::length)->text, u"1m 02s"_s);
    EXPECT_EQ(fact(header, Kind::samples)->text, u"310 samples"_s);
    EXPECT_EQ(fact(header, Kind::captureId)->text, u"3f2a9c1e"_s);
}

TEST_F(ResultsScreenTest, ALoadedCaptureShowsTheFactsOfItsFile) {
    state.loadCapture(testDataPath(analyzedCapture));
    ASSERT_EQ(state.screen(), Screen::results);
    const ResultsHeader header = screen.header();
    EXPECT_EQ(fact(header, Kind::network)->text, u"Hotspot-4G"_s);
    EXPECT_EQ(fact(header, Kind::captureId)->text, u"2277a25f-d874-4cbb-bd40-9ce124cb96da"_s);
    EXPECT_TRUE(fact(header, Kind::date));
    EXPECT_TRUE(fact(header, Kind::samples)->text.endsWith(u" samples"_s));
    EXPECT_FALSE(fact(header, Kind::vpn));
    EXPECT_TRUE(screen.showsLatencySection());
    EXPECT_EQ(screen.summaryCards().size(), 5);
}

TEST_F(ResultsScreenTest, ErrorThenStopReasonUnderTheHeader) {
    EXPECT_TRUE(screen.noticeLines().isEmpty());
    replay();
    feed(uR"({"event":"capture_auto_stop","reason":"max_duration","elapsed_sec":10800})"_s);
    feed(uR"({"event":"error","message":"Wi-Fi interface disappeared","fatal":true})"_s);
    ASSERT_EQ(state.screen(), Screen::results);
    const QList<IconLine> lines = screen.noticeLines();
    ASSERT_EQ(lines.size(), 2);
    EXPECT_EQ(lines[0], (IconLine{u"exclamationmark.triangle.fill"_s, u"Wi-Fi interface disappeared"_s}));
    EXPECT_EQ(lines[1].icon, u"info.circle"_s);
    EXPECT_EQ(lines[1].text, u"Auto-stopped after 3h (use --no-limit for longer captures)"_s);
    EXPECT_EQ(screen.errorLine(), lines[0]);
    EXPECT_EQ(screen.stopLine(), lines[1]);
}

TEST_F(ResultsScreenTest, ACaptureThatFailedAtOnceHasNoChartsSectionAndItsCardsReadDashesAndFailed) {
    replay();
    feed(
        uR"({"event":"throughput_result","direction":"download","mbps":0,"bytes":0,"streams":4,"ts":"2026-03-14T09:30:05Z","error":"connection reset","test_num":1})"_s);
    feed(uR"({"event":"error","message":"Measurement tool crashed","fatal":true})"_s);
    ASSERT_EQ(state.screen(), Screen::results);
    EXPECT_TRUE(state.latencyPoints().isEmpty());
    EXPECT_FALSE(screen.showsLatencySection());
    EXPECT_FALSE(screen.showsVideoSection());
    EXPECT_TRUE(screen.videoCards().isEmpty());
    const QList<StatCard> cards = screen.summaryCards();
    EXPECT_EQ(cardValues(cards), (QStringList{u"---"_s, u"---"_s, u"Failed"_s, u"---"_s, u"---"_s}));
    EXPECT_EQ(cards[2].subtitle, u"Test failed"_s);
    EXPECT_EQ(screen.errorLine()->text, u"Measurement tool crashed"_s);
}

TEST_F(ResultsScreenTest, SummaryCardsComeInTheirOrderWithGeoOnTheFirstAndSpeedErrorsBelow) {
    replay();
    feed(uR"({"event":"status","elapsed_sec":5,"icmp_rtt_ms":640,"icmp_loss_pct":0})"_s);
    feed(
        uR"({"event":"throughput_result","direction":"upload","mbps":0,"bytes":0,"streams":4,"ts":"2026-03-14T09:30:05Z","error":"HTTP 429","test_num":1})"_s);
    const QList<StatCard> cards = screen.summaryCards();
    QStringList titles;
    for (const StatCard& card : cards)
        titles.append(card.title);
    EXPECT_EQ(titles, (QStringList{u"RTT (P50)"_s, u"Packet Loss"_s, u"Download (P50)"_s, u"Upload (P50)"_s,
                                   u"Signal"_s}));
    EXPECT_EQ(cards[0].ratingQualifier, u"GEO"_s);
    EXPECT_EQ(cards[3].value, u"Failed"_s);
    EXPECT_EQ(cards[3].subtitle, u"Rate limited"_s);
    for (qsizetype index = 1; index < cards.size(); ++index)
        EXPECT_FALSE(cards[index].ratingQualifier);
}

TEST_F(ResultsScreenTest, TheVideoSectionShowsOnlyWithVideoResults) {
    replay();
    EXPECT_FALSE(screen.showsVideoSection());
    feed(
        uR"({"event":"cdn_throughput_result","target":"netflix_oca","mbps":95.5,"bytes":52428800,"ts":"2026-03-14T09:31:20.000+00:00"})"_s);
    EXPECT_TRUE(screen.showsVideoSection());
    const QList<StatCard> cards = screen.videoCards();
    ASSERT_EQ(cards.size(), 1);
    EXPECT_EQ(cards[0].title, u"Netflix"_s);
    EXPECT_EQ(cards,
              QList<StatCard>{ResultsScreen::card(ResultsAnalysis::videoFigures(state.snapshot())[0])});
}

TEST_F(ResultsScreenTest, TheLatencySectionShowsOnceThereAreLatencyPoints) {
    replay();
    feed(
        uR"({"event":"probe","type":"ping","target":"1.1.1.1","loss":false,"ts":"2026-03-14T09:30:05Z","rtt_ms":21.5})"_s);
    EXPECT_FALSE(screen.showsLatencySection()) << "the sample still waits in the buffer";
    time.advance(AppState::flushIntervalSeconds);
    EXPECT_TRUE(screen.showsLatencySection());
}

TEST_F(ResultsScreenTest, ResultsAreSavedToTheCaptureFolderWithTheHomeFolderAsATilde) {
    ASSERT_EQ(Locations::home(), home.path());
    EXPECT_EQ(screen.savedLine(), u"Results saved to ~/.local/share/Norvane/captures"_s);
    Settings().setString(Settings::captureDirectory, home.path() + u"/elsewhere"_s);
    EXPECT_EQ(screen.savedLine(), u"Results saved to ~/elsewhere"_s);
    // A folder outside the home folder keeps its whole path.
    Settings().setString(Settings::captureDirectory, u"/srv/captures"_s);
    EXPECT_EQ(screen.savedLine(), u"Results saved to /srv/captures"_s);
}

TEST_F(ResultsScreenTest, ACaptureIdThatIsAbsentLeavesTheShareControlDisabled) {
    replay();
    finishUpload();
    ASSERT_TRUE(state.upload().uploadDone);
    ASSERT_FALSE(state.captureId());
    EXPECT_FALSE(screen.shareEnabled());
    EXPECT_EQ(screen.shareLink(), std::nullopt);
    QSignalSpy changes(&screen, &ResultsScreen::showCopiedChanged);
    screen.copyShareLink();
    EXPECT_TRUE(clipboard.isEmpty());
    EXPECT_FALSE(screen.showCopied());
    EXPECT_EQ(screen.shareLabel(), u"Share"_s);
    EXPECT_EQ(changes.count(), 0);
}

TEST_F(ResultsScreenTest, TheShareControlWaitsForTheUploadToFinish) {
    replay();
    info(u"3f2a9c1e"_s);
    EXPECT_FALSE(screen.shareEnabled());
    finishUpload();
    EXPECT_TRUE(screen.shareEnabled());
    EXPECT_EQ(screen.shareLink(), u"http://127.0.0.1:9/c/3f2a9c1e/"_s);
}

TEST_F(ResultsScreenTest,
       AClickedShareControlReadsCopiedForTwoSecondsAndASecondClickStartsASecondTimerWithoutHarm) {
    replay();
    info(u"3f2a9c1e"_s);
    finishUpload();
    QSignalSpy changes(&screen, &ResultsScreen::showCopiedChanged);

    screen.copyShareLink();
    EXPECT_EQ(clipboard, QStringList{u"http://127.0.0.1:9/c/3f2a9c1e/"_s});
    EXPECT_TRUE(screen.showCopied());
    EXPECT_EQ(screen.shareLabel(), u"Copied!"_s);

    time.advance(1.0);
    screen.copyShareLink(); // the second click arms a second timer
    EXPECT_EQ(clipboard.size(), 2);
    EXPECT_EQ(screen.shareLabel(), u"Copied!"_s);
    time.advance(0.999);
    EXPECT_EQ(screen.shareLabel(), u"Copied!"_s);
    // The first timer turns the label back, two seconds after the first click.
    time.advance(0.001);
    EXPECT_EQ(screen.shareLabel(), u"Share"_s);
    // The second timer finds nothing to clear and harms nothing.
    time.advance(1.0);
    EXPECT_EQ(screen.shareLabel(), u"Share"_s);
    EXPECT_EQ(changes.count(), 2);

    // A later click has its full two seconds again.
    screen.copyShareLink();
    time.advance(1.999);
    EXPECT_EQ(screen.shareLabel(), u"Copied!"_s);
    time.advance(0.001);
    EXPECT_EQ(screen.shareLabel(), u"Share"_s);
}

TEST_F(ResultsScreenTest, ATimerLeftBehindByAClosedScreenDoesNothing) {
    replay();
    info(u"3f2a9c1e"_s);
    auto other = std::make_unique<ResultsScreen>(state, [](const QString&) {});
    other->copyShareLink();
    other.reset();
    time.advance(ResultsScreen::copiedSeconds); // would crash on a dangling screen
    EXPECT_FALSE(screen.showCopied());
}

TEST_F(ResultsScreenTest, NewTestGoesBackToSetup) {
    replay();
    feed(uR"({"event":"error","message":"boom","fatal":true})"_s);
    ASSERT_EQ(state.screen(), Screen::results);
    screen.newCapture();
    EXPECT_EQ(state.screen(), Screen::setup);
}

TEST_F(ResultsScreenTest, TheUploadStatusIsThatOfThisMoment) {
    JSONEvent start;
    start.payload = UploadStartEvent{3};
    AppStateTestAccess::uploadEvent(state, state.uploadGeneration(), start);
    const UploadStatus status = screen.uploadStatus();
    EXPECT_EQ(status.kind, UploadStatus::Kind::uploadingCount);
    EXPECT_EQ(status, UploadStatus::forState(state.upload(), state.measuredUplinkMbps(), time.now()));
}
