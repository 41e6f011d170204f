#pragma once

#include "base/VirtualClock.h"
#include "core/AppState.h"
#include "services/FileLogger.h"
#include "subprocess/Bootstrap.h"
#include "subprocess/ProcessTestSupport.h"
#include "support/AppStateTestAccess.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <functional>
#include <memory>

// The session on the first launch's screen, in a home whose uv is the simulator, on a virtual clock.
// The simulator's set-up commands run fast and succeed unless a test sets NORVANE_SIM_BOOTSTRAP.
class BootstrapScreenFixture : public ::testing::Test {
protected:
    TempHome home;
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    VirtualClock clock;
    ScopedVirtualTime virtualTime{clock};
    ScopedEnv env;
    std::unique_ptr<AppState> state;

    void SetUp() override {
        env.set("NORVANE_SIM_SPEED", "200");
        env.unset("NORVANE_SIM_BOOTSTRAP");
        home.installFakeUv();
        state = std::make_unique<AppState>(log);
        AppStateTestAccess::setScreen(*state, AppState::Screen::bootstrapping);
    }

    // Does `action`, which starts a run of `bootstrap`, and waits for that run's end.
    static void waitForRun(Bootstrap& bootstrap, const std::function<void()>& action) {
        QSignalSpy finished(&bootstrap, &Bootstrap::runFinished);
        action();
        ASSERT_TRUE(finished.wait(60'000)) << "the run ends";
    }

    static bool systemUvExists() {
        return QFileInfo::exists(QStringLiteral("/opt/homebrew/bin/uv")) ||
               QFileInfo::exists(QStringLiteral("/usr/local/bin/uv"));
    }

    // Takes uv away and makes the installer a script, read from disk by curl, that says it is done and
    // installs nothing.
    void installerThatInstallsNothing() {
        QFile::remove(home.path() + QStringLiteral("/.local/bin/uv"));
        const QString script = logDir.path() + QStringLiteral("/install.sh");
        QFile file(script);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("echo done\n");
        file.close();
        env.set("NORVANE_UV_INSTALLER_URL", (QStringLiteral("file://") + script).toUtf8());
    }
};
