#pragma once

#include <QMap>
#include <QString>

#include <optional>

// The summary figures of one capture file, kept so that a large CSV isn't scanned at every listing.
struct CachedStats {
    qint64 fileSize = 0; // size of the CSV when the figures were computed
    std::optional<double> medianLatencyMs;
    std::optional<double> lossPct;
    std::optional<double> lastDownloadMbps;
    std::optional<double> lastUploadMbps;
    std::optional<double> durationMin;
    friend bool operator==(const CachedStats&, const CachedStats&) = default;
};

// `.stats_cache.json` in the capture folder: an object from CSV file name to CachedStats. It has no
// life in memory: every operation reads the file, and what it holds between operations is on disk.
class StatsCache {
public:
    using Entries = QMap<QString, CachedStats>;

    static QString fileName() { return QStringLiteral(".stats_cache.json"); }
    static QString path(const QString& folder) { return folder + u'/' + fileName(); }

    // The whole cache of the folder. A missing or undecodable file gives an empty cache, silently.
    static Entries load(const QString& folder);
    // Writes the cache in place, replacing the file (not atomically). On failure returns false and
    // puts the reason into `error`.
    static bool save(const QString& folder, const Entries& entries, QString* error = nullptr);
    // Loads, removes the key and writes back; a failed write goes to the log.
    static void remove(const QString& folder, const QString& csvFileName);

    // The log line of a failed cache write.
    static void warnWriteFailed(const QString& description);
};
