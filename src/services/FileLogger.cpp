#include "services/FileLogger.h"

#include "platform/Locations.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>

#include <pthread.h>

using namespace Qt::StringLiterals;

FileLogger& FileLogger::shared() {
    static FileLogger logger(Locations::logDir());
    return logger;
}

FileLogger::FileLogger(const QString& logDir)
    : m_logDir(logDir)
    , m_logPath(logDir + u'/' + Locations::logFileName()) {
    QDir().mkpath(m_logDir);
    if (!QFileInfo::exists(m_logPath)) {
        QFile create(m_logPath);
        create.open(QIODevice::WriteOnly);
    }
    openLogFile();
    m_worker = std::thread([this] { run(); });
}

FileLogger::~FileLogger() {
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    m_worker.join();
}

void FileLogger::openLogFile() {
    // Unbuffered, so that each line reaches the file as it is written and a crash loses none of them.
    auto file = std::make_unique<QFile>(m_logPath);
    if (file->open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered))
        m_file = std::move(file);
    else
        m_file.reset();
}

void FileLogger::write(const QString& level, const QString& category, const QString& message) {
    {
        std::lock_guard lock(m_mutex);
        m_queue.push_back({level, category, message});
    }
    m_wake.notify_one();
}

void FileLogger::waitForIdle() {
    std::unique_lock lock(m_mutex);
    m_idle.wait(lock, [this] { return m_queue.empty() && !m_busy; });
}

void FileLogger::run() {
    pthread_setname_np(pthread_self(), "file-logger");
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_stopping || !m_queue.empty(); });
        // Lines enqueued before shutdown are still written: the tail of the log matters most.
        if (m_queue.empty() && m_stopping)
            return;
        Entry entry = std::move(m_queue.front());
        m_queue.pop_front();
        m_busy = true;
        lock.unlock();
        writeEntry(entry);
        lock.lock();
        m_busy = false;
        if (m_queue.empty())
            m_idle.notify_all();
    }
}

void FileLogger::writeEntry(const Entry& entry) {
    rotateIfNeeded();
    // Only the worker formats, so one formatter and locale serve every line.
    static const QLocale posix = QLocale::c();
    const QString timestamp = posix.toString(QDateTime::currentDateTime(), u"yyyy-MM-dd'T'HH:mm:ss"_s);
    const QString line =
        timestamp + u' ' + entry.level + u" ["_s + entry.category + u"] "_s + entry.message + u'\n';
    if (m_file)
        m_file->write(line.toUtf8());
}

void FileLogger::rotateIfNeeded() {
    const QFileInfo info(m_logPath);
    if (!info.exists())
        return;
    if (info.size() < maxBytes)
        return;
    m_file.reset();
    for (int i = maxBackups; i >= 1; --i) {
        const QString target = m_logPath + u'.' + QString::number(i);
        const QString source = i == 1 ? m_logPath : m_logPath + u'.' + QString::number(i - 1);
        if (i == maxBackups)
            QFile::remove(target);
        if (QFileInfo::exists(source))
            QFile::rename(source, target);
    }
    QFile create(m_logPath);
    create.open(QIODevice::WriteOnly);
    create.close();
    openLogFile();
}
