#pragma once

#include <QByteArrayView>
#include <QIODevice>
#include <QString>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

// Reads UTF-8 text from a device line by line, in chunks, without ever holding the whole file.
// A line ends at every newline character of the Unicode set: LF, VT, FF, CR, NEL, LS and PS, each
// on its own, so a CR LF pair leaves an empty line between, and a final line end an empty last line.
// Text that isn't valid UTF-8 is refused as a whole, before any line of it reaches the caller.
class CsvLineReader {
public:
    static constexpr qsizetype defaultChunkSize = 256 * 1024;

    // Reads to the end of the device, or only `length` bytes from where it stands. Such a stretch ends
    // just behind a line feed, so the empty text after its last line end is no line of its own.
    explicit CsvLineReader(QIODevice& device, qsizetype chunkSize = defaultChunkSize, qint64 length = -1)
        : m_device(device)
        , m_chunkSize(std::max<qsizetype>(chunkSize, 4))
        , m_remaining(length) {}

    // Calls onLine(std::string_view) for every line in order. False when reading failed or the
    // text isn't UTF-8; errorString() then says why, and the lines seen so far must be dropped.
    template <typename OnLine> bool forEachLine(OnLine&& onLine);

    QString errorString() const { return m_error; }

    struct Terminator {
        const char* at = nullptr;  // first byte of the newline character; null if none was found
        const char* end = nullptr; // first byte behind it
    };
    // True when the bytes hold a byte beyond ASCII, or VT, FF or CR: then lines can't be found by
    // looking for LF alone, and the text must be checked for UTF-8.
    static bool needsCarefulScan(const char* begin, const char* end);
    // The first newline character in [begin, end). A character that may be cut off by the end of
    // the buffer counts as not found unless `atEnd` says that no more bytes follow.
    static Terminator findTerminator(const char* begin, const char* end, bool atEnd);

private:
    bool fail(const QString& error) {
        m_error = error;
        return false;
    }

    QIODevice& m_device;
    qsizetype m_chunkSize;
    qint64 m_remaining; // bytes left to read; negative for all of them
    QString m_error;
};

template <typename OnLine> bool CsvLineReader::forEachLine(OnLine&& onLine) {
    std::vector<char> buffer(static_cast<size_t>(m_chunkSize));
    size_t filled = 0;
    bool atEnd = false;
    while (true) {
        // A line longer than half the buffer doubles it, so a huge line is rescanned only a few times.
        if (filled > buffer.size() / 2)
            buffer.resize(buffer.size() * 2);
        qint64 wanted = static_cast<qint64>(buffer.size() - filled);
        if (m_remaining >= 0)
            wanted = std::min(wanted, m_remaining);
        const qint64 count = wanted > 0 ? m_device.read(buffer.data() + filled, wanted) : 0;
        if (count < 0)
            return fail(m_device.errorString());
        if (m_remaining >= 0)
            m_remaining -= count;
        atEnd = count == 0;
        filled += static_cast<size_t>(count);

        const char* const begin = buffer.data();
        const char* const end = begin + filled;
        const char* line = begin;
        if (!needsCarefulScan(begin, end)) {
            while (const char* newline = static_cast<const char*>(std::memchr(line, '\n', end - line))) {
                onLine(std::string_view(line, newline - line));
                line = newline + 1;
            }
        } else {
            const char* checked = begin;
            while (true) {
                const Terminator terminator = findTerminator(line, end, atEnd);
                if (!terminator.at)
                    break;
                // Each newline character ends a whole UTF-8 character, so the text up to it can be
                // checked on its own.
                if (!QByteArrayView(checked, terminator.end - checked).isValidUtf8())
                    return fail(QStringLiteral("the file is not valid UTF-8 text"));
                checked = terminator.end;
                onLine(std::string_view(line, terminator.at - line));
                line = terminator.end;
            }
        }
        if (atEnd) {
            if (!QByteArrayView(line, end - line).isValidUtf8())
                return fail(QStringLiteral("the file is not valid UTF-8 text"));
            if (m_remaining < 0 || line != end)
                onLine(std::string_view(line, end - line));
            return true;
        }
        filled = static_cast<size_t>(end - line);
        std::memmove(buffer.data(), line, filled);
    }
}
