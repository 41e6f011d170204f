#include "subprocess/Bootstrap.h"

#include "base/Clock.h"
#include "base/NumberText.h"
#include "base/ToolSearchPath.h"
#include "platform/Locations.h"
#include "platform/Platform.h"
#include "services/FileLogger.h"
#include "subprocess/ChildProcess.h"
#include "subprocess/LineBuffer.h"
#include "subprocess/PythonProcess.h"
#include "subprocess/WarmingTask.h"

#include <QFileInfo>
#include <QPointer>
#include <QProcess>
#include <QRegularExpression>
#include <QStringDecoder>
#include <QtDebug>

#include <algorithm>
#include <memory>
#include <type_traits>

using namespace Qt::StringLiterals;

namespace {

const QString tag = QString::fromLatin1(Bootstrap::logTag);

// Wraps a caller's callback so that it runs on the main thread once the current work is done, and not
// at all once `context` is gone. An answer thus never arrives inside the call that asked for it (a
// spawn can fail inside QProcess::start), so a caller may set its own state after asking.
template <typename... Args>
std::function<void(Args...)> deferred(QObject* context,
                                      std::type_identity_t<std::function<void(Args...)>> callback) {
    const QPointer<QObject> guard(context);
    auto shared = std::make_shared<std::function<void(Args...)>>(std::move(callback));
    return [guard, shared](Args... args) {
        if (!guard)
            return;
        QMetaObject::invokeMethod(
            guard.data(),
            [guard, shared, args...] {
                if (guard)
                    (*shared)(args...);
            },
            Qt::QueuedConnection);
    };
}

QString boolText(bool value) {
    return value ? u"true"_s : u"false"_s;
}

// Seconds with one decimal, as the log's timings read.
QString secondsSince(const QDateTime& start) {
    return QString::number(start.msecsTo(Time::clock().now()) / 1000.0, 'f', 1) + u's';
}

// A child's whole output as text; output that isn't UTF-8 counts as none at all.
QString decodeOutput(const QByteArray& bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString text = decoder.decode(bytes);
    return decoder.hasError() ? QString() : text;
}

// Console lines carry the "[norvane] " prefix through the program's message pattern.
void console(const QString& text) {
    qInfo().noquote() << text;
}

// curl -S writes "curl: (7) Failed to connect ..." and the like at the start of a line.
bool curlFailed(const QString& output) {
    static const QRegularExpression curlError(uR"(^curl: \(\d+\))"_s, QRegularExpression::MultilineOption);
    return curlError.match(output).hasMatch();
}

// What an installer step says on the console and in its output when it goes wrong.
struct StepTexts {
    QString spawnFailureConsole; // followed by the spawn error's description
    QString spawnFailureOutput;  // likewise
    QString exitFailureConsole;  // followed by the child's output
};

// Runs `process` to its end and hands `done` its outcome on the main thread, never once `context` is
// gone. The process cleans up after itself, so that it may outlive whoever started it.
void runToEnd(QProcess* process, QObject* context, const StepTexts& texts,
              std::function<void(const Bootstrap::ProcessResult&)> done) {
    const auto answer = deferred<const Bootstrap::ProcessResult&>(context, std::move(done));
    QObject::connect(process, &QProcess::errorOccurred, process,
                     [process, answer, texts](QProcess::ProcessError error) {
                         if (error != QProcess::FailedToStart)
                             return;
                         const QString description = process->errorString();
                         console(texts.spawnFailureConsole + description);
                         process->deleteLater();
                         answer({false, texts.spawnFailureOutput + description});
                     });
    QObject::connect(process, &QProcess::finished, process,
                     [process, answer, texts](int exitCode, QProcess::ExitStatus status) {
                         const QString output = decodeOutput(process->readAll());
                         process->deleteLater();
                         const bool success = status == QProcess::NormalExit && exitCode == 0;
                         if (!success)
                             console(texts.exitFailureConsole + output);
                         answer({success, output});
                     });
    process->start();
}

// The one warm-up of this moment; it deletes itself once it has ended and its child is gone.
QPointer<WarmingTask>& currentWarmingTask() {
    static QPointer<WarmingTask> task;
    return task;
}

} // namespace

const QString Bootstrap::initialProgressMessage = u"Checking setup..."_s;
const QString Bootstrap::uvMissingAfterInstallMessage =
    u"uv was installed but could not be found. Try restarting the app."_s;
const QString Bootstrap::noInternetMessage = u"No internet connection. Connect to a network and try again."_s;

QString Bootstrap::State::name() const {
    switch (kind) {
    case Kind::checking:
        return u"checking"_s;
    case Kind::installingUV:
        return u"installingUV"_s;
    case Kind::installingDeps:
        return u"installingDeps"_s;
    case Kind::ready:
        return u"ready"_s;
    case Kind::failed:
        break;
    }
    return u"failed"_s;
}

Bootstrap::Bootstrap(FileLogger& log, QObject* parent)
    : QObject(parent)
    , m_log(log)
    , m_progressMessage(initialProgressMessage) {}

Bootstrap::~Bootstrap() = default;

// --- The first-run install -----------------------------------------------------------------------

void Bootstrap::run() {
    const quint64 run = ++m_runCount;
    setState(State::checking());
    setDiagnosticDetail(std::nullopt);
    setProgressMessage(u"Checking for uv..."_s);
    m_log.info(tag, u"bootstrap starting"_s);

    if (findUV(m_log)) {
        installDeps(run);
        return;
    }
    const QDateTime started =
        beginStep(State::installingUV(), u"Downloading tools (1 of 2)..."_s, u"installing uv..."_s);
    installUV(stepEnd(run, started, u"uv install failed"_s, &classifyUVError, [this, run, started] {
        m_log.info(tag, u"uv installed ("_s + secondsSince(started) + u')');
        installDeps(run);
    }));
}

void Bootstrap::installDeps(quint64 run) {
    const std::optional<QString> uv = findUV(m_log);
    if (!uv) {
        m_log.error(tag, u"uv installed but not found on disk"_s);
        setState(State::failed(uvMissingAfterInstallMessage));
        emit runFinished();
        return;
    }
    const QDateTime started =
        beginStep(State::installingDeps(), u"Installing Python and dependencies (2 of 2)..."_s,
                  u"warming dependencies..."_s);
    warmDeps(*uv, stepEnd(run, started, u"deps install failed"_s, &classifyDepsError, [this, started] {
        m_log.info(tag, u"bootstrap complete ("_s + secondsSince(started) + u')');
        setState(State::ready());
        setProgressMessage(u"Ready"_s);
        emit runFinished();
    }));
}

QDateTime Bootstrap::beginStep(State state, const QString& progressMessage, const QString& logLine) {
    setState(std::move(state));
    setProgressMessage(progressMessage);
    m_log.info(tag, logLine);
    return Time::clock().now();
}

std::function<void(const Bootstrap::ProcessResult&)> Bootstrap::stepEnd(quint64 run, const QDateTime& started,
                                                                        const QString& what,
                                                                        QString (*classify)(const QString&),
                                                                        std::function<void()> next) {
    return [this, run, started, what, classify, next = std::move(next)](const ProcessResult& result) {
        if (run != m_runCount)
            return;
        if (result.success) {
            next();
            return;
        }
        const QString message = classify(result.output);
        m_log.error(tag, what + u" ("_s + secondsSince(started) + u"): "_s + message);
        setDiagnosticDetail(result.output);
        setState(State::failed(message));
        emit runFinished();
    };
}

void Bootstrap::installUV(std::function<void(const ProcessResult&)> done) {
    QProcess* process = newJoinedProcess(u"/bin/sh"_s, {u"-c"_s, installCommand(Platform::uvInstallerUrl())},
                                         QProcessEnvironment::systemEnvironment());
    runToEnd(process, this,
             {u"[bootstrap] failed to run uv installer: "_s, u"Failed to launch installer: "_s,
              u"[bootstrap] uv install failed: "_s},
             [done = std::move(done)](const ProcessResult& result) {
                 // The pipe's status is sh's, and sh exits 0 on the empty script of a failed download:
                 // curl's own error line (-S shows it) is what tells that the download failed.
                 if (result.success && curlFailed(result.output)) {
                     console(u"[bootstrap] uv install failed: "_s + result.output);
                     done({false, result.output});
                     return;
                 }
                 done(result);
             });
}

void Bootstrap::warmDeps(const QString& uvPath, std::function<void(const ProcessResult&)> done) {
    const bool withBrowser = chromiumInstalled();
    m_log.info(tag, u"warming deps (playwright="_s + boolText(withBrowser) + u')');
    QProcess* process = newJoinedProcess(uvPath, warmArguments(warmDependencyList(withBrowser)),
                                         dependencyRunEnvironment(QProcessEnvironment::systemEnvironment()));
    runToEnd(process, this,
             {u"[bootstrap] failed to run uv: "_s, u"Failed to launch uv: "_s,
              u"[bootstrap] deps install failed: "_s},
             std::move(done));
}

QString Bootstrap::classifyUVError(const QString& output) {
    if (output.contains(u"Could not resolve host"_s) || output.contains(u"Failed to connect"_s))
        return noInternetMessage;
    if (output.contains(u"permission denied"_s) || output.contains(u"Permission denied"_s))
        return u"Permission denied while installing tools. Try running the app as an administrator."_s;
    return u"Could not install uv package manager. See details below."_s;
}

QString Bootstrap::classifyDepsError(const QString& output) {
    if (output.contains(u"does not satisfy"_s) && output.contains(u"Python"_s))
        return u"Python version conflict. The app will download a compatible version — please retry."_s;
    if (output.contains(u"No solution found"_s))
        return u"Package dependency conflict. See details below."_s;
    if (output.contains(u"Could not resolve host"_s) || output.contains(u"Failed to connect"_s))
        return noInternetMessage;
    if (output.contains(u"SSL"_s) || output.contains(u"certificate"_s))
        return u"SSL/certificate error — a corporate proxy may be blocking downloads. See details below."_s;
    return u"Could not install Python dependencies. See details below."_s;
}

void Bootstrap::setState(State state) {
    if (m_state == state)
        return;
    m_state = std::move(state);
    emit stateChanged();
}

void Bootstrap::setProgressMessage(const QString& text) {
    if (m_progressMessage == text)
        return;
    m_progressMessage = text;
    emit progressMessageChanged();
}

void Bootstrap::setDiagnosticDetail(const std::optional<QString>& detail) {
    if (m_diagnosticDetail == detail)
        return;
    m_diagnosticDetail = detail;
    emit diagnosticDetailChanged();
}

// --- Installer command lines ---------------------------------------------------------------------

QString Bootstrap::installCommand(const QString& installerUrl) {
    return u"curl -LsSf "_s + installerUrl + u" | sh"_s;
}

QString Bootstrap::warmDependencyList(bool includePlaywright) {
    QString list = u"requests==2.33.1,boto3==1.42.84,aioquic==1.3.0,yt-dlp"_s;
    if (includePlaywright)
        list += u',' + PythonProcess::playwrightDependency;
    return list;
}

QStringList Bootstrap::warmArguments(const QString& dependencyList) {
    // Online on purpose: this run is what lets the later --offline runs find everything.
    return {u"run"_s,       u"--python"_s, u"3.12"_s, u"--with"_s,
            dependencyList, u"python"_s,   u"-c"_s,   u"print('deps ok')"_s};
}

QProcess* Bootstrap::newJoinedProcess(const QString& program, const QStringList& arguments,
                                      const QProcessEnvironment& environment) {
    auto* process = new QProcess;
    process->setProgram(program);
    process->setArguments(arguments);
    process->setProcessEnvironment(environment);
    process->setProcessChannelMode(QProcess::MergedChannels);
    process->setStandardInputFile(QProcess::nullDevice());
    ChildProcess::dieWithParent(*process);
    return process;
}

// --- The background warm-up ----------------------------------------------------------------------

void Bootstrap::warmCacheInBackground(FileLogger& log) {
    const std::optional<QString> uv = findUV(log);
    if (!uv)
        return;
    cancelWarmingTask();
    auto* task = new WarmingTask(*uv, chromiumInstalled(), log);
    currentWarmingTask() = task;
    task->start();
}

WarmingTask* Bootstrap::warmingTask() {
    return currentWarmingTask().data();
}

void Bootstrap::cancelWarmingTask() {
    if (WarmingTask* task = warmingTask())
        task->cancel();
}

void Bootstrap::afterWarmingTask(QObject* context, std::function<void()> then) {
    WarmingTask* task = warmingTask();
    if (!task || task->hasEnded()) {
        then();
        return;
    }
    QObject::connect(task, &WarmingTask::ended, context, std::move(then), Qt::SingleShotConnection);
}

// --- Where uv is ---------------------------------------------------------------------------------

QStringList Bootstrap::uvCandidates() {
    return Locations::uvCandidates();
}

std::optional<QString> Bootstrap::findUV(FileLogger& log) {
    const QStringList candidates = uvCandidates();
    for (const QString& candidate : candidates) {
        const QFileInfo info(candidate);
        if (info.isFile() && info.isExecutable()) {
            log.debug(tag, u"uv found at "_s + candidate);
            return candidate;
        }
    }
    log.warn(tag, u"uv not found in candidate paths"_s);
    return std::nullopt;
}

// --- The offline browser check -------------------------------------------------------------------

const QString Bootstrap::playwrightCheckProgram =
    u"from playwright.sync_api import sync_playwright; pw=sync_playwright().start(); "
    "b=pw.chromium.launch(headless=True); b.close(); pw.stop(); print('ok')"_s;

QStringList Bootstrap::playwrightCheckArguments() {
    // --offline is the point: the capture runs that way, so the check must too.
    return {u"run"_s,    u"--offline"_s, u"--python"_s,
            u"3.12"_s,   u"--with"_s,    PythonProcess::dependencyList(true),
            u"python"_s, u"-c"_s,        playwrightCheckProgram};
}

QProcessEnvironment Bootstrap::dependencyRunEnvironment(const QProcessEnvironment& base) {
    QProcessEnvironment environment = base;
    environment.insert(u"PYTHONUNBUFFERED"_s, u"1"_s);
    environment.insert(u"PATH"_s, ToolSearchPath::value(base));
    return environment;
}

void Bootstrap::verifyPlaywrightOffline(QObject* context, std::function<void(bool)> done, FileLogger& log) {
    const auto answer = deferred<bool>(context, std::move(done));
    if (!chromiumInstalled()) {
        answer(false);
        return;
    }
    const std::optional<QString> uv = findUV(log);
    if (!uv) {
        answer(false);
        return;
    }

    // No parent: the check may outlive whoever asked, and a QProcess must not die before its child.
    QProcess* process = newJoinedProcess(*uv, playwrightCheckArguments(),
                                         dependencyRunEnvironment(QProcessEnvironment::systemEnvironment()));

    // Whichever comes first of the time-out, a failed spawn and the child's end decides; the others
    // find the run resolved and only clean up.
    struct Run {
        bool resolved = false;
        Timer timeout;
    };
    auto run = std::make_shared<Run>();

    run->timeout =
        Time::scheduler().singleShot(playwrightCheckTimeoutSeconds, process, [run, process, answer, &log] {
            if (run->resolved)
                return;
            run->resolved = true;
            log.warn(tag, u"playwright offline verification timed out"_s);
            process->terminate();
            answer(false);
        });

    QObject::connect(process, &QProcess::errorOccurred, process,
                     [run, process, answer, &log](QProcess::ProcessError error) {
                         if (error != QProcess::FailedToStart)
                             return;
                         if (!run->resolved) {
                             run->resolved = true;
                             log.warn(tag, u"playwright offline verification failed to launch: "_s +
                                               process->errorString());
                             answer(false);
                         }
                         run->timeout.cancel();
                         process->deleteLater();
                     });

    QObject::connect(process, &QProcess::finished, process,
                     [run, process, answer, &log](int exitCode, QProcess::ExitStatus status) {
                         const QString output = QString::fromUtf8(process->readAll());
                         process->deleteLater();
                         if (run->resolved)
                             return;
                         run->resolved = true;
                         run->timeout.cancel();
                         if (status == QProcess::NormalExit && exitCode == 0) {
                             log.info(tag, u"playwright offline verification passed"_s);
                             answer(true);
                         } else {
                             log.warn(tag, u"playwright offline verification failed: "_s + output.left(200));
                             answer(false);
                         }
                     });

    process->start();
}

// --- The browser download ------------------------------------------------------------------------

QStringList Bootstrap::chromiumInstallArguments() {
    return {u"run"_s,    u"--python"_s, u"3.12"_s,       u"--with"_s,  PythonProcess::playwrightDependency,
            u"python"_s, u"-m"_s,       u"playwright"_s, u"install"_s, u"chromium"_s};
}

QProcessEnvironment Bootstrap::chromiumInstallEnvironment(const QProcessEnvironment& base) {
    QProcessEnvironment environment = base;
    environment.insert(u"PATH"_s, ToolSearchPath::value(base));
    return environment;
}

void Bootstrap::installChromium(QObject* context, std::function<void(const QString&)> onProgress,
                                std::function<void(const ChromiumInstallOutcome&)> onFinished,
                                FileLogger& log) {
    const auto finish = deferred<const ChromiumInstallOutcome&>(context, std::move(onFinished));
    const auto progress = deferred<const QString&>(context, std::move(onProgress));

    const std::optional<QString> uv = findUV(log);
    if (!uv) {
        finish({ChromiumInstallOutcome::Kind::uvNotFound, {}, 0, {}});
        return;
    }

    auto* process = new QProcess;
    process->setProgram(*uv);
    process->setArguments(chromiumInstallArguments());
    process->setProcessEnvironment(chromiumInstallEnvironment(QProcessEnvironment::systemEnvironment()));
    process->setProcessChannelMode(QProcess::SeparateChannels);
    process->setStandardInputFile(QProcess::nullDevice());
    ChildProcess::dieWithParent(*process);

    struct Run {
        LineBuffer lines;
        ChromiumInstallProgress progress;
        bool ended = false;
    };
    auto run = std::make_shared<Run>();

    auto readOutput = [run, process, progress] {
        const QStringList lines = run->lines.append(process->readAllStandardOutput());
        for (const QString& line : lines) {
            if (const std::optional<QString> text = run->progress.feed(line))
                progress(*text);
        }
    };

    QObject::connect(process, &QProcess::readyReadStandardOutput, process, [run, readOutput] {
        if (!run->ended)
            readOutput();
    });

    QObject::connect(process, &QProcess::errorOccurred, process,
                     [run, process, finish](QProcess::ProcessError error) {
                         if (error != QProcess::FailedToStart || run->ended)
                             return;
                         run->ended = true;
                         finish({ChromiumInstallOutcome::Kind::launchFailed, process->errorString(), 0, {}});
                         process->deleteLater();
                     });

    QObject::connect(process, &QProcess::finished, process,
                     [run, process, finish, readOutput](int exitCode, QProcess::ExitStatus) {
                         if (run->ended)
                             return;
                         // What the child wrote just before it ended still counts; nothing after.
                         readOutput();
                         run->ended = true;
                         const QString standardError =
                             QString::fromUtf8(process->readAllStandardError()).trimmed();
                         process->deleteLater();
                         finish({ChromiumInstallOutcome::Kind::exited, {}, exitCode, standardError});
                     });

    process->start();
}

// --- Progress lines --------------------------------------------------------------------------------

std::optional<QString> ChromiumInstallProgress::feed(const QString& line) {
    if (line.startsWith(u"Downloading "_s))
        ++m_counter;
    // Unicode digits and blanks count, as they do in the installer's own regular expressions.
    static const QRegularExpression percentOf(uR"((\d+)%\s+of\s+([\d.]+ MiB))"_s,
                                              QRegularExpression::UseUnicodePropertiesOption);
    const QRegularExpressionMatch match = percentOf.match(line);
    if (!match.hasMatch())
        return std::nullopt;
    const QString digits = match.captured(1);
    const qint64 pct = NumberText::leadingNumber(match.capturedView(0)).value_or(0);
    const int current = std::max(m_counter, 1);
    const QString label = u"("_s + QString::number(current) + u'/' + QString::number(downloadCount) + u')';
    return label + u' ' + message(m_counter, current, pct) + u' ' + digits + u'%';
}

QString ChromiumInstallProgress::message(int counter, int current, qint64 pct) {
    if (current == downloadCount && pct >= 80)
        return u"Almost there…"_s;
    if (counter >= 2) {
        if (pct >= 60)
            return u"You'll see real video quality, not just speed tests…"_s;
        if (pct < 30)
            return u"YouTube Stats for Nerds, captured automatically…"_s;
        return u"Soon you'll know if this network can handle 4K…"_s;
    }
    if (pct >= 60)
        return u"A lightweight browser plays a YouTube clip…"_s;
    if (pct < 30)
        return u"Downloading video test components…"_s;
    return u"No login needed — we measure what viewers see…"_s;
}
