#include "FlowLayout.h"

#include <QStyle>
#include <QWidget>

#include <algorithm>

FlowLayout::Arrangement FlowLayout::arrange(const QList<QSize>& sizes, std::optional<int> maxWidth,
                                            int spacing) {
    Arrangement arrangement;
    int x = 0;
    int y = 0;
    int rowHeight = 0;
    int largestX = 0;
    for (const QSize& size : sizes) {
        // Only an item that isn't first in its row moves down; a lone item too wide for the row stays.
        if (x > 0 && maxWidth && x + size.width() > *maxWidth) {
            y += rowHeight + spacing;
            x = 0;
            rowHeight = 0;
        }
        arrangement.positions.append(QPoint(x, y));
        rowHeight = std::max(rowHeight, size.height());
        x += size.width() + spacing;
        largestX = std::max(largestX, x - spacing);
    }
    arrangement.size = QSize(largestX, y + rowHeight);
    return arrangement;
}

FlowLayout::FlowLayout(QWidget* parent, int spacing)
    : ItemListLayout(parent)
    , m_spacing(spacing) {}

int FlowLayout::spacing() const {
    if (m_spacing >= 0)
        return m_spacing;
    const QWidget* widget = parentWidget();
    if (!widget)
        return 0;
    return widget->style()->pixelMetric(QStyle::PM_LayoutHorizontalSpacing, nullptr, widget);
}

void FlowLayout::setSpacing(int spacing) {
    m_spacing = spacing;
    invalidate();
}

Qt::Orientations FlowLayout::expandingDirections() const {
    return {};
}

bool FlowLayout::hasHeightForWidth() const {
    return true;
}

int FlowLayout::heightForWidth(int width) const {
    const QMargins margins = contentsMargins();
    const int inner = width - margins.left() - margins.right();
    return arrange(itemSizes(), inner, spacing()).size.height() + margins.top() + margins.bottom();
}

QSize FlowLayout::sizeHint() const {
    return withMargins(arrange(itemSizes(), std::nullopt, spacing()).size);
}

void FlowLayout::setGeometry(const QRect& rect) {
    QLayout::setGeometry(rect);
    const QRect inner = rect.marginsRemoved(contentsMargins());
    const QList<QLayoutItem*> items = shownItems();
    const QList<QSize> sizes = itemSizes();
    const Arrangement arrangement = arrange(sizes, inner.width(), spacing());
    for (qsizetype i = 0; i < items.size(); ++i)
        items[i]->setGeometry(QRect(inner.topLeft() + arrangement.positions[i], sizes[i]));
}

QList<QSize> FlowLayout::itemSizes() const {
    QList<QSize> sizes;
    for (const QLayoutItem* item : shownItems())
        sizes.append(item->sizeHint());
    return sizes;
}

QSize FlowLayout::withMargins(QSize size) const {
    const QMargins margins = contentsMargins();
    return size + QSize(margins.left() + margins.right(), margins.top() + margins.bottom());
}
