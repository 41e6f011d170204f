#pragma once

#include <QStringList>

class QTextStream;

// `norvane-cli setup [--json]`: the first-run install of uv and the tool's packages without a window,
// as the bootstrap screen runs it, for support staff and scripted installs.
int runSetupVerb(const QStringList& arguments, QTextStream& out, QTextStream& err);
