#pragma once

#include <QAbstractButton>
#include <QGroupBox>
#include <QLabel>
#include <QStringList>
#include <QTextEdit>
#include <QWidget>

// The words a user can see in a view now: labels, buttons, text boxes and the titles of groups.
inline QStringList visibleTexts(const QWidget& view) {
    QStringList texts;
    const QList<QLabel*> labels = view.findChildren<QLabel*>();
    for (const QLabel* label : labels) {
        if (label->isVisible() && !label->text().isEmpty())
            texts.append(label->text());
    }
    const QList<QAbstractButton*> buttons = view.findChildren<QAbstractButton*>();
    for (const QAbstractButton* button : buttons) {
        if (button->isVisible())
            texts.append(button->text());
    }
    const QList<QTextEdit*> boxes = view.findChildren<QTextEdit*>();
    for (const QTextEdit* box : boxes) {
        if (box->isVisible())
            texts.append(box->toPlainText());
    }
    const QList<QGroupBox*> groups = view.findChildren<QGroupBox*>();
    for (const QGroupBox* group : groups) {
        if (group->isVisible())
            texts.append(group->title());
    }
    return texts;
}
