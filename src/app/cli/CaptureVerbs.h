#pragma once

#include <QStringList>

class QTextStream;

// `norvane-cli capture [--location L] [--network N] [--duration D] [--profile P] [--privacy P] [--json]`:
// a headless capture over the same session object as the window.
int runCaptureVerb(const QStringList& arguments, QTextStream& out, QTextStream& err);

// `norvane-cli replay FILE [--json]`: a recorded stdout of the tool through the decoder and the reducer,
// on a virtual clock that follows the recording's own timestamps.
int runReplayVerb(const QStringList& arguments, QTextStream& out, QTextStream& err);
