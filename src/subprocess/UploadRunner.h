#pragma once

#include "services/FileLogger.h"
#include "subprocess/JSONEvent.h"

#include <QObject>
#include <QPointer>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

class LineBuffer;
class QProcess;

// One run of the upload tool: starts it through uv, turns its standard output into events and reports
// its exit once. A runner runs once; the sweep makes a new one for every run.
//
// Main thread only: QProcess delivers the child's output and its end there. The runner may be
// deleted (with deleteLater) from inside its own callbacks.
class UploadRunner : public QObject {
    Q_OBJECT

public:
    static constexpr const char* logTag = "UploadRunner";
    static const QString uploadDependencies;

    explicit UploadRunner(FileLogger& log = FileLogger::shared(), QObject* parent = nullptr);
    // A child still running gets SIGTERM and is reaped after we are gone.
    ~UploadRunner() override;

    void setOnEvent(std::function<void(const JSONEvent&)> callback) { m_onEvent = std::move(callback); }
    void setOnCompleted(std::function<void(int)> callback) { m_onCompleted = std::move(callback); }

    // Starts the tool on the captures folder and returns at once; does nothing while a child is held.
    // A missing uv or a failed spawn reports exit 1 before it returns.
    void run(const QString& capturesDir);
    // Nothing is reported after this; a running child gets SIGTERM.
    void cancel();

    bool hasProcess() const { return !m_process.isNull(); }
    bool isChildRunning() const;
    std::optional<qint64> processId() const;

    static QStringList buildArguments(const QString& sourceRoot, const QString& capturesDir);
    // `base` with the variables of an upload set or replaced.
    static QProcessEnvironment buildEnvironment(const QProcessEnvironment& base);

    // The work of the readers and of the termination notice; public so that a test can play output
    // without a child.
    void handleStandardOutput(QByteArrayView block);
    void handleStandardError(QByteArrayView block);
    void processLine(const QString& line);
    void handleTermination(int exitCode);

private:
    void cleanup();
    void complete(int exitCode);

    FileLogger& m_log;
    QPointer<QProcess> m_process;
    std::unique_ptr<LineBuffer> m_lineBuffer;
    std::function<void(const JSONEvent&)> m_onEvent;
    std::function<void(int)> m_onCompleted;
};
