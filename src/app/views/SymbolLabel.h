#pragma once

#include <QColor>
#include <QString>

#include <optional>

class QLabel;
class QWidget;

// A label that holds one symbol the height of a line of text, optionally tinted in one colour. The
// label's properties "symbol" and "tint" name what it shows.
namespace SymbolLabel {

QLabel* make(QWidget* parent);
QLabel* make(const QString& symbol, QWidget* parent);
// Draws the symbol to fill the label, which must have its size already.
void set(QLabel* label, const QString& symbol, std::optional<QColor> tint = std::nullopt);

} // namespace SymbolLabel
