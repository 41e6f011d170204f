#pragma once

#include "base/Clock.h"
#include "capture/CaptureSeries.h"
#include "capture/CaptureSnapshot.h"
#include "capture/CaptureStats.h"
#include "capture/QualityRating.h"
#include "subprocess/CaptureConfig.h"
#include "subprocess/JSONEvent.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

class ConnectivityDiagnostics;
class FileLogger;
class HoneycombState;
class NetworkMonitor;
class PythonProcess;
class UploadRunner;

// The one session object: which screen shows, every figure and series of the capture, the upload
// state, and the operations that drive the measurement tool. Screens read it and call its operations;
// only those operations, the event reducer and its own timers change it. Main thread only.
//
// Observable fields notify through the signals below. The latency series notifies only when the
// buffer is flushed, twice a second at most, however fast the probes run.
class AppState : public QObject {
    Q_OBJECT

public:
    enum class Screen { bootstrapping, setup, running, finishing, celebration, results, diagnostics };
    Q_ENUM(Screen)
    // The display name of a screen, as the log writes it: "bootstrapping" … "diagnostics".
    static QString screenName(Screen screen);

    static constexpr double flushIntervalSeconds = 0.5;
    static constexpr double honeycombTickSeconds = 1.0;
    static constexpr double blockedAfterSeconds = 10.0;
    static constexpr double stopSignalDelaySeconds = 0.1;
    static constexpr double persistentActivitySeconds = 120;
    static constexpr double flashActivitySeconds = 4;
    static constexpr double networkChangeFlashSeconds = 6;
    static constexpr qsizetype maxWarnings = 5;
    static const QSet<QString> videoStreamingProbeTypes;

    // Looks for uv to choose the first screen, and installs the callbacks on the supervisor. With a
    // `networkMonitor`, a network that comes back sweeps waiting uploads; without one (tests, the
    // command line) nothing watches the network.
    explicit AppState(FileLogger& log, NetworkMonitor* networkMonitor = nullptr, QObject* parent = nullptr);
    ~AppState() override;

    // --- operations -------------------------------------------------------------------------------
    void startCapture(const CaptureConfig& config);
    // A capture whose events come from a recording instead of a child: the same reset and timers as
    // startCapture, and the running screen, but nothing is launched.
    void startReplay(const CaptureConfig& config);
    void stopCapture();
    void sendEndMeta();
    void newCapture();
    void loadCapture(const QString& csvPath);
    // The finishing screen waited long enough for a termination notice that never came: a capture still
    // finishing moves on to the celebration, with or without its complete event.
    void finishingWaitRanOut();
    // The first-run install ended ready: the setup screen follows.
    void bootstrapFinished();
    // Shows the results of what the session holds, such as the partial results of a failed run.
    void showResults();
    void enterDiagnostics(const QString& processError);
    void dismissDiagnostics();
    void cancelPendingRetry();
    void stopIdleTimer();

    // --- upload sweep ---------------------------------------------------------------------------------
    static constexpr double retryDelaysSeconds[] = {60, 300, 900, 900};
    static constexpr double idleUploadIntervalSeconds = 900.0;
    static constexpr int idleUploadTickLimit = 11;
    static constexpr double deferAboveSeconds = 600.0;

    // The one entry of the sweep. `reason` shows in the log only; `manual` skips the deferral check.
    void runUploadSweep(const QString& reason, bool manual);
    // The results screen's "Upload Now" and "Retry Now".
    void retryUpload();
    void handleUploadEvent(const JSONEvent& event);
    void scheduleNextRetry();
    void startIdleTimer();
    // The launch sweep, once the window is up: only on the setup screen.
    void runLaunchSweep();
    // The wake sweep, once the cache warm-up of this moment has ended, whatever the screen.
    void onSystemWake();
    // The network came back: sweeps at once when a retry is pending or the last run had failures.
    void onNetworkReconnected();
    // Ends a running upload for good and forgets it; nothing of it is reported afterwards.
    void cancelUploadRunner();
    // For a headless run that must not upload: the sweep then behaves as if "autoUpload" were off.
    // Not stored anywhere.
    void setUploadsSuppressed(bool suppressed) { m_uploadsSuppressed = suppressed; }
    // Bytes of the capture files in the folder that uploaded.json doesn't list.
    static qint64 estimatePendingUploadBytes(const QString& capturesDir);

    // The closing figures of a stop, from the reference list of latency points.
    struct EndMetaFigures {
        std::optional<double> lossPct;
        bool gatewayReachable = false;
        friend bool operator==(const EndMetaFigures&, const EndMetaFigures&) = default;
    };
    static EndMetaFigures endMetaFigures(const QList<LatencyPoint>& latencyPoints);

    // The label of a video quality ("hd1080" -> "1080p"); an unknown value stands as it is.
    static std::optional<QString> youtubeQualityLabel(const std::optional<QString>& quality);
    // "speed test", "Netflix OCA" …; an unknown type stands as it is.
    static QString probeDisplayName(const QString& type);

    // --- session identity and outcome ---------------------------------------------------------------
    Screen screen() const { return m_screen; }
    const std::optional<InfoEvent>& infoEvent() const { return m_infoEvent; }
    const std::optional<CompleteEvent>& completeEvent() const { return m_completeEvent; }
    const std::optional<QString>& errorMessage() const { return m_errorMessage; }
    const std::optional<QString>& captureId() const { return m_captureId; }
    const std::optional<QDateTime>& captureDate() const { return m_captureDate; }
    const std::optional<QString>& captureCategory() const { return m_captureCategory; }
    const std::optional<QString>& captureLocation() const { return m_captureLocation; }
    const std::optional<QString>& captureNetwork() const { return m_captureNetwork; }
    const std::optional<QString>& stopReason() const { return m_stopReason; }
    const QStringList& warnings() const { return m_warnings; }

    // --- live figures --------------------------------------------------------------------------------
    const CaptureStats& stats() const { return m_stats; }
    const std::optional<QString>& latestProbeTick() const { return m_latestProbeTick; }
    const std::optional<Activity>& persistentActivity() const { return m_persistentActivity; }
    const std::optional<Activity>& flashActivity() const { return m_flashActivity; }
    const std::optional<QString>& throughputPhase() const { return m_throughputPhase; }
    const std::optional<QString>& throughputDirection() const { return m_throughputDirection; }
    const std::optional<qint64>& throughputRoundNum() const { return m_throughputRoundNum; }
    const std::optional<qint64>& throughputTotalRounds() const { return m_throughputTotalRounds; }
    const std::optional<QString>& throughputProbeType() const { return m_throughputProbeType; }

    // --- series --------------------------------------------------------------------------------------
    const QList<LatencyPoint>& latencyPoints() const { return m_snapshot.latencyPoints; }
    const QList<ThroughputPoint>& throughputPoints() const { return m_snapshot.throughputPoints; }
    const QList<CdnThroughputPoint>& cdnThroughputPoints() const { return m_snapshot.cdnThroughputPoints; }
    const QList<RSSIPoint>& rssiHistory() const { return m_snapshot.rssiHistory; }
    const QList<TraceroutePoint>& traceroutePoints() const { return m_snapshot.traceroutePoints; }
    const QList<ObservedThroughputPoint>& observedThroughputPoints() const {
        return m_snapshot.observedThroughputPoints;
    }
    const QList<SpeedTestRange>& speedTestRanges() const { return m_snapshot.speedTestRanges; }
    const QList<SpeedTestRange>& videoStreamingRanges() const { return m_videoStreamingRanges; }
    const QList<CapturedNote>& capturedNotes() const { return m_capturedNotes; }

    // The video results, the series and the identity, as the results analysis reads them. Cheap: the
    // lists are shared, not copied.
    CaptureSnapshot snapshot() const;

    // --- honeycomb and probe health ------------------------------------------------------------------
    HoneycombState& honeycomb() const { return *m_honeycomb; }
    const QSet<QString>& blockedProbes() const { return m_blockedProbes; }
    const QList<LatencyPoint>& latencyBuffer() const { return m_latencyBuffer; }
    const std::optional<QualityRating>& currentWindowWorstQuality() const {
        return m_currentWindowWorstQuality;
    }
    const QHash<QString, QDateTime>& firstLossTime() const { return m_firstLossTime; }
    const std::optional<QDateTime>& lastSuccessAnyProbe() const { return m_lastSuccessAnyProbe; }
    bool isFlushTimerRunning() const { return m_flushTimer.isActive(); }
    bool isHoneycombTimerRunning() const { return m_honeycombTimer.isActive(); }

    // --- upload state --------------------------------------------------------------------------------
    struct UploadState {
        int uploadTotal = 0;
        int uploadSucceeded = 0;
        int uploadFailed = 0;
        bool uploadInProgress = false;
        bool uploadPreparing = false;
        bool uploadDone = false;
        bool uploadDeferred = false;
        std::optional<double> estimatedUploadSecs;
        std::optional<QString> uploadSkippedReason;
        QList<UploadErrorEvent> uploadErrors;
        QList<UploadSkippedEvent> uploadSizeSkips;
        qint64 uploadProgressPct = 0;
        qint64 uploadBytesSent = 0;
        qint64 uploadBytesTotal = 0;
        std::optional<QString> uploadProgressFile;
        std::optional<double> uploadEtaSecs;
        std::optional<QDateTime> pendingRetryAt;
        friend bool operator==(const UploadState&, const UploadState&) = default;
    };
    const UploadState& upload() const { return m_upload; }
    std::optional<double> measuredUplinkMbps() const { return m_measuredUplinkMbps; }
    int uploadGeneration() const { return m_uploadGeneration; }
    int retryAttempt() const { return m_retryAttempt; }
    int idleUploadTicks() const { return m_idleUploadTicks; }
    UploadRunner* uploadRunner() const { return m_uploadRunner.get(); }
    bool isIdleUploadTimerRunning() const { return m_idleUploadTimer.isActive(); }
    bool isRetryTimerRunning() const { return m_pendingRetryTimer.isActive(); }

    PythonProcess& pythonProcess() const { return *m_pythonProcess; }
    // The diagnosis of the last failure, while the diagnostics screen is up.
    ConnectivityDiagnostics* diagnostics() const { return m_diagnostics.get(); }

signals:
    void screenChanged();
    // infoEvent, completeEvent and the capture's identity, location, network, stop reason.
    void sessionChanged();
    void errorMessageChanged();
    void warningsChanged();
    void statsChanged();
    void latestProbeTickChanged();
    void activityChanged();
    void throughputStateChanged();
    // latencyPoints, at a flush or a reset only.
    void latencyPointsChanged();
    // Every other series: throughput, CDN, signal, traceroute, observed rates, ranges, notes.
    void seriesChanged();
    void videoResultsChanged();
    // A new HoneycombState took the place of the old one.
    void honeycombChanged();
    void blockedProbesChanged();
    void uploadStateChanged();
    void diagnosticsChanged();
    // A run of the tool has ended for good and the termination step has run.
    void processTerminated();

private:
    friend class AppStateTestAccess;

    // The event reducer: one case for each kind of event.
    void handleEvent(const JSONEvent& event);
    void reduceInfo(const InfoEvent& event);
    void reduceStatus(const StatusEvent& event);
    void reduceProbe(const ProbeEvent& event);
    void reduceThroughputStatus(const ThroughputStatusEvent& event);
    void reduceThroughputResult(const ThroughputResultEvent& event);
    void reduceCdnThroughputResult(const CDNThroughputResultEvent& event);
    void reduceYouTubeSegmentResult(const YouTubeSegmentResultEvent& event);
    void reduceYouTubeAbrResult(const YouTubeAbrResultEvent& event);
    void reduceTracerouteResult(const TracerouteResultEvent& event);
    void reduceComplete(const CompleteEvent& event);
    void reduceCalibrationComplete(const CalibrationCompleteEvent& event);
    void reduceIcmpProxyDetected(const IcmpProxyDetectedEvent& event);
    void reduceCaptureAutoStop(const CaptureAutoStopEvent& event);
    void reduceSystemSleep(const SystemSleepEvent& event);
    void reduceNetworkChange(const NetworkChangeEvent& event);
    void reduceRoundSummary(const RoundSummaryEvent& event);
    void reduceNote(const NoteEvent& event);
    void reduceError(const ErrorEvent& event);

    // Steps 1 to 4 of a start: the log line, the reset of the session, the timers.
    void beginSession(const CaptureConfig& config);

    // The termination step, once a run of the tool has ended for good.
    void onProcessTerminated();
    void runTerminationStep();

    // Buffers and timers.
    void startFlushTimer();
    void stopFlushTimer();
    void flushLatencyBuffer();
    void startHoneycombTimer(std::optional<double> durationSecs);
    void stopHoneycombTimer();
    void honeycombTick();

    void setScreen(Screen screen);
    void setErrorMessage(std::optional<QString> message);
    void addWarning(const QString& text);
    void setPersistentActivity(std::optional<Activity> activity);
    void setFlashActivity(std::optional<Activity> activity);
    Activity activity(const QString& text, const QString& icon, double lifetimeSeconds) const;
    void setMeasuredUplinkMbps(std::optional<double> mbps);
    void replaceHoneycomb();
    void resetUploadFields(bool includingDone);
    bool autoUploadEnabled() const;
    void onUploadEvent(int generation, const JSONEvent& event);
    void onUploadCompleted(int generation, int exitCode);
    void clearUploadProgress();
    void reduceUploadProgress(const UploadProgressEvent& event);
    void releaseUploadRunner();
    void replaceDiagnostics(std::unique_ptr<ConnectivityDiagnostics> diagnostics);
    // After a reset or a load, every observer looks again at everything.
    void notifyWholeSession();
    void idleUploadTick();
    void resetThroughputState();
    void closeOpenRanges(QList<SpeedTestRange>& ranges, const QDateTime& end);
    QDateTime eventTime(const QString& ts) const;
    // One shared copy of each probe type and target: a long capture repeats a handful of names a
    // million times, and every latency point holds two of them.
    QString intern(const QString& name);

    FileLogger& m_log;
    std::unique_ptr<PythonProcess> m_pythonProcess;

    Screen m_screen = Screen::setup;
    std::optional<InfoEvent> m_infoEvent;
    std::optional<CompleteEvent> m_completeEvent;
    std::optional<QString> m_errorMessage;
    std::optional<QString> m_captureId;
    std::optional<QDateTime> m_captureDate;
    std::optional<QString> m_captureCategory;
    std::optional<QString> m_captureLocation;
    std::optional<QString> m_captureNetwork;
    std::optional<QString> m_stopReason;
    QStringList m_warnings;

    CaptureStats m_stats;
    std::optional<QString> m_latestProbeTick;
    std::optional<Activity> m_persistentActivity;
    std::optional<Activity> m_flashActivity;
    std::optional<QString> m_throughputPhase;
    std::optional<QString> m_throughputDirection;
    std::optional<qint64> m_throughputRoundNum;
    std::optional<qint64> m_throughputTotalRounds;
    std::optional<QString> m_throughputProbeType;

    // Series and video results live in the snapshot's own fields, so that handing them to the
    // analysis copies nothing; `stats` and the identity are filled in when a snapshot is taken.
    CaptureSnapshot m_snapshot;
    QList<SpeedTestRange> m_videoStreamingRanges;
    QList<CapturedNote> m_capturedNotes;

    std::unique_ptr<HoneycombState> m_honeycomb;
    Timer m_honeycombTimer;
    std::optional<QualityRating> m_currentWindowWorstQuality;
    QSet<QString> m_blockedProbes;
    QList<LatencyPoint> m_latencyBuffer;
    Timer m_flushTimer;
    QHash<QString, QDateTime> m_firstLossTime;
    std::optional<QDateTime> m_lastSuccessAnyProbe;
    QSet<QString> m_probeNames;

    UploadState m_upload;
    std::optional<QDateTime> m_uploadProgressStartTime;
    qint64 m_uploadProgressStartBytes = 0;
    std::optional<double> m_measuredUplinkMbps;
    int m_uploadGeneration = 0;
    Timer m_pendingRetryTimer;
    Timer m_idleUploadTimer;
    int m_retryAttempt = 0;
    int m_idleUploadTicks = 0;
    std::unique_ptr<UploadRunner> m_uploadRunner;
    std::unique_ptr<ConnectivityDiagnostics> m_diagnostics;
    bool m_uploadsSuppressed = false;
};
