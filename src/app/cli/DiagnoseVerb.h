#pragma once

#include <QStringList>

class QTextStream;

// `norvane-cli diagnose [--error TEXT]`: runs the connectivity diagnosis alone and prints its verdict
// in the diagnostics screen's words, for support staff.
int runDiagnoseVerb(const QStringList& arguments, QTextStream& out, QTextStream& err);
