#pragma once

#include <QStringList>

class QTextStream;

// `norvane-cli library [DIR] [--json] [--filter TEXT] [--delete FILE]`: the capture picker's list.
int runLibraryVerb(const QStringList& arguments, QTextStream& out, QTextStream& err);
