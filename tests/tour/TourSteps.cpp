#include "TourSteps.h"

#include "views/MainWindow.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>

using namespace Qt::StringLiterals;

namespace TourSteps {

void openSuggestions(MainWindow& window) {
    const QList<QLineEdit*> fields = window.findChildren<QLineEdit*>();
    for (QLineEdit* field : fields) {
        if (!field->accessibleName().contains(u"network"_s, Qt::CaseInsensitive))
            continue;
        field->setFocus(Qt::OtherFocusReason);
        for (const QChar c : u"Sky"_s) {
            QKeyEvent press(QEvent::KeyPress, 0, Qt::NoModifier, QString(c));
            QApplication::sendEvent(field, &press);
        }
        return;
    }
}

} // namespace TourSteps
