#pragma once

#include <QFile>
#include <QString>

#include <unistd.h>

// A second name for a file, made before a write: if the write replaced the file, the second name still
// holds the old bytes; if it rewrote the file where it stands, the second name sees the new ones.
class PinnedFile {
public:
    explicit PinnedFile(const QString& path)
        : m_pin(path + QStringLiteral(".pinned")) {
        m_pinned = ::link(QFile::encodeName(path).constData(), QFile::encodeName(m_pin).constData()) == 0;
    }
    ~PinnedFile() { QFile::remove(m_pin); }
    PinnedFile(const PinnedFile&) = delete;
    PinnedFile& operator=(const PinnedFile&) = delete;

    bool pinned() const { return m_pinned; }
    QByteArray bytes() const {
        QFile file(m_pin);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private:
    QString m_pin;
    bool m_pinned = false;
};
