#include "TourSteps.h"

#include "capture/CaptureLibraryModel.h"
#include "core/AppState.h"
#include "support/AppStateTestAccess.h"
#include "views/MainWindow.h"
#include "views/ResultsLatencyChartView.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QKeyEvent>
#include <QLineEdit>
#include <QScrollArea>
#include <QScrollBar>
#include <QSemaphore>
#include <QStackedWidget>

#include <cmath>

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

void scrollScreen(MainWindow& window, double fraction) {
    const QString screen = window.currentScreenName();
    for (QScrollArea* area : window.findChildren<QScrollArea*>()) {
        // Only the scrolling column of the screen shown, not one inside a chart or of a screen on its way
        // out.
        QWidget* page = area->parentWidget();
        while (page && page->objectName() != screen)
            page = page->parentWidget();
        if (!page || !area->isVisible())
            continue;
        QScrollBar* bar = area->verticalScrollBar();
        bar->setValue(bar->minimum() + int(std::lround(fraction * (bar->maximum() - bar->minimum()))));
        return;
    }
}

void scrollLatencyChart(MainWindow& window, double fraction) {
    for (ResultsLatencyChartView* chart : window.findChildren<ResultsLatencyChartView*>()) {
        QScrollBar* bar = chart->scrollBar();
        bar->setValue(bar->minimum() + int(std::lround(fraction * (bar->maximum() - bar->minimum()))));
    }
}

void playUpload(AppState& state, const QByteArrayList& lines, std::optional<int> exitCode) {
    state.cancelUploadRunner();
    AppStateTestAccess::resetUpload(state);
    AppStateTestAccess::holdIdleRunner(state);
    const int generation = state.uploadGeneration();
    for (const QByteArray& line : lines) {
        if (const std::optional<JSONEvent> event = JSONEvent::decode(line))
            AppStateTestAccess::uploadEvent(state, generation, *event);
    }
    if (exitCode)
        AppStateTestAccess::uploadCompleted(state, generation, *exitCode);
    emit state.uploadStateChanged();
}

void copyFolder(const QString& from, const QString& to) {
    QDir().mkpath(to);
    const QDir source(from);
    for (const QString& name : source.entryList(QDir::Files)) {
        QFile::remove(to + u'/' + name);
        QFile::copy(source.filePath(name), to + u'/' + name);
    }
}

ScanHold::ScanHold()
    : m_release(std::make_shared<QSemaphore>()) {
    CaptureLibraryModel::scanPool().start([release = m_release] { release->acquire(); });
}

ScanHold::~ScanHold() {
    m_release->release();
}

} // namespace TourSteps
