#include "FuzzTarget.h"

#include "capture/StatsCache.h"

#include <QDir>

// The stats cache of a capture folder; what it reads, it writes back unchanged.
int fuzzStatsCache(const std::uint8_t* data, std::size_t size) {
    static const QString folder = [] {
        const QString path = fuzzScratchDir() + QStringLiteral("/stats");
        QDir().mkpath(path);
        return path;
    }();
    writeFuzzFile(StatsCache::path(folder), data, size);

    const StatsCache::Entries entries = StatsCache::load(folder);
    QString error;
    fuzzCheck(StatsCache::save(folder, entries, &error), "the scratch cache can be written");
    fuzzCheck(StatsCache::load(folder) == entries, "the cache reads back what it wrote");
    return 0;
}
