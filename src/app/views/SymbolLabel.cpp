#include "SymbolLabel.h"

#include "Icons.h"

#include <QLabel>

#include <algorithm>

namespace SymbolLabel {

QLabel* make(QWidget* parent) {
    auto* label = new QLabel(parent);
    const int side = label->fontMetrics().height();
    label->setFixedSize(side, side);
    label->setAlignment(Qt::AlignCenter);
    return label;
}

QLabel* make(const QString& symbol, QWidget* parent) {
    QLabel* label = make(parent);
    set(label, symbol);
    return label;
}

void set(QLabel* label, const QString& symbol, std::optional<QColor> tint) {
    // The label's own size, which make() sets to a line of its text.
    const int side = std::min(label->width(), label->height());
    Icons::showOn(label, symbol, side, tint);
    // Which symbol shows, for tests and tools that can't read pixels.
    label->setProperty("symbol", symbol);
    label->setProperty("tint", tint ? tint->name() : QString());
}

} // namespace SymbolLabel
