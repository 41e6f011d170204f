#include "DestructiveAlert.h"

#include "Theme.h"

#include <QApplication>
#include <QEvent>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>

using namespace Qt::StringLiterals;

namespace {

// Keeps a button's text in the destructive red of the scheme shown, through scheme switches.
class DestructiveColours : public QObject {
public:
    explicit DestructiveColours(QPushButton* button)
        : QObject(button) {
        button->installEventFilter(this);
        paint(button);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::PaletteChange || event->type() == QEvent::ApplicationPaletteChange)
            paint(static_cast<QWidget*>(watched));
        return false;
    }

private:
    static void paint(QWidget* button) {
        QPalette colours = button->palette();
        // Both reds stand well clear of their scheme's button face.
        colours.setColor(QPalette::ButtonText,
                         Theme::isDark(colours) ? QColor(0xff, 0x6b, 0x6b) : QColor(0xc4, 0x2b, 0x1c));
        button->setPalette(colours);
    }
};

// The title as a desktop's title bar shows it: Qt adds the program's name after a dialog's own title.
QString titleAsShown(const QString& title) {
    const QString name = QGuiApplication::applicationDisplayName();
    if (name.isEmpty() || title.endsWith(name))
        return title;
    return title + u" \u2014 "_s + name;
}

// A title bar sets its text in bold beside an icon and up to three buttons.
int titleBarWidth(const QString& title) {
    QFont font = QApplication::font("QMdiSubWindowTitleBar");
    font.setBold(true);
    const QFontMetrics metrics(font);
    return metrics.horizontalAdvance(titleAsShown(title)) + 8 * metrics.height();
}

} // namespace

namespace DestructiveAlert {

QMessageBox* make(QWidget* parent, const QString& title, const QString& message, const QString& actionText,
                  const QString& cancelText) {
    // The title doubles as the heading: many desktops show a dialog's window title small or not at all.
    auto* box = new QMessageBox(QMessageBox::Warning, title, title, QMessageBox::NoButton, parent);
    box->setTextFormat(Qt::RichText);
    box->setText(u"<b>"_s + title.toHtmlEscaped() + u"</b>"_s);
    box->setInformativeText(message);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::WindowModal);

    auto* action = new QPushButton(actionText);
    // A focused button that answers Return would make itself the default; this one must not.
    action->setAutoDefault(false);
    new DestructiveColours(action);
    box->addButton(action, QMessageBox::DestructiveRole);
    QPushButton* cancel = box->addButton(cancelText, QMessageBox::RejectRole);
    box->setDefaultButton(cancel);
    box->setEscapeButton(cancel);

    // The message box sizes itself by its heading and buttons, which leaves a short title cut in the
    // title bar; the heading's label holds the box open to the title's width.
    const QList<QLabel*> labels = box->findChildren<QLabel*>();
    for (QLabel* label : labels) {
        if (label->text() == box->text())
            label->setMinimumWidth(titleBarWidth(title));
    }
    return box;
}

bool wasConfirmed(const QMessageBox& alert) {
    QAbstractButton* clicked = alert.clickedButton();
    return clicked && alert.buttonRole(clicked) == QMessageBox::DestructiveRole;
}

} // namespace DestructiveAlert
