// A recorded stream of 1,000,000 events through the replay: decode, reduce and the session's timers on
// a virtual clock. Prints events per second and the resident memory that each stored latency point
// costs: the growth of the process's resident set over the run, after freed blocks are trimmed.

#include "base/VirtualClock.h"
#include "cli/Replay.h"
#include "core/AppState.h"
#include "core/HoneycombState.h"
#include "services/FileLogger.h"

#include <benchmark/benchmark.h>

#include <QFile>
#include <QTemporaryDir>

#include <malloc.h>

namespace {

// A busy capture: each second a status event and nine probes of five types, a throughput test
// every five minutes, a traceroute every ten.
QByteArray recordedStream(int events) {
    QByteArray out;
    out.reserve(qsizetype(events) * 150);
    const QDateTime start(QDate(2026, 3, 14), QTime(9, 30), Qt::UTC);
    const char* const types[] = {"ping", "ping", "ping", "udp", "udp", "tcp", "http", "dns", "quic"};
    const char* const targets[] = {"192.168.1.1",     "1.1.1.1",    "8.8.8.8",
                                   "1.1.1.1:53",      "8.8.8.8:53", "1.1.1.1:443",
                                   "www.gstatic.com", "1.1.1.1",    "cloudflare-quic.com:443"};
    int written = 0;
    out += "{\"event\":\"info\",\"ssid\":\"Bench\",\"capture_id\":\"bench\",\"duration_secs\":10800}\n";
    ++written;
    for (int second = 0; written < events; ++second) {
        out += "{\"event\":\"status\",\"elapsed_sec\":" + QByteArray::number(second) +
               ",\"rssi\":-60,\"icmp_rtt_ms\":21.5,\"icmp_loss_pct\":0.0,\"udp_rtt_ms\":23.0,\"udp_loss_"
               "pct\":0.5}\n";
        ++written;
        for (int i = 0; i < 9 && written < events; ++i, ++written) {
            const QDateTime ts = start.addMSecs(qint64(second) * 1000 + i * 100);
            const bool lost = (second * 9 + i) % 97 == 0;
            out += "{\"event\":\"probe\",\"type\":\"" + QByteArray(types[i]) + "\",\"target\":\"" +
                   QByteArray(targets[i]) + "\",\"loss\":" + (lost ? "true" : "false") + ",\"ts\":\"" +
                   ts.toString(Qt::ISODateWithMs).toLatin1() + "\"";
            if (!lost)
                out += ",\"rtt_ms\":" + QByteArray::number(12.5 + (second * 7 + i * 13) % 40, 'f', 2);
            out += "}\n";
        }
        if (second % 300 == 150 && written + 3 < events) {
            const QByteArray ts = start.addSecs(second).toString(Qt::ISODateWithMs).toLatin1();
            out +=
                "{\"event\":\"throughput_status\",\"phase\":\"testing\",\"direction\":\"download\",\"ts\":"
                "\"" +
                ts +
                "\"}\n{\"event\":\"throughput_result\",\"direction\":\"download\",\"mbps\":85.5,\"bytes\":1,"
                "\"streams\":4,\"ts\":\"" +
                ts + "\",\"test_num\":1}\n{\"event\":\"throughput_status\",\"phase\":\"idle\",\"ts\":\"" +
                ts + "\"}\n";
            written += 3;
        }
    }
    return out;
}

// Resident set of the process, from the kernel's own count.
qint64 residentBytes() {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLongLong() * 1024;
    }
    return 0;
}

void BM_ReplayMillionEvents(benchmark::State& benchState) {
    const int events = int(benchState.range(0));
    const QByteArray recording = recordedStream(events);
    QTemporaryDir logDir;
    FileLogger log(logDir.path());
    double residentPerPoint = 0;
    qsizetype points = 0;
    for (auto _ : benchState) {
        benchState.PauseTiming();
        VirtualClock time(*Replay::firstTimestamp(recording));
        ScopedVirtualTime scope(time);
        auto state = std::make_unique<AppState>(log);
        state->startReplay(CaptureConfig{});
        state->honeycomb().layoutCells(640, 50);
        malloc_trim(0);
        const qint64 residentBefore = residentBytes();
        benchState.ResumeTiming();

        Replay::play(recording, *state, time);
        time.advance(1.0);

        benchState.PauseTiming();
        points = state->latencyPoints().size();
        // What the session holds, not what the allocator kept of freed blocks.
        malloc_trim(0);
        residentPerPoint = double(residentBytes() - residentBefore) / double(points);
        state.reset();
        benchState.ResumeTiming();
    }
    benchState.SetItemsProcessed(benchState.iterations() * events);
    benchState.counters["latency_points"] = double(points);
    benchState.counters["resident_bytes_per_point"] = residentPerPoint;
    benchState.counters["ns_per_event"] = benchmark::Counter(
        double(events), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

} // namespace

BENCHMARK(BM_ReplayMillionEvents)
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(2)
    ->UseRealTime();
