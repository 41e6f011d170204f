#pragma once

#include <QLabel>
#include <QString>
#include <QWidget>

// What a view test reads of the labels a user can see.
namespace ShownLabels {

// A label under `root` with exactly this text that would show with `root`.
inline QLabel* withText(const QWidget* root, const QString& text) {
    const QList<QLabel*> labels = root->findChildren<QLabel*>();
    for (QLabel* label : labels) {
        if (label->text() == text && label->isVisibleTo(root))
            return label;
    }
    return nullptr;
}

// The text of the label with this object name, or nothing while it is hidden.
inline QString textOf(const QWidget* root, const QString& objectName) {
    auto* label = root->findChild<QLabel*>(objectName);
    return label && label->isVisibleTo(root) ? label->text() : QString();
}

} // namespace ShownLabels
