#include "CliVerb.h"
#include "LatenessProbe.h"
#include "ReportVerb.h"

#include "core/NorvaneApp.h"
#include "platform/CrashHandler.h"
#include "platform/Platform.h"

#include <QApplication>
#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

QString synopsis(const CliVerb& verb) {
    return verb.usage.isEmpty() ? verb.name : verb.name + u' ' + verb.usage;
}

void printHelp(QTextStream& out) {
    out << "Usage: norvane-cli <command> [arguments]\n\n"
           "Norvane without a window: the same captures, analysis and checks as the desktop program.\n\n"
           "Commands:\n";
    // Synopses differ too much in length for one column: each summary goes under its command.
    for (const CliVerb& verb : cliVerbs())
        out << "  " << synopsis(verb) << "\n      " << verb.summary << '\n';
    out << "\nOptions:\n  -h, --help  Show this help.\n"
           "\n'norvane-cli <command> --help' describes one command.\n";
}

} // namespace

int main(int argc, char* argv[]) {
    CrashHandler::install(u"norvane-cli");
    // Only the report draws; the other verbs stay free of any display. The report never shows a window,
    // so it draws off screen unless told otherwise.
    std::unique_ptr<QCoreApplication> app;
    if (needsWidgets(QStringList{argc > 1 ? QString::fromLocal8Bit(argv[1]) : QString()})) {
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        app = std::make_unique<QApplication>(argc, argv);
    } else {
        app = std::make_unique<QCoreApplication>(argc, argv);
    }
    QCoreApplication::setOrganizationName(u"Norvane"_s);
    QCoreApplication::setApplicationName(u"Norvane"_s);
    QCoreApplication::setApplicationVersion(Platform::appVersion());
    LatenessProbe latenessProbe;
    NorvaneApp::logSettingsWriteFailures();

    QTextStream out(stdout);
    QTextStream err(stderr);
    QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.isEmpty()) {
        printHelp(err);
        return 2;
    }
    const QString first = arguments.takeFirst();
    if (first == u"-h"_s || first == u"--help"_s || first == u"help"_s) {
        printHelp(out);
        return 0;
    }
    for (const CliVerb& verb : cliVerbs()) {
        if (verb.name == first) {
            if (arguments.contains(u"--help"_s) || arguments.contains(u"-h"_s)) {
                out << "Usage: norvane-cli " << synopsis(verb) << "\n\n" << verb.summary << '\n';
                return 0;
            }
            return verb.run(arguments, out, err);
        }
    }
    err << "norvane-cli: unknown command '" << first << "'\n\n";
    printHelp(err);
    return 2;
}
