#include "SetupVerb.h"

#include "CliJson.h"

#include "base/Clock.h"
#include "services/FileLogger.h"
#include "subprocess/Bootstrap.h"

#include <QEventLoop>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>

using namespace Qt::StringLiterals;

int runSetupVerb(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    bool asJson = false;
    for (const QString& argument : arguments) {
        if (argument != u"--json"_s) {
            err << "norvane-cli setup: unexpected argument '" << argument << "'\n";
            return 2;
        }
        asJson = true;
    }

    Bootstrap bootstrap(FileLogger::shared());
    if (!asJson) {
        // Each step's line as the screen would show it; "Ready" comes once, at the end.
        QObject::connect(&bootstrap, &Bootstrap::progressMessageChanged, &bootstrap, [&bootstrap, &out] {
            if (bootstrap.state().kind == Bootstrap::State::Kind::ready)
                return;
            out << bootstrap.progressMessage() << '\n';
            out.flush();
        });
    }
    QEventLoop loop;
    QObject::connect(&bootstrap, &Bootstrap::runFinished, &loop, &QEventLoop::quit);
    const QDateTime started = Time::clock().now();
    bootstrap.run();
    loop.exec();
    const double seconds = started.msecsTo(Time::clock().now()) / 1000.0;
    FileLogger::shared().waitForIdle();

    const Bootstrap::State& state = bootstrap.state();
    const bool ready = state.kind == Bootstrap::State::Kind::ready;
    if (asJson) {
        const QJsonObject report{
            {u"state"_s, state.name()},
            {u"message"_s, state.isFailed() ? state.message : bootstrap.progressMessage()},
            {u"detail"_s, CliJson::json(bootstrap.diagnosticDetail())},
            {u"seconds"_s, seconds},
        };
        out << QJsonDocument(report).toJson(QJsonDocument::Indented);
        return ready ? 0 : 1;
    }
    if (ready) {
        out << "Ready\n";
        return 0;
    }
    err << state.message << '\n';
    if (const std::optional<QString>& detail = bootstrap.diagnosticDetail()) {
        err << "Details:\n" << *detail;
        if (!detail->endsWith(u'\n'))
            err << '\n';
    }
    return 1;
}
