#include "ItemListLayout.h"

ItemListLayout::~ItemListLayout() {
    while (QLayoutItem* item = takeAt(0))
        delete item;
}

void ItemListLayout::addItem(QLayoutItem* item) {
    m_items.append(item);
}

int ItemListLayout::count() const {
    return int(m_items.size());
}

QLayoutItem* ItemListLayout::itemAt(int index) const {
    return index >= 0 && index < m_items.size() ? m_items.at(index) : nullptr;
}

QLayoutItem* ItemListLayout::takeAt(int index) {
    return index >= 0 && index < m_items.size() ? m_items.takeAt(index) : nullptr;
}

QSize ItemListLayout::minimumSize() const {
    QSize size;
    for (const QLayoutItem* item : shownItems())
        size = size.expandedTo(item->minimumSize());
    return size.grownBy(contentsMargins());
}

QList<QLayoutItem*> ItemListLayout::shownItems() const {
    QList<QLayoutItem*> items;
    for (QLayoutItem* item : m_items) {
        if (!item->isEmpty())
            items.append(item);
    }
    return items;
}
