#include "capture/CaptureLibrary.h"

#include "base/Clock.h"
#include "capture/CSVLoader.h"
#include "capture/StatsCache.h"
#include "services/FileLogger.h"

#include <QCollator>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QRegularExpression>
#include <QSet>
#include <QtConcurrentMap>

#include <algorithm>
#include <cmath>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

// A whole number as the picker shows one: cut toward zero, no separators.
QString wholeNumber(double value) {
    return QString::number(std::trunc(value) + 0.0, 'f', 0);
}

QString figureText(const std::optional<double>& value) {
    return value ? wholeNumber(*value) : u"---"_s;
}

// A figure through the C library's printf, whose rounding (half to even on the exact binary value,
// so 12.5 gives "12") the picker's texts follow; Qt's own formatting rounds half up.
QString printfText(const char* format, double value) {
    char text[64];
    const int length = std::snprintf(text, sizeof text, format, value);
    return QString::fromLatin1(text, std::clamp(length, 0, int(sizeof text) - 1));
}

int compareOptional(const std::optional<double>& a, const std::optional<double>& b) {
    // Absent before present, as an optional comparator orders them.
    if (!a || !b)
        return a ? 1 : (b ? -1 : 0);
    return *a < *b ? -1 : (*b < *a ? 1 : 0);
}

std::optional<double> figure(const CaptureSummary& capture, CaptureColumn column) {
    switch (column) {
    case CaptureColumn::duration:
        return capture.durationMin;
    case CaptureColumn::download:
        return capture.downloadMbps;
    case CaptureColumn::upload:
        return capture.uploadMbps;
    case CaptureColumn::latency:
        return capture.medianLatencyMs;
    case CaptureColumn::loss:
        return capture.lossPct;
    default:
        return std::nullopt;
    }
}

void warnCapture(const QString& message) {
    FileLogger::shared().warn(u"Capture"_s, message);
}

// Drops the elements of captures.json that name this file, keeping the others, their order and every
// key they hold. A file that can't be read or isn't an array of objects is left alone.
void removeFromCapturesJson(const QString& folder, const QString& fileName) {
    QFile file(folder + u'/' + CaptureLibrary::capturesJsonName());
    if (!file.open(QIODevice::ReadOnly))
        return;
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &parseError);
    file.close();
    if (parseError.error != QJsonParseError::NoError || !document.isArray())
        return;
    const QJsonArray elements = document.array();
    QJsonArray kept;
    for (const QJsonValue& element : elements) {
        if (!element.isObject())
            return;
        const QJsonValue name = element.toObject().value("file"_L1);
        if (!(name.isString() && name.toString() == fileName))
            kept.append(element);
    }
    const QByteArray json = QJsonDocument(kept).toJson(QJsonDocument::Indented);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(json) != json.size() ||
        !file.flush())
        warnCapture(u"captures.json write failed after delete: "_s + file.errorString());
}

} // namespace

QDateTime CaptureLibrary::distantPast() {
    return QDateTime(QDate(1, 1, 1), QTime(0, 0), Qt::UTC);
}

std::optional<QDateTime> CaptureLibrary::parseTimestamp(const QString& fileName) {
    // \d as the platform's expressions read it, so the digits are read by their value below.
    static const QRegularExpression stamp(uR"(\d{8}T\d{6}Z)"_s,
                                          QRegularExpression::UseUnicodePropertiesOption);
    const qsizetype dot = fileName.lastIndexOf(u'.');
    const QString stem = dot > 0 ? fileName.left(dot) : fileName;
    const QRegularExpressionMatch match = stamp.match(stem);
    if (!match.hasMatch())
        return std::nullopt;
    const QStringView text = match.capturedView();
    const auto number = [&](qsizetype at, qsizetype count) {
        int value = 0;
        for (qsizetype i = at; i < at + count; ++i)
            value = value * 10 + text[i].digitValue();
        return value;
    };
    const QDate date(number(0, 4), number(4, 2), number(6, 2));
    const QTime time(number(9, 2), number(11, 2), number(13, 2));
    if (!date.isValid() || !time.isValid())
        return std::nullopt;
    return QDateTime(date, time, Qt::UTC);
}

QString CaptureLibrary::formatDateTime(const QDateTime& date, const QDateTime& now) {
    const QDateTime local = date.toLocalTime();
    const bool thisYear = local.date().year() == now.toLocalTime().date().year();
    return QLocale().toString(local, thisYear ? u"MMM d, h:mm AP"_s : u"MMM d yyyy, h:mm AP"_s);
}

QString CaptureLibrary::formatDateTime(const QDateTime& date) {
    return formatDateTime(date, Time::clock().now());
}

QHash<QString, CaptureMetadata> CaptureLibrary::loadMetadata(const QString& folder) {
    QFile file(folder + u'/' + capturesJsonName());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    if (!document.isArray())
        return {};
    QHash<QString, CaptureMetadata> byFile;
    const QJsonArray elements = document.array();
    for (const QJsonValue& element : elements) {
        if (!element.isObject())
            return {};
        const QJsonObject object = element.toObject();
        const QJsonValue file = object.value("file"_L1);
        const QJsonValue location = object.value("location"_L1);
        const QJsonValue networkType = object.value("network_type"_L1);
        const QJsonValue date = object.value("date"_L1);
        const QJsonValue durationMin = object.value("duration_min"_L1);
        if (!file.isString() || !location.isString() || !networkType.isString())
            return {};
        CaptureMetadata metadata{file.toString(), location.toString(), networkType.toString(), {}, {}};
        if (date.isString())
            metadata.date = date.toString();
        else if (!date.isUndefined() && !date.isNull())
            return {};
        if (durationMin.isDouble())
            metadata.durationMin = durationMin.toDouble();
        else if (!durationMin.isUndefined() && !durationMin.isNull())
            return {};
        byFile.insert(metadata.file, metadata);
    }
    return byFile;
}

QList<CaptureSummary> CaptureLibrary::loadCaptureSummaries(const QString& folder, const QDateTime& now) {
    const QHash<QString, CaptureMetadata> metadata = loadMetadata(folder);

    const QDir dir(folder);
    if (folder.isEmpty() || !dir.exists())
        return {};
    QStringList names;
    const QStringList entries =
        dir.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::NoSort);
    for (const QString& name : entries) {
        if (name.endsWith(u".csv"_s) && !name.contains(u"throughput_raw"_s))
            names.append(name);
    }
    std::sort(names.begin(), names.end());

    StatsCache::Entries cache = StatsCache::load(folder);
    const QSet<QString> kept(names.begin(), names.end());
    const qsizetype cachedBefore = cache.size();
    cache.removeIf([&](const auto& entry) { return !kept.contains(entry.key()); });
    bool dirty = cache.size() != cachedBefore;

    // The files whose cached figures are missing or stale, by size only: a file replaced by one of the
    // same size keeps its figures. Their scans are independent, so they share the cores.
    QList<std::pair<QString, qint64>> stale;
    for (const QString& name : std::as_const(names)) {
        const QFileInfo info(folder + u'/' + name);
        const qint64 size = info.exists() ? info.size() : 0;
        const auto cached = cache.constFind(name);
        if (cached == cache.cend() || cached->fileSize != size)
            stale.append({name, size});
    }
    const QList<CSVLoader::QuickStats> scanned =
        QtConcurrent::blockingMapped(stale, [&folder](const std::pair<QString, qint64>& file) {
            return CSVLoader::quickStats(folder + u'/' + file.first);
        });
    for (qsizetype i = 0; i < stale.size(); ++i) {
        const CSVLoader::QuickStats& stats = scanned[i];
        cache.insert(stale[i].first, {stale[i].second, stats.medianLatencyMs, stats.lossPct,
                                      stats.lastDownloadMbps, stats.lastUploadMbps, stats.durationMin});
        dirty = true;
    }

    QList<CaptureSummary> summaries;
    summaries.reserve(names.size());
    // Newest first, as long as the names begin alike.
    for (auto name = names.crbegin(); name != names.crend(); ++name) {
        CaptureSummary summary;
        summary.id = QUuid::createUuid();
        summary.csvPath = folder + u'/' + *name;
        summary.timestamp = parseTimestamp(*name).value_or(distantPast());
        summary.dateTimeDisplay = formatDateTime(summary.timestamp, now);
        const auto cached = cache.constFind(*name);

        const auto meta = metadata.constFind(*name);
        if (meta != metadata.cend()) {
            summary.location = meta->location;
            summary.network = meta->networkType;
        }
        summary.durationMin =
            meta != metadata.cend() && meta->durationMin ? meta->durationMin : cached->durationMin;
        summary.medianLatencyMs = cached->medianLatencyMs;
        summary.lossPct = cached->lossPct;
        summary.downloadMbps = cached->lastDownloadMbps;
        summary.uploadMbps = cached->lastUploadMbps;
        summaries.append(summary);
    }

    if (dirty) {
        QString error;
        if (!StatsCache::save(folder, cache, &error))
            StatsCache::warnWriteFailed(error);
    }
    return summaries;
}

void CaptureLibrary::deleteCapture(const QString& csvPath, const QString& cacheFolder) {
    QFile::remove(csvPath);
    QString sideFile = csvPath;
    sideFile.replace(u".csv"_s, u"_throughput_raw.csv"_s);
    QFile::remove(sideFile);
    const QFileInfo info(csvPath);
    removeFromCapturesJson(info.path(), info.fileName());
    StatsCache::remove(cacheFolder, info.fileName());
}

QList<CaptureSummary> CaptureLibrary::applyFilter(const QList<CaptureSummary>& all, const QString& filterText,
                                                  const QList<CaptureSortKey>& sortOrder) {
    QList<CaptureSummary> shown;
    if (filterText.isEmpty()) {
        shown = all;
    } else {
        // Case is set aside as the machine's language sets it aside: in Turkish a capital I is a
        // dotless ı and İ is an i, which Qt's own case-insensitive match doesn't know.
        const QLocale locale;
        const QString wanted = locale.toLower(filterText);
        const auto holds = [&](const QString& text) { return locale.toLower(text).contains(wanted); };
        for (const CaptureSummary& capture : all) {
            if (holds(capture.dateTimeDisplay) || holds(capture.location) || holds(capture.network))
                shown.append(capture);
        }
    }

    // Texts in the order a person expects: case aside, and numbers inside them by value. The C locale
    // has no such order (Qt compares its texts code by code), so a machine without a locale gets English.
    const QLocale locale =
        QLocale().language() == QLocale::C ? QLocale(QLocale::English, QLocale::UnitedStates) : QLocale();
    QCollator collator(locale);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    collator.setNumericMode(true);
    const auto compare = [&](const CaptureSummary& a, const CaptureSummary& b, CaptureColumn column) {
        switch (column) {
        case CaptureColumn::date:
            return a.timestamp < b.timestamp ? -1 : (b.timestamp < a.timestamp ? 1 : 0);
        case CaptureColumn::location:
            return collator.compare(a.location, b.location);
        case CaptureColumn::network:
            return collator.compare(a.network, b.network);
        default:
            return compareOptional(figure(a, column), figure(b, column));
        }
    };
    std::stable_sort(shown.begin(), shown.end(), [&](const CaptureSummary& a, const CaptureSummary& b) {
        for (const CaptureSortKey& key : sortOrder) {
            const int order = compare(a, b, key.column);
            if (order != 0)
                return key.order == Qt::AscendingOrder ? order < 0 : order > 0;
        }
        return false;
    });
    return shown;
}

QString CaptureLibrary::columnTitle(CaptureColumn column) {
    switch (column) {
    case CaptureColumn::date:
        return u"Date"_s;
    case CaptureColumn::duration:
        return u"Duration"_s;
    case CaptureColumn::location:
        return u"Location"_s;
    case CaptureColumn::network:
        return u"Network"_s;
    case CaptureColumn::download:
        return u"DL"_s;
    case CaptureColumn::upload:
        return u"UL"_s;
    case CaptureColumn::latency:
        return u"Latency"_s;
    case CaptureColumn::loss:
        return u"Loss"_s;
    }
    return {};
}

QString CaptureLibrary::cellText(const CaptureSummary& capture, CaptureColumn column) {
    switch (column) {
    case CaptureColumn::date:
        return capture.dateTimeDisplay;
    case CaptureColumn::duration:
        return capture.durationMin ? printfText("%.0fm", *capture.durationMin) : u"---"_s;
    case CaptureColumn::location:
        return capture.location;
    case CaptureColumn::network:
        return capture.network;
    case CaptureColumn::download:
        return figureText(capture.downloadMbps);
    case CaptureColumn::upload:
        return figureText(capture.uploadMbps);
    case CaptureColumn::latency:
        return capture.medianLatencyMs ? wholeNumber(*capture.medianLatencyMs) + u" ms"_s : u"---"_s;
    case CaptureColumn::loss:
        return capture.lossPct ? printfText("%.1f%%", *capture.lossPct) : u"---"_s;
    }
    return {};
}

QString CaptureLibrary::countText(qsizetype shown, qsizetype all, bool filtered) {
    return filtered ? u"%1 of %2 captures"_s.arg(shown).arg(all) : u"%1 captures"_s.arg(all);
}
