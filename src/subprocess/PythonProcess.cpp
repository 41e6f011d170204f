#include "subprocess/PythonProcess.h"

#include "base/ToolSearchPath.h"
#include "platform/Locations.h"
#include "platform/Platform.h"
#include "subprocess/Bootstrap.h"
#include "subprocess/BundleResource.h"
#include "subprocess/CaptureFolder.h"
#include "subprocess/ChildProcess.h"
#include "subprocess/LineBuffer.h"
#include "subprocess/StdinCommand.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QtDebug>

#include <signal.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

const QString PythonProcess::captureDependencies = u"requests==2.33.1,aioquic==1.3.0,yt-dlp"_s;
const QString PythonProcess::playwrightDependency = u"playwright==1.55.0"_s;
const QString PythonProcess::notRespondingMessage =
    u"The capture tool started but is not responding. This may indicate a Python configuration issue — "
    u"try reinstalling the app."_s;
const QString PythonProcess::stopTimedOutMessage =
    u"Test timed out after stop. Partial results may be available."_s;

namespace {

const QString tag = QString::fromLatin1(PythonProcess::logTag);
const QString stderrTag = QString::fromLatin1(PythonProcess::stderrLogTag);

QString boolText(bool value) {
    return value ? u"true"_s : u"false"_s;
}

bool isLineBreak(QChar c) {
    const char16_t u = c.unicode();
    return (u >= 0x0A && u <= 0x0D) || u == 0x85 || u == 0x2028 || u == 0x2029;
}

QStringList splitAtLineBreaks(const QString& text) {
    QStringList lines;
    qsizetype start = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (isLineBreak(text.at(i))) {
            lines.append(text.mid(start, i - start));
            start = i + 1;
        }
    }
    lines.append(text.mid(start));
    return lines;
}

// Where the application keeps the files that ship with it: on Linux the installed data folder, so that
// the tool's sources never have to sit among the programs in bin/.
QString applicationResourceDir() {
#ifdef Q_OS_MACOS
    return QDir::cleanPath(QCoreApplication::applicationDirPath() + u"/../Resources"_s);
#else
    return BundleResource::installedFolder();
#endif
}

bool isExecutableFile(const QString& path) {
    const QFileInfo info(path);
    return info.isFile() && info.isExecutable();
}

// Console lines carry the "[norvane] " prefix through the program's message pattern.
void console(const QString& text) {
    qInfo().noquote() << text;
}

} // namespace

QString PythonProcess::State::description() const {
    switch (kind) {
    case Kind::idle:
        return u"idle"_s;
    case Kind::starting:
        return u"starting"_s;
    case Kind::running:
        return u"running"_s;
    case Kind::finishing:
        return u"finishing..."_s;
    case Kind::completed:
        return u"completed"_s;
    case Kind::failed:
        break;
    }
    return u"failed: "_s + message;
}

PythonProcess::PythonProcess(FileLogger& log, QObject* parent)
    : QObject(parent)
    , m_log(log)
    , m_stdoutLineBuffer(std::make_shared<LineBuffer>()) {}

PythonProcess::~PythonProcess() {
    // Only reached with a live child when the owner goes without a reset: give up on the child, as
    // reset would, and let it be reaped after we are gone.
    if (isChildRunning())
        m_process->terminate();
    removeReaders();
    releaseChild();
}

std::optional<qint64> PythonProcess::processId() const {
    if (!m_process || m_process->processId() <= 0)
        return std::nullopt;
    return m_process->processId();
}

bool PythonProcess::isChildRunning() const {
    return m_process && m_process->state() == QProcess::Running;
}

void PythonProcess::setState(State state) {
    if (m_state == state)
        return;
    m_state = std::move(state);
    emit stateChanged();
}

void PythonProcess::setPlaywrightUnavailable(bool value) {
    if (m_playwrightUnavailable == value)
        return;
    m_playwrightUnavailable = value;
    emit playwrightUnavailableChanged();
}

// --- Locations ------------------------------------------------------------------------------------

QString PythonProcess::outputDirectory() {
    return CaptureFolder::outputDirectory();
}

QString PythonProcess::ensureOutputDirectory() {
    return CaptureFolder::ensureOutputDirectory();
}

QString PythonProcess::pythonSourceRoot() {
    const QString bundled = applicationResourceDir() + u"/PythonSources"_s;
    if (QFileInfo::exists(bundled + u"/norvane/__init__.py"_s))
        return bundled;
    if (qEnvironmentVariableIsSet("NORVANE_REPO_ROOT"))
        return qEnvironmentVariable("NORVANE_REPO_ROOT") + u"/src"_s;
    const QString program = QCoreApplication::arguments().value(0);
    return QDir::cleanPath(QFileInfo(program).absolutePath() + u"/../../.."_s) + u"/src"_s;
}

std::optional<QString> PythonProcess::findUV(FileLogger& log) {
    for (const QString& candidate : Locations::uvCandidates()) {
        if (isExecutableFile(candidate)) {
            log.debug(tag, u"uv found at "_s + candidate);
            return candidate;
        }
    }
    log.warn(tag, u"uv not found in any candidate path"_s);
    return std::nullopt;
}

std::optional<QString> PythonProcess::bundledWifiInfoPath() {
    const QString path = applicationResourceDir() + u"/wifi_info"_s;
    if (isExecutableFile(path))
        return path;
    return std::nullopt;
}

bool chromiumInstalled() {
    const QDir cache(Locations::playwrightCacheDir());
    const QStringList entries =
        cache.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QString& entry : entries) {
        if (entry.startsWith(u"chromium-"_s))
            return true;
    }
    return false;
}

// --- Command line and environment -----------------------------------------------------------------

QString PythonProcess::dependencyList(bool includePlaywright) {
    // yt-dlp is left unpinned on purpose: it has to follow the video sites' changes.
    return includePlaywright ? captureDependencies + u',' + playwrightDependency : captureDependencies;
}

QStringList PythonProcess::buildArguments(const CaptureConfig& config, bool includePlaywright,
                                          const QString& csvPath, const QString& sourceRoot,
                                          const QString& clientId) {
    QStringList arguments{u"run"_s,         u"--offline"_s, u"--python"_s,
                          u"3.12"_s,        u"--with"_s,    dependencyList(includePlaywright),
                          u"--directory"_s, sourceRoot,     u"-m"_s,
                          u"norvane.cli"_s, u"--json"_s,    u"-o"_s,
                          csvPath};
    if (config.location && !config.location->isEmpty())
        arguments << u"--location"_s << *config.location;
    if (config.network && !config.network->isEmpty())
        arguments << u"--network"_s << *config.network;
    if (config.durationString)
        arguments << u"--duration"_s << *config.durationString;
    if (config.privacy != UploadPrivacy::include)
        arguments << u"--privacy"_s << rawValue(config.privacy);
    if (config.profile == CaptureProfile::passive)
        arguments << u"--profile"_s << u"passive"_s;
    arguments << u"--client"_s << clientId;
    return arguments;
}

QProcessEnvironment PythonProcess::buildEnvironment(const QProcessEnvironment& base) {
    QProcessEnvironment environment = base;
    environment.insert(u"PYTHONUNBUFFERED"_s, u"1"_s);
    environment.insert(u"PATH"_s, ToolSearchPath::value(base));
    if (const std::optional<QString> wifiInfo = bundledWifiInfoPath())
        environment.insert(u"WIFI_INFO_PATH"_s, *wifiInfo);
    else
        environment.remove(u"WIFI_INFO_PATH"_s);
    environment.insert(u"NORVANE_LOG_DIR"_s, Locations::logDir());
    return environment;
}

QString PythonProcess::csvPath(const QString& outputDirectory, const QDateTime& now) {
    return outputDirectory + u"/wifi_capture_"_s + now.toUTC().toString(u"yyyyMMdd'T'HHmmss'Z'"_s) +
           u".csv"_s;
}

// --- Launch, stop, reset --------------------------------------------------------------------------

void PythonProcess::launch(const CaptureConfig& config, bool includePlaywright) {
    if (m_state.kind != State::Kind::idle)
        return;
    // The warm-up and the capture must not fight over uv's cache.
    Bootstrap::cancelWarmingTask();
    m_log.info(tag, u"launching subprocess (playwright="_s + boolText(includePlaywright) + u')');

    if (includePlaywright)
        m_pendingRetryConfig = config;
    else
        m_pendingRetryConfig.reset();

    // stderrLines, stderrOutput and latestEvent carry over: a retry is judged on both runs.
    m_receivedComplete = false;
    m_endedBySupervisor = false;
    if (!m_rawLines.isEmpty()) {
        m_rawLines.clear();
        emit rawLinesChanged();
    }
    m_stdoutLineBuffer = std::make_shared<LineBuffer>();
    m_pendingLines.clear();
    setState(State::starting());

    removeReaders();
    releaseChild();
    const quint64 run = ++m_launchCount;
    auto* process = new QProcess(this);
    m_process = process;

    const QString output = csvPath(ensureOutputDirectory(), Time::clock().now());
    const QStringList arguments =
        buildArguments(config, includePlaywright, output, pythonSourceRoot(), Platform::clientId());

    const std::optional<QString> uv = findUV(m_log);
    if (!uv) {
        m_log.error(tag, u"uv not found, cannot start capture"_s);
        setState(
            State::failed(u"uv not found. Run: curl -LsSf "_s + Platform::uvInstallerUrl() + u" | sh"_s));
        return;
    }
    m_log.info(tag, u"starting subprocess uv="_s + *uv + u" output="_s + output);

    process->setProgram(*uv);
    process->setArguments(arguments);
    process->setProcessEnvironment(buildEnvironment(QProcessEnvironment::systemEnvironment()));
    ChildProcess::dieWithParent(*process);
    installReaders(process, run);
    connect(process, &QProcess::finished, this, [this, run](int exitCode, QProcess::ExitStatus) {
        // Deliberately ignored: the late termination notice of a child that was reset before a newer
        // launch would otherwise fail the new run, whose own child is alive and well.
        if (run != m_launchCount)
            return;
        // On a signal QProcess reports the signal's number as the exit code.
        handleTermination(exitCode);
    });

    process->start(QIODevice::ReadWrite);
    // Waits for the exec itself, not for the tool: the caller reads `state` as soon as we return, and
    // a spawn that failed has to show there.
    if (!process->waitForStarted()) {
        const QString description = process->errorString();
        m_log.error(tag, u"subprocess failed to start: "_s + description);
        setState(State::failed(u"Failed to start: "_s + description));
        return;
    }
    m_log.info(tag, u"subprocess launched pid="_s + QString::number(process->processId()));
    setState(State::running());
    m_startupWatchdog =
        Time::scheduler().singleShot(startupWatchdogSeconds, this, [this] { startupWatchdogFired(); });
}

void PythonProcess::startupWatchdogFired() {
    if (m_latestEvent || !isChildRunning())
        return;
    m_log.warn(tag, u"30s startup watchdog fired — no events received, killing subprocess"_s);
    m_endedBySupervisor = true;
    m_process->terminate();
    setState(State::failed(notRespondingMessage));
}

void PythonProcess::stop() {
    if (!isChildRunning())
        return;
    const qint64 pid = m_process->processId();
    m_log.info(tag, u"stop requested, sending SIGINT to pid="_s + QString::number(pid));
    setState(State::finishing());
    ::kill(static_cast<pid_t>(pid), SIGINT);
    m_finishingTimer = Time::scheduler().singleShot(stopTimeoutSeconds, this, [this] { stopTimeoutFired(); });
}

void PythonProcess::stopTimeoutFired() {
    if (m_receivedComplete)
        return;
    m_log.warn(tag, u"15s timeout, force-killing subprocess"_s);
    m_endedBySupervisor = true;
    if (m_process)
        m_process->terminate();
    setState(State::failed(stopTimedOutMessage));
}

void PythonProcess::reset() {
    if (m_process && m_process->state() != QProcess::NotRunning)
        m_process->terminate();
    removeReaders();
    m_finishingTimer.cancel();
    m_startupWatchdog.cancel();
    releaseChild();

    m_pendingLines.clear();
    if (!m_rawLines.isEmpty()) {
        m_rawLines.clear();
        emit rawLinesChanged();
    }
    if (m_latestEvent) {
        m_latestEvent.reset();
        emit latestEventChanged();
    }
    m_receivedComplete = false;
    m_endedBySupervisor = false;
    m_stderrLines.clear();
    if (!m_stderrOutput.isEmpty()) {
        m_stderrOutput.clear();
        emit stderrOutputChanged();
    }
    m_stdoutLineBuffer = std::make_shared<LineBuffer>();
    m_pendingRetryConfig.reset();
    m_triedWithoutPlaywright = false;
    setPlaywrightUnavailable(false);
    setState(State::idle());
}

void PythonProcess::releaseChild() {
    // A child still dying keeps sending its termination notice to handleTermination until the next
    // launch.
    ChildProcess::release(m_process.data());
    m_process.clear();
}

// --- Readers ----------------------------------------------------------------------------------------

void PythonProcess::installReaders(QProcess* process, quint64 run) {
    m_readerRun = run;
    // The reader holds this run's buffer itself, so that a reset can't swap it out mid-block.
    std::shared_ptr<LineBuffer> buffer = m_stdoutLineBuffer;
    m_stdoutConnection =
        connect(process, &QProcess::readyReadStandardOutput, this, [this, process, buffer, run] {
            if (run != m_readerRun)
                return;
            const QByteArray block = process->readAllStandardOutput();
            if (block.isEmpty())
                return;
            deliverLines(buffer->append(block), run);
        });
    m_stderrConnection = connect(process, &QProcess::readyReadStandardError, this, [this, process, run] {
        if (run != m_readerRun)
            return;
        handleStandardError(process->readAllStandardError());
    });
}

void PythonProcess::removeReaders() {
    m_readerRun = 0;
    disconnect(m_stdoutConnection);
    disconnect(m_stderrConnection);
}

void PythonProcess::handleStandardOutput(QByteArrayView block) {
    deliverLines(m_stdoutLineBuffer->append(block), m_readerRun);
}

void PythonProcess::deliverLines(const QStringList& lines, quint64 run) {
    for (const QString& line : lines)
        m_pendingLines.append({line, run});
    if (m_delivering)
        return;
    m_delivering = true;
    // A callback may reset or relaunch; lines of a run that is no longer current are dropped.
    while (!m_pendingLines.isEmpty()) {
        const PendingLine next = m_pendingLines.takeFirst();
        if (next.run == m_readerRun)
            processLine(next.text);
    }
    m_delivering = false;
}

void PythonProcess::handleStandardError(QByteArrayView block) {
    if (block.isEmpty())
        return;
    const std::optional<QString> decoded = LineBuffer::decodeUtf8(block);
    if (!decoded)
        return;
    const QString text = ChildProcess::trimLineBreaks(*decoded);
    console(text);
    m_log.debug(stderrTag, text);
    m_stderrLines.append(text);
    if (m_stderrLines.size() > maxStderrLines)
        m_stderrLines.remove(0, m_stderrLines.size() - maxStderrLines);
    m_stderrOutput = m_stderrLines.join(u'\n');
    emit stderrOutputChanged();
}

void PythonProcess::processLine(const QString& line) {
    processLine(line, JSONEvent::decode(line.toUtf8()));
}

void PythonProcess::processLine(const QString& line, std::optional<JSONEvent> decoded) {
    m_rawLines.append(line);
    if (m_rawLines.size() > maxRawLines)
        m_rawLines.remove(0, m_rawLines.size() - maxRawLines);
    emit rawLinesChanged();

    if (!decoded) {
        // A known event with a broken payload reads the same as a line that is no JSON at all.
        console(u"non-JSON stdout: "_s + line);
        return;
    }
    // A copy of our own: a callback below may reset us and drop latestEvent.
    const JSONEvent event = std::move(*decoded);
    m_latestEvent = event;
    emit latestEventChanged();

    switch (event.kind()) {
    case JSONEvent::Kind::info: {
        m_startupWatchdog.cancel();
        const auto& info = *event.get<InfoEvent>();
        if (info.logFile)
            m_log.info(tag, u"Python diagnostic log at "_s + *info.logFile);
        break;
    }
    case JSONEvent::Kind::status:
        if (m_state.kind == State::Kind::starting) {
            m_log.info(tag, u"subprocess confirmed running (first status event)"_s);
            m_startupWatchdog.cancel();
            setState(State::running());
        }
        break;
    case JSONEvent::Kind::error: {
        const auto& error = *event.get<ErrorEvent>();
        if (error.fatal) {
            m_log.error(tag, u"fatal error from subprocess: "_s + error.message);
            m_finishingTimer.cancel();
            setState(State::failed(error.message));
        }
        break;
    }
    case JSONEvent::Kind::complete:
        m_log.info(tag, u"subprocess complete event received"_s);
        m_receivedComplete = true;
        setState(State::finishing());
        break;
    default:
        break;
    }

    if (m_onEvent)
        m_onEvent(event);
}

// --- Termination ------------------------------------------------------------------------------------

void PythonProcess::handleTermination(int exitCode) {
    removeReaders();
    m_finishingTimer.cancel();
    m_startupWatchdog.cancel();

    if (!m_receivedComplete && exitCode != 0 && m_pendingRetryConfig &&
        shouldRetryWithoutPlaywright(m_stderrOutput)) {
        m_log.warn(tag, u"playwright not cached — retrying without it"_s);
        const CaptureConfig config = *m_pendingRetryConfig;
        m_pendingRetryConfig.reset();
        m_triedWithoutPlaywright = true;
        setPlaywrightUnavailable(true);
        setState(State::idle());
        // The user sees one unbroken capture: no onTerminated for the run that gave way.
        launch(config, false);
        return;
    }
    m_pendingRetryConfig.reset();

    const QString code = QString::number(exitCode);
    if (m_receivedComplete) {
        // The tool finished its capture; how it exited after that doesn't undo it.
        m_log.info(tag, u"subprocess terminated normally exit="_s + code);
        setState(State::completed());
    } else if (exitCode != 0) {
        // Deliberately, the sentence of our own watchdog or stop time-out survives the exit of the
        // child it ended: that exit is only our SIGTERM, which would be classified as "exit 15".
        const QString message = m_endedBySupervisor && m_state.isFailed()
                                    ? m_state.message
                                    : classifyProcessError(exitCode, m_stderrOutput);
        m_log.error(tag, u"subprocess terminated exit="_s + code + u" error="_s + message);
        if (!m_stderrOutput.isEmpty())
            m_log.error(tag, u"stderr:\n"_s + m_stderrOutput);
        setState(State::failed(message));
    } else {
        m_log.info(tag, u"subprocess terminated exit="_s + code + u" (no complete event)"_s);
        setState(State::completed());
    }

    if (m_onTerminated)
        m_onTerminated();
}

bool PythonProcess::shouldRetryWithoutPlaywright(const QString& stderrText) {
    return stderrText.contains(u"playwright"_s) && stderrText.contains(u"not found in the cache"_s);
}

QString PythonProcess::classifyProcessError(int exitCode, const QString& stderrText) {
    const auto has = [&stderrText](QStringView needle) { return stderrText.contains(needle); };
    const QString code = QString::number(exitCode);

    if (has(u"does not satisfy") && has(u"Python"))
        return u"Python version conflict — the system Python is too old. Reinstall the app to fix."_s;
    if (has(u"No solution found"))
        return u"Package dependency error. Check your internet connection and retry."_s;
    if (has(u"was not found in the cache") || (has(u"--offline") && has(u"network")))
        return u"Dependencies need updating — this can happen after an app update. Please connect to the "
               u"internet and reopen the app."_s;
    if (has(u"No module named")) {
        // The name is whatever stands between the first pair of quotes after the last mention; the
        // tool's text without quotes gives no name.
        const QString tail = stderrText.split(u"No module named "_s).constLast();
        const QStringList parts = tail.split(u'\'');
        const QString module = parts.size() >= 2 ? parts.at(1) : u"unknown"_s;
        return u"Missing Python module '"_s + module + u"'. Try reinstalling the app."_s;
    }
    if (has(u"Permission denied") || has(u"permission denied"))
        return u"Permission denied — the capture tool could not access a required resource."_s;
    if (has(u"Address already in use"))
        return u"A network port is already in use. Close other network tools and retry."_s;
    if (exitCode == 9)
        return u"Test was killed by the system (signal 9). This can happen if the Mac went to sleep."_s;

    QString lastLine;
    for (const QString& line : splitAtLineBreaks(stderrText)) {
        if (!line.trimmed().isEmpty())
            lastLine = line;
    }
    if (!lastLine.isEmpty())
        return u"Test failed (exit "_s + code + u"): "_s + lastLine;
    return u"Test ended unexpectedly (exit "_s + code + u"). Partial results may be available."_s;
}

// --- Standard input ---------------------------------------------------------------------------------

void PythonProcess::sendCommand(const QString& text) {
    if (!isChildRunning())
        return;
    const std::optional<QByteArray> bytes = StdinCommand::encodeLine(text);
    if (!bytes)
        return;
    m_process->write(*bytes);
    m_log.info(tag, u"sent stdin command: "_s + text);
}

void PythonProcess::sendEndMeta(std::optional<qint64> rssi, std::optional<double> uploadMbps,
                                std::optional<double> lossPct, std::optional<double> latencyMs,
                                bool gatewayReachable) {
    const std::optional<QString> command =
        StdinCommand::endMeta(EndMeta{rssi, uploadMbps, lossPct, latencyMs, gatewayReachable});
    if (command)
        sendCommand(*command);
}
