// What a log call costs the caller, and how fast the worker drains a burst to disk.

#include "services/FileLogger.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QTemporaryDir>

static void BM_FileLoggerWriteReturns(benchmark::State& state) {
    QTemporaryDir dir;
    FileLogger logger(dir.path());
    const QString message = QStringLiteral("probe icmp:1.1.1.1 rtt=23.4 ms seq=1842");
    for (auto _ : state)
        logger.info(QStringLiteral("PythonProcess"), message);
    logger.waitForIdle();
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_FileLoggerWriteReturns)->Iterations(1'000'000);

static void BM_FileLoggerBurstToDisk(benchmark::State& state) {
    QTemporaryDir dir;
    FileLogger logger(dir.path());
    const QString message = QStringLiteral("probe icmp:1.1.1.1 rtt=23.4 ms seq=1842");
    for (auto _ : state) {
        for (int i = 0; i < 10'000; ++i)
            logger.info(QStringLiteral("PythonProcess"), message);
        logger.waitForIdle();
    }
    state.SetItemsProcessed(state.iterations() * 10'000);
}
BENCHMARK(BM_FileLoggerBurstToDisk)->Unit(benchmark::kMillisecond)->UseRealTime();

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
