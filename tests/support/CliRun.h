#pragma once

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTextStream>

// One run of a norvane-cli verb: its exit status and what it printed.
struct CliRun {
    int exitCode = -1;
    QString out;
    QString err;

    // The JSON object that the run printed, from its first brace on.
    QJsonObject json() const { return QJsonDocument::fromJson(out.mid(out.indexOf(u'{')).toUtf8()).object(); }
};

// The real program, as a script would run it, in the environment of the test.
inline CliRun runCli(const QStringList& arguments,
                     const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment()) {
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(NORVANE_CLI_PATH), arguments);
    process.waitForFinished(60'000);
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
}

// A verb called in this process, so that it runs on the test's virtual clock.
template <typename Verb> CliRun runVerb(Verb verb, const QStringList& arguments) {
    CliRun run;
    QTextStream out(&run.out);
    QTextStream err(&run.err);
    run.exitCode = verb(arguments, out, err);
    out.flush();
    err.flush();
    return run;
}
