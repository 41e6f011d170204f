#include "subprocess/LineBuffer.h"

#include <QStringDecoder>

QStringList LineBuffer::append(QByteArrayView bytes) {
    QStringList lines;
    if (bytes.isEmpty())
        return lines;
    m_buffer.append(bytes);

    qsizetype start = 0;
    qsizetype searchFrom = m_scanned;
    for (;;) {
        const qsizetype feed = m_buffer.indexOf('\n', searchFrom);
        if (feed < 0)
            break;
        const QByteArrayView line(m_buffer.constData() + start, feed - start);
        if (!line.isEmpty()) {
            if (std::optional<QString> text = decodeUtf8(line))
                lines.append(std::move(*text));
        }
        start = feed + 1;
        searchFrom = start;
    }
    // Removing from the front of a QByteArray moves its start pointer instead of the bytes.
    if (start > 0)
        m_buffer.remove(0, start);
    m_scanned = m_buffer.size();
    return lines;
}

std::optional<QString> LineBuffer::decodeUtf8(QByteArrayView bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8,
                           QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
    QString text = decoder.decode(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}
