#pragma once

#include "base/Clock.h"
#include "services/FileLogger.h"

#include <QByteArray>
#include <QObject>
#include <QPointer>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <optional>
#include <variant>

class QNetworkAccessManager;

// The staged probe that runs when the measurement tool fails: find the default gateway, ping it, ping
// the public internet, look for a captive portal, and settle on one of four verdicts. Every probe
// failure becomes a negative result and a DEBUG line; nothing here reports an error to the user.
//
// All of it runs on the main thread. Each probe is a child process whose end arrives through QProcess's
// signals; the watchdogs come from Time::scheduler() and die with this object.
class ConnectivityDiagnostics : public QObject {
    Q_OBJECT

public:
    struct InternetReachable {
        QString processError; // the tool's failure text, handed through
        friend bool operator==(const InternetReachable&, const InternetReachable&) = default;
    };
    struct CaptivePortal {
        QString gateway;
        friend bool operator==(const CaptivePortal&, const CaptivePortal&) = default;
    };
    struct GatewayOnly {
        QString gateway;
        friend bool operator==(const GatewayOnly&, const GatewayOnly&) = default;
    };
    struct NoConnectivity {
        friend bool operator==(const NoConnectivity&, const NoConnectivity&) = default;
    };
    using Verdict = std::variant<InternetReachable, CaptivePortal, GatewayOnly, NoConnectivity>;

    enum class Step { idle, checkingGateway, pingingGateway, pingingInternet, checkingPortal, completed };

    struct Phase {
        Step step = Step::idle;
        std::optional<Verdict> verdict; // present exactly when step is completed

        static Phase completed(Verdict verdict) { return {Step::completed, std::move(verdict)}; }
        bool isCompleted() const { return step == Step::completed; }
        friend bool operator==(const Phase&, const Phase&) = default;
    };

    static constexpr const char* logTag = "Diagnostics";
    static constexpr double gatewayWatchdogSeconds = 2.0;
    static constexpr double pingWatchdogSeconds = 3.0;
    static constexpr double portalTimeoutSeconds = 5.0;
    static constexpr const char* portalProbePath = "/hotspot-detect.html";

    // `portalTimeout` bounds the portal probe both as a whole and as a wait for the next byte; tests
    // shorten the latter, which runs on the real clock.
    explicit ConnectivityDiagnostics(FileLogger& log = FileLogger::shared(),
                                     double portalTimeout = portalTimeoutSeconds, QObject* parent = nullptr);
    ~ConnectivityDiagnostics() override;

    // Observable: each has a signal below.
    const Phase& phase() const { return m_phase; }
    const std::optional<QString>& gateway() const { return m_gateway; }
    const std::optional<bool>& gatewayReachable() const { return m_gatewayReachable; }
    const std::optional<bool>& internetReachable() const { return m_internetReachable; }

    bool isCancelled() const { return m_cancelled; }
    bool isRunning() const { return m_running; }
    // The probe now running, if any.
    QProcess* runningProcess() const { return m_runningProcess; }

    // Starts the whole sequence and returns at once; runFinished() follows when a verdict is in phase()
    // or the run saw that it was cancelled. One instance serves one run: a second call is ignored.
    void run(const QString& processError);
    // Terminates the running probe. The run stops at its next step with phase() as it stands. A portal
    // request already sent is left to finish and its answer ignored.
    void cancel();

    // The gateway in the macOS form of `route -n get default` ("gateway: 192.168.1.1").
    static std::optional<QString> parseGateway(const QString& text);
    // The gateway in the Linux form of `ip -4 route show default` ("default via 192.168.1.1 dev ...").
    static std::optional<QString> parseLinuxGateway(const QString& text);

    // The decision table, first row that holds. `dnsHijacked` is absent when the check didn't run.
    static Verdict decide(const std::optional<QString>& gateway, bool gatewayReachable,
                          bool internetReachable, std::optional<bool> dnsHijacked,
                          const QString& processError);
    // The verdict as the log prints it: `captivePortal(gateway: "192.168.1.1")`, `noConnectivity`.
    static QString describe(const Verdict& verdict);
    static QString verdictLogLine(const Verdict& verdict, const std::optional<QString>& gateway,
                                  std::optional<bool> gatewayReachable,
                                  std::optional<bool> internetReachable);

    // The probe page: scheme, host and port from NORVANE_PORTAL_PROBE_URL or the build setting, and
    // always the path of the probe page.
    static QUrl portalProbeUrl();
    // The probe host's root, which a browser opens so that the network's portal can intercept it.
    static QUrl portalRootUrl();

signals:
    void phaseChanged();
    void gatewayChanged();
    void gatewayReachableChanged();
    void internetReachableChanged();
    void runFinished();

private:
    struct ProbeOutcome {
        std::optional<QString> launchError;
        bool exitedNormally = false;
        int exitCode = -1;
        QByteArray output;

        static ProbeOutcome launchFailure(QString error) {
            ProbeOutcome outcome;
            outcome.launchError = std::move(error);
            return outcome;
        }
    };

    void setStep(Step step);
    void setGateway(std::optional<QString> gateway);
    void setGatewayReachable(bool reachable);
    void setInternetReachable(bool reachable);

    void pingInternet();
    void checkPortal();
    void conclude(std::optional<bool> dnsHijacked);
    void finishRun();

    void detectGateway(std::function<void(std::optional<QString>)> done);
    void ping(const QString& host, std::function<void(bool)> done);
    void dnsHijacked(std::function<void(bool)> done);
    void runProbe(const QString& name, const QStringList& arguments, bool keepOutput, double watchdogSeconds,
                  std::function<void(const ProbeOutcome&)> done);

    FileLogger& m_log;
    const double m_portalTimeout;
    QNetworkAccessManager* m_network = nullptr;

    Phase m_phase;
    std::optional<QString> m_gateway;
    std::optional<bool> m_gatewayReachable;
    std::optional<bool> m_internetReachable;
    bool m_cancelled = false;
    bool m_running = false;
    QString m_processError;
    QPointer<QProcess> m_runningProcess;
    Timer m_watchdog;
    Timer m_portalDeadline;
};
