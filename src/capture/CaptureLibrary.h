#pragma once

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>
#include <QUuid>

#include <optional>

// One element of captures.json as the library reads it. "file", "location" and "network_type" are
// required: one element without them makes the whole list unusable for the library.
struct CaptureMetadata {
    QString file;
    QString location;
    QString networkType;
    std::optional<QString> date; // decoded and never used
    std::optional<double> durationMin;
};

// One past capture as the capture picker lists it.
struct CaptureSummary {
    QUuid id; // new at each listing: identity doesn't survive a reload
    QString csvPath;
    QDateTime timestamp; // from the file name, or CaptureLibrary::distantPast()
    QString dateTimeDisplay;
    QString location; // empty without metadata
    QString network;  // empty without metadata
    std::optional<double> durationMin;
    std::optional<double> medianLatencyMs;
    std::optional<double> lossPct;
    std::optional<double> downloadMbps;
    std::optional<double> uploadMbps;
};

// The picker's columns, in their order.
enum class CaptureColumn { date, duration, location, network, download, upload, latency, loss };
inline constexpr int captureColumnCount = 8;

struct CaptureSortKey {
    CaptureColumn column = CaptureColumn::date;
    Qt::SortOrder order = Qt::DescendingOrder;
    friend bool operator==(const CaptureSortKey&, const CaptureSortKey&) = default;
};

// The capture folder as a library of past captures: listing with cached summary figures, filtering
// and sorting, and deleting a capture with everything that belongs to it.
class CaptureLibrary {
public:
    static QString capturesJsonName() { return QStringLiteral("captures.json"); }

    // The date of a capture whose file name carries none: the first moment of year 1, UTC.
    static QDateTime distantPast();
    // The start time in a name such as "wifi_capture_20250601T120000Z.csv", anywhere in it.
    static std::optional<QDateTime> parseTimestamp(const QString& fileName);
    // "Jun 1, 2:05 PM" within the year of `now`, "Jun 1 2024, 2:05 PM" otherwise; local time and
    // locale. The one-argument form takes `now` from the program's clock.
    static QString formatDateTime(const QDateTime& date, const QDateTime& now);
    static QString formatDateTime(const QDateTime& date);

    // captures.json of the folder by file name, the later of two elements winning. Missing or
    // invalid: empty, silently.
    static QHash<QString, CaptureMetadata> loadMetadata(const QString& folder);
    // Every capture of the folder, newest first, with the figures of the stats cache; scans the files
    // that are new or changed in size and rewrites the cache when anything changed. Slow on a cold
    // cache: run it off the main thread. `now` decides the date format.
    static QList<CaptureSummary> loadCaptureSummaries(const QString& folder, const QDateTime& now);
    // Removes the CSV, its raw throughput side file, its elements of captures.json (the folder of the
    // CSV) and its entry in the stats cache of `cacheFolder`. Failures to remove files are ignored.
    static void deleteCapture(const QString& csvPath, const QString& cacheFolder);

    // The rows whose date text, location or network hold `filterText` (any case, by the default
    // locale's lower case), sorted by the keys in turn. An empty filter keeps all rows.
    static QList<CaptureSummary> applyFilter(const QList<CaptureSummary>& all, const QString& filterText,
                                             const QList<CaptureSortKey>& sortOrder);
    static QList<CaptureSortKey> defaultSortOrder() { return {{CaptureColumn::date, Qt::DescendingOrder}}; }

    static QString columnTitle(CaptureColumn column);
    // The text of one cell: "---" for an absent figure, empty for absent metadata.
    static QString cellText(const CaptureSummary& capture, CaptureColumn column);
    // The footer: "{shown} of {all} captures" with a filter in force, else "{all} captures".
    static QString countText(qsizetype shown, qsizetype all, bool filtered);
};
