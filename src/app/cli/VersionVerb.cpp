#include "VersionVerb.h"

#include "platform/Platform.h"
#include "services/FileLogger.h"
#include "services/VersionCheck.h"

#include <QEventLoop>
#include <QTextStream>

using namespace Qt::StringLiterals;

namespace {

constexpr int updateRequiredExit = 3;

int runCheck(QTextStream& out) {
    const QString running = Platform::appVersion();
    VersionCheck check(running, FileLogger::shared());
    // The fetch ends by itself at its own deadline, so this loop can't outlive it.
    if (check.fetchInProgress()) {
        QEventLoop loop;
        QObject::connect(&check, &VersionCheck::fetchFinished, &loop, &QEventLoop::quit);
        loop.exec();
    }
    FileLogger::shared().waitForIdle();

    out << "running  " << running << '\n';
    out << "minimum  " << (check.minimum().isEmpty() ? u"---"_s : check.minimum()) << '\n';
    if (!check.updateRequired()) {
        out << "up to date\n";
        return 0;
    }
    out << "update required\n" << check.message() << '\n';
    return updateRequiredExit;
}

} // namespace

int runVersionVerb(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    if (arguments == QStringList{u"--check"_s})
        return runCheck(out);
    if (!arguments.isEmpty()) {
        err << "Usage: norvane-cli version [--check]\n";
        return 2;
    }
    out << "norvane-cli " << Platform::appVersion() << " (build " << Platform::buildNumber() << ", "
        << Platform::osVersion() << ")\n";
    return 0;
}
