#pragma once

class QLabel;
class QString;
class QWidget;

// The plain-text labels that the screens' notices and status lines are made of.
namespace TextLabels {

// A plain-text label that wraps and takes the width it is given.
QLabel* wrapping(QWidget* parent);
// Sets the text only when it differs, so that an unchanged label neither relays out nor repaints.
void setText(QLabel* label, const QString& text);
// A row of an icon in front of a wrapping text; `text` receives the text's label.
QWidget* iconLine(QLabel* icon, QLabel*& text, QWidget* parent);

} // namespace TextLabels
