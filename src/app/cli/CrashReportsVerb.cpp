#include "CrashReportsVerb.h"

#include "services/CrashReportUploader.h"
#include "services/FileLogger.h"

#include <QFileInfo>
#include <QTextStream>

using namespace Qt::StringLiterals;

namespace {

using Ending = CrashReportUploader::RunOutcome::Ending;

void printReports(const CrashReportUploader& uploader, QTextStream& out) {
    const QStringList reports = uploader.findCrashReports();
    if (reports.isEmpty()) {
        out << "No crash reports in " << uploader.sources().reportsDir << '\n';
        return;
    }
    const QSet<QString> sent = uploader.loadUploadedSet();
    for (const QString& report : reports) {
        const QString name = QFileInfo(report).fileName();
        out << (sent.contains(name) ? u"sent   "_s : u"pending"_s) << "  " << report << '\n';
    }
}

QString runSummary(const CrashReportUploader::RunOutcome& outcome) {
    switch (outcome.ending) {
    case Ending::skippedForSentinel:
        return u"An earlier upload did not finish; this run was skipped and the next one tries again."_s;
    case Ending::notConfigured:
        return u"Crash upload is not configured; see the log."_s;
    case Ending::stopped:
    case Ending::finished:
        break;
    }
    if (outcome.newReports == 0)
        return u"No new crash reports to send."_s;
    return u"Sent %1 of %2 new crash report(s)."_s.arg(outcome.uploaded).arg(outcome.newReports);
}

} // namespace

int runCrashReportsVerb(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    bool upload = false;
    for (const QString& argument : arguments) {
        if (argument != u"--upload"_s) {
            err << "norvane-cli crash-reports: unknown argument " << argument
                << "\nUsage: norvane-cli crash-reports [--upload]\n";
            return 2;
        }
        upload = true;
    }
    CrashReportUploader uploader(FileLogger::shared());
    int status = 0;
    if (upload) {
        const CrashReportUploader::RunOutcome outcome = uploader.run();
        out << runSummary(outcome) << '\n';
        status = outcome.nothingFailed() ? 0 : 1;
    }
    printReports(uploader, out);
    return status;
}
