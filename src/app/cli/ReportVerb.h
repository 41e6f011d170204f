#pragma once

#include <QStringList>

class QTextStream;

// `norvane-cli report CAPTURE.csv [-o FILE.pdf] [--png FILE.png]`: the capture's report as the program
// exports it, without a window. It draws widgets, so it needs a QApplication.
int runReportVerb(const QStringList& arguments, QTextStream& out, QTextStream& err);

// Whether these arguments of norvane-cli run the report, which needs a QApplication, not a
// QCoreApplication.
bool needsWidgets(const QStringList& arguments);
