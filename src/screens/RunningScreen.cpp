#include "screens/RunningScreen.h"

#include "base/NumberText.h"
#include "capture/QualityRating.h"
#include "capture/ResultsFormat.h"
#include "capture/SharedFigures.h"
#include "core/AppState.h"
#include "subprocess/PythonProcess.h"
#include "subprocess/StdinCommand.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString missing = u"---"_s;
const QString warningIcon = u"exclamationmark.triangle"_s;

bool aboveGeoLatency(const CaptureStats& stats) {
    return stats.latencyMs && *stats.latencyMs > RunningScreen::geoLatencyMs;
}

// The speed test cards share everything but their figures.
StatCard speedTestCard(const QString& title, const CaptureStats& stats, std::optional<double> mbps,
                       const std::optional<QString>& error, const std::optional<QDateTime>& updatedAt,
                       std::optional<QualityRating> rating) {
    StatCard card;
    card.title = title;
    if (mbps)
        card.value = RunningScreen::formatSpeedMbps(*mbps);
    else
        card.value = error ? u"Failed"_s : missing;
    card.rating = rating;
    if (stats.isCalibrationSpeed)
        card.ratingQualifier = u"calibration"_s;
    else if (aboveGeoLatency(stats))
        card.ratingQualifier = u"GEO"_s;
    // A failed test with no earlier rate says why; otherwise the rate shows its age.
    if (!mbps && error)
        card.subtitle = ResultsAnalysis::formatSpeedError(*error);
    else
        card.subtitle = formatTimeAgo(updatedAt);
    return card;
}

StatCard observedThroughputCard(const QString& title, std::optional<double> mbps) {
    const RunningScreen::ObservedRateText text = RunningScreen::formatObservedThroughput(mbps);
    StatCard card;
    card.title = title;
    card.value = text.text;
    card.valueColor = text.color;
    return card;
}

} // namespace

const QString RunningScreen::browserNoticeText =
    u"YouTube ABR unavailable — browser not cached for offline use"_s;
const QString RunningScreen::copyToClipboardText = u"Copy to Clipboard"_s;

// --- plain values ------------------------------------------------------------------------------------

RunningProgress RunningProgress::forStats(const CaptureStats& stats) {
    RunningProgress progress;
    progress.elapsedText = RunningScreen::formatTimeClock(stats.elapsedSec);
    if (stats.remainingSec && *stats.remainingSec > 0) {
        progress.remainingText = RunningScreen::formatTimeClock(*stats.remainingSec) + u" remaining"_s;
        progress.barValue = stats.elapsedSec;
        progress.barMaximum = stats.elapsedSec + *stats.remainingSec;
    }
    return progress;
}

RunningStatusNotice RunningStatusNotice::forState(double elapsedSec, bool hasInfoEvent, int noDataSeconds,
                                                  const QString& stderrOutput) {
    RunningStatusNotice notice;
    if (elapsedSec == 0) {
        notice.kind = hasInfoEvent ? Kind::startingProbes : Kind::startingUp;
        notice.text = hasInfoEvent ? u"Starting probes..."_s : u"Starting up..."_s;
        notice.showsSpinner = true;
        return notice;
    }
    if (noDataSeconds >= diagnoseAfterSeconds) {
        notice.kind = Kind::noDataDiagnose;
        notice.text = u"No data received for %1s"_s.arg(noDataSeconds);
        notice.offersStopAndDiagnose = true;
    } else if (noDataSeconds >= warnAfterSeconds) {
        notice.kind = Kind::noDataWarning;
        notice.text = u"No data for %1s — check network connectivity"_s.arg(noDataSeconds);
    } else {
        return notice;
    }
    notice.icon = warningIcon;
    notice.stderrTail = RunningScreen::stderrTail(stderrOutput);
    return notice;
}

RunningButtons RunningButtons::forState(const std::optional<InfoEvent>& infoEvent,
                                        const std::optional<QString>& throughputPhase) {
    RunningButtons buttons;
    const bool passive = infoEvent && infoEvent->profile == u"passive"_s;
    buttons.speedTestOffered = !passive;
    buttons.youTubeOffered = !passive;
    // One throughput test at a time: the tool is busy with one already.
    const bool busy = throughputPhase == u"testing"_s || throughputPhase == u"calibrating"_s;
    buttons.speedTestEnabled = !busy;
    const bool videoAvailable = !infoEvent || infoEvent->youtubeAbrAvailable.value_or(true);
    buttons.youTubeEnabled = !busy && videoAvailable;
    return buttons;
}

QList<StatCard> RunningCards::firstRow() const {
    QList<StatCard> row{latency, loss};
    if (youTube)
        row.append(*youTube);
    row.append(downloadTest);
    row.append(downloadThroughput);
    return row;
}

QList<StatCard> RunningCards::secondRow() const {
    QList<StatCard> row{signal, dns};
    if (netflix)
        row.append(*netflix);
    row.append(uploadTest);
    row.append(uploadThroughput);
    return row;
}

// --- pure rules --------------------------------------------------------------------------------------

QString RunningScreen::formatTimeClock(double seconds) {
    const qint64 whole = std::max<qint64>(0, NumberText::wholeSeconds(seconds));
    return QString::number(whole / 60) + u':' +
           QString::asprintf("%02lld", static_cast<long long>(whole % 60));
}

QString RunningScreen::formatSpeedMbps(double mbps) {
    return ResultsAnalysis::formatMbps(mbps) + u" Mbps"_s;
}

RunningScreen::ObservedRateText RunningScreen::formatObservedThroughput(std::optional<double> mbps) {
    if (!mbps)
        return {missing, std::nullopt};
    if (*mbps >= 1.0)
        return {NumberText::wholePart(*mbps) + u" Mbps"_s, std::nullopt};
    if (*mbps >= 0.1)
        return {NumberText::fixed(*mbps, 1) + u" Mbps"_s, std::nullopt};
    // A passive link that carries nothing must not read as a measured zero.
    return {u"idle"_s, CardColor::secondaryText()};
}

StatCard RunningScreen::latencyCard(const CaptureStats& stats) {
    StatCard card;
    card.title = u"Latency"_s;
    if (stats.noInternetDetected)
        card.value = u"No Internet"_s;
    else if (stats.latencyMs)
        card.value = NumberText::wholePart(*stats.latencyMs) + u" ms"_s;
    else
        card.value = missing;
    card.rating = stats.noInternetDetected
                      ? std::optional(QualityRating::broken)
                      : QualityRating::rateLatency(stats.latencyMs, aboveGeoLatency(stats));
    if (aboveGeoLatency(stats))
        card.ratingQualifier = u"GEO"_s;
    return card;
}

StatCard RunningScreen::lossCard(const CaptureStats& stats, const QDateTime& now) {
    StatCard card;
    card.title = u"Loss"_s;
    card.value = stats.lossPct ? NumberText::fixed(*stats.lossPct, 1) + u" %"_s : missing;
    card.rating = stats.noInternetDetected ? std::optional(QualityRating::broken)
                                           : QualityRating::rateLoss(stats.lossPct);
    card.breathing = stats.lastLossChange.msecsTo(now) > qint64(lossSettledSeconds * 1000);
    return card;
}

StatCard RunningScreen::downloadTestCard(const CaptureStats& stats) {
    const QString title = stats.downloadTarget == u"akamai"_s ? u"DL Test (Akamai)"_s : u"DL Test"_s;
    return speedTestCard(title, stats, stats.downloadMbps, stats.downloadError, stats.downloadUpdatedAt,
                         QualityRating::rateDownload(stats.downloadMbps));
}

StatCard RunningScreen::uploadTestCard(const CaptureStats& stats) {
    return speedTestCard(u"UL Test"_s, stats, stats.uploadMbps, stats.uploadError, stats.uploadUpdatedAt,
                         QualityRating::rateUpload(stats.uploadMbps));
}

StatCard RunningScreen::signalCard(const CaptureStats& stats) {
    StatCard card;
    card.title = u"Signal"_s;
    card.value = stats.rssi ? QString::number(*stats.rssi) + u" dBm"_s : missing;
    card.rating = QualityRating::rateSignal(stats.rssi);
    return card;
}

StatCard RunningScreen::dnsCard(const CaptureStats& stats) {
    StatCard card;
    card.title = u"DNS"_s;
    card.value = stats.dnsMs ? NumberText::wholePart(*stats.dnsMs) + u" ms"_s : missing;
    card.subtitle = formatTimeAgo(stats.dnsUpdatedAt);
    return card;
}

StatCard RunningScreen::downloadThroughputCard(const QList<ObservedThroughputPoint>& points) {
    return observedThroughputCard(u"DL Throughput"_s,
                                  points.isEmpty() ? std::nullopt : std::optional(points.constLast().dlMbps));
}

StatCard RunningScreen::uploadThroughputCard(const QList<ObservedThroughputPoint>& points) {
    return observedThroughputCard(u"UL Throughput"_s,
                                  points.isEmpty() ? std::nullopt : std::optional(points.constLast().ulMbps));
}

std::optional<StatCard> RunningScreen::youTubeTile(const CaptureSnapshot& video) {
    const std::optional<QString>& forced = video.youtubeForcedResolution;
    const std::optional<QString>& automatic = video.youtubeAbrResolution;
    if (!forced && !automatic && video.youtubeSegmentMbps.isEmpty())
        return std::nullopt;
    StatCard card;
    card.title = u"YouTube"_s;
    if (forced) {
        card.value = parseYouTubeResolution(*forced);
        // Compared as shown, so that two spellings of one resolution don't read as a difference.
        if (automatic) {
            const QString automaticLabel = parseYouTubeResolution(*automatic);
            if (automaticLabel != card.value)
                card.value += u" ("_s + automaticLabel + u" auto)"_s;
        }
        card.rating = QualityRating::rateYouTubeResolution(forced);
    } else if (automatic) {
        card.value = parseYouTubeResolution(*automatic);
        card.subtitle = u"auto"_s;
        card.rating = QualityRating::rateYouTubeResolution(automatic);
    } else {
        const double rate = video.youtubeSegmentMbps.constLast();
        card.value = formatSpeedMbps(rate);
        if (const std::optional<QString> label = AppState::youtubeQualityLabel(video.youtubeSegmentQuality))
            card.subtitle = u'~' + *label;
        card.rating = QualityRating::rateYouTubeThroughput(rate);
    }
    return card;
}

std::optional<StatCard> RunningScreen::netflixTile(const QList<CdnThroughputPoint>& points) {
    const auto last = std::find_if(points.crbegin(), points.crend(), [](const CdnThroughputPoint& point) {
        return point.target == u"netflix_oca"_s;
    });
    if (last == points.crend())
        return std::nullopt;
    StatCard card;
    card.title = u"Netflix"_s;
    card.value = formatSpeedMbps(last->mbps);
    card.subtitle = ResultsAnalysis::netflixResLabel(last->mbps);
    card.rating = QualityRating::rateNetflix(last->mbps);
    return card;
}

RunningCards RunningScreen::cardsFor(const CaptureSnapshot& snapshot, const QDateTime& now) {
    const CaptureStats& stats = snapshot.stats;
    RunningCards cards;
    cards.latency = latencyCard(stats);
    cards.loss = lossCard(stats, now);
    cards.youTube = youTubeTile(snapshot);
    cards.downloadTest = downloadTestCard(stats);
    cards.downloadThroughput = downloadThroughputCard(snapshot.observedThroughputPoints);
    cards.signal = signalCard(stats);
    cards.dns = dnsCard(stats);
    cards.netflix = netflixTile(snapshot.cdnThroughputPoints);
    cards.uploadTest = uploadTestCard(stats);
    cards.uploadThroughput = uploadThroughputCard(snapshot.observedThroughputPoints);
    return cards;
}

std::optional<QString> RunningScreen::blockedText(const QSet<QString>& blockedProbes) {
    if (blockedProbes.isEmpty())
        return std::nullopt;
    QStringList keys(blockedProbes.cbegin(), blockedProbes.cend());
    keys.sort();
    return u"Blocked: "_s + keys.join(u", "_s);
}

std::optional<QString> RunningScreen::stderrTail(const QString& stderrOutput) {
    QStringList lines;
    for (QStringView line : QStringView(stderrOutput).split(u'\n')) {
        if (line.endsWith(u'\r'))
            line.chop(1);
        if (!line.trimmed().isEmpty())
            lines.append(line.toString());
    }
    if (lines.isEmpty())
        return std::nullopt;
    return lines.mid(std::max<qsizetype>(0, lines.size() - 2)).join(u'\n');
}

QString RunningScreen::diagnoseMessage(int noDataSeconds) {
    return u"No data received after %1 seconds"_s.arg(noDataSeconds);
}

// --- the live object ---------------------------------------------------------------------------------

RunningScreen::RunningScreen(AppState& state, QObject* parent)
    : QObject(parent)
    , m_state(state)
    , m_now(Time::clock().now())
    , m_lastElapsedSec(state.stats().elapsedSec) {
    connect(&m_state, &AppState::screenChanged, this, &RunningScreen::followScreen);
    connect(&m_state, &AppState::statsChanged, this, &RunningScreen::onStatsChanged);
    followScreen();
}

RunningProgress RunningScreen::progress() const {
    return RunningProgress::forStats(m_state.stats());
}

RunningCards RunningScreen::cards() const {
    return cardsFor(m_state.snapshot(), Time::clock().now());
}

std::optional<IconLine> RunningScreen::blockedLine() const {
    const std::optional<QString> text = blockedText(m_state.blockedProbes());
    if (!text)
        return std::nullopt;
    return IconLine{u"xmark.shield"_s, *text};
}

QList<IconLine> RunningScreen::warningLines() const {
    QList<IconLine> lines;
    for (const QString& warning : m_state.warnings())
        lines.append(IconLine{u"exclamationmark.triangle.fill"_s, warning});
    return lines;
}

std::optional<IconLine> RunningScreen::browserNotice() const {
    if (!m_state.pythonProcess().playwrightUnavailable())
        return std::nullopt;
    return IconLine{u"play.rectangle"_s, browserNoticeText};
}

RunningStatusNotice RunningScreen::statusNotice() const {
    return RunningStatusNotice::forState(m_state.stats().elapsedSec, m_state.infoEvent().has_value(),
                                         m_noDataSeconds, m_state.pythonProcess().stderrOutput());
}

RunningButtons RunningScreen::buttons() const {
    return RunningButtons::forState(m_state.infoEvent(), m_state.throughputPhase());
}

void RunningScreen::stopTest() {
    m_state.stopCapture();
}

void RunningScreen::stopAndDiagnose() {
    const int seconds = m_noDataSeconds; // leaving the screen stops the clock, so read it first
    m_state.pythonProcess().stop();
    m_state.enterDiagnostics(diagnoseMessage(seconds));
}

void RunningScreen::requestSpeedTest() {
    const RunningButtons state = buttons();
    if (state.speedTestOffered && state.speedTestEnabled)
        m_state.pythonProcess().sendCommand(StdinCommand::speedTest);
}

void RunningScreen::requestYouTubeTest() {
    const RunningButtons state = buttons();
    if (state.youTubeOffered && state.youTubeEnabled)
        m_state.pythonProcess().sendCommand(StdinCommand::testYouTube);
}

void RunningScreen::followScreen() {
    const bool running = m_state.screen() == AppState::Screen::running;
    if (running && !m_noDataTimer.isActive())
        startNoDataMonitor();
    else if (!running && m_noDataTimer.isActive())
        stopNoDataMonitor();
}

void RunningScreen::startNoDataMonitor() {
    m_lastElapsedSec = m_state.stats().elapsedSec;
    m_now = Time::clock().now();
    setNoDataSeconds(0);
    m_noDataTimer = Time::scheduler().repeating(tickSeconds, this, [this] { tick(); });
}

void RunningScreen::stopNoDataMonitor() {
    m_noDataTimer.cancel();
}

void RunningScreen::tick() {
    m_now = Time::clock().now();
    setNoDataSeconds(m_noDataSeconds + 1);
    emit ticked();
}

void RunningScreen::onStatsChanged() {
    // Any status event moves the elapsed time on, and so proves that the tool is alive.
    const double elapsed = m_state.stats().elapsedSec;
    if (elapsed == m_lastElapsedSec)
        return;
    m_lastElapsedSec = elapsed;
    setNoDataSeconds(0);
}

void RunningScreen::setNoDataSeconds(int seconds) {
    if (seconds == m_noDataSeconds)
        return;
    m_noDataSeconds = seconds;
    emit noDataSecondsChanged();
}
