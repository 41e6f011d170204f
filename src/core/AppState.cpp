#include "core/AppState.h"

#include "base/NumberText.h"
#include "base/Settings.h"
#include "capture/CSVLoader.h"
#include "capture/InternetDateTime.h"
#include "core/HoneycombState.h"
#include "services/ConnectivityDiagnostics.h"
#include "services/FileLogger.h"
#include "services/NetworkMonitor.h"
#include "subprocess/Bootstrap.h"
#include "subprocess/PythonProcess.h"
#include "subprocess/UploadRunner.h"

#include <QPointer>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {
const QString tag = u"AppState"_s;
constexpr double defaultHoneycombDurationSecs = 300.0;
constexpr int honeycombMaxFillSeconds = 360;
constexpr int honeycombFillMarginSeconds = 60;
constexpr qsizetype endMetaLossWindow = 20;
constexpr qsizetype endMetaGatewayWindow = 5;
} // namespace

const QSet<QString> AppState::videoStreamingProbeTypes = {u"netflix_oca"_s, u"youtube_segment"_s,
                                                          u"youtube_abr"_s};

QString AppState::screenName(Screen screen) {
    switch (screen) {
    case Screen::bootstrapping:
        return u"bootstrapping"_s;
    case Screen::setup:
        return u"setup"_s;
    case Screen::running:
        return u"running"_s;
    case Screen::finishing:
        return u"finishing"_s;
    case Screen::celebration:
        return u"celebration"_s;
    case Screen::results:
        return u"results"_s;
    case Screen::diagnostics:
        return u"diagnostics"_s;
    }
    return QString();
}

AppState::AppState(FileLogger& log, NetworkMonitor* networkMonitor, QObject* parent)
    : QObject(parent)
    , m_log(log)
    , m_pythonProcess(std::make_unique<PythonProcess>(log))
    , m_honeycomb(std::make_unique<HoneycombState>()) {
    const std::optional<double> uplink = Settings().doubleValue(Settings::lastMeasuredUplinkMbps);
    if (uplink && *uplink > 0)
        m_measuredUplinkMbps = uplink;

    if (Bootstrap::findUV(m_log)) {
        m_log.info(tag, u"uv available, starting with setup screen"_s);
    } else {
        m_log.info(tag, u"uv not found, starting with bootstrap screen"_s);
        m_screen = Screen::bootstrapping;
    }

    // The supervisor is owned and destroyed with us, so its callbacks can't outlive `this`.
    m_pythonProcess->setOnEvent([this](const JSONEvent& event) { handleEvent(event); });
    m_pythonProcess->setOnTerminated([this] { onProcessTerminated(); });
    // The monitor outlives us and never forgets a handler, hence the weak hold.
    if (networkMonitor) {
        const QPointer<AppState> self(this);
        networkMonitor->addReconnectHandler([self] {
            if (self)
                self->onNetworkReconnected();
        });
    }
}

AppState::~AppState() {
    // The callbacks point back at us; the child itself is ended by the supervisor's own destructor.
    m_pythonProcess->setOnEvent({});
    m_pythonProcess->setOnTerminated({});
    if (m_uploadRunner)
        m_uploadRunner->cancel();
}

CaptureSnapshot AppState::snapshot() const {
    CaptureSnapshot snapshot = m_snapshot;
    snapshot.stats = m_stats;
    snapshot.captureId = m_captureId;
    snapshot.captureDate = m_captureDate;
    if (m_infoEvent) {
        snapshot.ssid = m_infoEvent->ssid;
        snapshot.vpn = m_infoEvent->vpn;
    }
    if (m_completeEvent) {
        snapshot.durationSec = m_completeEvent->durationSec;
        snapshot.sampleCount = m_completeEvent->samples;
    }
    return snapshot;
}

// --- operations -----------------------------------------------------------------------------------

void AppState::startCapture(const CaptureConfig& config) {
    beginSession(config);
    m_pythonProcess->launch(config, chromiumInstalled());

    const PythonProcess::State& state = m_pythonProcess->state();
    if (state.isFailed())
        enterDiagnostics(state.message);
    else
        setScreen(Screen::running);
}

void AppState::startReplay(const CaptureConfig& config) {
    beginSession(config);
    setScreen(Screen::running);
}

void AppState::beginSession(const CaptureConfig& config) {
    m_log.info(tag, u"startCapture location=%1 network=%2 duration=%3 privacy=%4"_s.arg(
                        config.location.value_or(u"nil"_s), config.network.value_or(u"nil"_s),
                        config.durationString.value_or(u"unlimited"_s), rawValue(config.privacy)));

    // Bumped before anything is reset, so that a late event of an older upload run is dropped.
    ++m_uploadGeneration;
    cancelPendingRetry();
    stopIdleTimer();
    m_retryAttempt = 0;

    m_stats = CaptureStats();
    m_infoEvent.reset();
    m_completeEvent.reset();
    m_errorMessage.reset();
    m_captureId.reset();
    m_captureDate.reset();
    m_captureCategory.reset();
    m_captureLocation = config.location;
    m_captureNetwork = config.network;
    // The video ranges are left alone on purpose: they carry over to the next capture of this run.
    const QList<SpeedTestRange> keptVideoRanges = m_videoStreamingRanges;
    m_snapshot = CaptureSnapshot();
    resetThroughputState();
    m_stopReason.reset();
    resetUploadFields(true);
    m_warnings.clear();
    m_blockedProbes.clear();
    m_firstLossTime.clear();
    m_lastSuccessAnyProbe.reset();
    m_latencyBuffer.clear();
    replaceHoneycomb();
    m_capturedNotes.clear();
    m_latestProbeTick.reset();
    m_persistentActivity.reset();
    m_flashActivity.reset();
    m_currentWindowWorstQuality.reset();
    m_videoStreamingRanges = keptVideoRanges;

    notifyWholeSession();

    stopHoneycombTimer();
    startFlushTimer();
}

void AppState::stopCapture() {
    m_log.info(tag, u"stopCapture (user requested)"_s);
    const PythonProcess::State& state = m_pythonProcess->state();
    if (state.isFailed()) {
        enterDiagnostics(state.message);
        return;
    }
    sendEndMeta();
    // The delay gives the ENDMETA line a head start over the signal.
    QPointer<PythonProcess> process = m_pythonProcess.get();
    Time::scheduler().post(stopSignalDelaySeconds, this, [process] {
        if (process)
            process->stop();
    });
    setScreen(Screen::finishing);
}

AppState::EndMetaFigures AppState::endMetaFigures(const QList<LatencyPoint>& latencyPoints) {
    QList<const LatencyPoint*> reference;
    for (const QString& type : {u"ping"_s, u"udp"_s}) {
        for (const LatencyPoint& point : latencyPoints) {
            if (point.probeType == type)
                reference.append(&point);
        }
        if (!reference.isEmpty())
            break;
    }
    EndMetaFigures figures;
    if (reference.isEmpty())
        return figures;
    const qsizetype lossCount = std::min(endMetaLossWindow, reference.size());
    const auto lost = std::count_if(reference.end() - lossCount, reference.end(),
                                    [](const LatencyPoint* point) { return point->loss; });
    figures.lossPct = double(lost) / double(lossCount) * 100.0;
    const qsizetype gatewayCount = std::min(endMetaGatewayWindow, reference.size());
    figures.gatewayReachable = std::any_of(reference.end() - gatewayCount, reference.end(),
                                           [](const LatencyPoint* point) { return !point->loss; });
    return figures;
}

void AppState::sendEndMeta() {
    // Samples still in the buffer don't count: no flush precedes a stop.
    const EndMetaFigures figures = endMetaFigures(m_snapshot.latencyPoints);
    std::optional<qint64> rssi;
    if (m_stats.rssi)
        rssi = *m_stats.rssi;
    m_pythonProcess->sendEndMeta(rssi, m_stats.uploadMbps, figures.lossPct, m_stats.latencyMs,
                                 figures.gatewayReachable);
}

void AppState::onProcessTerminated() {
    runTerminationStep();
    emit processTerminated();
}

void AppState::runTerminationStep() {
    setPersistentActivity(std::nullopt);
    setFlashActivity(std::nullopt);
    closeOpenRanges(m_snapshot.speedTestRanges, Time::clock().now());

    const PythonProcess::State& state = m_pythonProcess->state();
    if (m_screen == Screen::running && state.isFailed()) {
        enterDiagnostics(state.message);
        return;
    }
    if (m_screen == Screen::finishing)
        setScreen(Screen::celebration);

    if (!autoUploadEnabled()) {
        if (!m_upload.uploadDone) {
            m_upload.uploadDone = true;
            emit uploadStateChanged();
        }
        return;
    }
    m_upload.uploadPreparing = true;
    m_upload.uploadDone = false;
    emit uploadStateChanged();
    runUploadSweep(u"capture-complete"_s, true);
}

void AppState::finishingWaitRanOut() {
    if (m_screen == Screen::finishing)
        setScreen(Screen::celebration);
}

void AppState::bootstrapFinished() {
    setScreen(Screen::setup);
}

void AppState::showResults() {
    setScreen(Screen::results);
}

void AppState::enterDiagnostics(const QString& processError) {
    if (m_screen == Screen::diagnostics)
        return;
    m_log.info(tag, u"entering diagnostics: "_s + processError);
    // Dropped without a flush: what is still buffered belongs to a run that failed.
    stopFlushTimer();
    stopHoneycombTimer();
    setErrorMessage(processError);
    replaceDiagnostics(std::make_unique<ConnectivityDiagnostics>(m_log));
    setScreen(Screen::diagnostics);
    // Started from the event loop, after the screen has switched and drawn its first phase.
    QMetaObject::invokeMethod(
        m_diagnostics.get(),
        [diagnosis = m_diagnostics.get(), processError] { diagnosis->run(processError); },
        Qt::QueuedConnection);
}

void AppState::replaceDiagnostics(std::unique_ptr<ConnectivityDiagnostics> diagnostics) {
    // Gone at once, with its probes and the answer of a portal check still out: a diagnosis left to a
    // later event loop could still write to a log that is gone by then. Only the user's actions and the
    // session's own steps replace it, never one of its callbacks.
    if (m_diagnostics)
        m_diagnostics->cancel();
    m_diagnostics.reset();
    m_diagnostics = std::move(diagnostics);
    emit diagnosticsChanged();
}

void AppState::dismissDiagnostics() {
    if (m_diagnostics)
        replaceDiagnostics(nullptr);
    m_pythonProcess->reset();
    stopFlushTimer();
    stopHoneycombTimer();
    setScreen(Screen::setup);
    if (autoUploadEnabled())
        runUploadSweep(u"diagnostics-dismiss"_s, false);
}

void AppState::newCapture() {
    if (m_diagnostics)
        replaceDiagnostics(nullptr);
    m_pythonProcess->reset();
    stopFlushTimer();
    stopHoneycombTimer();
    setScreen(Screen::setup);
}

void AppState::loadCapture(const QString& csvPath) {
    m_log.info(tag, u"loadCapture from "_s + csvPath);
    std::optional<CSVLoader::LoadedCapture> loaded = CSVLoader::load(csvPath);
    if (!loaded) {
        // Nothing else changes: the results keep the session's old figures, with the error above them.
        setErrorMessage(u"Could not load CSV file"_s);
        setScreen(Screen::results);
        return;
    }

    m_pythonProcess->reset();
    stopFlushTimer();

    m_stats = CaptureStats();
    m_infoEvent.reset();
    m_captureCategory.reset();
    m_errorMessage.reset();
    resetThroughputState();
    m_stopReason.reset();
    m_latencyBuffer.clear();
    m_warnings.clear();
    replaceHoneycomb();
    m_capturedNotes.clear();
    m_latestProbeTick.reset();
    m_persistentActivity.reset();
    m_flashActivity.reset();
    resetUploadFields(false);

    m_snapshot.latencyPoints = std::move(loaded->latencyPoints);
    m_snapshot.throughputPoints = std::move(loaded->throughputPoints);
    m_snapshot.rssiHistory = std::move(loaded->rssiHistory);
    m_snapshot.traceroutePoints = std::move(loaded->traceroutePoints);
    m_snapshot.speedTestRanges = std::move(loaded->speedTestRanges);
    m_snapshot.observedThroughputPoints = std::move(loaded->observedThroughputPoints);
    m_captureLocation = loaded->location;
    m_captureNetwork = loaded->network;

    InfoEvent info;
    info.captureId = loaded->captureId;
    info.ssid = loaded->ssid;
    if (loaded->lastRSSI)
        info.rssi = *loaded->lastRSSI;
    info.csvFile = loaded->csvFile;
    info.durationSecs = loaded->durationSec;
    m_infoEvent = info;

    CompleteEvent complete;
    complete.captureId = loaded->captureId;
    complete.csvFile = loaded->csvFile;
    complete.durationSec = loaded->durationSec;
    complete.samples = loaded->sampleCount;
    m_completeEvent = complete;

    m_captureId = loaded->captureId;
    m_captureDate = loaded->captureDate;

    if (loaded->lastDownloadMbps)
        m_stats.downloadMbps = loaded->lastDownloadMbps;
    if (loaded->lastUploadMbps)
        m_stats.uploadMbps = loaded->lastUploadMbps;
    if (loaded->lastRSSI)
        m_stats.rssi = loaded->lastRSSI;

    // An old capture shows no upload state.
    m_upload.uploadDone = true;

    notifyWholeSession();
    setScreen(Screen::results);
}

void AppState::cancelPendingRetry() {
    m_pendingRetryTimer.cancel();
    if (m_upload.pendingRetryAt) {
        m_upload.pendingRetryAt.reset();
        emit uploadStateChanged();
    }
}

void AppState::stopIdleTimer() {
    m_idleUploadTimer.cancel();
    m_idleUploadTicks = 0;
}

// --- buffers and timers -----------------------------------------------------------------------------

void AppState::startFlushTimer() {
    m_flushTimer = Time::scheduler().repeating(flushIntervalSeconds, this, [this] { flushLatencyBuffer(); });
}

void AppState::stopFlushTimer() {
    m_flushTimer.cancel();
}

void AppState::flushLatencyBuffer() {
    if (m_latencyBuffer.isEmpty())
        return;
    // One append and one notice, however many samples came in since the last flush.
    m_snapshot.latencyPoints.append(m_latencyBuffer);
    m_latencyBuffer.clear();
    emit latencyPointsChanged();
}

void AppState::startHoneycombTimer(std::optional<double> durationSecs) {
    m_honeycombTimer.cancel();
    const qint64 duration = NumberText::wholeSeconds(durationSecs.value_or(defaultHoneycombDurationSecs));
    const qint64 fill = std::min<qint64>(duration + honeycombFillMarginSeconds, honeycombMaxFillSeconds);
    m_honeycomb->setTargetFillSeconds(int(fill));
    m_honeycombTimer = Time::scheduler().repeating(honeycombTickSeconds, this, [this] { honeycombTick(); });
}

void AppState::stopHoneycombTimer() {
    m_honeycombTimer.cancel();
}

void AppState::honeycombTick() {
    std::optional<QualityRating> quality = m_currentWindowWorstQuality;
    if (m_stats.noInternetDetected)
        quality = QualityRating::broken;
    if (!quality)
        return; // a second without samples on a live network leaves no mark
    m_honeycomb->fillNext(*quality, false);
    m_currentWindowWorstQuality.reset();
}

// --- small helpers -----------------------------------------------------------------------------------

void AppState::notifyWholeSession() {
    emit sessionChanged();
    emit errorMessageChanged();
    emit warningsChanged();
    emit statsChanged();
    emit latestProbeTickChanged();
    emit activityChanged();
    emit throughputStateChanged();
    emit latencyPointsChanged();
    emit seriesChanged();
    emit videoResultsChanged();
    emit blockedProbesChanged();
    emit uploadStateChanged();
}

void AppState::setScreen(Screen screen) {
    if (m_screen == screen)
        return;
    m_screen = screen;
    emit screenChanged();
}

void AppState::setErrorMessage(std::optional<QString> message) {
    m_errorMessage = std::move(message);
    emit errorMessageChanged();
}

void AppState::addWarning(const QString& text) {
    if (m_warnings.size() >= maxWarnings || m_warnings.contains(text))
        return;
    m_warnings.append(text);
    emit warningsChanged();
}

void AppState::setPersistentActivity(std::optional<Activity> activity) {
    m_persistentActivity = std::move(activity);
    emit activityChanged();
}

void AppState::setFlashActivity(std::optional<Activity> activity) {
    m_flashActivity = std::move(activity);
    emit activityChanged();
}

Activity AppState::activity(const QString& text, const QString& icon, double lifetimeSeconds) const {
    return Activity{text, icon, Time::clock().now().addMSecs(qint64(lifetimeSeconds * 1000))};
}

void AppState::setMeasuredUplinkMbps(std::optional<double> mbps) {
    m_measuredUplinkMbps = mbps;
    Settings settings;
    if (mbps)
        settings.setDouble(Settings::lastMeasuredUplinkMbps, *mbps);
    else
        settings.remove(Settings::lastMeasuredUplinkMbps);
}

void AppState::replaceHoneycomb() {
    m_honeycomb = std::make_unique<HoneycombState>();
    emit honeycombChanged();
}

void AppState::resetThroughputState() {
    m_throughputPhase.reset();
    m_throughputDirection.reset();
    m_throughputRoundNum.reset();
    m_throughputTotalRounds.reset();
    m_throughputProbeType.reset();
}

void AppState::resetUploadFields(bool includingDone) {
    const bool done = m_upload.uploadDone;
    const std::optional<QDateTime> pendingRetryAt = m_upload.pendingRetryAt;
    m_upload = UploadState();
    // The retry schedule isn't part of a capture's upload state; cancelPendingRetry owns it.
    m_upload.pendingRetryAt = pendingRetryAt;
    if (!includingDone)
        m_upload.uploadDone = done;
    m_uploadProgressStartTime.reset();
    m_uploadProgressStartBytes = 0;
}

void AppState::closeOpenRanges(QList<SpeedTestRange>& ranges, const QDateTime& end) {
    bool changed = false;
    for (SpeedTestRange& range : ranges) {
        if (!range.end) {
            range.end = end;
            changed = true;
        }
    }
    if (changed)
        emit seriesChanged();
}

QString AppState::intern(const QString& name) {
    auto known = m_probeNames.constFind(name);
    if (known == m_probeNames.constEnd())
        known = m_probeNames.insert(name);
    return *known;
}

QDateTime AppState::eventTime(const QString& ts) const {
    if (const auto parsed = parseInternetDateTime(ts.toStdString()))
        return *parsed;
    return Time::clock().now();
}

std::optional<QString> AppState::youtubeQualityLabel(const std::optional<QString>& quality) {
    if (!quality)
        return std::nullopt;
    static const QHash<QString, QString> labels = {
        {u"hd2160"_s, u"4K"_s},  {u"hd1440"_s, u"1440p"_s}, {u"hd1080"_s, u"1080p"_s},
        {u"hd720"_s, u"720p"_s}, {u"large"_s, u"480p"_s},   {u"medium"_s, u"360p"_s},
        {u"small"_s, u"240p"_s}, {u"tiny"_s, u"144p"_s},
    };
    return labels.value(*quality, *quality);
}

QString AppState::probeDisplayName(const QString& type) {
    static const QHash<QString, QString> names = {
        {u"cf_speed"_s, u"speed test"_s},
        {u"netflix_oca"_s, u"Netflix OCA"_s},
        {u"youtube_segment"_s, u"YouTube segment"_s},
        {u"youtube_abr"_s, u"YouTube ABR"_s},
        {u"akamai"_s, u"Akamai diversity"_s},
    };
    return names.value(type, type);
}
