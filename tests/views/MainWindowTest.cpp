#include "views/MainWindow.h"

#include <gtest/gtest.h>

#include <QApplication>

TEST(MainWindow, OpensAtItsDefaultSizeWithTheProgramsTitle) {
    MainWindow window;
    window.show();
    QApplication::processEvents();
    EXPECT_EQ(window.windowTitle(), QStringLiteral("Norvane"));
    EXPECT_EQ(window.size(), QSize(700, 800));
    EXPECT_EQ(window.minimumSize(), QSize(600, 450));
}

TEST(MainWindow, CannotShrinkBelowItsMinimum) {
    MainWindow window;
    window.show();
    window.resize(300, 200);
    QApplication::processEvents();
    EXPECT_GE(window.width(), 600);
    EXPECT_GE(window.height(), 450);
}
