#include "screens/CapturePickerScreen.h"

#include "core/AppState.h"

using namespace Qt::StringLiterals;

const QString CapturePickerScreen::windowTitle = u"Test History"_s;
const QString CapturePickerScreen::loadingText = u"Scanning captures..."_s;
const QString CapturePickerScreen::emptyTitle = u"No captures found"_s;
const QString CapturePickerScreen::emptyMessage =
    u"Run a test first, or check the capture directory in Settings"_s;
const QString CapturePickerScreen::emptySymbol = u"doc.text.magnifyingglass"_s;
const QString CapturePickerScreen::filterPlaceholder = u"Filter by date, location, or network"_s;
const QString CapturePickerScreen::loadButtonTitle = u"Load Results"_s;
const QString CapturePickerScreen::cancelButtonTitle = u"Cancel"_s;
const QString CapturePickerScreen::deleteMenuTitle = u"Delete"_s;
const QString CapturePickerScreen::deleteAlertTitle = u"Delete Capture?"_s;
const QString CapturePickerScreen::deleteAlertMessage =
    u"This will permanently delete the capture CSV and associated files. This cannot be undone."_s;
const QString CapturePickerScreen::deleteAlertConfirm = u"Delete"_s;
const QString CapturePickerScreen::deleteAlertCancel = u"Cancel"_s;

CapturePickerScreen::CapturePickerScreen(AppState& state, const QString& folder,
                                         std::function<void()> onDismiss, QObject* parent)
    : QObject(parent)
    , m_state(state)
    , m_onDismiss(std::move(onDismiss))
    , m_library(folder) {
    connect(&m_library, &CaptureLibraryModel::loadingChanged, this, &CapturePickerScreen::stateChanged);
    connect(&m_library, &CaptureLibraryModel::capturesChanged, this, &CapturePickerScreen::stateChanged);
}

void CapturePickerScreen::appear() {
    if (m_appeared)
        return;
    m_appeared = true;
    m_library.load();
}

CapturePickerScreen::State CapturePickerScreen::state() const {
    if (m_library.isLoading())
        return State::loading;
    // A filter that matches nothing still shows the table, empty, so that the filter can be changed.
    return m_library.allCaptures().isEmpty() ? State::empty : State::table;
}

void CapturePickerScreen::loadSelected() {
    const std::optional<QString> csvPath = m_library.selectedCsvPath();
    if (!csvPath)
        return;
    AppState& state = m_state;
    const QString path = *csvPath;
    dismiss();
    state.loadCapture(path);
}

void CapturePickerScreen::dismiss() {
    if (m_onDismiss)
        m_onDismiss();
}

void CapturePickerScreen::requestDelete() {
    setShowDeleteAlert(true);
}

void CapturePickerScreen::confirmDelete() {
    setShowDeleteAlert(false);
    m_library.deleteSelected();
}

void CapturePickerScreen::cancelDelete() {
    setShowDeleteAlert(false);
}

void CapturePickerScreen::setShowDeleteAlert(bool show) {
    if (show == m_showDeleteAlert)
        return;
    m_showDeleteAlert = show;
    emit deleteAlertChanged();
}
