#include "subprocess/UploadRunner.h"

#include "base/ToolSearchPath.h"
#include "platform/Locations.h"
#include "subprocess/Bootstrap.h"
#include "subprocess/ChildProcess.h"
#include "subprocess/LineBuffer.h"
#include "subprocess/PythonProcess.h"

#include <QProcess>

using namespace Qt::StringLiterals;

const QString UploadRunner::uploadDependencies = u"requests==2.33.1,boto3==1.42.84"_s;

namespace {
const QString tag = QString::fromLatin1(UploadRunner::logTag);
}

UploadRunner::UploadRunner(FileLogger& log, QObject* parent)
    : QObject(parent)
    , m_log(log)
    , m_lineBuffer(std::make_unique<LineBuffer>()) {}

UploadRunner::~UploadRunner() {
    m_onEvent = {};
    m_onCompleted = {};
    if (isChildRunning())
        m_process->terminate();
    cleanup();
}

bool UploadRunner::isChildRunning() const {
    return m_process && m_process->state() != QProcess::NotRunning;
}

std::optional<qint64> UploadRunner::processId() const {
    if (!m_process || m_process->processId() <= 0)
        return std::nullopt;
    return m_process->processId();
}

QStringList UploadRunner::buildArguments(const QString& sourceRoot, const QString& capturesDir) {
    // No privacy option: it was applied when the capture was written.
    return {u"run"_s,           u"--offline"_s,   u"--python"_s, u"3.12"_s,  u"--with"_s,
            uploadDependencies, u"--directory"_s, sourceRoot,    u"-m"_s,    u"norvane.manage"_s,
            u"upload"_s,        u"--json"_s,      u"--dir"_s,    capturesDir};
}

QProcessEnvironment UploadRunner::buildEnvironment(const QProcessEnvironment& base) {
    // Unlike a capture, an upload needs no Wi-Fi helper, so WIFI_INFO_PATH is not added.
    QProcessEnvironment environment = base;
    environment.insert(u"PYTHONUNBUFFERED"_s, u"1"_s);
    environment.insert(u"PATH"_s, ToolSearchPath::value(base));
    environment.insert(u"NORVANE_LOG_DIR"_s, Locations::logDir());
    return environment;
}

void UploadRunner::run(const QString& capturesDir) {
    if (m_process)
        return;
    const std::optional<QString> uv = Bootstrap::findUV(m_log);
    if (!uv) {
        m_log.warn(tag, u"UploadRunner: uv not found, skipping pending upload check"_s);
        complete(1);
        return;
    }

    auto* process = new QProcess(this);
    m_process = process;
    process->setProgram(*uv);
    process->setArguments(buildArguments(PythonProcess::pythonSourceRoot(), capturesDir));
    process->setProcessEnvironment(buildEnvironment(QProcessEnvironment::systemEnvironment()));
    process->setStandardInputFile(QProcess::nullDevice());
    ChildProcess::dieWithParent(*process);

    connect(process, &QProcess::readyReadStandardOutput, this, [this, process] {
        if (process == m_process)
            handleStandardOutput(process->readAllStandardOutput());
    });
    connect(process, &QProcess::readyReadStandardError, this, [this, process] {
        if (process == m_process)
            handleStandardError(process->readAllStandardError());
    });
    connect(process, &QProcess::finished, this, [this, process](int exitCode, QProcess::ExitStatus) {
        // On a signal QProcess reports the signal's number as the exit code.
        if (process == m_process)
            handleTermination(exitCode);
    });

    process->start(QIODevice::ReadOnly);
    // Waits for the exec only, never for the tool.
    if (!process->waitForStarted()) {
        m_log.error(tag, u"upload runner failed to start: "_s + process->errorString());
        cleanup();
        complete(1);
        return;
    }
    m_log.info(tag, u"upload runner launched pid=%1 dir=%2"_s.arg(process->processId()).arg(capturesDir));
}

void UploadRunner::cancel() {
    m_onEvent = {};
    m_onCompleted = {};
    if (isChildRunning()) {
        m_log.info(tag, u"upload runner cancelled"_s);
        m_process->terminate();
    }
    cleanup();
}

void UploadRunner::cleanup() {
    QProcess* process = m_process.data();
    m_process.clear();
    if (process)
        process->disconnect(this);
    ChildProcess::release(process);
    m_lineBuffer = std::make_unique<LineBuffer>();
}

void UploadRunner::handleStandardOutput(QByteArrayView block) {
    if (block.isEmpty())
        return;
    const QStringList lines = m_lineBuffer->append(block);
    // A callback may cancel us; what is left of the block then belongs to nobody.
    const QPointer<UploadRunner> self(this);
    for (const QString& line : lines) {
        if (!self || !m_onEvent)
            return;
        processLine(line);
    }
}

void UploadRunner::handleStandardError(QByteArrayView block) {
    if (block.isEmpty())
        return;
    const std::optional<QString> decoded = LineBuffer::decodeUtf8(block);
    if (!decoded)
        return;
    m_log.debug(tag, u"upload stderr: "_s + ChildProcess::trimLineBreaks(*decoded));
}

void UploadRunner::processLine(const QString& line) {
    // The upload tool's bad lines are dropped without a trace.
    const std::optional<JSONEvent> event = JSONEvent::decode(line.toUtf8());
    if (event && m_onEvent) {
        const auto callback = m_onEvent; // the callback may cancel us
        callback(*event);
    }
}

void UploadRunner::handleTermination(int exitCode) {
    m_log.info(tag, u"upload runner terminated exit="_s + QString::number(exitCode));
    cleanup();
    complete(exitCode);
}

void UploadRunner::complete(int exitCode) {
    // Once only, and the callback may delete us (later) or cancel us.
    const auto callback = std::exchange(m_onCompleted, {});
    m_onEvent = {};
    if (callback)
        callback(exitCode);
}
