#include "DiagnoseVerb.h"

#include "StateReport.h"

#include "services/ConnectivityDiagnostics.h"
#include "services/FileLogger.h"

#include <QEventLoop>
#include <QTextStream>

using namespace Qt::StringLiterals;

namespace {

QString yesNo(const std::optional<bool>& value) {
    if (!value)
        return u"---"_s;
    return *value ? u"yes"_s : u"no"_s;
}

void printChecks(const ConnectivityDiagnostics& diagnosis, QTextStream& out) {
    const auto row = [&out](const QString& label, const QString& detail) {
        out << "  " << label.leftJustified(20) << detail << '\n';
    };
    row(u"Network gateway"_s, diagnosis.gateway() ? u"found (%1)"_s.arg(*diagnosis.gateway()) : u"none"_s);
    row(u"Gateway reachable"_s, yesNo(diagnosis.gatewayReachable()));
    row(u"Internet reachable"_s, yesNo(diagnosis.internetReachable()));
    if (diagnosis.internetReachable().value_or(false)) {
        const auto& verdict = diagnosis.phase().verdict;
        const bool hijacked =
            verdict && std::holds_alternative<ConnectivityDiagnostics::CaptivePortal>(*verdict);
        row(u"Portal check"_s, hijacked ? u"hijacked"_s : u"ok"_s);
    }
}

} // namespace

int runDiagnoseVerb(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    QString processError;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == u"--error"_s && i + 1 < arguments.size()) {
            processError = arguments[++i];
        } else {
            err << "norvane-cli diagnose: unexpected argument '" << arguments[i] << "'\n";
            return 2;
        }
    }

    ConnectivityDiagnostics diagnosis(FileLogger::shared());
    QEventLoop loop;
    QObject::connect(&diagnosis, &ConnectivityDiagnostics::runFinished, &loop, &QEventLoop::quit);
    diagnosis.run(processError);
    if (diagnosis.isRunning())
        loop.exec();
    FileLogger::shared().waitForIdle();

    const auto& verdict = diagnosis.phase().verdict;
    if (!verdict) {
        err << "norvane-cli diagnose: the diagnosis ended without a verdict\n";
        return 1;
    }
    out << StateReport::diagnosisText(diagnosis);
    if (const auto* reachable = std::get_if<ConnectivityDiagnostics::InternetReachable>(&*verdict);
        reachable && !reachable->processError.isEmpty())
        out << "\nError:\n" << reachable->processError << '\n';
    out << "\nChecks:\n";
    printChecks(diagnosis, out);
    return 0;
}
