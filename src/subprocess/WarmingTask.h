#pragma once

#include "base/Clock.h"

#include <QObject>
#include <QString>

#include <optional>

class FileLogger;
class QProcess;

// One background refill of uv's package cache. It runs on its own, looks every half second whether it
// was cancelled, and then sends the child SIGTERM and ends without waiting for it. It deletes itself
// once it has ended and its child is gone.
class WarmingTask : public QObject {
    Q_OBJECT

public:
    // The run of `uvPath` that fills the cache, the browser package included when `includePlaywright`.
    WarmingTask(const QString& uvPath, bool includePlaywright, FileLogger& log);
    ~WarmingTask() override;

    // Spawns the child; a spawn that fails ends the task before this returns.
    void start();
    // Asks the task to stop; it does so at its next look, within half a second.
    void cancel();
    bool isCancelled() const { return m_cancelled; }
    bool hasEnded() const { return m_ended; }
    // The child's process id while it is running.
    std::optional<qint64> processId() const;

signals:
    // The task is over: the child ended, failed to start, or was sent SIGTERM on a cancel.
    void ended();

private:
    void poll();
    void childFinished(int exitCode, bool normalExit);
    void end();

    FileLogger& m_log;
    bool m_includePlaywright = false;
    QProcess* m_process = nullptr;
    Timer m_poll;
    bool m_cancelled = false;
    bool m_ended = false;
};
