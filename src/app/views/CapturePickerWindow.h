#pragma once

#include <QPointer>
#include <QWidget>

class AppState;
class CapturePickerScreen;
class QLabel;
class QLineEdit;
class QMenu;
class QMessageBox;
class QModelIndex;
class QPushButton;
class QStackedWidget;
class QTableView;

// The capture history: a window of its own that lists the past captures of the capture folder, filters
// and sorts them, opens one in the results screen or deletes one. It scans the folder when it first
// appears; closing it while the scan runs drops the scan's result with the window.
class CapturePickerWindow : public QWidget {
    Q_OBJECT
public:
    static constexpr int defaultWidth = 800;
    static constexpr int defaultHeight = 450;

    // The captures of the capture folder of the settings.
    explicit CapturePickerWindow(AppState& state, QWidget* parent = nullptr);
    CapturePickerWindow(AppState& state, const QString& folder, QWidget* parent = nullptr);

    // A new history window of the owner's, centred on the owner's screen and deleted when it is closed.
    // Each one keeps its own filter, order and selection.
    static CapturePickerWindow* openFor(AppState& state, QWidget* owner);

    CapturePickerScreen& screen() const { return *m_screen; }
    // Closes the window.
    void onDismiss();

    // The three faces and their parts, for tests and the tour.
    QWidget* currentPage() const;
    QWidget* loadingPage() const { return m_loadingPage; }
    QWidget* emptyPage() const { return m_emptyPage; }
    QWidget* tablePage() const { return m_tablePage; }
    QLabel* loadingLabel() const { return m_loadingLabel; }
    QLabel* emptyIcon() const { return m_emptyIcon; }
    QLabel* emptyTitleLabel() const { return m_emptyTitle; }
    QLabel* emptyMessageLabel() const { return m_emptyMessage; }
    QLineEdit* filterField() const { return m_filter; }
    QTableView* table() const { return m_table; }
    QLabel* countLabel() const { return m_count; }
    QPushButton* cancelButton() const { return m_cancelButton; }
    QPushButton* loadButton() const { return m_loadButton; }
    // The menu of a right-clicked row while it is open.
    QMenu* rowMenu() const;
    // The question before a delete while it is open.
    QMessageBox* deleteAlert() const;

    // Selects the row and opens its menu at the point (in the table's viewport), as a right-click does.
    void openRowMenu(const QPoint& viewportPosition);

protected:
    void showEvent(QShowEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    QWidget* buildLoadingPage();
    QWidget* buildEmptyPage();
    QWidget* buildTablePage();
    void sizeColumns();
    void showState();
    void selectRow(const QModelIndex& index);
    void takeSelectionFromTable();
    void showSelectionInTable();
    void updateFooter();
    void updateDeleteAlert();

    CapturePickerScreen* m_screen = nullptr;
    QStackedWidget* m_pages = nullptr;
    QWidget* m_loadingPage = nullptr;
    QWidget* m_emptyPage = nullptr;
    QWidget* m_tablePage = nullptr;
    QLabel* m_loadingLabel = nullptr;
    QLabel* m_emptyIcon = nullptr;
    QLabel* m_emptyTitle = nullptr;
    QLabel* m_emptyMessage = nullptr;
    QLineEdit* m_filter = nullptr;
    QTableView* m_table = nullptr;
    QLabel* m_count = nullptr;
    QPushButton* m_cancelButton = nullptr;
    QPushButton* m_loadButton = nullptr;
    QPointer<QMenu> m_rowMenu;
    QPointer<QMessageBox> m_deleteAlert;
    bool m_syncingSelection = false;
};
