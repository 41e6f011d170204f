#include "Replay.h"

#include "base/VirtualClock.h"
#include "capture/InternetDateTime.h"
#include "core/AppState.h"
#include "subprocess/LineBuffer.h"
#include "subprocess/PythonProcess.h"

#include <algorithm>
#include <string_view>

namespace {

// The value of a top-level "ts" key, read off the text without decoding the line a second time. The
// sequence can't occur inside a JSON string, where its quotes would be escaped.
std::optional<QDateTime> timestampOf(const QString& line) {
    static const QString key = QStringLiteral("\"ts\":\"");
    const qsizetype at = line.indexOf(key);
    if (at < 0)
        return std::nullopt;
    const qsizetype start = at + key.size();
    const qsizetype end = line.indexOf(u'"', start);
    if (end < 0)
        return std::nullopt;
    const QByteArray text = QStringView(line).mid(start, end - start).toLatin1();
    return parseInternetDateTime(std::string_view(text.constData(), size_t(text.size())));
}

} // namespace

std::optional<QDateTime> Replay::firstTimestamp(const QByteArray& recording) {
    qsizetype lineStart = 0;
    while (lineStart < recording.size()) {
        qsizetype lineEnd = recording.indexOf('\n', lineStart);
        if (lineEnd < 0)
            lineEnd = recording.size();
        if (const auto ts = timestampOf(QString::fromUtf8(recording.mid(lineStart, lineEnd - lineStart))))
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
            if (const auto when = timestampOf(line)) {
                const qint64 ahead = time.now().msecsTo(*when);
                if (ahead > 0)
                    time.advance(double(ahead) / 1000.0);
            }
            process.processLine(line);
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
