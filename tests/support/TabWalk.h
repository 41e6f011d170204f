#pragma once

#include "views/Theme.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QAbstractScrollArea>
#include <QApplication>
#include <QButtonGroup>
#include <QImage>
#include <QLabel>
#include <QList>
#include <QString>
#include <QStringList>
#include <QTest>
#include <QWidget>

// Walks a window's controls with the Tab key, as a keyboard user would, and tells what it met.
namespace TabWalk {

// One round of Tab through a window: the widgets that took the focus in order, until the focus came
// back to where it started or the limit of presses ran out.
struct Round {
    QList<QWidget*> reached;
    bool cycled = false;
    // Stops that looked the same with the focus as without it: the user couldn't see where it was.
    QList<QWidget*> unseenFocus;
};

inline QString describe(const QWidget* widget) {
    if (!widget)
        return QStringLiteral("(none)");
    QString text = QString::fromLatin1(widget->metaObject()->className());
    if (!widget->objectName().isEmpty())
        text += u'#' + widget->objectName();
    if (!widget->accessibleName().isEmpty())
        text += QStringLiteral(" \"") + widget->accessibleName() + u'"';
    return text;
}

inline QStringList describe(const QList<QWidget*>& widgets) {
    QStringList texts;
    for (const QWidget* widget : widgets)
        texts.append(describe(widget));
    return texts;
}

// Shows and activates the window, then presses Tab until the focus cycles. The keys go to the window as
// the desktop delivers them, to whatever holds the focus.
inline Round walk(QWidget& window, int limit = 120) {
    if (!window.isVisible())
        window.show();
    window.activateWindow();
    if (!QTest::qWaitForWindowActive(&window))
        return {};
    Round round;
    QImage focusedLook;
    for (int press = 0; press < limit; ++press) {
        QTest::keyClick(window.windowHandle(), Qt::Key_Tab);
        QApplication::processEvents();
        QWidget* focused = QApplication::focusWidget();
        if (!round.reached.isEmpty() && focused != round.reached.last() &&
            round.reached.last()->grab().toImage() == focusedLook)
            round.unseenFocus.append(round.reached.last());
        if (!focused)
            break;
        focusedLook = focused->grab().toImage();
        if (!round.reached.isEmpty() && focused == round.reached.first()) {
            round.cycled = true;
            break;
        }
        if (round.reached.contains(focused))
            break; // caught in a loop that skips the first stop
        round.reached.append(focused);
    }
    return round;
}

// A widget that takes the focus from Tab counts as a stop only where a user could see and use it.
inline bool isTabStop(const QWidget& widget, const QWidget& window) {
    if (!(widget.focusPolicy() & Qt::TabFocus) || widget.focusProxy())
        return false;
    if (!widget.isVisibleTo(&window) || !widget.isEnabled() || widget.window() != &window)
        return false;
    // The inner surface of a scroll area takes no focus of its own; the area is the stop.
    if (auto* area = qobject_cast<QAbstractScrollArea*>(widget.parentWidget());
        area && area->viewport() == &widget)
        return false;
    // A row of exclusive choices is one stop, at its chosen button; the arrow keys move within it.
    if (auto* button = qobject_cast<const QAbstractButton*>(&widget)) {
        const QButtonGroup* group = button->group();
        if (group && group->exclusive() && group->checkedButton() && group->checkedButton() != button)
            return false;
    }
    return true;
}

// Every widget of the window that Tab should reach.
inline QList<QWidget*> tabStops(QWidget& window) {
    QList<QWidget*> stops;
    const QList<QWidget*> widgets = window.findChildren<QWidget*>();
    for (QWidget* widget : widgets) {
        if (isTabStop(*widget, window))
            stops.append(widget);
    }
    return stops;
}

// Controls only a mouse could use: links in labels that the keyboard can't follow.
inline QList<QWidget*> mouseOnlyLinks(QWidget& window) {
    QList<QWidget*> found;
    const QList<QLabel*> labels = window.findChildren<QLabel*>();
    for (QLabel* label : labels) {
        const Qt::TextInteractionFlags flags = label->textInteractionFlags();
        const bool hasLink = label->text().contains(QStringLiteral("href"), Qt::CaseInsensitive);
        if (hasLink && label->isVisibleTo(&window) && (flags & Qt::LinksAccessibleByMouse) &&
            !(flags & Qt::LinksAccessibleByKeyboard))
            found.append(label);
    }
    return found;
}

inline std::string joined(const QList<QWidget*>& widgets) {
    return describe(widgets).join(QStringLiteral("\n  ")).toStdString();
}

// The keyboard user's round of a window: Tab comes back to where it started, meets every control that a
// mouse could use, and each stop has a name for a screen reader to say. Returns the stops in order.
inline QList<QWidget*> expectEveryControlReachedAndNamed(QWidget& window) {
    const Round round = walk(window);
    const QList<QWidget*> stops = tabStops(window);
    if (!stops.isEmpty()) {
        EXPECT_TRUE(round.cycled) << "Tab never came back; it went through\n  " << joined(round.reached);
    }
    for (QWidget* stop : stops)
        EXPECT_TRUE(round.reached.contains(stop)) << "Tab never reaches " << describe(stop).toStdString()
                                                  << "\nit went through\n  " << joined(round.reached);
    for (QWidget* reached : round.reached) {
        EXPECT_FALSE(reached->accessibleName().trimmed().isEmpty())
            << "no accessible name: " << describe(reached).toStdString();
        EXPECT_TRUE(reached->isVisible()) << "focus on a hidden " << describe(reached).toStdString();
    }
    for (QWidget* unseen : round.unseenFocus)
        ADD_FAILURE() << "the focus doesn't show on " << describe(unseen).toStdString();
    for (QWidget* link : mouseOnlyLinks(window))
        ADD_FAILURE() << "a link only a mouse can follow: " << describe(link).toStdString();
    return round.reached;
}

// The same round in the dark scheme, then in the light one, which stays as every view test expects; the
// stops of the last round.
inline QList<QWidget*> expectInBothSchemes(QWidget& window) {
    QList<QWidget*> stops;
    for (const auto scheme : {Theme::Scheme::Dark, Theme::Scheme::Light}) {
        SCOPED_TRACE(Theme::name(scheme));
        Theme::apply(*qApp, scheme);
        QApplication::processEvents();
        stops = expectEveryControlReachedAndNamed(window);
    }
    return stops;
}

} // namespace TabWalk
