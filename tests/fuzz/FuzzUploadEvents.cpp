#include "FuzzTarget.h"

#include "subprocess/LineBuffer.h"
#include "subprocess/UploadRunner.h"

#include <algorithm>

// The upload tool's standard output, in blocks whose size comes from the input's first byte.
int fuzzUploadEvents(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    static FileLogger log(fuzzScratchDir() + QStringLiteral("/upload-logs"));
    const qsizetype blockSize = data[0] % 64 + 1;
    const QByteArrayView output(data + 1, static_cast<qsizetype>(size - 1));

    // Every whole line that decodes is delivered once, in order, and nothing else is.
    QList<JSONEvent> expected;
    LineBuffer lines;
    for (const QString& line : lines.append(output)) {
        if (const std::optional<JSONEvent> event = JSONEvent::decode(line.toUtf8()))
            expected.append(*event);
    }

    UploadRunner runner(log);
    QList<JSONEvent> delivered;
    runner.setOnEvent([&](const JSONEvent& event) { delivered.append(event); });
    for (qsizetype at = 0; at < output.size(); at += blockSize)
        runner.handleStandardOutput(output.sliced(at, std::min(blockSize, output.size() - at)));
    fuzzCheck(delivered == expected, "the events don't depend on how the output was cut into blocks");
    return 0;
}
