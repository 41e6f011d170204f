#include "CaptureVerbs.h"

#include "StateReport.h"
#include "base/NumberText.h"
#include "base/Settings.h"
#include "core/AppState.h"
#include "core/HoneycombState.h"
#include "screens/SetupChoices.h"
#include "services/ConnectivityDiagnostics.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QEventLoop>
#include <QJsonDocument>
#include <QSocketNotifier>
#include <QTextStream>

#include <csignal>
#include <functional>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// The strip a window of the default size would lay out, so that a headless run fills cells too.
constexpr double honeycombWidth = 640;
constexpr double honeycombHeight = 50;

int signalPipe[2] = {-1, -1};

void onInterrupt(int) {
    const char byte = 1;
    [[maybe_unused]] const auto written = ::write(signalPipe[1], &byte, 1);
}

QString figure(const std::optional<double>& value, int decimals, const QString& unit) {
    return value ? NumberText::fixed(*value, decimals) + unit : u"---"_s;
}

QString progressLine(const AppState& state) {
    const CaptureStats& stats = state.stats();
    QString latency = figure(stats.latencyMs, 0, u" ms"_s);
    if (stats.latencyMs)
        latency += u' ' + stats.latencyProtocol;
    return u"%1s  latency %2  loss %3  down %4  up %5  signal %6"_s.arg(
        NumberText::wholePart(stats.elapsedSec), latency, figure(stats.lossPct, 1, u"%"_s),
        figure(stats.downloadMbps, 1, u" Mbps"_s), figure(stats.uploadMbps, 1, u" Mbps"_s),
        stats.rssi ? QString::number(*stats.rssi) + u" dBm"_s : u"---"_s);
}

// Runs the event loop until `done` holds, looking again each time `sender` emits `signal`. Gives the
// loop's exit status: not 0 when the user gave up with a second Ctrl-C.
template <typename Sender, typename Signal>
int waitUntil(Sender* sender, Signal signal, const std::function<bool()>& done) {
    if (done())
        return 0;
    QEventLoop loop;
    QObject::connect(sender, signal, &loop, [&] {
        if (done())
            loop.quit();
    });
    return loop.exec();
}

} // namespace

int runCaptureVerb(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    QCommandLineParser parser;
    parser.addOptions({
        {u"location"_s, u"Where you are."_s, u"text"_s},
        {u"network"_s, u"Which network this is."_s, u"text"_s},
        {u"duration"_s, u"One of "_s + SetupChoices::durations.join(u", "_s) + u"; continuous when absent."_s,
         u"duration"_s},
        {u"profile"_s, u"active or passive (continuous captures only)."_s, u"profile"_s},
        {u"privacy"_s, u"include, hash or omit; the setting when absent."_s, u"privacy"_s},
        {u"no-upload"_s, u"Keep the captures on this machine; don't upload after the capture."_s},
        {u"json"_s, u"Print the final state as one JSON object."_s},
    });
    if (!parser.parse(QStringList{u"norvane-cli capture"_s} + arguments) ||
        !parser.positionalArguments().isEmpty()) {
        err << "norvane-cli capture: "
            << (parser.errorText().isEmpty() ? u"unexpected argument"_s : parser.errorText()) << '\n';
        return 2;
    }

    SetupChoices choices;
    choices.location = parser.value(u"location"_s);
    choices.network = parser.value(u"network"_s);
    choices.isTimed = parser.isSet(u"duration"_s);
    if (choices.isTimed) {
        choices.selectedDuration = parser.value(u"duration"_s);
        if (!SetupChoices::durations.contains(choices.selectedDuration)) {
            err << "norvane-cli capture: --duration takes one of " << SetupChoices::durations.join(u", "_s)
                << '\n';
            return 2;
        }
    }
    if (parser.isSet(u"profile"_s)) {
        const auto profile = captureProfileFromRawValue(parser.value(u"profile"_s));
        if (!profile) {
            err << "norvane-cli capture: --profile takes active or passive\n";
            return 2;
        }
        choices.selectedProfile = *profile;
    }
    UploadPrivacy privacy =
        uploadPrivacyFromRawValue(Settings().stringValue(Settings::uploadPrivacy, u"include"_s))
            .value_or(UploadPrivacy::include);
    if (parser.isSet(u"privacy"_s)) {
        const auto chosen = uploadPrivacyFromRawValue(parser.value(u"privacy"_s));
        if (!chosen) {
            err << "norvane-cli capture: --privacy takes include, hash or omit\n";
            return 2;
        }
        privacy = *chosen;
    }
    const bool asJson = parser.isSet(u"json"_s);
    // With --json the standard output carries the one object; progress goes to standard error.
    QTextStream& progress = asJson ? err : out;

    AppState state(FileLogger::shared());
    state.setUploadsSuppressed(parser.isSet(u"no-upload"_s));
    auto layOut = [&state] { state.honeycomb().layoutCells(honeycombWidth, honeycombHeight); };
    layOut();
    QObject::connect(&state, &AppState::honeycombChanged, &state, layOut);

    // Ctrl-C asks for an orderly stop; a second one gives up at once.
    int interrupts = 0;
    ::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe);
    QSocketNotifier interruptNotifier(signalPipe[0], QSocketNotifier::Read);
    QObject::connect(&interruptNotifier, &QSocketNotifier::activated, &state, [&] {
        char byte = 0;
        [[maybe_unused]] const auto read = ::read(signalPipe[0], &byte, 1);
        if (state.uploadRunner()) {
            // The capture is saved; what didn't go out is sent by the next sweep.
            progress << "Upload interrupted; it resumes with the next upload.\n" << Qt::flush;
            state.cancelUploadRunner();
        } else if (state.diagnostics() && state.diagnostics()->isRunning()) {
            state.diagnostics()->cancel();
        } else if (++interrupts == 1) {
            progress << "Stopping — saving results (Ctrl-C again to abandon)…\n" << Qt::flush;
            state.stopCapture();
        } else {
            state.pythonProcess().reset();
            QCoreApplication::exit(1);
        }
    });
    std::signal(SIGINT, onInterrupt);

    Timer ticker = Time::scheduler().repeating(1.0, &state, [&] {
        if (state.screen() == AppState::Screen::running)
            progress << progressLine(state) << '\n' << Qt::flush;
    });

    // The capture is over when the tool's run has ended for good, or when it never started.
    QObject::connect(&state, &AppState::processTerminated, &state, [] { QCoreApplication::exit(0); });

    state.startCapture(choices.toCaptureConfig(privacy));
    // A launch that failed at once has no run to wait for.
    int loopStatus = state.pythonProcess().state().isFailed() ? 0 : QCoreApplication::exec();
    ticker.cancel();

    // A failed capture is explained by the diagnosis that it started.
    if (loopStatus == 0 && state.diagnostics()) {
        ConnectivityDiagnostics* diagnosis = state.diagnostics();
        progress << "Checking the network…\n" << Qt::flush;
        loopStatus = waitUntil(diagnosis, &ConnectivityDiagnostics::runFinished, [diagnosis] {
            return diagnosis->phase().isCompleted() || diagnosis->isCancelled();
        });
    }
    // A finished capture waits for the first outcome of its upload; retries are left to the next run.
    if (loopStatus == 0 && state.uploadRunner()) {
        progress << "Uploading…\n" << Qt::flush;
        loopStatus =
            waitUntil(&state, &AppState::uploadStateChanged, [&state] { return !state.uploadRunner(); });
    }
    std::signal(SIGINT, SIG_DFL);
    ::close(signalPipe[0]);
    ::close(signalPipe[1]);

    const AppState::Screen screen = state.screen();
    const bool succeeded = loopStatus == 0 && !state.errorMessage() &&
                           (screen == AppState::Screen::celebration || screen == AppState::Screen::results);
    if (asJson) {
        out << QJsonDocument(StateReport::stateJson(state)).toJson(QJsonDocument::Indented);
    } else {
        if (state.errorMessage()) {
            out << "Capture failed: " << *state.errorMessage() << '\n';
            if (state.diagnostics() && state.diagnostics()->phase().verdict)
                out << '\n' << StateReport::diagnosisText(*state.diagnostics()) << '\n';
        } else if (!succeeded)
            out << "The measurement tool ended without finishing the capture.\n";
        if (state.captureId())
            out << "Capture " << *state.captureId() << '\n';
        if (state.stopReason())
            out << *state.stopReason() << '\n';
        for (const QString& warning : state.warnings())
            out << "Note: " << warning << '\n';
        if (screen == AppState::Screen::celebration || screen == AppState::Screen::results) {
            out << StateReport::resultsText(state.snapshot());
            if (const QString upload = StateReport::uploadText(state); !upload.isEmpty())
                out << "\nUpload:\n" << upload << '\n';
        }
    }
    // Only a child abandoned by a second Ctrl-C can still be running here.
    state.pythonProcess().reset();
    FileLogger::shared().waitForIdle();
    return succeeded ? 0 : 1;
}
