#include "CaptureVerbs.h"

#include "CliArguments.h"
#include "Replay.h"
#include "StateReport.h"
#include "base/VirtualClock.h"
#include "core/AppState.h"
#include "core/HoneycombState.h"
#include "services/FileLogger.h"

#include <QFile>
#include <QJsonDocument>
#include <QTextStream>

using namespace Qt::StringLiterals;

namespace {
// The strip a window of the default size would lay out, so that a replay fills cells too.
constexpr double honeycombWidth = 640;
constexpr double honeycombHeight = 50;
} // namespace

int runReplayVerb(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    const auto parsed = FileArguments::parse(arguments, u"norvane-cli replay FILE [--json]"_s, err);
    if (!parsed)
        return 2;
    const bool asJson = parsed->asJson;
    QFile file(parsed->file);
    if (!file.open(QIODevice::ReadOnly)) {
        err << "norvane-cli replay: cannot read " << parsed->file << '\n';
        return 1;
    }
    const QByteArray recording = file.readAll();

    VirtualClock time(Replay::firstTimestamp(recording).value_or(VirtualClock::defaultStart()));
    ScopedVirtualTime scope(time);
    AppState state(FileLogger::shared());
    auto layOut = [&state] { state.honeycomb().layoutCells(honeycombWidth, honeycombHeight); };
    QObject::connect(&state, &AppState::honeycombChanged, &state, layOut);
    state.startReplay(CaptureConfig{});
    layOut();

    const Replay::Result result = Replay::play(recording, state, time);
    time.advance(1.0);

    if (asJson) {
        out << QJsonDocument(StateReport::stateJson(state, result.dropped())).toJson(QJsonDocument::Indented);
    } else {
        out << "Replayed " << result.decoded << " events; " << result.dropped() << " broken lines dropped.\n";
        out << "Screen: " << AppState::screenName(state.screen()) << '\n';
        if (state.captureId())
            out << "Capture " << *state.captureId() << '\n';
        if (!state.blockedProbes().isEmpty()) {
            QStringList blocked(state.blockedProbes().begin(), state.blockedProbes().end());
            blocked.sort();
            out << "Blocked: " << blocked.join(u", "_s) << '\n';
        }
        out << StateReport::resultsText(state.snapshot());
    }
    FileLogger::shared().waitForIdle();
    return 0;
}
