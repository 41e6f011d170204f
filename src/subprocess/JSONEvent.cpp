#include "subprocess/JSONEvent.h"

#include "subprocess/JsonLineTree.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QJsonValue>

#include <algorithm>
#include <array>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

struct KindNames {
    QLatin1StringView wire;
    QLatin1StringView kind;
};

constexpr std::array<KindNames, JSONEvent::kindCount> kindNames{{
    {"info"_L1, "info"_L1},
    {"status"_L1, "status"_L1},
    {"probe"_L1, "probe"_L1},
    {"throughput_status"_L1, "throughputStatus"_L1},
    {"throughput_result"_L1, "throughputResult"_L1},
    {"cdn_throughput_result"_L1, "cdnThroughputResult"_L1},
    {"youtube_segment_result"_L1, "youtubeSegmentResult"_L1},
    {"youtube_abr_result"_L1, "youtubeAbrResult"_L1},
    {"traceroute_result"_L1, "tracerouteResult"_L1},
    {"complete"_L1, "complete"_L1},
    {"upload_start"_L1, "uploadStart"_L1},
    {"upload_progress"_L1, "uploadProgress"_L1},
    {"upload_complete"_L1, "uploadComplete"_L1},
    {"upload_error"_L1, "uploadError"_L1},
    {"upload_skipped"_L1, "uploadSkipped"_L1},
    {"upload_summary"_L1, "uploadSummary"_L1},
    {"calibration_complete"_L1, "calibrationComplete"_L1},
    {"icmp_proxy_detected"_L1, "icmpProxyDetected"_L1},
    {"capture_reminder"_L1, "captureReminder"_L1},
    {"capture_auto_stop"_L1, "captureAutoStop"_L1},
    {"system_sleep"_L1, "systemSleep"_L1},
    {"network_change"_L1, "networkChange"_L1},
    {"round_summary"_L1, "roundSummary"_L1},
    {"note"_L1, "note"_L1},
    {"error"_L1, "error"_L1},
    {QLatin1StringView(), "unknown"_L1},
}};

// `name` is a QStringView, or a QLatin1StringView over UTF-8 bytes: those equal an ASCII wire name
// exactly when the text does.
template <typename Name> JSONEvent::Kind kindForName(Name name) {
    for (int i = 0; i < JSONEvent::kindCount - 1; ++i) {
        if (name == kindNames[i].wire)
            return static_cast<JSONEvent::Kind>(i);
    }
    return JSONEvent::Kind::unknown;
}

// Any JSON number whose value is a whole number within 64 bits; 10.5 breaks the line, and an integer
// beyond double precision stays exact because the parser keeps it as an integer. Whole numbers written
// as 10.0 or 1e3 are deliberately read as the counts they are: the parser keeps no spelling, and a tool
// that prints a count through a float still means the count.
std::optional<qint64> wholeNumber(const QJsonValue& value) {
    constexpr qint64 lowest = std::numeric_limits<qint64>::min();
    const qint64 integer = value.toInteger(lowest);
    // toInteger() answers its default for "not a whole number": ask again with another default to tell
    // that apart from the lowest 64-bit value itself.
    if (integer == lowest && value.toInteger(0) != lowest)
        return std::nullopt;
    return integer;
}

// A value of an object read by Qt's JSON reader.
class QtValue {
public:
    explicit QtValue(QJsonValue value)
        : m_value(std::move(value)) {}

    bool missing() const { return m_value.isUndefined() || m_value.isNull(); }

    std::optional<JSONEvent::Kind> eventKind() const {
        if (!m_value.isString())
            return std::nullopt;
        return kindForName(QStringView(m_value.toString()));
    }

    bool read(QString& out) const {
        if (!m_value.isString())
            return false;
        out = m_value.toString();
        return true;
    }

    bool read(double& out) const {
        if (!m_value.isDouble())
            return false;
        out = m_value.toDouble();
        return true;
    }

    bool read(qint64& out) const {
        if (!m_value.isDouble())
            return false;
        const std::optional<qint64> whole = wholeNumber(m_value);
        if (whole)
            out = *whole;
        return whole.has_value();
    }

    bool read(bool& out) const {
        if (!m_value.isBool())
            return false;
        out = m_value.toBool();
        return true;
    }

    // Calls `element` with each element of an array; false when this is no array or `element` refuses
    // one.
    template <typename Element> bool everyElement(Element element) const {
        if (!m_value.isArray())
            return false;
        const QJsonArray array = m_value.toArray();
        return std::all_of(array.begin(), array.end(),
                           [&](const QJsonValue& value) { return element(QtValue(value)); });
    }

    // Calls `read` with this object; false when this is no object.
    template <typename Read> bool asObject(Read read) const;

private:
    QJsonValue m_value;
};

class QtObject {
public:
    explicit QtObject(QJsonObject object)
        : m_object(std::move(object)) {}
    QtValue value(QLatin1StringView key) const { return QtValue(m_object.value(key)); }

private:
    QJsonObject m_object;
};

template <typename Read> bool QtValue::asObject(Read read) const {
    return m_value.isObject() && read(QtObject(m_value.toObject()));
}

// A value of a line read into a JsonLineTree; index 0 (the root, never a member) stands for a missing key.
class TreeValue {
public:
    using Type = JsonLineTree::Node::Type;

    TreeValue(const JsonLineTree& tree, quint32 index)
        : m_tree(tree)
        , m_index(index) {}

    bool missing() const { return m_index == JsonLineTree::root || node().type == Type::null; }

    std::optional<JSONEvent::Kind> eventKind() const {
        if (missing() || node().type != Type::string)
            return std::nullopt;
        return kindForName(QLatin1StringView(node().text.data(), qsizetype(node().text.size())));
    }

    bool read(QString& out) const {
        if (node().type != Type::string)
            return false;
        out = QString::fromUtf8(node().text.data(), qsizetype(node().text.size()));
        return true;
    }

    bool read(double& out) const {
        if (node().type == Type::integer)
            out = double(node().integer);
        else if (node().type == Type::number)
            out = node().number;
        else
            return false;
        return true;
    }

    bool read(qint64& out) const {
        if (node().type == Type::integer) {
            out = node().integer;
            return true;
        }
        if (node().type != Type::number)
            return false;
        const std::optional<qint64> whole = wholeNumber(QJsonValue(node().number));
        if (whole)
            out = *whole;
        return whole.has_value();
    }

    bool read(bool& out) const {
        if (node().type != Type::boolean)
            return false;
        out = node().boolean;
        return true;
    }

    template <typename Element> bool everyElement(Element element) const {
        if (node().type != Type::array)
            return false;
        for (quint32 child = m_tree.firstChild(m_index); child < node().end; child = m_tree.node(child).end) {
            if (!element(TreeValue(m_tree, child)))
                return false;
        }
        return true;
    }

    template <typename Read> bool asObject(Read read) const;

private:
    const JsonLineTree::Node& node() const { return m_tree.node(m_index); }

    const JsonLineTree& m_tree;
    quint32 m_index;
};

class TreeObject {
public:
    TreeObject(const JsonLineTree& tree, quint32 index)
        : m_tree(tree)
        , m_index(index) {}
    TreeValue value(QLatin1StringView key) const {
        return TreeValue(m_tree, m_tree.member(m_index, std::string_view(key.data(), size_t(key.size()))));
    }

private:
    const JsonLineTree& m_tree;
    quint32 m_index;
};

template <typename Read> bool TreeValue::asObject(Read read) const {
    return node().type == Type::object && read(TreeObject(m_tree, m_index));
}

// Reads the keys of one flat object by the one rule of the format: a required key must be there with
// a value of its type; an optional key may be missing or null, but a value of the wrong type still
// breaks the line. The first failure sticks, and later reads do nothing.
template <typename Object> class PayloadReader {
public:
    explicit PayloadReader(const Object& object)
        : m_object(object) {}

    bool ok() const { return m_ok; }

    template <typename T> void required(QLatin1StringView key, T& out) {
        if (!m_ok)
            return;
        const auto value = m_object.value(key);
        if (value.missing() || !read(value, out))
            m_ok = false;
    }

    template <typename T> void optional(QLatin1StringView key, std::optional<T>& out) {
        if (!m_ok)
            return;
        const auto value = m_object.value(key);
        if (value.missing())
            return;
        T decoded{};
        if (read(value, decoded))
            out = std::move(decoded);
        else
            m_ok = false;
    }

private:
    template <typename Value, typename T> static bool read(const Value& value, T& out) {
        return value.read(out);
    }

    template <typename Value> static bool read(const Value& value, QStringList& out) {
        return value.everyElement([&out](const Value& element) {
            QString text;
            if (!element.read(text))
                return false;
            out.append(std::move(text));
            return true;
        });
    }

    template <typename Value> static bool read(const Value& value, QList<TracerouteHop>& out) {
        return value.everyElement([&out](const Value& element) {
            return element.asObject([&out](const auto& object) {
                PayloadReader<std::decay_t<decltype(object)>> hop(object);
                TracerouteHop decoded;
                hop.required("hop"_L1, decoded.hop);
                hop.required("ip"_L1, decoded.ip);
                hop.optional("rtt_ms"_L1, decoded.rttMs);
                if (!hop.ok())
                    return false;
                out.append(std::move(decoded));
                return true;
            });
        });
    }

    const Object& m_object;
    bool m_ok = true;
};

template <typename Object, typename T>
std::optional<JSONEvent> finish(const PayloadReader<Object>& reader, T&& payload) {
    if (!reader.ok())
        return std::nullopt;
    return JSONEvent{std::forward<T>(payload)};
}

template <typename Object> std::optional<JSONEvent> decodePayload(JSONEvent::Kind kind, const Object& o) {
    PayloadReader<Object> r(o);
    using K = JSONEvent::Kind;
    switch (kind) {
    case K::info: {
        InfoEvent e;
        r.optional("ssid"_L1, e.ssid);
        r.optional("rssi"_L1, e.rssi);
        r.optional("channel"_L1, e.channel);
        r.optional("gateway"_L1, e.gateway);
        r.optional("vpn"_L1, e.vpn);
        r.optional("probes"_L1, e.probes);
        r.optional("category"_L1, e.category);
        r.optional("profile"_L1, e.profile);
        r.optional("capture_id"_L1, e.captureId);
        r.optional("csv_file"_L1, e.csvFile);
        r.optional("duration_secs"_L1, e.durationSecs);
        r.optional("log_file"_L1, e.logFile);
        r.optional("youtube_abr_available"_L1, e.youtubeAbrAvailable);
        return finish(r, std::move(e));
    }
    case K::status: {
        StatusEvent e;
        r.optional("rssi"_L1, e.rssi);
        r.required("elapsed_sec"_L1, e.elapsedSec);
        r.optional("remaining_sec"_L1, e.remainingSec);
        r.optional("icmp_rtt_ms"_L1, e.icmpRttMs);
        r.optional("icmp_loss_pct"_L1, e.icmpLossPct);
        r.optional("udp_rtt_ms"_L1, e.udpRttMs);
        r.optional("udp_loss_pct"_L1, e.udpLossPct);
        r.optional("throughput_down_mbps"_L1, e.throughputDownMbps);
        r.optional("throughput_up_mbps"_L1, e.throughputUpMbps);
        r.optional("dns_ms"_L1, e.dnsMs);
        r.optional("e2e_rtt_ms"_L1, e.e2eRttMs);
        r.optional("icmp_proxied"_L1, e.icmpProxied);
        r.optional("no_internet"_L1, e.noInternet);
        return finish(r, std::move(e));
    }
    case K::probe: {
        ProbeEvent e;
        r.required("type"_L1, e.type);
        r.required("target"_L1, e.target);
        r.required("loss"_L1, e.loss);
        r.required("ts"_L1, e.ts);
        r.optional("rtt_ms"_L1, e.rttMs);
        r.optional("dl_mbps"_L1, e.dlMbps);
        r.optional("ul_mbps"_L1, e.ulMbps);
        return finish(r, std::move(e));
    }
    case K::throughputStatus: {
        ThroughputStatusEvent e;
        r.required("phase"_L1, e.phase);
        r.optional("direction"_L1, e.direction);
        r.required("ts"_L1, e.ts);
        r.optional("test_num"_L1, e.testNum);
        r.optional("tests_in_wave"_L1, e.testsInWave);
        r.optional("wave_num"_L1, e.waveNum);
        r.optional("round_num"_L1, e.roundNum);
        r.optional("total_rounds"_L1, e.totalRounds);
        r.optional("probe_type"_L1, e.probeType);
        return finish(r, std::move(e));
    }
    case K::throughputResult: {
        ThroughputResultEvent e;
        r.required("direction"_L1, e.direction);
        r.required("mbps"_L1, e.mbps);
        r.required("bytes"_L1, e.bytes);
        r.required("streams"_L1, e.streams);
        r.optional("target"_L1, e.target);
        r.required("ts"_L1, e.ts);
        r.optional("error"_L1, e.error);
        r.required("test_num"_L1, e.testNum);
        return finish(r, std::move(e));
    }
    case K::cdnThroughputResult: {
        CDNThroughputResultEvent e;
        r.required("target"_L1, e.target);
        r.required("mbps"_L1, e.mbps);
        r.required("bytes"_L1, e.bytes);
        r.required("ts"_L1, e.ts);
        r.optional("stream_mbps"_L1, e.streamMbps);
        r.optional("delivered_mbps"_L1, e.deliveredMbps);
        r.optional("ttfb_ms"_L1, e.ttfbMs);
        r.optional("dns_ms"_L1, e.dnsMs);
        return finish(r, std::move(e));
    }
    case K::youtubeSegmentResult: {
        YouTubeSegmentResultEvent e;
        r.optional("headroom"_L1, e.headroom);
        r.required("bytes"_L1, e.bytes);
        r.required("ts"_L1, e.ts);
        r.required("throughput_mbps"_L1, e.throughputMbps);
        r.optional("recommended_quality"_L1, e.recommendedQuality);
        r.optional("cdn_host"_L1, e.cdnHost);
        r.optional("video_id"_L1, e.videoId);
        return finish(r, std::move(e));
    }
    case K::youtubeAbrResult: {
        YouTubeAbrResultEvent e;
        r.required("ts"_L1, e.ts);
        r.optional("auto_resolution"_L1, e.autoResolution);
        r.optional("auto_bandwidth_kbps"_L1, e.autoBandwidthKbps);
        r.optional("auto_buffer_health_s"_L1, e.autoBufferHealthS);
        r.optional("auto_buffer_trend"_L1, e.autoBufferTrend);
        r.optional("auto_stall_count"_L1, e.autoStallCount);
        r.optional("startup_time_ms"_L1, e.startupTimeMs);
        r.optional("video_id"_L1, e.videoId);
        r.optional("forced_resolution"_L1, e.forcedResolution);
        r.optional("forced_buffer_trend"_L1, e.forcedBufferTrend);
        r.optional("forced_stall_count"_L1, e.forcedStallCount);
        r.optional("ad_seen"_L1, e.adSeen);
        r.optional("cold_first_frame_resolution"_L1, e.coldFirstFrameResolution);
        return finish(r, std::move(e));
    }
    case K::tracerouteResult: {
        TracerouteResultEvent e;
        r.required("target"_L1, e.target);
        r.required("hops"_L1, e.hops);
        r.required("ts"_L1, e.ts);
        r.required("hop_count"_L1, e.hopCount);
        return finish(r, std::move(e));
    }
    case K::complete: {
        CompleteEvent e;
        r.required("samples"_L1, e.samples);
        r.optional("capture_id"_L1, e.captureId);
        r.required("csv_file"_L1, e.csvFile);
        r.required("duration_sec"_L1, e.durationSec);
        return finish(r, std::move(e));
    }
    case K::uploadStart: {
        UploadStartEvent e;
        r.required("total"_L1, e.total);
        return finish(r, std::move(e));
    }
    case K::uploadProgress: {
        UploadProgressEvent e;
        r.required("file"_L1, e.file);
        r.required("pct"_L1, e.pct);
        r.required("bytes_sent"_L1, e.bytesSent);
        r.required("bytes_total"_L1, e.bytesTotal);
        return finish(r, std::move(e));
    }
    case K::uploadComplete: {
        UploadCompleteEvent e;
        r.required("file"_L1, e.file);
        r.required("size_bytes"_L1, e.sizeBytes);
        r.required("compressed_bytes"_L1, e.compressedBytes);
        return finish(r, std::move(e));
    }
    case K::uploadError: {
        UploadErrorEvent e;
        r.required("file"_L1, e.file);
        r.required("message"_L1, e.message);
        r.optional("retryable"_L1, e.retryable);
        return finish(r, std::move(e));
    }
    case K::uploadSkipped: {
        UploadSkippedEvent e;
        r.required("reason"_L1, e.reason);
        r.optional("file"_L1, e.file);
        r.optional("size_mb"_L1, e.sizeMb);
        r.optional("limit_mb"_L1, e.limitMb);
        r.optional("local_path"_L1, e.localPath);
        return finish(r, std::move(e));
    }
    case K::uploadSummary: {
        UploadSummaryEvent e;
        r.required("succeeded"_L1, e.succeeded);
        r.required("failed"_L1, e.failed);
        return finish(r, std::move(e));
    }
    case K::calibrationComplete: {
        CalibrationCompleteEvent e;
        r.required("down_mbps"_L1, e.downMbps);
        r.required("up_mbps"_L1, e.upMbps);
        r.optional("rtt_ms"_L1, e.rttMs);
        return finish(r, std::move(e));
    }
    case K::icmpProxyDetected: {
        IcmpProxyDetectedEvent e;
        r.required("icmp_p50"_L1, e.icmpP50);
        r.required("http_p50"_L1, e.httpP50);
        r.required("e2e_rtt_p50"_L1, e.e2eRttP50);
        return finish(r, std::move(e));
    }
    case K::captureReminder: {
        CaptureReminderEvent e;
        r.required("elapsed_sec"_L1, e.elapsedSec);
        r.required("remaining_sec"_L1, e.remainingSec);
        return finish(r, std::move(e));
    }
    case K::captureAutoStop: {
        CaptureAutoStopEvent e;
        r.required("reason"_L1, e.reason);
        r.required("elapsed_sec"_L1, e.elapsedSec);
        return finish(r, std::move(e));
    }
    case K::systemSleep: {
        SystemSleepEvent e;
        r.required("action"_L1, e.action);
        r.required("gap_sec"_L1, e.gapSec);
        r.required("ssid_match"_L1, e.ssidMatch);
        return finish(r, std::move(e));
    }
    case K::networkChange: {
        NetworkChangeEvent e;
        r.optional("gateway"_L1, e.gateway);
        r.optional("vpn"_L1, e.vpn);
        r.optional("ssid_before"_L1, e.ssidBefore);
        r.optional("ssid_after"_L1, e.ssidAfter);
        return finish(r, std::move(e));
    }
    case K::roundSummary: {
        RoundSummaryEvent e;
        r.required("round_num"_L1, e.roundNum);
        r.required("total_rounds"_L1, e.totalRounds);
        r.optional("template"_L1, e.templateName);
        r.required("probes"_L1, e.probes);
        r.required("ts"_L1, e.ts);
        return finish(r, std::move(e));
    }
    case K::note: {
        NoteEvent e;
        r.required("text"_L1, e.text);
        r.required("ts"_L1, e.ts);
        return finish(r, std::move(e));
    }
    case K::error: {
        ErrorEvent e;
        r.required("message"_L1, e.message);
        r.required("fatal"_L1, e.fatal);
        return finish(r, std::move(e));
    }
    case K::unknown:
        break;
    }
    return JSONEvent{UnknownEvent{}};
}

template <typename Object> std::optional<JSONEvent> decodeObject(const Object& object) {
    const std::optional<JSONEvent::Kind> kind = object.value("event"_L1).eventKind();
    if (!kind)
        return std::nullopt;
    return decodePayload(*kind, object);
}

} // namespace

std::optional<JSONEvent> JSONEvent::decode(QByteArrayView line) {
    // One tree for each thread that decodes, so that its buffers are reused from line to line.
    thread_local JsonLineTree tree;
    if (tree.read(line))
        return decodeObject(TreeObject(tree, JsonLineTree::root));
    return decodeWithQtReader(line);
}

std::optional<JSONEvent> JSONEvent::decodeWithQtReader(QByteArrayView line) {
    QJsonParseError error;
    // The parser only reads the bytes during the call: no copy is needed.
    const QJsonDocument document =
        QJsonDocument::fromJson(QByteArray::fromRawData(line.data(), line.size()), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    return decodeObject(QtObject(document.object()));
}

QLatin1StringView JSONEvent::wireName(Kind kind) {
    return kindNames[static_cast<size_t>(kind)].wire;
}

QLatin1StringView JSONEvent::kindName(Kind kind) {
    return kindNames[static_cast<size_t>(kind)].kind;
}
