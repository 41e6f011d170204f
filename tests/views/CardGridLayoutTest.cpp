#include "views/CardGridLayout.h"

#include <gtest/gtest.h>

#include <QWidget>

TEST(CardGridLayout, AWideRowTakesEveryCardSideBySide) {
    EXPECT_EQ(CardGridLayout::columnsFor(5, 1000, 150, 6), 5);
    EXPECT_EQ(CardGridLayout::columnsFor(4, 1000, 150, 6), 4);
}

TEST(CardGridLayout, ANarrowRowWrapsIntoEvenRows) {
    // Four would fit, but four and one look worse than three and two.
    EXPECT_EQ(CardGridLayout::columnsFor(5, 640, 150, 6), 3);
    EXPECT_EQ(CardGridLayout::columnsFor(4, 480, 150, 6), 2);
    EXPECT_EQ(CardGridLayout::columnsFor(5, 300, 150, 6), 1);
}

TEST(CardGridLayout, ARowNarrowerThanOneCardStillHoldsOneColumn) {
    EXPECT_EQ(CardGridLayout::columnsFor(5, 40, 150, 6), 1);
    EXPECT_EQ(CardGridLayout::columnsFor(0, 400, 150, 6), 1);
}

TEST(CardGridLayout, CardsOfARowShareItsHeightAndHiddenCardsTakeNoPlace) {
    QWidget host;
    auto* grid = new CardGridLayout(&host);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setSpacing(10);
    QList<QWidget*> cards;
    for (int i = 0; i < 5; ++i) {
        auto* card = new QWidget;
        card->setMinimumSize(100, 20 + 10 * i); // a plain widget would like no more than its minimum
        grid->addWidget(card);
        cards.append(card);
    }
    cards[2]->hide();
    // Four cards of 100 at a width of 330: three fit, two rows of two balance better.
    grid->setGeometry(QRect(0, 0, 330, 500));
    EXPECT_EQ(cards[0]->geometry(), QRect(0, 0, 160, 30));
    EXPECT_EQ(cards[1]->geometry(), QRect(170, 0, 160, 30));
    EXPECT_EQ(cards[3]->geometry(), QRect(0, 40, 160, 60));
    EXPECT_EQ(cards[4]->geometry(), QRect(170, 40, 160, 60));
    EXPECT_EQ(grid->heightForWidth(330), 100);
}
