#pragma once

#include <QStringList>

class QTextStream;

// `norvane-cli version [--check]`: the version of this build; with --check, the version gate's verdict
// after this launch's fetch, exiting 3 when the web site asks for a newer version.
int runVersionVerb(const QStringList& arguments, QTextStream& out, QTextStream& err);
