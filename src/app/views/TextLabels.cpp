#include "TextLabels.h"

#include <QHBoxLayout>
#include <QLabel>

namespace TextLabels {

QLabel* wrapping(QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setWordWrap(true);
    label->setTextFormat(Qt::PlainText);
    label->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    return label;
}

void setText(QLabel* label, const QString& text) {
    if (label->text() != text)
        label->setText(text);
}

QWidget* iconLine(QLabel* icon, QLabel*& text, QWidget* parent) {
    auto* row = new QWidget(parent);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    icon->setParent(row);
    layout->addWidget(icon, 0, Qt::AlignTop);
    text = wrapping(row);
    layout->addWidget(text, 1);
    return row;
}

} // namespace TextLabels
