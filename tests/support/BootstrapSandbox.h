#pragma once

#include "base/VirtualClock.h"
#include "core/AppState.h"
#include "services/FileLogger.h"
#include "subprocess/Bootstrap.h"
#include "subprocess/ProcessTestSupport.h"
#include "support/AppStateTestAccess.h"
#include "support/NetworkFakes.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <functional>
#include <memory>

// A home of its own on a virtual clock, for runs of the first-launch install. The simulator's set-up
// commands run fast and succeed unless a test sets NORVANE_SIM_BOOTSTRAP.
class BootstrapSandbox : public ::testing::Test {
protected:
    TempHome home;
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    VirtualClock clock;
    ScopedVirtualTime virtualTime{clock};
    ScopedEnv env;

    void SetUp() override {
        env.set("NORVANE_SIM_SPEED", "200");
        env.unset("NORVANE_SIM_BOOTSTRAP");
    }

    // Does `action`, which starts a run of `bootstrap`, and waits for that run's end.
    static void waitForRun(Bootstrap& bootstrap, const std::function<void()>& action) {
        QSignalSpy finished(&bootstrap, &Bootstrap::runFinished);
        action();
        ASSERT_TRUE(finished.wait(60'000)) << "the run ends";
    }

    // Makes the uv installer a script that curl fetches from a loopback server of this test.
    void serveInstallerScript(const QByteArray& script) {
        installerServer.answerPage(script);
        env.set("NORVANE_UV_INSTALLER_URL", installerServer.url(QStringLiteral("/install.sh")).toEncoded());
    }

    LoopbackHttpServer installerServer;

    // Takes uv away, and makes the installer a script that says it is done and installs nothing.
    void installerThatInstallsNothing() {
        QFile::remove(home.path() + QStringLiteral("/.local/bin/uv"));
        serveInstallerScript("echo done\n");
    }
};

// The session on the first launch's screen, with the simulator as uv.
class BootstrapScreenFixture : public BootstrapSandbox {
protected:
    std::unique_ptr<AppState> state;

    void SetUp() override {
        BootstrapSandbox::SetUp();
        home.installFakeUv();
        state = std::make_unique<AppState>(log);
        AppStateTestAccess::setScreen(*state, AppState::Screen::bootstrapping);
    }
};
