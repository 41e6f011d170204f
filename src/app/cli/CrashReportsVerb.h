#pragma once

#include <QStringList>

class QTextStream;

// `norvane-cli crash-reports [--upload]`: the program's crash reports and whether each was sent; with
// --upload, one run of the uploader in the foreground.
int runCrashReportsVerb(const QStringList& arguments, QTextStream& out, QTextStream& err);
