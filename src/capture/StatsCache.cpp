#include "capture/StatsCache.h"

#include "services/FileLogger.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr QLatin1StringView figureKeys[] = {"medianLatencyMs"_L1, "lossPct"_L1, "lastDownloadMbps"_L1,
                                            "lastUploadMbps"_L1, "durationMin"_L1};

std::optional<double>* figure(CachedStats& stats, int index) {
    std::optional<double>* const figures[] = {&stats.medianLatencyMs, &stats.lossPct, &stats.lastDownloadMbps,
                                              &stats.lastUploadMbps, &stats.durationMin};
    return figures[index];
}

// One entry; false if it doesn't decode, which spoils the whole cache.
bool decode(const QJsonValue& value, CachedStats& stats) {
    if (!value.isObject())
        return false;
    const QJsonObject object = value.toObject();
    const QJsonValue size = object.value("fileSize"_L1);
    if (!size.isDouble())
        return false;
    const double bytes = size.toDouble();
    if (bytes != std::trunc(bytes) || std::abs(bytes) > 9007199254740992.0)
        return false;
    stats.fileSize = static_cast<qint64>(bytes);
    for (int i = 0; i < 5; ++i) {
        const QJsonValue figureValue = object.value(figureKeys[i]);
        if (figureValue.isUndefined() || figureValue.isNull())
            continue;
        if (!figureValue.isDouble())
            return false;
        *figure(stats, i) = figureValue.toDouble();
    }
    return true;
}

} // namespace

StatsCache::Entries StatsCache::load(const QString& folder) {
    QFile file(path(folder));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    if (!document.isObject())
        return {};
    Entries entries;
    const QJsonObject object = document.object();
    for (auto it = object.begin(); it != object.end(); ++it) {
        CachedStats stats;
        if (!decode(it.value(), stats))
            return {};
        entries.insert(it.key(), stats);
    }
    return entries;
}

bool StatsCache::save(const QString& folder, const Entries& entries, QString* error) {
    QJsonObject object;
    for (auto it = entries.begin(); it != entries.end(); ++it) {
        CachedStats stats = it.value();
        QJsonObject entry{{"fileSize"_L1, stats.fileSize}};
        for (int i = 0; i < 5; ++i) {
            if (const std::optional<double> value = *figure(stats, i))
                entry.insert(figureKeys[i], *value);
        }
        object.insert(it.key(), entry);
    }
    QFile file(path(folder));
    const QByteArray json = QJsonDocument(object).toJson(QJsonDocument::Compact);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(json) != json.size() ||
        !file.flush()) {
        if (error)
            *error = file.errorString();
        return false;
    }
    return true;
}

void StatsCache::remove(const QString& folder, const QString& csvFileName) {
    Entries entries = load(folder);
    entries.remove(csvFileName);
    QString error;
    if (!save(folder, entries, &error))
        warnWriteFailed(error);
}

void StatsCache::warnWriteFailed(const QString& description) {
    FileLogger::shared().warn(u"Capture"_s, u"stats cache write failed: "_s + description);
}
