#pragma once

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QColor>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>

#include <algorithm>
#include <cmath>

// What a user does to an alert with the keyboard, and how its buttons look.

// The button that acts rather than cancels.
inline QAbstractButton* destructiveButton(const QMessageBox& alert) {
    const QList<QAbstractButton*> buttons = alert.buttons();
    for (QAbstractButton* button : buttons) {
        if (alert.buttonRole(button) == QMessageBox::DestructiveRole)
            return button;
    }
    return nullptr;
}

// Presses a key where the alert's keyboard focus is, as the desktop delivers it.
inline void pressInAlert(QMessageBox& alert, Qt::Key key) {
    QWidget* focused = alert.focusWidget();
    QTest::keyClick(focused ? focused : &alert, key);
}

// Tabs through the alert until the button has the focus; false if it never gets it.
inline bool tabTo(QMessageBox& alert, QAbstractButton* button) {
    for (int step = 0; step < 8 && alert.focusWidget() != button; ++step)
        pressInAlert(alert, Qt::Key_Tab);
    return alert.focusWidget() == button;
}

// The contrast ratio of two colours as accessibility guidelines reckon it, from 1 to 21.
inline double contrastRatio(const QColor& one, const QColor& other) {
    const auto luminance = [](const QColor& colour) {
        const auto linear = [](double value) {
            return value <= 0.03928 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
        };
        return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
               0.0722 * linear(colour.blueF());
    };
    const double a = luminance(one);
    const double b = luminance(other);
    return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

// A button reads as destructive when its text is a clear red that stands out from its face.
inline bool readsAsDestructive(const QAbstractButton& button) {
    const QColor text = button.palette().color(QPalette::ButtonText);
    const int hue = text.hslHue();
    const bool red = (hue <= 15 || hue >= 345) && text.hslSaturation() >= 128;
    return red && contrastRatio(text, button.palette().color(QPalette::Button)) >= 4.5;
}

// Presses Return in an open question before a destructive action, first tabbing onto the action's
// button if asked. On the way it checks that "Cancel" is the default button and that the action's
// button, named `actionText`, reads as destructive.
inline void pressReturnInDestructiveAlert(QMessageBox& alert, const QString& actionText,
                                          bool tabbedOntoAction) {
    QAbstractButton* action = destructiveButton(alert);
    ASSERT_NE(action, nullptr);
    EXPECT_EQ(action->text(), actionText);
    EXPECT_TRUE(readsAsDestructive(*action));
    ASSERT_NE(alert.defaultButton(), nullptr);
    EXPECT_EQ(alert.defaultButton()->text(), QStringLiteral("Cancel"));
    if (tabbedOntoAction) {
        ASSERT_TRUE(tabTo(alert, action));
    }
    pressInAlert(alert, Qt::Key_Return);
    QApplication::processEvents();
}
