// How fast the program turns a child's standard output into events: line splitting plus decoding, on
// one core, over a stream of 1,000,000 mixed events. The stream is a recorded capture of the
// simulator's cellular scenario (probes, status, speed tests, traceroutes, ...) played over and over,
// cut into 64 KiB blocks as a pipe would deliver it.

#include "subprocess/JSONEvent.h"
#include "subprocess/LineBuffer.h"

#include <benchmark/benchmark.h>

#include <QFile>
#include <QFileInfo>

#include <cstdlib>
#include <ctime>

namespace {

constexpr qint64 eventsPerRun = 1'000'000;
constexpr qsizetype blockSize = 64 * 1024;

QByteArray recordedCapture() {
    const QString path = QFileInfo(QString::fromUtf8(__FILE__)).absolutePath() +
                         QStringLiteral("/../tests/data/events/cellular-capture.jsonl");
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s\n", qPrintable(path));
        std::abort();
    }
    return file.readAll();
}

// The recording several times over, so that the blocks cut it at ever different places; it ends on a
// line feed, so going round it again keeps every line whole.
const QByteArray& stream() {
    static const QByteArray data = recordedCapture().repeated(8);
    return data;
}

// Feeds the stream to `perLines` block by block until a million lines have come out of it, and gives
// the number of lines, which the last block may take a little past the million.
template <typename PerLines> qint64 playMillionEvents(PerLines perLines) {
    const QByteArray& data = stream();
    LineBuffer buffer;
    qint64 events = 0;
    qsizetype at = 0;
    while (events < eventsPerRun) {
        const QByteArrayView block = QByteArrayView(data).sliced(at, std::min(blockSize, data.size() - at));
        at = (at + block.size()) % data.size();
        const QStringList lines = buffer.append(block);
        events += lines.size();
        perLines(lines);
    }
    return events;
}

double threadCpuNanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e9 + double(now.tv_nsec);
}

// Plain figures, measured on this thread's CPU clock over every iteration of the run.
class PerEvent {
public:
    PerEvent()
        : m_start(threadCpuNanoseconds()) {}
    void add(qint64 events) { m_events += events; }
    void report(benchmark::State& state) const {
        const double nanoseconds = (threadCpuNanoseconds() - m_start) / double(m_events);
        state.counters["ns_per_event"] = nanoseconds;
        state.counters["events_per_second"] = 1e9 / nanoseconds;
    }

private:
    double m_start;
    qint64 m_events = 0;
};

} // namespace

// What the supervisor does with each block of standard output, short of handing events to listeners.
static void BM_LineBufferAndDecode(benchmark::State& state) {
    qint64 decoded = 0;
    qint64 played = 0;
    PerEvent perEvent;
    for (auto _ : state) {
        const qint64 lines = playMillionEvents([&decoded](const QStringList& lines) {
            for (const QString& line : lines) {
                std::optional<JSONEvent> event = JSONEvent::decode(line.toUtf8());
                decoded += event.has_value();
                benchmark::DoNotOptimize(event);
            }
        });
        perEvent.add(lines);
        played += lines;
    }
    perEvent.report(state);
    if (decoded != played)
        state.SkipWithError("a recorded line failed to decode");
}
BENCHMARK(BM_LineBufferAndDecode)->Unit(benchmark::kMillisecond);

// The two halves on their own, to see where the time goes.
static void BM_LineBufferOnly(benchmark::State& state) {
    PerEvent perEvent;
    for (auto _ : state)
        perEvent.add(
            playMillionEvents([](const QStringList& lines) { benchmark::DoNotOptimize(lines.size()); }));
    perEvent.report(state);
}
BENCHMARK(BM_LineBufferOnly)->Unit(benchmark::kMillisecond);

static void BM_DecodeOnly(benchmark::State& state) {
    QList<QByteArray> lines = recordedCapture().split('\n');
    lines.removeAll(QByteArray());
    PerEvent perEvent;
    for (auto _ : state) {
        for (qint64 i = 0; i < eventsPerRun; ++i) {
            std::optional<JSONEvent> event = JSONEvent::decode(lines[i % lines.size()]);
            benchmark::DoNotOptimize(event);
        }
        perEvent.add(eventsPerRun);
    }
    perEvent.report(state);
}
BENCHMARK(BM_DecodeOnly)->Unit(benchmark::kMillisecond);
