#pragma once

#include <QStringList>

class QTextStream;

// `norvane-cli analyze FILE.csv [--json]`: what the results screen shows for a capture opened from
// the history.
int runAnalyzeVerb(const QStringList& arguments, QTextStream& out, QTextStream& err);
