#include "ReportVerb.h"

#include "CliArguments.h"

#include "core/AppState.h"
#include "services/FileLogger.h"
#include "views/CaptureReport.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QTextStream>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

const QString usage = u"norvane-cli report CAPTURE.csv [-o FILE.pdf] [--png FILE.png]"_s;

struct ReportArguments {
    QString capture;
    QString pdf;
    std::optional<QString> picture;
};

std::optional<ReportArguments> parse(QStringList arguments, QTextStream& err) {
    ReportArguments parsed;
    // The options that take a file are taken out first; the capture is what remains.
    for (const QString& option : {u"-o"_s, u"--png"_s}) {
        const qsizetype at = arguments.indexOf(option);
        if (at < 0)
            continue;
        if (at + 1 >= arguments.size()) {
            err << option << " needs a file name\nUsage: " << usage << '\n';
            return std::nullopt;
        }
        (option == u"-o"_s ? parsed.pdf : parsed.picture.emplace()) = arguments.takeAt(at + 1);
        arguments.removeAt(at);
    }
    const std::optional<FileArguments> rest = FileArguments::parse(arguments, usage, err);
    if (!rest || rest->asJson) {
        if (rest)
            err << "Unknown option --json\nUsage: " << usage << '\n';
        return std::nullopt;
    }
    parsed.capture = rest->file;
    // Beside the capture, under its own name: the two belong together.
    if (parsed.pdf.isEmpty()) {
        const QFileInfo capture(parsed.capture);
        parsed.pdf = capture.dir().filePath(capture.completeBaseName() + u".pdf"_s);
    }
    return parsed;
}

} // namespace

bool needsWidgets(const QStringList& arguments) {
    return arguments.value(0) == u"report"_s;
}

int runReportVerb(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    const std::optional<ReportArguments> parsed = parse(arguments, err);
    if (!parsed)
        return 2;
    if (!qobject_cast<QApplication*>(QCoreApplication::instance())) {
        err << "The report draws widgets and needs a QApplication.\n";
        return 2;
    }

    // The very steps that open a capture from the history in the window.
    AppState state(FileLogger::shared());
    state.loadCapture(parsed->capture);
    FileLogger::shared().waitForIdle();
    if (state.errorMessage()) {
        err << *state.errorMessage() << '\n';
        return 1;
    }

    CaptureReport report(state);
    if (const std::optional<QString> error = report.writePdf(parsed->pdf)) {
        err << *error << '\n';
        return 1;
    }
    out << "Report: " << QDir::toNativeSeparators(parsed->pdf) << " (" << report.pageCount() << " pages)\n";
    if (parsed->picture) {
        if (const std::optional<QString> error = report.writePicture(*parsed->picture)) {
            err << *error << '\n';
            return 1;
        }
        out << "Summary picture: " << QDir::toNativeSeparators(*parsed->picture) << '\n';
    }
    return 0;
}
