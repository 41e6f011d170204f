#include "FuzzTarget.h"

#include "subprocess/LineBuffer.h"

#include <QList>

#include <algorithm>

// The cutting of a child's output into lines, fed in blocks of sizes drawn from the input's first byte.
int fuzzLineBuffer(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::uint8_t seed = data[0];
    const QByteArray bytes = fuzzBytes(data + 1, size - 1);

    // What the lines must be, however the bytes arrive: every complete, non-empty, UTF-8 piece.
    QStringList expected;
    QList<QByteArray> pieces = bytes.split('\n');
    const QByteArray unfinished = pieces.takeLast();
    for (const QByteArray& piece : std::as_const(pieces)) {
        if (!piece.isEmpty()) {
            if (const std::optional<QString> text = LineBuffer::decodeUtf8(piece))
                expected.append(*text);
        }
    }

    LineBuffer buffer;
    QStringList lines;
    std::uint32_t state = seed * 2654435761u + 1;
    for (qsizetype at = 0; at < bytes.size();) {
        state = state * 1103515245u + 12345u;
        // Mostly short blocks, now and then a long one, as a pipe delivers them.
        const qsizetype length = (state >> 16) % 8 == 0 ? (state >> 8) % 4096 + 1 : (state >> 16) % 17 + 1;
        const qsizetype take = std::min(length, bytes.size() - at);
        lines += buffer.append(QByteArrayView(bytes).sliced(at, take));
        at += take;
    }
    fuzzCheck(lines == expected, "the lines don't depend on how the bytes were cut into blocks");
    fuzzCheck(buffer.pendingSize() == unfinished.size(), "only the unfinished line is held back");
    return 0;
}
