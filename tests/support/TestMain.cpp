#include <gtest/gtest.h>

#include <QtGlobal>
#ifdef NORVANE_TEST_GUI
#include <QApplication>
#else
#include <QCoreApplication>
#endif

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
    qInstallMessageHandler(failOnLeakedProcess);
    ::testing::InitGoogleTest(&argc, argv);
#ifdef NORVANE_TEST_GUI
    QApplication app(argc, argv);
#else
    QCoreApplication app(argc, argv);
#endif
    return RUN_ALL_TESTS();
}
