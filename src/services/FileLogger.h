#pragma once

#include <QString>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

class QFile;

// The program's own text log: "{timestamp} {level} [{tag}] {message}" lines in one file with four
// numbered predecessors. write() only enqueues; one worker thread, the log's serial queue, does all
// file work, so the lines of any thread come out whole and in call order.
class FileLogger {
public:
    static constexpr qint64 maxBytes = 1'000'000;
    static constexpr int maxBackups = 4;
    static constexpr const char* queueLabel = "com.norvane.file-logger";

    // The process-wide logger, writing to the user's log folder; made on first use.
    static FileLogger& shared();

    explicit FileLogger(const QString& logDir);
    ~FileLogger();
    FileLogger(const FileLogger&) = delete;
    FileLogger& operator=(const FileLogger&) = delete;

    QString logDir() const { return m_logDir; }
    QString logPath() const { return m_logPath; }

    // `level` is one of the five-character forms "INFO ", "WARN ", "ERROR", "DEBUG".
    void write(const QString& level, const QString& category, const QString& message);
    void info(const QString& category, const QString& message) {
        write(QStringLiteral("INFO "), category, message);
    }
    void warn(const QString& category, const QString& message) {
        write(QStringLiteral("WARN "), category, message);
    }
    void error(const QString& category, const QString& message) {
        write(QStringLiteral("ERROR"), category, message);
    }
    void debug(const QString& category, const QString& message) {
        write(QStringLiteral("DEBUG"), category, message);
    }

    // Blocks until every line enqueued before the call is on disk. For tests and orderly shutdown.
    void waitForIdle();

private:
    struct Entry {
        QString level;
        QString category;
        QString message;
    };

    void run();
    void writeEntry(const Entry& entry);
    void rotateIfNeeded();
    void openLogFile();

    const QString m_logDir;
    const QString m_logPath;
    std::unique_ptr<QFile> m_file; // touched on the worker thread only, after construction

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_idle;
    std::deque<Entry> m_queue;
    bool m_busy = false;
    bool m_stopping = false;
    std::thread m_worker;
};
