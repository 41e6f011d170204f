#include "CardGridLayout.h"

#include <algorithm>

int CardGridLayout::columnsFor(int count, int width, int cardWidth, int spacing) {
    if (count <= 0)
        return 1;
    const int fitting = std::clamp((width + spacing) / std::max(1, cardWidth + spacing), 1, count);
    const int rows = (count + fitting - 1) / fitting;
    return (count + rows - 1) / rows;
}

CardGridLayout::CardGridLayout(QWidget* parent)
    : ItemListLayout(parent) {}

Qt::Orientations CardGridLayout::expandingDirections() const {
    return Qt::Horizontal;
}

bool CardGridLayout::hasHeightForWidth() const {
    return true;
}

int CardGridLayout::heightForWidth(int width) const {
    return layOut(QRect(0, 0, width, 0), false);
}

QSize CardGridLayout::sizeHint() const {
    // All cards side by side, each as wide as it would like.
    const QList<QLayoutItem*> items = shownItems();
    const QMargins margins = contentsMargins();
    const int count = int(items.size());
    const int width = margins.left() + margins.right() + cardWidth(items) * count +
                      std::max(0, spacing()) * std::max(0, count - 1);
    return QSize(width, heightForWidth(width));
}

void CardGridLayout::setGeometry(const QRect& rect) {
    QLayout::setGeometry(rect);
    layOut(rect, true);
}

int CardGridLayout::cardWidth(const QList<QLayoutItem*>& items) {
    int widest = 0;
    for (const QLayoutItem* item : items)
        widest = std::max(widest, item->sizeHint().width());
    return widest;
}

int CardGridLayout::layOut(const QRect& rect, bool apply) const {
    const QList<QLayoutItem*> items = shownItems();
    const QMargins margins = contentsMargins();
    const QRect area = rect.marginsRemoved(margins);
    if (items.isEmpty())
        return margins.top() + margins.bottom();
    const int gap = std::max(0, spacing());
    const int columns = columnsFor(int(items.size()), area.width(), cardWidth(items), gap);
    const int cardWidth = std::max(1, (area.width() - gap * (columns - 1)) / columns);

    // Cards of one row share its height, so that their tiles line up.
    int y = area.top();
    for (qsizetype first = 0; first < items.size(); first += columns) {
        const qsizetype last = std::min(items.size(), first + columns);
        int rowHeight = 0;
        for (qsizetype i = first; i < last; ++i) {
            QLayoutItem* item = items[i];
            rowHeight = std::max(rowHeight, item->hasHeightForWidth() ? item->heightForWidth(cardWidth)
                                                                      : item->sizeHint().height());
        }
        if (apply) {
            int x = area.left();
            for (qsizetype i = first; i < last; ++i) {
                items[i]->setGeometry(QRect(x, y, cardWidth, rowHeight));
                x += cardWidth + gap;
            }
        }
        y += rowHeight + gap;
    }
    return y - gap - area.top() + margins.top() + margins.bottom();
}
