#include "subprocess/JSONEvent.h"
#include "subprocess/LineBuffer.h"

#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>

#include <limits>

using namespace Qt::StringLiterals;

namespace {

std::optional<JSONEvent> decode(const QByteArray& line) {
    return JSONEvent::decode(line);
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

QList<QByteArray> dataLines(const QString& name) {
    QList<QByteArray> lines = readFile(testDataPath(u"events/"_s + name)).split('\n');
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

QByteArray compact(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QJsonObject parseObject(const QByteArray& line) {
    return QJsonDocument::fromJson(line).object();
}

// The keys that each event must carry, from the tables of the format. Every other key is optional.
const QMap<QString, QStringList>& requiredKeys() {
    static const QMap<QString, QStringList> keys{
        {u"info"_s, {}},
        {u"status"_s, {u"elapsed_sec"_s}},
        {u"probe"_s, {u"type"_s, u"target"_s, u"loss"_s, u"ts"_s}},
        {u"throughput_status"_s, {u"phase"_s, u"ts"_s}},
        {u"throughput_result"_s,
         {u"direction"_s, u"mbps"_s, u"bytes"_s, u"streams"_s, u"ts"_s, u"test_num"_s}},
        {u"cdn_throughput_result"_s, {u"target"_s, u"mbps"_s, u"bytes"_s, u"ts"_s}},
        {u"youtube_segment_result"_s, {u"bytes"_s, u"ts"_s, u"throughput_mbps"_s}},
        {u"youtube_abr_result"_s, {u"ts"_s}},
        {u"traceroute_result"_s, {u"target"_s, u"hops"_s, u"ts"_s, u"hop_count"_s}},
        {u"complete"_s, {u"samples"_s, u"csv_file"_s, u"duration_sec"_s}},
        {u"upload_start"_s, {u"total"_s}},
        {u"upload_progress"_s, {u"file"_s, u"pct"_s, u"bytes_sent"_s, u"bytes_total"_s}},
        {u"upload_complete"_s, {u"file"_s, u"size_bytes"_s, u"compressed_bytes"_s}},
        {u"upload_error"_s, {u"file"_s, u"message"_s}},
        {u"upload_skipped"_s, {u"reason"_s}},
        {u"upload_summary"_s, {u"succeeded"_s, u"failed"_s}},
        {u"calibration_complete"_s, {u"down_mbps"_s, u"up_mbps"_s}},
        {u"icmp_proxy_detected"_s, {u"icmp_p50"_s, u"http_p50"_s, u"e2e_rtt_p50"_s}},
        {u"capture_reminder"_s, {u"elapsed_sec"_s, u"remaining_sec"_s}},
        {u"capture_auto_stop"_s, {u"reason"_s, u"elapsed_sec"_s}},
        {u"system_sleep"_s, {u"action"_s, u"gap_sec"_s, u"ssid_match"_s}},
        {u"network_change"_s, {}},
        {u"round_summary"_s, {u"round_num"_s, u"total_rounds"_s, u"probes"_s, u"ts"_s}},
        {u"note"_s, {u"text"_s, u"ts"_s}},
        {u"error"_s, {u"message"_s, u"fatal"_s}},
    };
    return keys;
}

// A value of another JSON type than `value`, for the wrong-type checks.
QJsonValue wrongTypeFor(const QJsonValue& value) {
    switch (value.type()) {
    case QJsonValue::String:
        return 12;
    case QJsonValue::Double:
        return u"12"_s;
    case QJsonValue::Bool:
        return 1;
    case QJsonValue::Array:
        return u"ping"_s;
    default:
        return QJsonArray{1};
    }
}

// The known lines of every-event.jsonl: everything but the last, which is an unknown event.
QList<QByteArray> knownEventLines() {
    QList<QByteArray> lines = dataLines(u"every-event.jsonl"_s);
    lines.removeLast();
    return lines;
}

} // namespace

TEST(JSONEventDecoding, EveryWireNameSelectsItsCaseAndAnyOtherNameGivesUnknown) {
    const QList<QByteArray> lines = dataLines(u"every-event.jsonl"_s);
    const QList<QByteArray> expected = dataLines(u"every-event.expected"_s);
    ASSERT_EQ(lines.size(), JSONEvent::kindCount);
    ASSERT_EQ(expected.size(), lines.size());
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const auto event = decode(lines[i]);
        ASSERT_TRUE(event.has_value()) << lines[i].constData();
        EXPECT_EQ(JSONEvent::kindName(event->kind()), QLatin1StringView(expected[i])) << lines[i].constData();
        EXPECT_EQ(int(event->kind()), int(i)) << "cases keep the order of the wire names";
    }
}

TEST(JSONEventDecoding, ABareEventNameDecodesExactlyWhenItsPayloadHasNoRequiredKey) {
    for (int i = 0; i < JSONEvent::kindCount - 1; ++i) {
        const auto kind = static_cast<JSONEvent::Kind>(i);
        const QString name = JSONEvent::wireName(kind).toString();
        const auto event = decode(compact(QJsonObject{{u"event"_s, name}}));
        ASSERT_TRUE(requiredKeys().contains(name)) << qPrintable(name);
        EXPECT_EQ(event.has_value(), requiredKeys().value(name).isEmpty()) << qPrintable(name);
        if (event) {
            EXPECT_EQ(event->kind(), kind) << qPrintable(name);
        }
    }
    EXPECT_TRUE(JSONEvent::wireName(JSONEvent::Kind::unknown).isEmpty());
    EXPECT_EQ(JSONEvent::kindName(JSONEvent::Kind::cdnThroughputResult), "cdnThroughputResult"_L1);
}

TEST(JSONEventDecoding, InfoCarriesEveryField) {
    const auto event = decode(dataLines(u"every-event.jsonl"_s)[0]);
    ASSERT_TRUE(event);
    const InfoEvent expected{u"Hotel Lobby"_s,
                             -61,
                             u"149"_s,
                             u"10.0.0.1"_s,
                             u"none"_s,
                             QStringList{u"ping"_s, u"udp"_s, u"dns"_s},
                             u"hotel"_s,
                             u"active"_s,
                             u"3f2a9c1e"_s,
                             u"/captures/wifi_capture_20260314T093000Z.csv"_s,
                             300.0,
                             u"/logs/norvane-cli-3f2a9c1e.log"_s,
                             true};
    ASSERT_TRUE(event->get<InfoEvent>());
    EXPECT_EQ(*event->get<InfoEvent>(), expected);
}

TEST(JSONEventDecoding, EveryPayloadCarriesItsFieldsUnderTheirNames) {
    const QList<QByteArray> lines = dataLines(u"every-event.jsonl"_s);
    ASSERT_EQ(lines.size(), JSONEvent::kindCount);
    const QList<JSONEvent> expected{
        {InfoEvent{u"Hotel Lobby"_s, -61, u"149"_s, u"10.0.0.1"_s, u"none"_s,
                   QStringList{u"ping"_s, u"udp"_s, u"dns"_s}, u"hotel"_s, u"active"_s, u"3f2a9c1e"_s,
                   u"/captures/wifi_capture_20260314T093000Z.csv"_s, 300.0,
                   u"/logs/norvane-cli-3f2a9c1e.log"_s, true}},
        {StatusEvent{-58, 12.5, 287.5, 18.2, 0.0, 19.4, 1.5, 181.3, 42.7, 11.0, 35.5, false, false}},
        {ProbeEvent{u"throughput_observed"_s, u"wlan0"_s, false, u"2026-03-14T09:30:12.250+00:00"_s, 17.25,
                    54.5, 8.25}},
        {ThroughputStatusEvent{u"testing"_s, u"download"_s, u"2026-03-14T09:31:00.000+00:00"_s, 3, 4, 1, 2, 6,
                               u"cf_speed"_s}},
        {ThroughputResultEvent{u"upload"_s, 41.9, 26214400, 4, u"speed.cloudflare.com"_s,
                               u"2026-03-14T09:31:05.500+00:00"_s, u"HTTP 429"_s, 3}},
        {CDNThroughputResultEvent{u"netflix_oca"_s, 95.5, 52428800, u"2026-03-14T09:31:20.000+00:00"_s, 24.0,
                                  90.25, 42.0, 9.5}},
        {YouTubeSegmentResultEvent{3.5, 4194304, u"2026-03-14T09:31:30.000+00:00"_s, 28.0, u"1080p"_s,
                                   u"rr3---sn-example.googlevideo.com"_s, u"aqz-KE-bpKQ"_s}},
        {YouTubeAbrResultEvent{u"2026-03-14T09:32:00.000+00:00"_s, u"1080p60"_s, 25000.5, 12.25, u"growing"_s,
                               0, 850.0, u"aqz-KE-bpKQ"_s, u"2160p"_s, u"draining"_s, 2, true, u"360p"_s}},
        {TracerouteResultEvent{u"1.1.1.1"_s,
                               {TracerouteHop{1, u"10.0.0.1"_s, 2.5}, TracerouteHop{2, u"*"_s, std::nullopt},
                                TracerouteHop{3, u"1.1.1.1"_s, 14.75}},
                               u"2026-03-14T09:30:06.000+00:00"_s,
                               3}},
        {CompleteEvent{4242, u"3f2a9c1e"_s, u"/captures/wifi_capture_20260314T093000Z.csv"_s, 300.1}},
        {UploadStartEvent{3}},
        {UploadProgressEvent{u"wifi_capture_20260314T093000Z.csv"_s, 40, 409600, 1024000}},
        {UploadCompleteEvent{u"wifi_capture_20260314T093000Z.csv"_s, 1024000, 180224}},
        {UploadErrorEvent{u"wifi_capture_20260313T120000Z.csv"_s, u"connection reset"_s, true}},
        {UploadSkippedEvent{u"exceeds_size_limit"_s, u"wifi_capture_20260301T000000Z.csv"_s, 150.5, 100.0,
                            u"/captures/wifi_capture_20260301T000000Z.csv"_s}},
        {UploadSummaryEvent{2, 1}},
        {CalibrationCompleteEvent{175.0, 40.5, 16.0}},
        {IcmpProxyDetectedEvent{1.5, 640.0, 610.25}},
        {CaptureReminderEvent{9000, 1800}},
        {CaptureAutoStopEvent{u"max_duration"_s, 10800}},
        {SystemSleepEvent{u"resume"_s, 1260.5, false}},
        {NetworkChangeEvent{u"192.168.0.1"_s, u"utun3"_s, u"Hotel Lobby"_s, u"Hotel Rooms"_s}},
        {RoundSummaryEvent{2, 6, u"standard"_s, QStringList{u"cf_speed"_s, u"netflix_oca"_s, u"akamai"_s},
                           u"2026-03-14T09:33:00.000+00:00"_s}},
        {NoteEvent{u"Moved to the bar ☕"_s, u"2026-03-14T09:34:00.000+00:00"_s}},
        {ErrorEvent{u"Wi-Fi interface disappeared"_s, true}},
        {UnknownEvent{}},
    };
    ASSERT_EQ(expected.size(), lines.size());
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const auto event = decode(lines[i]);
        ASSERT_TRUE(event) << lines[i].constData();
        EXPECT_TRUE(*event == expected[i]) << "line " << i + 1 << ": " << lines[i].constData();
    }
}

TEST(JSONEventDecoding, StatusWithOnlyElapsedSecHasEveryOtherFieldAbsent) {
    const auto event = decode(R"({"event":"status","elapsed_sec":3.5})");
    ASSERT_TRUE(event);
    const StatusEvent* status = event->get<StatusEvent>();
    ASSERT_TRUE(status);
    StatusEvent expected;
    expected.elapsedSec = 3.5;
    EXPECT_EQ(*status, expected);
    EXPECT_FALSE(status->rssi);
    EXPECT_FALSE(status->remainingSec);
    EXPECT_FALSE(status->icmpProxied);
    EXPECT_FALSE(status->noInternet);
}

TEST(JSONEventDecoding, StatusWithoutElapsedSecFails) {
    EXPECT_FALSE(decode(R"({"event":"status","rssi":-50,"icmp_rtt_ms":12.0})"));
}

TEST(JSONEventDecoding, CompleteWithFractionalSamplesFails) {
    EXPECT_FALSE(decode(R"({"event":"complete","samples":10.5,"csv_file":"x.csv","duration_sec":1.0})"));
    EXPECT_TRUE(decode(R"({"event":"complete","samples":10,"csv_file":"x.csv","duration_sec":1.0})"));
}

TEST(JSONEventDecoding, UnknownEventNameGivesUnknownWhateverElseItHolds) {
    for (const char* line :
         {R"({"event":"quantum_entanglement_probe","qubits":3})",
          R"({"event":"future","elapsed_sec":"not a number","fatal":null,"hops":7})",
          R"({"event":"Status","elapsed_sec":1.0})", R"({"event":" status"})", R"({"event":""})"}) {
        const auto event = decode(line);
        ASSERT_TRUE(event) << line;
        EXPECT_EQ(event->kind(), JSONEvent::Kind::unknown) << line;
        EXPECT_TRUE(event->get<UnknownEvent>()) << line;
    }
}

TEST(JSONEventDecoding, ObjectWithoutEventFails) {
    EXPECT_FALSE(decode(R"({"type":"ping","target":"1.1.1.1","loss":false,"ts":"2026-03-14T09:30:00Z"})"));
    EXPECT_FALSE(decode(R"({})"));
}

TEST(JSONEventDecoding, EventThatIsNotAStringFails) {
    EXPECT_FALSE(decode(R"({"event":42})"));
    EXPECT_FALSE(decode(R"({"event":null})"));
    EXPECT_FALSE(decode(R"({"event":["status"],"elapsed_sec":1})"));
    EXPECT_FALSE(decode(R"({"event":{"name":"status"}})"));
}

TEST(JSONEventDecoding, NullRttMsOfAProbeIsAbsentWhileAStringThereFailsTheLine) {
    const auto withNull = decode(R"({"event":"probe","type":"ping","target":"1.1.1.1","loss":true,)"
                                 R"("ts":"2026-03-14T09:30:00.000Z","rtt_ms":null})");
    ASSERT_TRUE(withNull);
    ASSERT_TRUE(withNull->get<ProbeEvent>());
    EXPECT_FALSE(withNull->get<ProbeEvent>()->rttMs);
    EXPECT_TRUE(withNull->get<ProbeEvent>()->loss);

    EXPECT_FALSE(decode(R"({"event":"probe","type":"ping","target":"1.1.1.1","loss":false,)"
                        R"("ts":"2026-03-14T09:30:00.000Z","rtt_ms":"12"})"));
}

TEST(JSONEventDecoding, ExtraKeysAreIgnoredInEveryEvent) {
    for (const QByteArray& line : dataLines(u"every-event.jsonl"_s)) {
        QJsonObject object = parseObject(line);
        object.insert(u"future_key"_s, QJsonObject{{u"a"_s, QJsonArray{1, 2}}});
        object.insert(u"another_one"_s, u"text"_s);
        object.insert(u"ElapsedSec"_s, u"keys match by exact spelling only"_s);
        const auto plain = decode(line);
        const auto extended = decode(compact(object));
        ASSERT_TRUE(plain) << line.constData();
        ASSERT_TRUE(extended) << line.constData();
        EXPECT_TRUE(*plain == *extended) << line.constData();
    }
}

TEST(JSONEventDecoding, ErrorWithoutFatalFails) {
    EXPECT_FALSE(decode(R"({"event":"error","message":"no fatal flag"})"));
    EXPECT_FALSE(decode(R"({"event":"error","message":"null flag","fatal":null})"));
    const auto nonFatal = decode(R"({"event":"error","message":"recovered","fatal":false})");
    ASSERT_TRUE(nonFatal);
    EXPECT_EQ(*nonFatal->get<ErrorEvent>(), (ErrorEvent{u"recovered"_s, false}));
}

TEST(JSONEventDecoding, AMissingOrNullRequiredKeyFailsAndAMissingOrNullOptionalKeyIsAbsent) {
    for (const QByteArray& line : knownEventLines()) {
        const QJsonObject object = parseObject(line);
        const QString name = object.value(u"event"_s).toString();
        ASSERT_TRUE(requiredKeys().contains(name)) << qPrintable(name);
        const QStringList required = requiredKeys().value(name);
        for (const QString& key : object.keys()) {
            if (key == u"event"_s)
                continue;
            QJsonObject without = object;
            without.remove(key);
            QJsonObject withNull = object;
            withNull.insert(key, QJsonValue::Null);
            const bool isRequired = required.contains(key);
            EXPECT_EQ(decode(compact(without)).has_value(), !isRequired)
                << qPrintable(name) << " without " << qPrintable(key);
            EXPECT_EQ(decode(compact(withNull)).has_value(), !isRequired)
                << qPrintable(name) << " with null " << qPrintable(key);
            if (!isRequired) {
                // Absent by omission and absent by null are the same value.
                EXPECT_TRUE(*decode(compact(without)) == *decode(compact(withNull))) << qPrintable(key);
            }
        }
        for (const QString& key : required)
            EXPECT_TRUE(object.contains(key))
                << "test data for " << qPrintable(name) << " lacks " << qPrintable(key);
    }
}

TEST(JSONEventDecoding, AValueOfTheWrongTypeFailsTheLineWhetherTheKeyIsRequiredOrOptional) {
    for (const QByteArray& line : knownEventLines()) {
        const QJsonObject object = parseObject(line);
        for (const QString& key : object.keys()) {
            if (key == u"event"_s)
                continue;
            QJsonObject broken = object;
            broken.insert(key, wrongTypeFor(object.value(key)));
            EXPECT_FALSE(decode(compact(broken)))
                << qPrintable(object.value(u"event"_s).toString()) << " with a wrong " << qPrintable(key);
        }
    }
}

TEST(JSONEventDecoding, BooleansAreOnlyTrueOrFalse) {
    const QByteArray head = R"({"event":"system_sleep","action":"stop","gap_sec":60,"ssid_match":)";
    EXPECT_TRUE(decode(head + "true}"));
    EXPECT_FALSE(decode(head + "1}"));
    EXPECT_FALSE(decode(head + "0}"));
    EXPECT_FALSE(decode(head + "\"true\"}"));
}

TEST(JSONEventDecoding, IntegersAreWholeNumbersKeptExactToSixtyFourBits) {
    const auto total = [](const QByteArray& number) -> std::optional<qint64> {
        const auto event = decode(R"({"event":"upload_start","total":)" + number + "}");
        if (!event)
            return std::nullopt;
        return event->get<UploadStartEvent>()->total;
    };
    EXPECT_EQ(total("9007199254740993"), 9007199254740993LL) << "beyond double precision, still exact";
    EXPECT_EQ(total("9223372036854775807"), std::numeric_limits<qint64>::max());
    EXPECT_EQ(total("-9223372036854775808"), std::numeric_limits<qint64>::min());
    EXPECT_EQ(total("-12"), -12);
    EXPECT_EQ(total("0"), 0);
    EXPECT_FALSE(total("9223372036854775808")) << "one past the largest 64-bit integer";
    EXPECT_FALSE(total("10.5"));
    EXPECT_FALSE(total("-0.25"));
    EXPECT_FALSE(total("1e300"));
    // A whole number written with a fraction or an exponent is still that whole number.
    EXPECT_EQ(total("10.0"), 10);
    EXPECT_EQ(total("1e3"), 1000);
}

TEST(JSONEventDecoding, DoublesTakeAnyJSONNumber) {
    const auto elapsed = [](const QByteArray& number) -> std::optional<double> {
        const auto event = decode(R"({"event":"status","elapsed_sec":)" + number + "}");
        if (!event)
            return std::nullopt;
        return event->get<StatusEvent>()->elapsedSec;
    };
    EXPECT_EQ(elapsed("12"), 12.0);
    EXPECT_EQ(elapsed("-0.5"), -0.5);
    EXPECT_EQ(elapsed("2.5e2"), 250.0);
    EXPECT_FALSE(elapsed("NaN"));
    EXPECT_FALSE(elapsed("Infinity"));
    EXPECT_FALSE(elapsed("\"12\""));
    EXPECT_FALSE(elapsed("true"));
}

TEST(JSONEventDecoding, StringArraysMustHoldOnlyStrings) {
    EXPECT_FALSE(decode(R"({"event":"info","probes":["ping",3]})"));
    EXPECT_FALSE(decode(R"({"event":"info","probes":["ping",null]})"));
    EXPECT_FALSE(decode(R"({"event":"info","probes":"ping"})"));
    const auto empty = decode(R"({"event":"info","probes":[]})");
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->get<InfoEvent>()->probes, QStringList{});
    const auto absent = decode(R"({"event":"info","probes":null})");
    ASSERT_TRUE(absent);
    EXPECT_FALSE(absent->get<InfoEvent>()->probes);
}

TEST(JSONEventDecoding, EachHopFollowsTheSameRule) {
    const QByteArray head =
        R"({"event":"traceroute_result","target":"1.1.1.1","ts":"t","hop_count":1,"hops":)";
    EXPECT_TRUE(decode(head + R"([{"hop":1,"ip":"10.0.0.1"}]})"));
    EXPECT_TRUE(decode(head + R"([{"hop":1,"ip":"10.0.0.1","rtt_ms":null,"asn":"AS13335"}]})"));
    EXPECT_TRUE(decode(head + "[]}"));
    EXPECT_FALSE(decode(head + R"([{"hop":1}]})")) << "ip is required";
    EXPECT_FALSE(decode(head + R"([{"hop":1.5,"ip":"10.0.0.1"}]})"));
    EXPECT_FALSE(decode(head + R"([{"hop":1,"ip":"10.0.0.1","rtt_ms":"3"}]})"));
    EXPECT_FALSE(decode(head + R"([{"hop":1,"ip":"10.0.0.1"},7]})"));
    EXPECT_FALSE(decode(head + R"({"hop":1,"ip":"10.0.0.1"}})"));
}

TEST(JSONEventDecoding, AnythingThatIsNotOneJSONObjectFails) {
    for (const char* line :
         {"", " ", "[1,2,3]", R"("just a string")", "null", "42", "true",
          R"({"event":"status","elapsed_sec":)",
          R"({"event":"status","elapsed_sec":1.0}{"event":"status","elapsed_sec":2.0})",
          R"({"event":"status","elapsed_sec":1.0} trailing)", R"({'event':'status','elapsed_sec':1.0})",
          R"({"event":"status","elapsed_sec":1.0,})", "Traceback (most recent call last):"}) {
        EXPECT_FALSE(decode(line)) << '"' << line << '"';
    }
}

TEST(JSONEventDecoding, SpaceAndACarriageReturnAroundTheObjectAreAllowed) {
    const auto event = decode("  {\"event\":\"status\",\"elapsed_sec\":4.3,\"rssi\":-50}\r");
    ASSERT_TRUE(event);
    EXPECT_EQ(event->get<StatusEvent>()->rssi, -50);
}

TEST(JSONEventDecoding, StringEscapesDecodeToTheirCharacters) {
    const auto event = decode(R"({"event":"note","text":"caf\u00e9 \ud83d\ude80 \"quoted\"\n","ts":"t"})");
    ASSERT_TRUE(event);
    EXPECT_EQ(event->get<NoteEvent>()->text, u"café 🚀 \"quoted\"\n"_s);
}

TEST(JSONEventDecoding, RecordedStreamWithBrokenLinesDecodesLineByLine) {
    // A capture of the simulator's garbage scenario as the program read it, and what each line that
    // survives the line buffer decodes to.
    const QByteArray stream = readFile(testDataPath(u"events/garbage-run.bin"_s));
    ASSERT_FALSE(stream.isEmpty());
    const QList<QByteArray> expected = dataLines(u"garbage-run.expected"_s);

    LineBuffer buffer;
    QStringList lines;
    // Blocks of odd sizes, so that lines are cut everywhere.
    for (qsizetype at = 0; at < stream.size(); at += 97)
        lines.append(buffer.append(stream.mid(at, 97)));
    ASSERT_EQ(lines.size(), expected.size());

    int failures = 0;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const auto event = decode(lines[i].toUtf8());
        const QByteArray outcome = event ? JSONEvent::kindName(event->kind()).toString().toUtf8() : "fail";
        EXPECT_EQ(outcome, expected[i]) << "line " << i + 1 << ": " << qPrintable(lines[i]);
        failures += event ? 0 : 1;
    }
    EXPECT_EQ(failures, 14);
}

TEST(JSONEventDecoding, EveryLineOfARecordedCellularCaptureDecodes) {
    const QList<QByteArray> lines = dataLines(u"cellular-capture.jsonl"_s);
    ASSERT_GT(lines.size(), 1000);
    QMap<JSONEvent::Kind, int> kinds;
    for (const QByteArray& line : lines) {
        const auto event = decode(line);
        ASSERT_TRUE(event) << line.constData();
        ++kinds[event->kind()];
    }
    EXPECT_EQ(kinds.value(JSONEvent::Kind::info), 1);
    EXPECT_EQ(kinds.value(JSONEvent::Kind::complete), 1);
    EXPECT_GE(kinds.size(), 12) << "a mixed stream";
}
