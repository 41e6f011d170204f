#include "capture/ResultsFormat.h"

#include "base/NumberText.h"

using namespace Qt::StringLiterals;

namespace ResultsAnalysis {

QString formatMbps(double mbps) {
    if (mbps < 10)
        return NumberText::fixed(mbps, 1);
    return NumberText::wholePart(mbps);
}

QString formatDuration(double seconds) {
    const qint64 s = NumberText::wholeSeconds(seconds);
    return QString::number(s / 60) + u"m "_s + QString::asprintf("%02lld", static_cast<long long>(s % 60)) +
           u's';
}

QString formatSpeedError(const QString& error) {
    if (error.contains(u"429"_s) || error.contains(u"403"_s))
        return u"Rate limited"_s;
    if (error.contains(u"timeout"_s))
        return u"Timed out"_s;
    return u"Test failed"_s;
}

QString netflixResolution(double mbps) {
    if (mbps >= 8)
        return u"4K"_s;
    if (mbps >= 4)
        return u"1080p"_s;
    if (mbps >= 2)
        return u"720p"_s;
    return u"SD"_s;
}

QString netflixResLabel(double mbps) {
    return u'~' + netflixResolution(mbps);
}

QString youtubeThroughputResolution(double mbps) {
    if (mbps >= 9)
        return u"4K"_s;
    if (mbps >= 4)
        return u"1440p"_s;
    if (mbps >= 1.6)
        return u"1080p"_s;
    if (mbps >= 0.8)
        return u"720p"_s;
    return u"SD"_s;
}

QString youtubeThroughputResLabel(double mbps) {
    return u'~' + youtubeThroughputResolution(mbps);
}

QString formatEta(double seconds) {
    const qint64 s = NumberText::wholeSeconds(seconds);
    if (s > 59)
        return QString::number(s / 60) + u':' + QString::asprintf("%02lld", static_cast<long long>(s % 60));
    return QString::number(s) + u's';
}

QString formatBytes(qint64 bytes) {
    constexpr qint64 mebibyte = 1'048'576;
    if (bytes >= mebibyte)
        return NumberText::fixed(double(bytes) / double(mebibyte), 1) + u" MB"_s;
    return QString::number(bytes / 1024) + u" KB"_s;
}

} // namespace ResultsAnalysis
