#include "services/ConnectivityDiagnostics.h"

#include "BuildInfo.h"
#include "base/ToolSearchPath.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QStringDecoder>

using namespace Qt::StringLiterals;

namespace {

const QString tag = QString::fromLatin1(ConnectivityDiagnostics::logTag);

// The probes differ per desktop only in program and arguments; the rest of the run is shared.
#ifdef Q_OS_MACOS
const QString gatewayProgram = u"/usr/sbin/route"_s;
const QStringList gatewayArguments{u"-n"_s, u"get"_s, u"default"_s};
const QString pingProgram = u"/sbin/ping"_s;
QStringList pingArguments(const QString& host) {
    return {u"-c"_s, u"1"_s, u"-W"_s, u"2000"_s, host};
}
std::optional<QString> parsePlatformGateway(const QString& text) {
    return ConnectivityDiagnostics::parseGateway(text);
}
#else
const QString gatewayProgram = u"ip"_s;
const QStringList gatewayArguments{u"-4"_s, u"route"_s, u"show"_s, u"default"_s};
const QString pingProgram = u"ping"_s;
QStringList pingArguments(const QString& host) {
    return {u"-c"_s, u"1"_s, u"-W"_s, u"2"_s, host};
}
std::optional<QString> parsePlatformGateway(const QString& text) {
    return ConnectivityDiagnostics::parseLinuxGateway(text);
}
#endif

// Undecodable output counts as empty, as the tools' texts are never trusted to be whole.
QString decodeUtf8OrEmpty(const QByteArray& bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString text = decoder.decode(bytes);
    if (decoder.hasError())
        return {};
    return text;
}

QString quoted(const QString& text) {
    QString escaped;
    escaped.reserve(text.size() + 2);
    escaped += u'"';
    for (const QChar c : text) {
        switch (c.unicode()) {
        case '"':
            escaped += u"\\\""_s;
            break;
        case '\\':
            escaped += u"\\\\"_s;
            break;
        case '\n':
            escaped += u"\\n"_s;
            break;
        case '\r':
            escaped += u"\\r"_s;
            break;
        case '\t':
            escaped += u"\\t"_s;
            break;
        default:
            escaped += c;
        }
    }
    escaped += u'"';
    return escaped;
}

QString boolText(std::optional<bool> value) {
    return value.value_or(false) ? u"true"_s : u"false"_s;
}

} // namespace

ConnectivityDiagnostics::ConnectivityDiagnostics(FileLogger& log, double portalTimeout, QObject* parent)
    : QObject(parent)
    , m_log(log)
    , m_portalTimeout(portalTimeout)
    , m_network(new QNetworkAccessManager(this)) {}

ConnectivityDiagnostics::~ConnectivityDiagnostics() {
    // A probe that was cancelled or outlived its watchdog may still be ending; none may outlive us.
    const QList<QProcess*> probes = findChildren<QProcess*>(Qt::FindDirectChildrenOnly);
    for (QProcess* probe : probes) {
        probe->disconnect(this);
        if (probe->state() != QProcess::NotRunning) {
            probe->kill();
            probe->waitForFinished(1000);
        }
    }
}

// --- Run ------------------------------------------------------------------------------------------

void ConnectivityDiagnostics::run(const QString& processError) {
    if (m_running || m_phase.step != Step::idle)
        return;
    m_running = true;
    m_processError = processError;
    m_cancelled = false;
    setStep(Step::checkingGateway);
    detectGateway([this](std::optional<QString> found) {
        setGateway(found);
        if (m_cancelled)
            return finishRun();
        if (m_gateway) {
            setStep(Step::pingingGateway);
            ping(*m_gateway, [this](bool reachable) {
                setGatewayReachable(reachable);
                if (m_cancelled)
                    return finishRun();
                pingInternet();
            });
        } else {
            setGatewayReachable(false);
            pingInternet();
        }
    });
}

void ConnectivityDiagnostics::pingInternet() {
    setStep(Step::pingingInternet);
    ping(u"1.1.1.1"_s, [this](bool first) {
        auto store = [this](bool reachable) {
            setInternetReachable(reachable);
            if (m_cancelled)
                return finishRun();
            if (reachable)
                checkPortal();
            else
                conclude(std::nullopt);
        };
        if (first || m_cancelled)
            return store(first);
        ping(u"8.8.8.8"_s, store);
    });
}

void ConnectivityDiagnostics::checkPortal() {
    setStep(Step::checkingPortal);
    dnsHijacked([this](bool hijacked) {
        if (m_cancelled)
            return finishRun();
        conclude(hijacked);
    });
}

void ConnectivityDiagnostics::conclude(std::optional<bool> hijacked) {
    const Verdict verdict = decide(m_gateway, m_gatewayReachable.value_or(false),
                                   m_internetReachable.value_or(false), hijacked, m_processError);
    m_log.info(tag, verdictLogLine(verdict, m_gateway, m_gatewayReachable, m_internetReachable));
    m_phase = Phase::completed(verdict);
    emit phaseChanged();
    finishRun();
}

void ConnectivityDiagnostics::finishRun() {
    m_running = false;
    emit runFinished();
}

void ConnectivityDiagnostics::cancel() {
    m_cancelled = true;
    if (m_runningProcess) {
        m_runningProcess->terminate();
        m_runningProcess = nullptr;
    }
}

// --- Decision and log -----------------------------------------------------------------------------

ConnectivityDiagnostics::Verdict ConnectivityDiagnostics::decide(const std::optional<QString>& gateway,
                                                                 bool gatewayReachable,
                                                                 bool internetReachable,
                                                                 std::optional<bool> dnsHijacked,
                                                                 const QString& processError) {
    if (!internetReachable && !dnsHijacked) {
        if (gatewayReachable && gateway)
            return GatewayOnly{*gateway};
        return NoConnectivity{};
    }
    // A hijack without a known gateway is deliberately not called a portal.
    if (internetReachable && dnsHijacked.value_or(false) && gateway)
        return CaptivePortal{*gateway};
    return InternetReachable{processError};
}

QString ConnectivityDiagnostics::describe(const Verdict& verdict) {
    return std::visit(
        [](const auto& v) -> QString {
            using V = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<V, InternetReachable>)
                return u"internetReachable(processError: "_s + quoted(v.processError) + u')';
            else if constexpr (std::is_same_v<V, CaptivePortal>)
                return u"captivePortal(gateway: "_s + quoted(v.gateway) + u')';
            else if constexpr (std::is_same_v<V, GatewayOnly>)
                return u"gatewayOnly(gateway: "_s + quoted(v.gateway) + u')';
            else
                return u"noConnectivity"_s;
        },
        verdict);
}

QString ConnectivityDiagnostics::verdictLogLine(const Verdict& verdict, const std::optional<QString>& gateway,
                                                std::optional<bool> gatewayReachable,
                                                std::optional<bool> internetReachable) {
    return u"diagnostics verdict=%1 gateway=%2 gwPing=%3 inet=%4"_s.arg(
        describe(verdict), gateway.value_or(u"none"_s), boolText(gatewayReachable),
        boolText(internetReachable));
}

// --- Parsers --------------------------------------------------------------------------------------

std::optional<QString> ConnectivityDiagnostics::parseGateway(const QString& text) {
    static const QRegularExpression lineEnds(u"\r\n|\n|\r"_s);
    for (const QString& rawLine : text.split(lineEnds)) {
        QString line = rawLine.trimmed();
        if (!line.startsWith(u"gateway:"_s))
            continue;
        line.remove(u"gateway:"_s);
        line = line.trimmed();
        if (!line.isEmpty() && line.contains(u'.'))
            return line;
    }
    return std::nullopt;
}

std::optional<QString> ConnectivityDiagnostics::parseLinuxGateway(const QString& text) {
    static const QRegularExpression lineEnds(u"\r\n|\n|\r"_s);
    static const QRegularExpression blanks(u"\\s+"_s);
    for (const QString& line : text.split(lineEnds)) {
        const QStringList words = line.trimmed().split(blanks, Qt::SkipEmptyParts);
        if (words.isEmpty() || words.first() != u"default"_s)
            continue;
        const qsizetype via = words.indexOf(u"via"_s);
        // An IPv6 next hop or a route without one (a point-to-point link) holds no dotted address.
        if (via >= 0 && via + 1 < words.size() && words[via + 1].contains(u'.'))
            return words[via + 1];
    }
    return std::nullopt;
}

// --- Portal probe URL -----------------------------------------------------------------------------

QUrl ConnectivityDiagnostics::portalRootUrl() {
    QString setting = qEnvironmentVariable("NORVANE_PORTAL_PROBE_URL");
    if (setting.isEmpty())
        setting = QString::fromUtf8(BuildInfo::portalProbeUrl);
    QUrl url(setting);
    url.setPath(u"/"_s);
    url.setQuery(QString());
    url.setFragment(QString());
    return url;
}

QUrl ConnectivityDiagnostics::portalProbeUrl() {
    QUrl url = portalRootUrl();
    url.setPath(QString::fromLatin1(portalProbePath));
    return url;
}

// --- Observable fields ----------------------------------------------------------------------------

void ConnectivityDiagnostics::setStep(Step step) {
    if (m_phase.step == step)
        return;
    m_phase = Phase{step, std::nullopt};
    emit phaseChanged();
}

void ConnectivityDiagnostics::setGateway(std::optional<QString> gateway) {
    if (m_gateway == gateway)
        return;
    m_gateway = std::move(gateway);
    emit gatewayChanged();
}

void ConnectivityDiagnostics::setGatewayReachable(bool reachable) {
    if (m_gatewayReachable == reachable)
        return;
    m_gatewayReachable = reachable;
    emit gatewayReachableChanged();
}

void ConnectivityDiagnostics::setInternetReachable(bool reachable) {
    if (m_internetReachable == reachable)
        return;
    m_internetReachable = reachable;
    emit internetReachableChanged();
}

// --- Probes ---------------------------------------------------------------------------------------

void ConnectivityDiagnostics::detectGateway(std::function<void(std::optional<QString>)> done) {
    runProbe(gatewayProgram, gatewayArguments, true, gatewayWatchdogSeconds,
             [this, done = std::move(done)](const ProbeOutcome& outcome) {
                 if (outcome.launchError) {
                     m_log.debug(tag, u"gateway detection failed: "_s + *outcome.launchError);
                     return done(std::nullopt);
                 }
                 // The exit status doesn't matter: whatever was printed is read.
                 done(parsePlatformGateway(decodeUtf8OrEmpty(outcome.output)));
             });
}

void ConnectivityDiagnostics::ping(const QString& host, std::function<void(bool)> done) {
    runProbe(pingProgram, pingArguments(host), false, pingWatchdogSeconds,
             [this, host, done = std::move(done)](const ProbeOutcome& outcome) {
                 if (outcome.launchError) {
                     m_log.debug(tag, u"ping %1 failed to launch: %2"_s.arg(host, *outcome.launchError));
                     return done(false);
                 }
                 // A ping killed by its watchdog ends by a signal, which counts as no answer.
                 done(outcome.exitedNormally && outcome.exitCode == 0);
             });
}

void ConnectivityDiagnostics::runProbe(const QString& name, const QStringList& arguments, bool keepOutput,
                                       double watchdogSeconds,
                                       std::function<void(const ProbeOutcome&)> done) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const QString program = name.startsWith(u'/') ? name : ToolSearchPath::findExecutable(name, environment);
    if (program.isEmpty()) {
        // Never fall back to QProcess's own search: it would use our PATH, not the tools' PATH.
        done(ProbeOutcome::launchFailure(u"%1: not found on the PATH"_s.arg(name)));
        return;
    }
    environment.insert(u"PATH"_s, ToolSearchPath::value(environment));

    auto* process = new QProcess(this);
    process->setProcessEnvironment(environment);
    if (!keepOutput)
        process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());

    // errorOccurred and finished may both arrive for one process; only the first one counts.
    auto handled = std::make_shared<bool>(false);
    auto complete = [this, process, handled, done](ProbeOutcome outcome) {
        if (*handled)
            return;
        *handled = true;
        m_watchdog.cancel();
        if (m_runningProcess == process)
            m_runningProcess = nullptr;
        process->deleteLater();
        done(outcome);
    };
    connect(process, &QProcess::errorOccurred, this, [process, complete](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            complete(ProbeOutcome::launchFailure(process->errorString()));
    });
    connect(process, &QProcess::finished, this,
            [process, complete, keepOutput](int exitCode, QProcess::ExitStatus exitStatus) {
                ProbeOutcome outcome;
                outcome.exitedNormally = exitStatus == QProcess::NormalExit;
                outcome.exitCode = exitCode;
                if (keepOutput)
                    outcome.output = process->readAllStandardOutput();
                complete(std::move(outcome));
            });

    m_runningProcess = process;
    QPointer<QProcess> watched(process);
    m_watchdog = Time::scheduler().singleShot(watchdogSeconds, this, [this, watched] {
        if (watched && watched->state() != QProcess::NotRunning) {
            watched->terminate();
            if (m_runningProcess == watched)
                m_runningProcess = nullptr;
        }
    });
    process->start(program, arguments);
}

void ConnectivityDiagnostics::dnsHijacked(std::function<void(bool)> done) {
    // Ephemeral, as far as one request can be: no cache and no cookies in either direction.
    QNetworkRequest request(portalProbeUrl());
    request.setTransferTimeout(qMax(1, qRound(m_portalTimeout * 1000)));
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    QNetworkReply* reply = m_network->get(request);
    // The transfer time-out above only notices silence; a server that trickles a byte now and then would
    // keep the check going for ever, so the whole request has a deadline of its own.
    m_portalDeadline = Time::scheduler().singleShot(m_portalTimeout, reply, [reply] { reply->abort(); });
    connect(reply, &QNetworkReply::finished, this, [this, reply, done = std::move(done)] {
        reply->deleteLater();
        m_portalDeadline.cancel();
        // An HTTP answer of any status is read. A failure of the connection itself (refused, closed
        // early, timed out, cut off by the deadline), whose codes lie below the proxy's, is a transport
        // error even when a status line came before it.
        const bool connectionFailed = reply->error() != QNetworkReply::NoError &&
                                      reply->error() < QNetworkReply::ProxyConnectionRefusedError;
        const bool answered =
            !connectionFailed && reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid();
        if (!answered) {
            m_log.debug(tag, u"portal check failed: "_s + reply->errorString());
            return done(true);
        }
        const QString body = decodeUtf8OrEmpty(reply->readAll());
        done(!body.contains(u"Success"_s));
    });
}
