#include "Replay.h"

#include "base/VirtualClock.h"
#include "capture/InternetDateTime.h"
#include "core/AppState.h"
#include "subprocess/JSONEvent.h"
#include "subprocess/LineBuffer.h"
#include "subprocess/PythonProcess.h"

#include <algorithm>
#include <string_view>
#include <variant>

namespace {

// A running tool prints a timed event every few seconds. A stream that is silent for longer than this
// stood still (a machine asleep, a clock set, a year mistyped), and the session's timers then fire once
// each, as real timers do after a sleep, instead of once for every second skipped.
constexpr qint64 longestRunningGapMs = 3600 * 1000;

// The moment an event carries, for the events that carry one; the key's spacing in the line doesn't
// matter, as the line has been decoded.
std::optional<QDateTime> timestampOf(const JSONEvent& event) {
    return std::visit(
        [](const auto& payload) -> std::optional<QDateTime> {
            if constexpr (requires { payload.ts; }) {
                const QByteArray text = payload.ts.toLatin1();
                return parseInternetDateTime(std::string_view(text.constData(), size_t(text.size())));
            } else {
                return std::nullopt;
            }
        },
        event.payload);
}

void moveClockTo(VirtualClock& time, const QDateTime& when) {
    const qint64 ahead = time.now().msecsTo(when);
    if (ahead <= 0)
        return;
    if (ahead <= longestRunningGapMs) {
        time.advance(double(ahead) / 1000.0);
        return;
    }
    time.jump(double(ahead) / 1000.0);
    time.advance(0);
}

} // namespace

std::optional<QDateTime> Replay::firstTimestamp(const QByteArray& recording) {
    qsizetype lineStart = 0;
    while (lineStart < recording.size()) {
        qsizetype lineEnd = recording.indexOf('\n', lineStart);
        if (lineEnd < 0)
            lineEnd = recording.size();
        if (const auto event =
                JSONEvent::decode(QByteArrayView(recording).sliced(lineStart, lineEnd - lineStart)))
            if (const auto ts = timestampOf(*event))
                return ts;
        lineStart = lineEnd + 1;
    }
    return std::nullopt;
}

Replay::Result Replay::play(const QByteArray& recording, AppState& state, VirtualClock& time) {
    Result result;
    PythonProcess& process = state.pythonProcess();
    // Every line that decodes becomes the latest event; that is the count of events.
    const auto counter = QObject::connect(&process, &PythonProcess::latestEventChanged, &state,
                                          [&result] { ++result.decoded; });

    LineBuffer buffer;
    // Fed in pipe-sized blocks, as a child's output arrives; a last line without its feed still counts.
    constexpr qsizetype blockSize = 64 * 1024;
    auto feed = [&](QByteArrayView block) {
        const QStringList lines = buffer.append(block);
        for (const QString& line : lines) {
            std::optional<JSONEvent> event = JSONEvent::decode(line.toUtf8());
            if (event)
                if (const auto when = timestampOf(*event))
                    moveClockTo(time, *when);
            process.processLine(line, std::move(event));
        }
    };
    for (qsizetype offset = 0; offset < recording.size(); offset += blockSize)
        feed(QByteArrayView(recording).sliced(offset, std::min(blockSize, recording.size() - offset)));
    if (!recording.endsWith('\n'))
        feed("\n");

    // Lines that the splitter drops (not UTF-8) never reach the decoder, but they were lines all the same.
    qint64 rawLines = 0;
    for (qsizetype start = 0; start < recording.size();) {
        qsizetype end = recording.indexOf('\n', start);
        if (end < 0)
            end = recording.size();
        if (end > start)
            ++rawLines;
        start = end + 1;
    }
    result.lines = rawLines;
    QObject::disconnect(counter);
    return result;
}
