#pragma once

#include "base/VirtualClock.h"
#include "core/AppState.h"
#include "services/ConnectivityDiagnostics.h"
#include "subprocess/PythonProcess.h"
#include "support/NetworkFakes.h"

#include <QSignalSpy>

// Makes the fake ip and ping and a loopback portal probe answer so that a diagnosis ends in the verdict
// asked for, and puts the environment back afterwards. Needs a TempHome, which installs the fakes.
class DiagnosisScenario {
public:
    enum class Network { fine, captivePortal, gatewayOnly, nothing, noGatewayNothing };

    explicit DiagnosisScenario(Network network) {
        m_env.unset("NORVANE_SIM_GATEWAY");
        m_env.unset("NORVANE_SIM_PING_LOG");
        m_portal.answerPage("<HTML><HEAD><TITLE>Success</TITLE></HEAD><BODY>Success</BODY></HTML>");
        // A closed port fails the portal check at once, which counts as a portal.
        m_env.set("NORVANE_PORTAL_PROBE_URL", network == Network::fine
                                                  ? m_portal.url(QStringLiteral("/probe")).toEncoded()
                                                  : closedLoopbackUrl().toEncoded());
        switch (network) {
        case Network::fine:
        case Network::captivePortal:
            m_env.set("NORVANE_SIM_PING", "all");
            break;
        case Network::gatewayOnly:
            m_env.set("NORVANE_SIM_PING", "gateway-only");
            break;
        case Network::nothing:
            m_env.set("NORVANE_SIM_PING", "none");
            break;
        case Network::noGatewayNothing:
            m_env.set("NORVANE_SIM_GATEWAY", "none");
            m_env.set("NORVANE_SIM_PING", "none");
            break;
        }
    }

    // Enters the diagnostics screen and waits, in real time for the fakes only, for the verdict.
    static bool enterAndFinish(AppState& state, const QString& processError) {
        state.enterDiagnostics(processError);
        ConnectivityDiagnostics* diagnosis = state.diagnostics();
        if (!diagnosis)
            return false;
        QSignalSpy finished(diagnosis, &ConnectivityDiagnostics::runFinished);
        return finished.wait(30'000) && diagnosis->phase().isCompleted();
    }

    // A run that measured something before it failed: one latency point, flushed.
    static void measureSomething(AppState& state, VirtualClock& time) {
        state.startReplay(CaptureConfig{});
        state.pythonProcess().processLine(QStringLiteral(
            R"({"event":"probe","type":"ping","target":"1.1.1.1","loss":false,"rtt_ms":20,"ts":"x"})"));
        time.advance(AppState::flushIntervalSeconds);
    }

private:
    ScopedEnvironment m_env;
    LoopbackHttpServer m_portal;
};
