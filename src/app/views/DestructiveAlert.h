#pragma once

#include <QString>

class QMessageBox;
class QWidget;

// A question before something that can't be undone, such as quitting during a capture or deleting one:
// a warning whose title doubles as its heading, the message under it, and two buttons. The one that
// acts wears the destructive colours of the scheme shown and never answers Return; the other one,
// "Cancel", is the button of both Return and Escape. The alert is modal to its parent's window, wide
// enough for its whole title, and deleted when it closes; the caller opens it.
namespace DestructiveAlert {

QMessageBox* make(QWidget* parent, const QString& title, const QString& message, const QString& actionText,
                  const QString& cancelText);

// Whether the alert was answered with its destructive button.
bool wasConfirmed(const QMessageBox& alert);

} // namespace DestructiveAlert
