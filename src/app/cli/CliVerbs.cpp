#include "CliVerb.h"

#include "AnalyzeVerb.h"
#include "CaptureVerbs.h"
#include "CrashReportsVerb.h"
#include "DiagnoseVerb.h"
#include "LibraryVerb.h"
#include "ReportVerb.h"
#include "SetupVerb.h"
#include "VersionVerb.h"

#include "platform/Locations.h"
#include "subprocess/CaptureFolder.h"

#include <QTextStream>

using namespace Qt::StringLiterals;

namespace {

int runPaths(const QStringList&, QTextStream& out, QTextStream&) {
    const QList<std::pair<const char*, QString>> rows = {
        {"captures", CaptureFolder::outputDirectory()},
        {"log file", Locations::logFilePath()},
        {"settings", Locations::settingsFilePath()},
        {"crash reports", Locations::diagnosticReportsDir()},
        {"browser cache", Locations::playwrightCacheDir()},
        {"tool state", Locations::toolStateDir()},
    };
    for (const auto& [label, path] : rows)
        out << QString::fromLatin1(label).leftJustified(15) << path << '\n';
    return 0;
}

} // namespace

const std::vector<CliVerb>& cliVerbs() {
    static const std::vector<CliVerb> verbs = {
        {u"analyze"_s, u"FILE.csv [--json]"_s,
         u"Show the results of a capture file as the results screen does."_s, runAnalyzeVerb},
        {u"capture"_s,
         u"[--location L] [--network N] [--duration D] [--profile P] [--privacy P] [--no-upload] [--json]"_s,
         u"Run a capture without a window and print its results."_s, runCaptureVerb},
        {u"crash-reports"_s, u"[--upload]"_s,
         u"List the program's crash reports, sent or pending; send the pending ones now."_s,
         runCrashReportsVerb},
        {u"diagnose"_s, u"[--error TEXT]"_s,
         u"Check the network as the diagnostics screen does and print the verdict."_s, runDiagnoseVerb},
        {u"library"_s, u"[DIR] [--json] [--filter TEXT] [--delete FILE]"_s,
         u"List the captures of a folder as the capture picker does; delete one."_s, runLibraryVerb},
        {u"paths"_s, QString(), u"Show where Norvane keeps captures, its log and its settings."_s, runPaths},
        {u"replay"_s, u"FILE [--json]"_s, u"Feed a recorded event stream through the live reducer."_s,
         runReplayVerb},
        {u"report"_s, u"CAPTURE.csv [-o FILE.pdf] [--png FILE.png]"_s,
         u"Write a capture's report as a PDF (beside the capture unless -o names it) and a summary picture."_s,
         runReportVerb},
        {u"setup"_s, u"[--json]"_s,
         u"Install uv and the measurement tool's packages, as a first launch does."_s, runSetupVerb},
        {u"version"_s, u"[--check]"_s,
         u"Show the version of this program; --check asks the web site whether it may still run."_s,
         runVersionVerb},
    };
    return verbs;
}
