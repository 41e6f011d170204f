#include "subprocess/ChildProcess.h"

#include <QProcess>

#include <signal.h>
#include <unistd.h>
#ifdef Q_OS_LINUX
#include <sys/prctl.h>
#endif

using namespace Qt::StringLiterals;

namespace ChildProcess {

namespace {
bool isLineBreak(QChar c) {
    const char16_t u = c.unicode();
    return (u >= 0x0A && u <= 0x0D) || u == 0x85 || u == 0x2028 || u == 0x2029;
}
} // namespace

void dieWithParent([[maybe_unused]] QProcess& process) {
#ifdef Q_OS_LINUX
    // Checking the parent after the call closes the window in which we could have died before it.
    const pid_t parentPid = ::getpid();
    process.setChildProcessModifier([parentPid] {
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != parentPid)
            ::_exit(1);
    });
#endif
}

void release(QProcess* process) {
    if (!process)
        return;
    if (process->state() == QProcess::NotRunning) {
        // Possibly inside one of its own signals: delete it once that is over.
        process->deleteLater();
        return;
    }
    process->setParent(nullptr);
    QObject::connect(process, &QProcess::finished, process, &QObject::deleteLater);
}

QString trimLineBreaks(const QString& text) {
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && isLineBreak(text.at(begin)))
        ++begin;
    while (end > begin && isLineBreak(text.at(end - 1)))
        --end;
    return text.mid(begin, end - begin);
}

} // namespace ChildProcess
