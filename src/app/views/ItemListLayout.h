#pragma once

#include <QLayout>
#include <QList>

// A layout over a plain list of items in the order added, for layouts that place them by a rule of their
// own. Hidden widgets take no place.
class ItemListLayout : public QLayout {
public:
    using QLayout::QLayout;
    ~ItemListLayout() override;

    void addItem(QLayoutItem* item) override;
    int count() const override;
    QLayoutItem* itemAt(int index) const override;
    QLayoutItem* takeAt(int index) override;
    // As narrow as the widest item, as every other item can move to a row of its own.
    QSize minimumSize() const override;

protected:
    QList<QLayoutItem*> shownItems() const;

private:
    QList<QLayoutItem*> m_items;
};
