#pragma once

#include "capture/CaptureLibraryModel.h"

#include <QObject>
#include <QString>

#include <functional>

class AppState;

// One open capture history window: the library of the capture folder as a table, which of its three
// faces shows (scanning, nothing found, the table), opening the selected capture and the question before
// a delete. Main thread only; the window draws it and forwards the user's actions.
class CapturePickerScreen : public QObject {
    Q_OBJECT
public:
    enum class State { loading, empty, table };

    // The window's words.
    static const QString windowTitle;
    static const QString loadingText;
    static const QString emptyTitle;
    static const QString emptyMessage;
    static const QString emptySymbol;
    static const QString filterPlaceholder;
    static const QString loadButtonTitle;
    static const QString cancelButtonTitle;
    static const QString deleteMenuTitle;
    static const QString deleteAlertTitle;
    static const QString deleteAlertMessage;
    static const QString deleteAlertConfirm;
    static const QString deleteAlertCancel;

    // `onDismiss` closes the window; it runs before a chosen capture is opened.
    CapturePickerScreen(AppState& state, const QString& folder, std::function<void()> onDismiss,
                        QObject* parent = nullptr);

    CaptureLibraryModel& library() { return m_library; }
    const CaptureLibraryModel& library() const { return m_library; }

    // The window came into view: the first time, the folder is scanned in the background. Showing it
    // again (raised from behind another window) keeps what it has.
    void appear();
    State state() const;
    // "Load Results" is enabled while something is selected.
    bool canLoadSelected() const { return m_library.canLoadSelected(); }

    // Opens the selected capture when its row is shown: the window goes first, then the results load.
    void loadSelected();
    void dismiss();

    // "Delete" in a row's menu asks first; the answer acts on the selection as it is then.
    bool showDeleteAlert() const { return m_showDeleteAlert; }
    void requestDelete();
    void confirmDelete();
    void cancelDelete();

signals:
    // Loading ended, or the number of all captures changed: the face of the window may change.
    void stateChanged();
    void deleteAlertChanged();

private:
    void setShowDeleteAlert(bool show);

    AppState& m_state;
    std::function<void()> m_onDismiss;
    CaptureLibraryModel m_library;
    bool m_appeared = false;
    bool m_showDeleteAlert = false;
};
