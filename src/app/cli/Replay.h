#pragma once

#include <QByteArray>
#include <QDateTime>

#include <optional>

class AppState;
class VirtualClock;

// Plays a recorded stdout of the measurement tool into a session as if a child had printed it: the
// same line splitting, decoding and reducer, with the session's timers on a virtual clock that moves
// forward to each timestamp of the recording.
class Replay {
public:
    struct Result {
        qint64 lines = 0;   // non-empty lines of the recording
        qint64 decoded = 0; // lines that were events
        qint64 dropped() const { return lines - decoded; }
    };

    // The first timestamp of the recording, where its clock starts.
    static std::optional<QDateTime> firstTimestamp(const QByteArray& recording);
    // Feeds every line; `time` must be the clock installed for `state`.
    static Result play(const QByteArray& recording, AppState& state, VirtualClock& time);
};
