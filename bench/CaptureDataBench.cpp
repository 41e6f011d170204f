// The capture loader and the capture library on large inputs, each measured against `wc -l` on the
// same file in the same run, so that the figures mean the same on a fast and a slow machine.
//
// At the first benchmark a 1,000,000-row capture (about 66 MB) and a library of 1,000 captures are
// generated into a temporary folder with the simulator's gen_capture.py.

#include "capture/CSVLoader.h"
#include "capture/CaptureLibrary.h"
#include "capture/StatsCache.h"

#include <benchmark/benchmark.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStringDecoder>
#include <QTemporaryDir>

#include <chrono>
#include <cstdio>
#include <memory>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

using namespace Qt::StringLiterals;

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

struct BenchData {
    QTemporaryDir dir;
    QString bigCapture;
    QString library;
    int libraryCaptures = 1000;
    bool ready = false;
};

bool generate(int rows, const QString& out) {
    QProcess python;
    python.start(u"python3"_s, {QStringLiteral(NORVANE_SIMULATOR_DIR) + u"/gen_capture.py"_s, u"--rows"_s,
                                QString::number(rows), u"--out"_s, out, u"--seed"_s, u"1"_s});
    if (!python.waitForFinished(600'000) || python.exitCode() != 0) {
        std::fprintf(stderr, "gen_capture.py failed: %s\n", python.readAllStandardError().constData());
        return false;
    }
    return true;
}

const BenchData& benchData() {
    static const std::unique_ptr<BenchData> data = [] {
        auto made = std::make_unique<BenchData>();
        made->bigCapture = made->dir.path() + u"/big/wifi_capture_20250601T120000Z.csv"_s;
        made->library = made->dir.path() + u"/library"_s;
        // One capture of 2,000 rows (about 130 kB) for the library, copied under 1,000 names an hour apart.
        const QString sample = made->dir.path() + u"/sample/wifi_capture_20250601T120000Z.csv"_s;
        if (!generate(1'000'000, made->bigCapture) || !generate(2'000, sample))
            return made;
        QDir().mkpath(made->library);
        const QDateTime first(QDate(2024, 1, 1), QTime(0, 0), Qt::UTC);
        for (int i = 0; i < made->libraryCaptures; ++i) {
            const QString name = u"wifi_capture_"_s +
                                 first.addSecs(3600LL * i).toString(u"yyyyMMdd'T'HHmmss'Z'"_s) + u".csv"_s;
            QFile::copy(sample, made->library + u'/' + name);
        }
        made->ready = true;
        return made;
    }();
    return *data;
}

// False, with the benchmark marked as failed, when the inputs couldn't be generated.
bool haveData(benchmark::State& state) {
    if (!benchData().ready)
        state.SkipWithError("gen_capture.py could not generate the inputs");
    return benchData().ready;
}

// Wall time of `wc -l` on the file, process start included: the yardstick of a plain pass over it.
double wcSeconds(const QString& path) {
    const auto start = Clock::now();
    QProcess wc;
    wc.start(u"wc"_s, {u"-l"_s, path});
    wc.waitForFinished(60'000);
    return secondsSince(start);
}

// Alternates the measured call with `wc -l`, so that both see the same machine load. `after` runs
// untimed after each call.
template <typename Call, typename After>
void againstWc(benchmark::State& state, const QString& path, Call call, After after) {
    double total = 0;
    double wcTotal = 0;
    for (auto _ : state) {
        wcTotal += wcSeconds(path);
        const auto start = Clock::now();
        call();
        const double seconds = secondsSince(start);
        total += seconds;
        state.SetIterationTime(seconds);
        after();
    }
    const double iterations = static_cast<double>(state.iterations());
    state.counters["wc_ms"] = wcTotal / iterations * 1000.0;
    state.counters["x_wc"] = total / wcTotal;
}

template <typename Call> void againstWc(benchmark::State& state, const QString& path, Call call) {
    againstWc(state, path, call, [] {});
}

void BM_LoadAgainstWc(benchmark::State& state) {
    if (!haveData(state))
        return;
    const QString path = benchData().bigCapture;
    qsizetype points = 0;
    // The capture outlives the timed call: freeing it is the caller's business, not the load's.
    std::optional<CSVLoader::LoadedCapture> capture;
    againstWc(
        state, path,
        [&] {
            capture = CSVLoader::load(path);
            points = capture ? capture->latencyPoints.size() : 0;
            benchmark::DoNotOptimize(points);
        },
        [&] { capture.reset(); });
    state.counters["latency_points"] = static_cast<double>(points);
}
BENCHMARK(BM_LoadAgainstWc)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(10);

// The same load in pieces on all cores: the figure that decides whether load() should read that way.
void BM_LoadInPiecesAgainstWc(benchmark::State& state) {
    if (!haveData(state))
        return;
    const QString path = benchData().bigCapture;
    std::optional<CSVLoader::LoadedCapture> capture;
    againstWc(
        state, path,
        [&] {
            capture = CSVLoader::load(path, CSVLoader::defaultPieceSize);
            benchmark::DoNotOptimize(capture);
        },
        [&] { capture.reset(); });
}
BENCHMARK(BM_LoadInPiecesAgainstWc)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(10);

void BM_QuickStatsAgainstWc(benchmark::State& state) {
    if (!haveData(state))
        return;
    const QString path = benchData().bigCapture;
    againstWc(state, path, [&] { benchmark::DoNotOptimize(CSVLoader::quickStats(path)); });
}
BENCHMARK(BM_QuickStatsAgainstWc)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(10);

#if defined(__GLIBC__)
// Heap bytes that a loaded capture holds, from malloc's own books (mallinfo2: arena plus mmapped
// blocks in use), taken before the load and while the result is still alive.
size_t heapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

void BM_LoadMemoryPerLatencyPoint(benchmark::State& state) {
    if (!haveData(state))
        return;
    const QString path = benchData().bigCapture;
    for (auto _ : state) {
        const size_t before = heapInUse();
        const std::optional<CSVLoader::LoadedCapture> capture = CSVLoader::load(path);
        const size_t after = heapInUse();
        const double points = capture ? static_cast<double>(capture->latencyPoints.size()) : 0.0;
        state.counters["heap_MB"] = static_cast<double>(after - before) / 1e6;
        state.counters["bytes_per_latency_point"] =
            points > 0 ? static_cast<double>(after - before) / points : 0;
        state.counters["latency_list_bytes_per_point"] =
            points > 0
                ? static_cast<double>(capture->latencyPoints.capacity() * sizeof(LatencyPoint)) / points
                : 0;
    }
}
BENCHMARK(BM_LoadMemoryPerLatencyPoint)->Unit(benchmark::kMillisecond)->Iterations(1);
#endif

// The same five figures with Qt's text classes alone: the reason the loader parses bytes by hand.
void BM_QtOnlyQuickStatsAgainstWc(benchmark::State& state) {
    if (!haveData(state))
        return;
    const QString path = benchData().bigCapture;
    againstWc(state, path, [&] {
        QFile file(path);
        file.open(QIODevice::ReadOnly);
        QStringDecoder decoder(QStringDecoder::Utf8);
        const QString text = decoder(file.readAll());
        static const QRegularExpression newline(u"[\\n\\v\\f\\r\\x{85}\\x{2028}\\x{2029}]"_s);
        const QStringList lines = text.split(newline);
        QList<double> roundTrips;
        qint64 pings = 0;
        qint64 lost = 0;
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const QStringList columns = lines.at(i).split(u',');
            if (columns.size() < 5 || columns.at(1) != u"ping"_s)
                continue;
            ++pings;
            bool ok = false;
            const double rtt = columns.at(3).toDouble(&ok);
            if (columns.at(4) == u"1"_s)
                ++lost;
            else if (ok)
                roundTrips.append(rtt);
        }
        benchmark::DoNotOptimize(roundTrips.size() + pings + lost + decoder.hasError());
    });
}
BENCHMARK(BM_QtOnlyQuickStatsAgainstWc)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(2);

// The first listing of 1,000 captures scans every file; it should cost little beyond those scans.
void BM_LibraryFirstListing(benchmark::State& state) {
    if (!haveData(state))
        return;
    const BenchData& data = benchData();
    double listing = 0;
    double scans = 0;
    for (auto _ : state) {
        QFile::remove(StatsCache::path(data.library));
        const QStringList names = QDir(data.library).entryList({u"*.csv"_s}, QDir::Files);
        auto start = Clock::now();
        for (const QString& name : names)
            benchmark::DoNotOptimize(CSVLoader::quickStats(data.library + u'/' + name));
        scans += secondsSince(start);

        start = Clock::now();
        const QList<CaptureSummary> list =
            CaptureLibrary::loadCaptureSummaries(data.library, QDateTime::currentDateTimeUtc());
        const double seconds = secondsSince(start);
        listing += seconds;
        state.SetIterationTime(seconds);
        if (list.size() != data.libraryCaptures)
            state.SkipWithError("the listing lost captures");
    }
    state.counters["quickstats_sum_ms"] = scans / static_cast<double>(state.iterations()) * 1000.0;
    state.counters["x_quickstats_sum"] = listing / scans;
}
BENCHMARK(BM_LibraryFirstListing)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);

// Opening the picker again: a directory listing, one size per file and the cache.
void BM_LibraryCachedListing(benchmark::State& state) {
    if (!haveData(state))
        return;
    const BenchData& data = benchData();
    CaptureLibrary::loadCaptureSummaries(data.library, QDateTime::currentDateTimeUtc());
    for (auto _ : state) {
        const QList<CaptureSummary> list =
            CaptureLibrary::loadCaptureSummaries(data.library, QDateTime::currentDateTimeUtc());
        if (list.size() != data.libraryCaptures)
            state.SkipWithError("the listing lost captures");
    }
}
BENCHMARK(BM_LibraryCachedListing)->Unit(benchmark::kMillisecond)->Iterations(10);

} // namespace
