#pragma once

#include <QString>

class QProcess;

// What the two tools' supervisors (the capture and the upload) do alike to their children.
namespace ChildProcess {

// Asks the kernel to send the child SIGTERM should this program die without cleaning up (a crash,
// SIGKILL), so that no tool keeps running for nobody. Does nothing where the kernel can't.
void dieWithParent(QProcess& process);

// Lets go of a child. One that has ended is deleted once the current signal is over; one that is
// still dying lives on by itself until it is reaped, since a QProcess must not be destroyed while
// its child runs.
void release(QProcess* process);

// The text without the line breaks at either end.
QString trimLineBreaks(const QString& text);

} // namespace ChildProcess
