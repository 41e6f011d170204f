#include <gtest/gtest.h>

#include <QtGlobal>
#ifdef NORVANE_TEST_GUI
#include <QApplication>
#else
#include <QCoreApplication>
#endif

#include "support/TestPaths.h"

#include <QTemporaryDir>

#include <cstdio>

// One main for every test program: offscreen platform, and no QProcess may outlive its child.

using namespace Qt::StringLiterals;

namespace {

// A child process left running when its owner dies is the bug we care most about: make Qt's warning
// about it a test failure instead of a line nobody reads.
void failOnLeakedProcess(QtMsgType type, const QMessageLogContext&, const QString& message) {
    std::fprintf(stderr, "%s\n", qPrintable(message));
    if (message.contains(u"Destroyed while process"_s))
        ADD_FAILURE() << "a QProcess was destroyed while its child was still running: "
                      << qPrintable(message);
    if (type == QtFatalMsg)
        std::abort();
}

} // namespace

int main(int argc, char** argv) {
    // Tests never need a display, and must not pick one up from the developer's session.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // Nor may they touch the developer's home: the shared log and settings land in a home of the run's
    // own unless a test moves HOME again. A test that runs this program as a child names the home that
    // the child is to use in NORVANE_TEST_HOME.
    QTemporaryDir home;
    const QByteArray chosenHome = qgetenv("NORVANE_TEST_HOME");
    qputenv("HOME", chosenHome.isEmpty() ? home.path().toUtf8() : chosenHome);
    // Nothing a test starts may leave this machine: the diagnosis finds the fake ip and ping first, and
    // its portal check meets a closed loopback port unless a test serves one.
    if (chosenHome.isEmpty())
        installFakeNetworkTools(home.path());
    if (!qEnvironmentVariableIsSet("NORVANE_PORTAL_PROBE_URL"))
        qputenv("NORVANE_PORTAL_PROBE_URL", "http://127.0.0.1:9/generate_204");
    // Nor may the version gate's fetch or a link look up the placeholder site.
    if (!qEnvironmentVariableIsSet("NORVANE_SITE_URL"))
        qputenv("NORVANE_SITE_URL", "http://127.0.0.1:9");
    // A first-run install that nobody pointed at a loopback server of its own meets a closed port.
    if (!qEnvironmentVariableIsSet("NORVANE_UV_INSTALLER_URL"))
        qputenv("NORVANE_UV_INSTALLER_URL", "http://127.0.0.1:9/uv/install.sh");
    for (const char* variable : {"XDG_DATA_HOME", "XDG_STATE_HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME"})
        qunsetenv(variable);
    qInstallMessageHandler(failOnLeakedProcess);
    ::testing::InitGoogleTest(&argc, argv);
#ifdef NORVANE_TEST_GUI
    QApplication app(argc, argv);
#else
    QCoreApplication app(argc, argv);
#endif
    return RUN_ALL_TESTS();
}
