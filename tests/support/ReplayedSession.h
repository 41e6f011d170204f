#pragma once

#include "base/VirtualClock.h"
#include "core/AppState.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

// A session whose capture was started without a child, on a virtual clock: the test prints the tool's
// lines into it itself.
class ReplayedSession : public ::testing::Test {
protected:
    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    AppState state{log};

    void SetUp() override {
        state.setUploadsSuppressed(true);
        state.startReplay(CaptureConfig{});
    }

    void feed(const QString& line) { state.pythonProcess().processLine(line); }
};
