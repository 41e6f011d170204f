#include "subprocess/Bootstrap.h"

#include "base/Clock.h"
#include "base/NumberText.h"
#include "base/ToolSearchPath.h"
#include "platform/Locations.h"
#include "services/FileLogger.h"
#include "subprocess/ChildProcess.h"
#include "subprocess/LineBuffer.h"
#include "subprocess/PythonProcess.h"

#include <QFileInfo>
#include <QPointer>
#include <QProcess>
#include <QRegularExpression>

#include <algorithm>
#include <memory>
#include <type_traits>

using namespace Qt::StringLiterals;

namespace {

const QString tag = QString::fromLatin1(Bootstrap::logTag);

// Wraps a caller's callback so that it runs on the main thread once the current work is done, and not
// at all once `context` is gone. An answer thus never arrives inside the call that asked for it (a
// spawn can fail inside QProcess::start), so a caller may set its own state after asking.
template <typename... Args>
std::function<void(Args...)> deferred(QObject* context,
                                      std::type_identity_t<std::function<void(Args...)>> callback) {
    const QPointer<QObject> guard(context);
    auto shared = std::make_shared<std::function<void(Args...)>>(std::move(callback));
    return [guard, shared](Args... args) {
        if (!guard)
            return;
        QMetaObject::invokeMethod(
            guard.data(),
            [guard, shared, args...] {
                if (guard)
                    (*shared)(args...);
            },
            Qt::QueuedConnection);
    };
}

} // namespace

QStringList Bootstrap::uvCandidates() {
    return Locations::uvCandidates();
}

std::optional<QString> Bootstrap::findUV(FileLogger& log) {
    const QStringList candidates = uvCandidates();
    for (const QString& candidate : candidates) {
        const QFileInfo info(candidate);
        if (info.isFile() && info.isExecutable()) {
            log.debug(tag, u"uv found at "_s + candidate);
            return candidate;
        }
    }
    log.warn(tag, u"uv not found in candidate paths"_s);
    return std::nullopt;
}

// --- The offline browser check -------------------------------------------------------------------

const QString Bootstrap::playwrightCheckProgram =
    u"from playwright.sync_api import sync_playwright; pw=sync_playwright().start(); "
    "b=pw.chromium.launch(headless=True); b.close(); pw.stop(); print('ok')"_s;

QStringList Bootstrap::playwrightCheckArguments() {
    // --offline is the point: the capture runs that way, so the check must too.
    return {u"run"_s,    u"--offline"_s, u"--python"_s,
            u"3.12"_s,   u"--with"_s,    PythonProcess::dependencyList(true),
            u"python"_s, u"-c"_s,        playwrightCheckProgram};
}

QProcessEnvironment Bootstrap::dependencyRunEnvironment(const QProcessEnvironment& base) {
    QProcessEnvironment environment = base;
    environment.insert(u"PYTHONUNBUFFERED"_s, u"1"_s);
    environment.insert(u"PATH"_s, ToolSearchPath::value(base));
    return environment;
}

void Bootstrap::verifyPlaywrightOffline(QObject* context, std::function<void(bool)> done, FileLogger& log) {
    const auto answer = deferred<bool>(context, std::move(done));
    if (!chromiumInstalled()) {
        answer(false);
        return;
    }
    const std::optional<QString> uv = findUV(log);
    if (!uv) {
        answer(false);
        return;
    }

    // No parent: the check may outlive whoever asked, and a QProcess must not die before its child.
    auto* process = new QProcess;
    process->setProgram(*uv);
    process->setArguments(playwrightCheckArguments());
    process->setProcessEnvironment(dependencyRunEnvironment(QProcessEnvironment::systemEnvironment()));
    process->setProcessChannelMode(QProcess::MergedChannels);
    process->setStandardInputFile(QProcess::nullDevice());
    ChildProcess::dieWithParent(*process);

    // Whichever comes first of the time-out, a failed spawn and the child's end decides; the others
    // find the run resolved and only clean up.
    struct Run {
        bool resolved = false;
        Timer timeout;
    };
    auto run = std::make_shared<Run>();

    run->timeout =
        Time::scheduler().singleShot(playwrightCheckTimeoutSeconds, process, [run, process, answer, &log] {
            if (run->resolved)
                return;
            run->resolved = true;
            log.warn(tag, u"playwright offline verification timed out"_s);
            process->terminate();
            answer(false);
        });

    QObject::connect(process, &QProcess::errorOccurred, process,
                     [run, process, answer, &log](QProcess::ProcessError error) {
                         if (error != QProcess::FailedToStart)
                             return;
                         if (!run->resolved) {
                             run->resolved = true;
                             log.warn(tag, u"playwright offline verification failed to launch: "_s +
                                               process->errorString());
                             answer(false);
                         }
                         run->timeout.cancel();
                         process->deleteLater();
                     });

    QObject::connect(process, &QProcess::finished, process,
                     [run, process, answer, &log](int exitCode, QProcess::ExitStatus status) {
                         const QString output = QString::fromUtf8(process->readAll());
                         process->deleteLater();
                         if (run->resolved)
                             return;
                         run->resolved = true;
                         run->timeout.cancel();
                         if (status == QProcess::NormalExit && exitCode == 0) {
                             log.info(tag, u"playwright offline verification passed"_s);
                             answer(true);
                         } else {
                             log.warn(tag, u"playwright offline verification failed: "_s + output.left(200));
                             answer(false);
                         }
                     });

    process->start();
}

// --- The browser download ------------------------------------------------------------------------

QStringList Bootstrap::chromiumInstallArguments() {
    return {u"run"_s,    u"--python"_s, u"3.12"_s,       u"--with"_s,  PythonProcess::playwrightDependency,
            u"python"_s, u"-m"_s,       u"playwright"_s, u"install"_s, u"chromium"_s};
}

QProcessEnvironment Bootstrap::chromiumInstallEnvironment(const QProcessEnvironment& base) {
    QProcessEnvironment environment = base;
    environment.insert(u"PATH"_s, ToolSearchPath::value(base));
    return environment;
}

void Bootstrap::installChromium(QObject* context, std::function<void(const QString&)> onProgress,
                                std::function<void(const ChromiumInstallOutcome&)> onFinished,
                                FileLogger& log) {
    const auto finish = deferred<const ChromiumInstallOutcome&>(context, std::move(onFinished));
    const auto progress = deferred<const QString&>(context, std::move(onProgress));

    const std::optional<QString> uv = findUV(log);
    if (!uv) {
        finish({ChromiumInstallOutcome::Kind::uvNotFound, {}, 0, {}});
        return;
    }

    auto* process = new QProcess;
    process->setProgram(*uv);
    process->setArguments(chromiumInstallArguments());
    process->setProcessEnvironment(chromiumInstallEnvironment(QProcessEnvironment::systemEnvironment()));
    process->setProcessChannelMode(QProcess::SeparateChannels);
    process->setStandardInputFile(QProcess::nullDevice());
    ChildProcess::dieWithParent(*process);

    struct Run {
        LineBuffer lines;
        ChromiumInstallProgress progress;
        bool ended = false;
    };
    auto run = std::make_shared<Run>();

    auto readOutput = [run, process, progress] {
        const QStringList lines = run->lines.append(process->readAllStandardOutput());
        for (const QString& line : lines) {
            if (const std::optional<QString> text = run->progress.feed(line))
                progress(*text);
        }
    };

    QObject::connect(process, &QProcess::readyReadStandardOutput, process, [run, readOutput] {
        if (!run->ended)
            readOutput();
    });

    QObject::connect(process, &QProcess::errorOccurred, process,
                     [run, process, finish](QProcess::ProcessError error) {
                         if (error != QProcess::FailedToStart || run->ended)
                             return;
                         run->ended = true;
                         finish({ChromiumInstallOutcome::Kind::launchFailed, process->errorString(), 0, {}});
                         process->deleteLater();
                     });

    QObject::connect(process, &QProcess::finished, process,
                     [run, process, finish, readOutput](int exitCode, QProcess::ExitStatus) {
                         if (run->ended)
                             return;
                         // What the child wrote just before it ended still counts; nothing after.
                         readOutput();
                         run->ended = true;
                         const QString standardError =
                             QString::fromUtf8(process->readAllStandardError()).trimmed();
                         process->deleteLater();
                         finish({ChromiumInstallOutcome::Kind::exited, {}, exitCode, standardError});
                     });

    process->start();
}

// --- Progress lines --------------------------------------------------------------------------------

std::optional<QString> ChromiumInstallProgress::feed(const QString& line) {
    if (line.startsWith(u"Downloading "_s))
        ++m_counter;
    // Unicode digits and blanks count, as they do in the installer's own regular expressions.
    static const QRegularExpression percentOf(uR"((\d+)%\s+of\s+([\d.]+ MiB))"_s,
                                              QRegularExpression::UseUnicodePropertiesOption);
    const QRegularExpressionMatch match = percentOf.match(line);
    if (!match.hasMatch())
        return std::nullopt;
    const QString digits = match.captured(1);
    const qint64 pct = NumberText::leadingNumber(match.capturedView(0)).value_or(0);
    const int current = std::max(m_counter, 1);
    const QString label = u"("_s + QString::number(current) + u'/' + QString::number(downloadCount) + u')';
    return label + u' ' + message(m_counter, current, pct) + u' ' + digits + u'%';
}

QString ChromiumInstallProgress::message(int counter, int current, qint64 pct) {
    if (current == downloadCount && pct >= 80)
        return u"Almost there…"_s;
    if (counter >= 2) {
        if (pct >= 60)
            return u"You'll see real video quality, not just speed tests…"_s;
        if (pct < 30)
            return u"YouTube Stats for Nerds, captured automatically…"_s;
        return u"Soon you'll know if this network can handle 4K…"_s;
    }
    if (pct >= 60)
        return u"A lightweight browser plays a YouTube clip…"_s;
    if (pct < 30)
        return u"Downloading video test components…"_s;
    return u"No login needed — we measure what viewers see…"_s;
}
