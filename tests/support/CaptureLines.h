#pragma once

#include <QString>

// Lines of the measurement tool's event stream for tests that fill a session by hand, one figure at a
// time, as the tool would print them.
namespace CaptureLines {

using namespace Qt::StringLiterals;

inline QString number(double value) {
    return QString::number(value, 'g', 12);
}

inline QString ping(double rttMs, int second = 1) {
    return uR"({"event":"probe","type":"ping","target":"1.1.1.1","loss":false,"ts":"2026-03-14T09:30:%1.000+00:00","rtt_ms":%2})"_s
        .arg(second % 60, 2, 10, QChar(u'0'))
        .arg(number(rttMs));
}

inline QString lostPing(int second = 1) {
    return uR"({"event":"probe","type":"ping","target":"1.1.1.1","loss":true,"ts":"2026-03-14T09:30:%1.000+00:00"})"_s
        .arg(second % 60, 2, 10, QChar(u'0'));
}

inline QString status(double icmpRttMs, double elapsedSec) {
    return uR"({"event":"status","elapsed_sec":%1,"icmp_rtt_ms":%2,"icmp_loss_pct":0.0})"_s.arg(
        number(elapsedSec), number(icmpRttMs));
}

inline QString speedTest(const QString& direction, double mbps, int testNum) {
    return uR"({"event":"throughput_result","direction":"%1","mbps":%2,"bytes":26214400,"streams":4,"target":"speed.cloudflare.com","ts":"2026-03-14T09:31:%3.000+00:00","test_num":%4})"_s
        .arg(direction, number(mbps))
        .arg(testNum % 60, 2, 10, QChar(u'0'))
        .arg(testNum);
}

inline QString netflix(double mbps) {
    return uR"({"event":"cdn_throughput_result","target":"netflix_oca","mbps":%1,"bytes":52428800,"ts":"2026-03-14T09:31:20.000+00:00"})"_s
        .arg(number(mbps));
}

inline QString youTubeSegment(double mbps) {
    return uR"({"event":"youtube_segment_result","bytes":4194304,"ts":"2026-03-14T09:31:30.000+00:00","throughput_mbps":%1})"_s
        .arg(number(mbps));
}

inline QString youTubeAbr(const QString& resolution) {
    return uR"({"event":"youtube_abr_result","ts":"2026-03-14T09:32:00.000+00:00","auto_resolution":"%1"})"_s
        .arg(resolution);
}

inline QString complete(double durationSec) {
    return uR"({"event":"complete","samples":310,"csv_file":"/tmp/capture.csv","duration_sec":%1})"_s.arg(
        number(durationSec));
}

} // namespace CaptureLines
