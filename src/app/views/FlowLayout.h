#pragma once

#include "ItemListLayout.h"

#include <QList>
#include <QPoint>
#include <QSize>

#include <optional>

// Lays its items out left to right and wraps onto a new row when the next one would pass the right
// edge. An item wider than the whole row is never wrapped at the start of a row: it overflows, so a
// very narrow window shows one item per row instead of losing any.
class FlowLayout : public ItemListLayout {
public:
    struct Arrangement {
        QList<QPoint> positions; // top-left corner of each item, relative to the contents' origin
        QSize size;              // the width of the widest row and the height of all rows
    };

    // Where items of these sizes go in rows at most `maxWidth` wide; without a width, in one row.
    static Arrangement arrange(const QList<QSize>& sizes, std::optional<int> maxWidth, int spacing);

    explicit FlowLayout(QWidget* parent = nullptr, int spacing = -1);

    // The gap between items and between rows; the style's widget spacing when none was given.
    int spacing() const;
    void setSpacing(int spacing) override;

    Qt::Orientations expandingDirections() const override;
    bool hasHeightForWidth() const override;
    int heightForWidth(int width) const override;
    QSize sizeHint() const override;
    void setGeometry(const QRect& rect) override;

private:
    QList<QSize> itemSizes() const;
    QSize withMargins(QSize size) const;

    int m_spacing = -1;
};
