#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringList>

#include <optional>

// Cuts a child's output into lines. Only a line feed ends a line; a carriage return stays in the text.
// A line that is empty or not valid UTF-8 is dropped without a word, and there is no limit on the
// length of a line: the bytes of an unfinished one wait here for the rest.
class LineBuffer {
public:
    // Adds a block of bytes and gives back every line that it completes, in order.
    QStringList append(QByteArrayView bytes);

    // Bytes of an unfinished line held back so far.
    qsizetype pendingSize() const { return m_buffer.size(); }

    // The text of a block of bytes, or nothing when it is not valid UTF-8 (overlong forms, surrogates
    // and cut-off sequences included). A leading byte order mark is kept as a character.
    static std::optional<QString> decodeUtf8(QByteArrayView bytes);

private:
    QByteArray m_buffer;
    // How much of the front of m_buffer is known to hold no line feed, so that a long line that comes
    // in many blocks is scanned once, not once per block.
    qsizetype m_scanned = 0;
};
