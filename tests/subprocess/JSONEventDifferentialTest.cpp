#include "subprocess/JSONEvent.h"

#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>

#include <cmath>
#include <random>
#include <string>
#include <vector>

using namespace Qt::StringLiterals;

// The decoder on the hot path must give, for every line, exactly what Qt's JSON reader gives under the
// same rules: the same event, or the same refusal.

namespace {

struct Mismatch {
    qint64 count = 0;
    std::string first;
};

// Decodes the line both ways and notes it when they differ; gives whether the line decoded.
bool compareDecoders(QByteArrayView line, Mismatch& mismatch) {
    const std::optional<JSONEvent> fast = JSONEvent::decode(line);
    const std::optional<JSONEvent> reference = JSONEvent::decodeWithQtReader(line);
    if (fast != reference && mismatch.count++ == 0)
        mismatch.first = line.toByteArray().toStdString();
    return reference.has_value();
}

// Random lines in the event format: mostly well formed, with values of the right and the wrong types,
// numbers and strings in every spelling, and every way a line breaks. The same seed gives the same lines.
class LineGenerator {
public:
    explicit LineGenerator(std::uint64_t seed)
        : m_random(seed) {}

    std::string next() {
        std::string line = object();
        switch (below(40)) {
        case 0: // cut short
            line.resize(below(int(line.size())));
            break;
        case 1: // one byte changed to anything
            if (!line.empty())
                line[below(int(line.size()))] = char(below(256));
            break;
        case 2: // one byte dropped
            if (!line.empty())
                line.erase(below(int(line.size())), 1);
            break;
        case 3:
            line += pick<std::string>({"x", ",", "}", " {}", "\x00", "\"", " \r", "\t\n"});
            break;
        case 4:
            line = pick<std::string>({"\xEF\xBB\xBF", " ", "\t", "\r\n", "[", "\x00"}) + line;
            break;
        case 5:
            line = pick<std::string>({"", "[]", "[" + line + "]", "null", "\"event\"", "1", "{", "}", "{}",
                                      "{\"event\":\"info\"}{}", "{\"event\":\"info\",}"});
            break;
        default:
            break;
        }
        return line;
    }

private:
    enum class Type { text, real, integer, boolean, texts, hops };
    struct Key {
        const char* name;
        Type type;
    };
    struct Event {
        const char* name;
        std::vector<Key> keys;
    };

    int below(int n) { return n <= 0 ? 0 : std::uniform_int_distribution<int>(0, n - 1)(m_random); }
    bool chance(int percent) { return below(100) < percent; }
    template <typename T> T pick(std::initializer_list<T> list) {
        return *(list.begin() + below(int(list.size())));
    }

    std::string space() {
        return chance(85) ? "" : pick<std::string>({" ", "  ", "\t", "\r", "\n", " \r\n"});
    }

    std::string character() {
        switch (below(30)) {
        case 0:
            return pick<std::string>({"\\n", "\\t", "\\\"", "\\\\", "\\/", "\\b", "\\f", "\\r"});
        case 1:
            return pick<std::string>({"\\u00e9", "\\u0041", "\\u0000", "\\u001f", "\\uFFFF", "\\ufffe",
                                      "\\ud83d\\ude00", "\\uD83D\\uDE00", "\\u20AC"});
        case 2: // escapes that strict JSON refuses or that name no character
            return pick<std::string>({"\\ud800", "\\udc00", "\\ud800\\u0041", "\\ud800x", "\\a", "\\x41",
                                      "\\u12", "\\uZZZZ", "\\'", "\\", "\\\xC3\xA9", "\\ "});
        case 3:
            return pick<std::string>({"\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xEF\xBF\xBF",
                                      "\xEF\xBF\xBE", "\xE6\x97\xA5"});
        case 4: // bytes that aren't UTF-8: overlong, surrogates, beyond U+10FFFF, cut sequences
            return pick<std::string>({"\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xC3", "\x80", "\xFF",
                                      "\xE2\x82", "\xF8\x88\x80\x80\x80"});
        case 5:
            return std::string(1, char(below(32)));
        case 6:
            return std::string(1, char(0x7f));
        default:
            return std::string(1, "abcdefghijklmnopqrstuvwxyz0123456789 .:-_ABCXYZ"[below(47)]);
        }
    }

    std::string text() {
        std::string body;
        const int length = below(4) == 0 ? below(40) : below(12);
        for (int i = 0; i < length; ++i)
            body += character();
        return "\"" + body + "\"";
    }

    std::string digits(int atMost) {
        std::string out;
        const int length = 1 + below(atMost);
        for (int i = 0; i < length; ++i)
            out += char('0' + below(10));
        return out;
    }

    std::string number() {
        const std::string sign = chance(25) ? "-" : "";
        switch (below(16)) {
        case 0:
            return sign + pick<std::string>({"0", "0.0", "0e0", "0.0e-5", "0E+3"});
        case 1: // beyond 64 bits, and right at their edges
            return pick<std::string>({"9223372036854775807", "-9223372036854775808", "9223372036854775808",
                                      "-9223372036854775809", "18446744073709551615", "18446744073709551616",
                                      "123456789012345678901234567890", "1" + std::string(310, '0')});
        case 2: // whole numbers spelt as doubles
            return sign + digits(6) + pick<std::string>({".0", ".00", "e0", "e3", "E2", ".0e1", "e+2"});
        case 3: // overflow, underflow, and the smallest doubles
            return sign + pick<std::string>({"1e400", "1e309", "1e-400", "2.5e-324", "5e-324", "4.9e-324",
                                             "2.2250738585072014e-308", "1.7976931348623157e308",
                                             "0.00000000000000000000001e-310", "0e-400", "1.8e308"});
        case 4: // spellings that strict JSON refuses
            return pick<std::string>({"01", "-", "1.", "1.e5", ".5", "-.5", "+1", "1e", "1e+", "00", "-01",
                                      "0x10", "1_000", "NaN", "Infinity", "-Infinity", "1.5.5", "--1"});
        case 5:
            return sign + digits(20);
        case 6:
            return sign + digits(3) + "." + digits(20) + (chance(50) ? "e" + sign + digits(3) : "");
        case 7:
            return sign + digits(17) + "." + digits(17);
        default:
            return sign + digits(chance(50) ? 3 : 10) + (chance(50) ? "." + digits(4) : "");
        }
    }

    std::string literal() {
        return pick<std::string>({"true", "false", "null", "tru", "nul", "True", "falsey", "nulll"});
    }

    // Any value at all, nested up to `depth` levels.
    std::string anyValue(int depth) {
        switch (below(depth > 0 ? 8 : 5)) {
        case 0:
        case 1:
            return number();
        case 2:
            return text();
        case 3:
        case 4:
            return literal();
        case 5:
        case 6: {
            std::string array = "[" + space();
            const int count = below(4);
            for (int i = 0; i < count; ++i)
                array += (i ? "," + space() : "") + anyValue(depth - 1) + space();
            return array + "]";
        }
        default: {
            std::string object = "{" + space();
            const int count = below(4);
            for (int i = 0; i < count; ++i)
                object += (i ? "," : "") + space() + text() + space() + ":" + space() + anyValue(depth - 1);
            return object + "}";
        }
        }
    }

    std::string hop() {
        std::string object = "{";
        std::vector<std::string> members;
        if (chance(95))
            members.push_back("\"hop\":" + (chance(90) ? digits(2) : anyValue(0)));
        if (chance(95))
            members.push_back("\"ip\":" + (chance(90) ? "\"10.0.0." + digits(2) + "\"" : anyValue(0)));
        if (chance(70))
            members.push_back("\"rtt_ms\":" + (chance(90) ? number() : anyValue(0)));
        if (chance(10))
            members.push_back("\"hop\":" + digits(2));
        for (size_t i = 0; i < members.size(); ++i)
            object += (i ? "," : "") + members[i];
        return object + "}";
    }

    std::string valueOf(Type type) {
        if (chance(6))
            return anyValue(2); // most likely of the wrong type
        if (chance(4))
            return "null";
        switch (type) {
        case Type::text:
            return text();
        case Type::real:
        case Type::integer:
            if (chance(30))
                return number();
            return type == Type::integer ? (chance(30) ? "-" : "") + digits(5) : digits(3) + "." + digits(3);
        case Type::boolean:
            return chance(90) ? pick<std::string>({"true", "false"}) : literal();
        case Type::texts: {
            std::string array = "[";
            const int count = below(5);
            for (int i = 0; i < count; ++i)
                array += (i ? "," : "") + (chance(95) ? text() : anyValue(1));
            return array + "]";
        }
        case Type::hops: {
            std::string array = "[";
            const int count = below(5);
            for (int i = 0; i < count; ++i)
                array += (i ? "," + space() : "") + (chance(95) ? hop() : anyValue(1));
            return array + "]";
        }
        }
        return "null";
    }

    std::string object() {
        static const std::vector<Event> events = allEvents();
        const Event& event = events[below(int(events.size()))];
        std::vector<std::string> members;
        const std::string eventName = chance(97) ? "\"" + std::string(event.name) + "\"" : anyValue(1);
        for (const Key& key : event.keys) {
            if (chance(88))
                members.push_back("\"" + std::string(key.name) + "\"" + space() + ":" + space() +
                                  valueOf(key.type));
        }
        if (chance(5)) // an unknown key with anything under it
            members.push_back(text() + ":" + anyValue(3));
        if (chance(5) && !event.keys.empty()) { // a key twice: the last one counts
            const Key& key = event.keys[below(int(event.keys.size()))];
            members.push_back("\"" + std::string(key.name) + "\":" + valueOf(key.type));
        }
        if (chance(2)) // a key spelt with an escape
            members.push_back("\"ev\\u0065nt\":\"" + std::string(event.name) + "\"");
        members.insert(members.begin() + below(int(members.size()) + 1), "\"event\":" + eventName);
        if (chance(2))
            members.push_back("\"event\":\"" + std::string(events[below(int(events.size()))].name) + "\"");
        std::string line = space() + "{" + space();
        for (size_t i = 0; i < members.size(); ++i)
            line += (i ? "," + space() : "") + members[i] + space();
        return line + "}" + space();
    }

    static std::vector<Event> allEvents() {
        using enum Type;
        return {
            {"info",
             {{"ssid", text},
              {"rssi", integer},
              {"channel", text},
              {"gateway", text},
              {"vpn", text},
              {"probes", texts},
              {"category", text},
              {"profile", text},
              {"capture_id", text},
              {"csv_file", text},
              {"duration_secs", real},
              {"log_file", text},
              {"youtube_abr_available", boolean}}},
            {"status",
             {{"rssi", integer},
              {"elapsed_sec", real},
              {"remaining_sec", real},
              {"icmp_rtt_ms", real},
              {"icmp_loss_pct", real},
              {"udp_rtt_ms", real},
              {"udp_loss_pct", real},
              {"throughput_down_mbps", real},
              {"throughput_up_mbps", real},
              {"dns_ms", real},
              {"e2e_rtt_ms", real},
              {"icmp_proxied", boolean},
              {"no_internet", boolean}}},
            {"probe",
             {{"type", text},
              {"target", text},
              {"loss", boolean},
              {"ts", text},
              {"rtt_ms", real},
              {"dl_mbps", real},
              {"ul_mbps", real}}},
            {"throughput_status",
             {{"phase", text},
              {"direction", text},
              {"ts", text},
              {"test_num", integer},
              {"tests_in_wave", integer},
              {"wave_num", integer},
              {"round_num", integer},
              {"total_rounds", integer},
              {"probe_type", text}}},
            {"throughput_result",
             {{"direction", text},
              {"mbps", real},
              {"bytes", integer},
              {"streams", integer},
              {"target", text},
              {"ts", text},
              {"error", text},
              {"test_num", integer}}},
            {"cdn_throughput_result",
             {{"target", text},
              {"mbps", real},
              {"bytes", integer},
              {"ts", text},
              {"stream_mbps", real},
              {"delivered_mbps", real},
              {"ttfb_ms", real},
              {"dns_ms", real}}},
            {"youtube_segment_result",
             {{"headroom", real},
              {"bytes", integer},
              {"ts", text},
              {"throughput_mbps", real},
              {"recommended_quality", text},
              {"cdn_host", text},
              {"video_id", text}}},
            {"youtube_abr_result",
             {{"ts", text},
              {"auto_resolution", text},
              {"auto_bandwidth_kbps", real},
              {"auto_buffer_health_s", real},
              {"auto_stall_count", integer},
              {"startup_time_ms", real},
              {"forced_stall_count", integer},
              {"ad_seen", boolean}}},
            {"traceroute_result", {{"target", text}, {"hops", hops}, {"ts", text}, {"hop_count", integer}}},
            {"complete",
             {{"samples", integer}, {"capture_id", text}, {"csv_file", text}, {"duration_sec", real}}},
            {"upload_start", {{"total", integer}}},
            {"upload_progress",
             {{"file", text}, {"pct", real}, {"bytes_sent", integer}, {"bytes_total", integer}}},
            {"upload_complete", {{"file", text}, {"size_bytes", integer}, {"compressed_bytes", integer}}},
            {"upload_error", {{"file", text}, {"message", text}, {"retryable", boolean}}},
            {"upload_skipped",
             {{"reason", text}, {"file", text}, {"size_mb", real}, {"limit_mb", real}, {"local_path", text}}},
            {"upload_summary", {{"succeeded", integer}, {"failed", integer}}},
            {"calibration_complete", {{"down_mbps", real}, {"up_mbps", real}, {"rtt_ms", real}}},
            {"icmp_proxy_detected", {{"icmp_p50", real}, {"http_p50", real}, {"e2e_rtt_p50", real}}},
            {"capture_reminder", {{"elapsed_sec", real}, {"remaining_sec", real}}},
            {"capture_auto_stop", {{"reason", text}, {"elapsed_sec", real}}},
            {"system_sleep", {{"action", text}, {"gap_sec", real}, {"ssid_match", boolean}}},
            {"network_change",
             {{"gateway", text}, {"vpn", text}, {"ssid_before", text}, {"ssid_after", text}}},
            {"round_summary",
             {{"round_num", integer},
              {"total_rounds", integer},
              {"template", text},
              {"probes", texts},
              {"ts", text}}},
            {"note", {{"text", text}, {"ts", text}}},
            {"error", {{"message", text}, {"fatal", boolean}}},
            {"something_new", {{"ts", text}, {"value", real}}},
        };
    }

    std::mt19937_64 m_random;
};

QStringList recordedStreams() {
    QStringList found;
    QDirIterator it(testDataPath(QString()), {u"*.jsonl"_s, u"*.bin"_s}, QDir::Files,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        found.append(it.next());
    QDirIterator saved(testDataPath(u"fuzz/json_event"_s), QDir::Files);
    while (saved.hasNext())
        found.append(saved.next());
    found.sort();
    return found;
}

} // namespace

TEST(JSONEventDifferential, EveryLineOfEveryRecordedStreamDecodesAsQtsReaderDecodesIt) {
    const QStringList streams = recordedStreams();
    ASSERT_GT(streams.size(), 4);
    Mismatch mismatch;
    qint64 lines = 0;
    for (const QString& path : streams) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
        const QByteArray content = file.readAll();
        for (const QByteArray& line : content.split('\n')) {
            compareDecoders(line, mismatch);
            ++lines;
        }
    }
    EXPECT_GT(lines, 1000);
    EXPECT_EQ(mismatch.count, 0) << "first: " << mismatch.first;
}

TEST(JSONEventDifferential, AMillionGeneratedLinesDecodeAsQtsReaderDecodesThem) {
    LineGenerator generator(20260314);
    Mismatch mismatch;
    qint64 decoded = 0;
    qint64 refused = 0;
    for (int i = 0; i < 1'000'000; ++i) {
        const std::string line = generator.next();
        const QByteArrayView view(line.data(), qsizetype(line.size()));
        (compareDecoders(view, mismatch) ? decoded : refused) += 1;
    }
    // The generator must give both kinds in earnest, or the comparison proves little.
    EXPECT_GT(decoded, 150'000);
    EXPECT_GT(refused, 100'000);
    EXPECT_EQ(mismatch.count, 0) << "first: " << mismatch.first;
}

TEST(JSONEventDifferential, MinusZeroKeepsTheSignThatQtsReaderGivesIt) {
    // operator== can't tell 0.0 from -0.0, so the sign is looked at on its own: Qt's reader keeps a
    // whole double as an integer, so every spelling of minus zero comes out as a plain zero.
    for (const char* spelling : {"-0", "-0.0", "-0e3", "0", "-0.0e-400"}) {
        const QByteArray line = "{\"event\":\"status\",\"elapsed_sec\":"_ba + spelling + "}";
        const std::optional<JSONEvent> fast = JSONEvent::decode(line);
        const std::optional<JSONEvent> reference = JSONEvent::decodeWithQtReader(line);
        ASSERT_TRUE(fast && reference) << spelling;
        EXPECT_EQ(std::signbit(fast->get<StatusEvent>()->elapsedSec),
                  std::signbit(reference->get<StatusEvent>()->elapsedSec))
            << spelling;
    }
}
