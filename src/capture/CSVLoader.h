#pragma once

#include "capture/CaptureSeries.h"

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

// Reads the capture CSV that the measurement tool writes. The program never writes that file.
// Both readers are forgiving: rows they can't use are passed over in silence, and only a file that
// can't be read at all (or isn't UTF-8) is reported, as a warning in the log.
class CSVLoader {
public:
    // A whole capture read back from disk; the caller owns it.
    struct LoadedCapture {
        QList<LatencyPoint> latencyPoints;
        QList<ThroughputPoint> throughputPoints;
        QList<RSSIPoint> rssiHistory;
        QList<TraceroutePoint> traceroutePoints;
        QList<SpeedTestRange> speedTestRanges;
        QList<ObservedThroughputPoint> observedThroughputPoints;
        std::optional<QString> location; // from captures.json
        std::optional<QString> network;  // from captures.json, key "network_type"
        std::optional<QString> ssid;     // from the first line that holds ",wifi,"
        std::optional<QString> captureId;
        std::optional<QDateTime> captureDate;
        double durationSec = 0;
        // Data rows with at least 5 columns and a readable timestamp, of any type.
        int sampleCount = 0;
        QString csvFile;
        std::optional<double> lastDownloadMbps;
        std::optional<double> lastUploadMbps;
        std::optional<int> lastRSSI;
    };

    // The five figures of one row of the capture picker.
    struct QuickStats {
        std::optional<double> medianLatencyMs;
        std::optional<double> lossPct;
        std::optional<double> lastDownloadMbps;
        std::optional<double> lastUploadMbps;
        std::optional<double> durationMin;
        friend bool operator==(const QuickStats&, const QuickStats&) = default;
    };

    // A large file can be read in pieces of about `pieceSize` bytes on all cores, cut at line feeds
    // and joined in file order into exactly what one pass gives; no piece size means one pass.
    static constexpr qint64 defaultPieceSize = 4 * 1024 * 1024;

    // Nothing when the file can't be read, isn't UTF-8 or has fewer than two lines. One pass by
    // default: joining a million points from the pieces costs the joining thread about as much as the
    // second core saves, and holds a few pieces beside the whole, so on two busy cores pieces lose.
    static std::optional<LoadedCapture> load(const QString& csvPath, qint64 pieceSize = 0);
    // A cheaper scan with arithmetic of its own: no dates, no points, only the columns it needs.
    // Never fails; on any failure all five figures are absent.
    // Read in pieces: the pieces hand over only a few sums and the round-trip times.
    static QuickStats quickStats(const QString& csvPath, qint64 pieceSize = defaultPieceSize);

    // The hops of a traceroute row's details column, "h1=192.168.1.1(1.2ms) h2=…".
    static QList<HopDetail> parseHopDetails(const QString& details);
};
