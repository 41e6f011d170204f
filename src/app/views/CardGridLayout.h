#pragma once

#include "ItemListLayout.h"

#include <QRect>

// Lays figure cards out in as many equal columns as the width allows, each card at least as wide as it
// would like to be (its size hint), and balances the rows: five cards that need two rows go three and two,
// not four and one. A narrow window thus gets fewer, wider cards instead of squeezing a figure onto two
// lines.
class CardGridLayout : public ItemListLayout {
public:
    // The columns that `count` cards take at `width`: as many as fit, then evened out over the rows.
    static int columnsFor(int count, int width, int cardWidth, int spacing);

    explicit CardGridLayout(QWidget* parent = nullptr);

    Qt::Orientations expandingDirections() const override;
    bool hasHeightForWidth() const override;
    int heightForWidth(int width) const override;
    QSize sizeHint() const override;
    void setGeometry(const QRect& rect) override;

private:
    // The width that the widest of the cards would like.
    static int cardWidth(const QList<QLayoutItem*>& items);
    // Places the shown items in `rect`, or only measures when `apply` is false; returns the height used.
    int layOut(const QRect& rect, bool apply) const;
};
