#include "subprocess/WarmingTask.h"

#include "services/FileLogger.h"
#include "subprocess/Bootstrap.h"

#include <QProcess>

using namespace Qt::StringLiterals;

namespace {
const QString tag = QString::fromLatin1(Bootstrap::logTag);
}

WarmingTask::WarmingTask(const QString& uvPath, bool includePlaywright, FileLogger& log)
    : m_log(log)
    , m_includePlaywright(includePlaywright)
    , m_process(Bootstrap::newJoinedProcess(
          uvPath, Bootstrap::warmArguments(Bootstrap::warmDependencyList(includePlaywright)),
          Bootstrap::dependencyRunEnvironment(QProcessEnvironment::systemEnvironment()))) {
    m_process->setParent(this);
    connect(m_process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error != QProcess::FailedToStart || m_ended)
            return;
        m_log.warn(tag, u"dep warming failed to launch: "_s + m_process->errorString());
        end();
        deleteLater();
    });
    connect(m_process, &QProcess::finished, this, [this](int exitCode, QProcess::ExitStatus status) {
        childFinished(exitCode, status == QProcess::NormalExit);
    });
}

WarmingTask::~WarmingTask() = default;

void WarmingTask::start() {
    m_log.info(tag,
               u"dep warming started (playwright="_s + (m_includePlaywright ? u"true"_s : u"false"_s) + u')');
    m_process->start();
    if (!m_ended)
        m_poll = Time::scheduler().repeating(Bootstrap::warmingPollSeconds, this, [this] { poll(); });
}

void WarmingTask::cancel() {
    m_cancelled = true;
}

std::optional<qint64> WarmingTask::processId() const {
    if (m_process->state() == QProcess::NotRunning)
        return std::nullopt;
    return m_process->processId();
}

void WarmingTask::poll() {
    if (!m_cancelled || m_ended)
        return;
    m_log.info(tag, u"dep warming cancelled, terminating subprocess"_s);
    m_process->terminate();
    end();
}

void WarmingTask::childFinished(int exitCode, bool normalExit) {
    if (!m_ended) {
        if (normalExit && exitCode == 0) {
            m_log.info(tag, u"dep warming succeeded"_s);
        } else {
            const QString output = QString::fromUtf8(m_process->readAll());
            m_log.warn(tag, u"dep warming failed (exit "_s + QString::number(exitCode) + u"): "_s +
                                output.left(200));
        }
        end();
    }
    // The child is gone and the task has ended: nothing is left to do.
    deleteLater();
}

void WarmingTask::end() {
    m_ended = true;
    m_poll.cancel();
    emit ended();
}
