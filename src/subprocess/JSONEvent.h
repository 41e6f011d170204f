#pragma once

#include <QByteArrayView>
#include <QLatin1StringView>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>
#include <variant>

// One line of the tools' event stream, decoded. Every payload is a plain record whose fields carry the
// JSON keys in camel case; a required key is a plain field, an optional one a std::optional. Integers
// are signed 64-bit and kept exact.

struct InfoEvent {
    std::optional<QString> ssid;
    std::optional<qint64> rssi;
    std::optional<QString> channel;
    std::optional<QString> gateway;
    std::optional<QString> vpn;
    std::optional<QStringList> probes;
    std::optional<QString> category;
    std::optional<QString> profile;
    std::optional<QString> captureId;
    std::optional<QString> csvFile;
    std::optional<double> durationSecs; // absent for an open-ended capture
    std::optional<QString> logFile;
    std::optional<bool> youtubeAbrAvailable;

    friend bool operator==(const InfoEvent&, const InfoEvent&) = default;
};

struct StatusEvent {
    std::optional<qint64> rssi;
    double elapsedSec = 0;
    std::optional<double> remainingSec;
    std::optional<double> icmpRttMs;
    std::optional<double> icmpLossPct;
    std::optional<double> udpRttMs;
    std::optional<double> udpLossPct;
    std::optional<double> throughputDownMbps;
    std::optional<double> throughputUpMbps;
    std::optional<double> dnsMs;
    std::optional<double> e2eRttMs;
    std::optional<bool> icmpProxied;
    std::optional<bool> noInternet;

    friend bool operator==(const StatusEvent&, const StatusEvent&) = default;
};

struct ProbeEvent {
    QString type; // "throughput_observed" marks a passive sample with dlMbps / ulMbps
    QString target;
    bool loss = false;
    QString ts;
    std::optional<double> rttMs;
    std::optional<double> dlMbps;
    std::optional<double> ulMbps;

    friend bool operator==(const ProbeEvent&, const ProbeEvent&) = default;
};

struct ThroughputStatusEvent {
    QString phase;
    std::optional<QString> direction;
    QString ts;
    std::optional<qint64> testNum;
    std::optional<qint64> testsInWave;
    std::optional<qint64> waveNum;
    std::optional<qint64> roundNum;
    std::optional<qint64> totalRounds;
    std::optional<QString> probeType;

    friend bool operator==(const ThroughputStatusEvent&, const ThroughputStatusEvent&) = default;
};

struct ThroughputResultEvent {
    QString direction;
    double mbps = 0;
    qint64 bytes = 0;
    qint64 streams = 0;
    std::optional<QString> target;
    QString ts;
    std::optional<QString> error;
    qint64 testNum = 0;

    friend bool operator==(const ThroughputResultEvent&, const ThroughputResultEvent&) = default;
};

struct CDNThroughputResultEvent {
    QString target;
    double mbps = 0;
    qint64 bytes = 0;
    QString ts;
    std::optional<double> streamMbps;
    std::optional<double> deliveredMbps;
    std::optional<double> ttfbMs;
    std::optional<double> dnsMs;

    friend bool operator==(const CDNThroughputResultEvent&, const CDNThroughputResultEvent&) = default;
};

struct YouTubeSegmentResultEvent {
    std::optional<double> headroom;
    qint64 bytes = 0;
    QString ts;
    double throughputMbps = 0;
    std::optional<QString> recommendedQuality;
    std::optional<QString> cdnHost;
    std::optional<QString> videoId;

    friend bool operator==(const YouTubeSegmentResultEvent&, const YouTubeSegmentResultEvent&) = default;
};

struct YouTubeAbrResultEvent {
    QString ts;
    std::optional<QString> autoResolution;
    std::optional<double> autoBandwidthKbps;
    std::optional<double> autoBufferHealthS;
    std::optional<QString> autoBufferTrend;
    std::optional<qint64> autoStallCount;
    std::optional<double> startupTimeMs;
    std::optional<QString> videoId;
    std::optional<QString> forcedResolution;
    std::optional<QString> forcedBufferTrend;
    std::optional<qint64> forcedStallCount;
    std::optional<bool> adSeen;
    std::optional<QString> coldFirstFrameResolution;

    friend bool operator==(const YouTubeAbrResultEvent&, const YouTubeAbrResultEvent&) = default;
};

struct TracerouteHop {
    qint64 hop = 0;
    QString ip;
    std::optional<double> rttMs; // absent when the hop did not answer

    friend bool operator==(const TracerouteHop&, const TracerouteHop&) = default;
};

struct TracerouteResultEvent {
    QString target;
    QList<TracerouteHop> hops;
    QString ts;
    qint64 hopCount = 0;

    friend bool operator==(const TracerouteResultEvent&, const TracerouteResultEvent&) = default;
};

struct CompleteEvent {
    qint64 samples = 0;
    std::optional<QString> captureId;
    QString csvFile;
    double durationSec = 0;

    friend bool operator==(const CompleteEvent&, const CompleteEvent&) = default;
};

struct UploadStartEvent {
    qint64 total = 0;

    friend bool operator==(const UploadStartEvent&, const UploadStartEvent&) = default;
};

struct UploadProgressEvent {
    QString file;
    qint64 pct = 0;
    qint64 bytesSent = 0;
    qint64 bytesTotal = 0;

    friend bool operator==(const UploadProgressEvent&, const UploadProgressEvent&) = default;
};

struct UploadCompleteEvent {
    QString file;
    qint64 sizeBytes = 0;
    qint64 compressedBytes = 0;

    friend bool operator==(const UploadCompleteEvent&, const UploadCompleteEvent&) = default;
};

struct UploadErrorEvent {
    QString file;
    QString message;
    std::optional<bool> retryable;

    friend bool operator==(const UploadErrorEvent&, const UploadErrorEvent&) = default;
};

struct UploadSkippedEvent {
    QString reason; // "exceeds_size_limit" skips one file; any other value skips the whole run
    std::optional<QString> file;
    std::optional<double> sizeMb;
    std::optional<double> limitMb;
    std::optional<QString> localPath;

    friend bool operator==(const UploadSkippedEvent&, const UploadSkippedEvent&) = default;
};

struct UploadSummaryEvent {
    qint64 succeeded = 0;
    qint64 failed = 0;

    friend bool operator==(const UploadSummaryEvent&, const UploadSummaryEvent&) = default;
};

struct CalibrationCompleteEvent {
    double downMbps = 0;
    double upMbps = 0;
    std::optional<double> rttMs;

    friend bool operator==(const CalibrationCompleteEvent&, const CalibrationCompleteEvent&) = default;
};

struct IcmpProxyDetectedEvent {
    double icmpP50 = 0;
    double httpP50 = 0;
    double e2eRttP50 = 0;

    friend bool operator==(const IcmpProxyDetectedEvent&, const IcmpProxyDetectedEvent&) = default;
};

struct CaptureReminderEvent {
    qint64 elapsedSec = 0;
    qint64 remainingSec = 0;

    friend bool operator==(const CaptureReminderEvent&, const CaptureReminderEvent&) = default;
};

struct CaptureAutoStopEvent {
    QString reason;
    qint64 elapsedSec = 0;

    friend bool operator==(const CaptureAutoStopEvent&, const CaptureAutoStopEvent&) = default;
};

struct SystemSleepEvent {
    QString action; // "stop" ends the capture; anything else means it resumes
    double gapSec = 0;
    bool ssidMatch = false;

    friend bool operator==(const SystemSleepEvent&, const SystemSleepEvent&) = default;
};

struct NetworkChangeEvent {
    std::optional<QString> gateway;
    std::optional<QString> vpn;
    std::optional<QString> ssidBefore;
    std::optional<QString> ssidAfter;

    friend bool operator==(const NetworkChangeEvent&, const NetworkChangeEvent&) = default;
};

struct RoundSummaryEvent {
    qint64 roundNum = 0;
    qint64 totalRounds = 0;
    std::optional<QString> templateName; // the JSON key `template`, a reserved word in C++
    QStringList probes;
    QString ts;

    friend bool operator==(const RoundSummaryEvent&, const RoundSummaryEvent&) = default;
};

struct NoteEvent {
    QString text;
    QString ts;

    friend bool operator==(const NoteEvent&, const NoteEvent&) = default;
};

struct ErrorEvent {
    QString message;
    bool fatal = false;

    friend bool operator==(const ErrorEvent&, const ErrorEvent&) = default;
};

// An event name this program doesn't know: delivered like any other event, and acted on by nobody.
struct UnknownEvent {
    friend bool operator==(const UnknownEvent&, const UnknownEvent&) = default;
};

struct JSONEvent {
    // In the order in which the wire names are tested; the variant below keeps the same order.
    enum class Kind {
        info,
        status,
        probe,
        throughputStatus,
        throughputResult,
        cdnThroughputResult,
        youtubeSegmentResult,
        youtubeAbrResult,
        tracerouteResult,
        complete,
        uploadStart,
        uploadProgress,
        uploadComplete,
        uploadError,
        uploadSkipped,
        uploadSummary,
        calibrationComplete,
        icmpProxyDetected,
        captureReminder,
        captureAutoStop,
        systemSleep,
        networkChange,
        roundSummary,
        note,
        error,
        unknown,
    };
    static constexpr int kindCount = int(Kind::unknown) + 1;

    using Payload =
        std::variant<InfoEvent, StatusEvent, ProbeEvent, ThroughputStatusEvent, ThroughputResultEvent,
                     CDNThroughputResultEvent, YouTubeSegmentResultEvent, YouTubeAbrResultEvent,
                     TracerouteResultEvent, CompleteEvent, UploadStartEvent, UploadProgressEvent,
                     UploadCompleteEvent, UploadErrorEvent, UploadSkippedEvent, UploadSummaryEvent,
                     CalibrationCompleteEvent, IcmpProxyDetectedEvent, CaptureReminderEvent,
                     CaptureAutoStopEvent, SystemSleepEvent, NetworkChangeEvent, RoundSummaryEvent, NoteEvent,
                     ErrorEvent, UnknownEvent>;

    Payload payload = UnknownEvent{};

    Kind kind() const { return static_cast<Kind>(payload.index()); }
    template <typename T> const T* get() const { return std::get_if<T>(&payload); }

    // The bytes of one line (without its line feed) as one event, or nothing when the line is not a
    // JSON object, has no string `event`, or breaks the rules of its payload.
    static std::optional<JSONEvent> decode(QByteArrayView line);
    // The same rules over Qt's JSON reader. decode() gives the very same answer faster; this one is
    // the reference it is held to, and reads the lines that the faster reader leaves to it.
    static std::optional<JSONEvent> decodeWithQtReader(QByteArrayView line);

    // The value of `event` that selects a kind; empty for `unknown`, which stands for every other name.
    static QLatin1StringView wireName(Kind kind);
    // The case name, such as "throughputStatus", for logs and test output.
    static QLatin1StringView kindName(Kind kind);

    friend bool operator==(const JSONEvent&, const JSONEvent&) = default;
};

static_assert(std::variant_size_v<JSONEvent::Payload> == JSONEvent::kindCount);
