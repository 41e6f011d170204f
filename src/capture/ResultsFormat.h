#pragma once

#include <QString>

// The texts of the results figures. Every whole-number text truncates toward zero.
namespace ResultsAnalysis {

// "%.1f" below 10, the whole part from 10 on: 9.96 reads "10.0", 10.96 reads "10".
QString formatMbps(double mbps);
// "{m}m {ss}s" of whole seconds: 125.9 reads "2m 05s".
QString formatDuration(double seconds);
// The reason a speed test failed, in a word or two.
QString formatSpeedError(const QString& error);
// The resolution a Netflix rate can carry: "4K", "1080p", "720p" or "SD"; with "~" in front as a label.
QString netflixResolution(double mbps);
QString netflixResLabel(double mbps);
// The same for a YouTube segment rate: "4K", "1440p", "1080p", "720p" or "SD".
QString youtubeThroughputResolution(double mbps);
QString youtubeThroughputResLabel(double mbps);
// "{m}:{ss}" above 59 whole seconds, "{s}s" otherwise.
QString formatEta(double seconds);
// "%.1f MB" from 1,048,576 bytes on, whole "{n} KB" below.
QString formatBytes(qint64 bytes);

} // namespace ResultsAnalysis
