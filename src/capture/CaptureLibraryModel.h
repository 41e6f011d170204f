#pragma once

#include "capture/CaptureLibrary.h"

#include <QAbstractTableModel>
#include <QFutureWatcher>
#include <QPointer>

class QThreadPool;

#include <optional>

// The state of one open capture picker as a table: everything found, the filtered and sorted rows
// that are shown, the single selection, and the delete. The window only draws it.
class CaptureLibraryModel : public QAbstractTableModel {
    Q_OBJECT
public:
    enum Role {
        // The value a column sorts by: the date, or the figure (invalid when absent).
        SortRole = Qt::UserRole + 1,
        IdRole,
        CsvPathRole,
    };

    explicit CaptureLibraryModel(const QString& folder, QObject* parent = nullptr);

    QString folder() const { return m_folder; }

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    // A click on a header: that column leads the sort order from now on.
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

    // Scans the folder on a background thread; the result arrives on this object's thread. A result
    // that comes back after the model is gone is dropped.
    void load();
    bool isLoading() const { return m_loading; }
    // The thread that scans run on; tests wait for it to be idle.
    static QThreadPool& scanPool();
    // Puts a finished scan in place: the rows, then the filter, then the end of loading.
    void setAllCaptures(const QList<CaptureSummary>& captures);

    const QList<CaptureSummary>& allCaptures() const { return m_allCaptures; }
    const QList<CaptureSummary>& captures() const { return m_captures; }

    QString filterText() const { return m_filterText; }
    void setFilterText(const QString& text);
    QList<CaptureSortKey> sortOrder() const { return m_sortOrder; }
    void setSortOrder(const QList<CaptureSortKey>& order);

    std::optional<QUuid> selected() const { return m_selected; }
    void setSelected(const std::optional<QUuid>& id);
    // The row of the selection among the shown rows, or -1.
    int selectedRow() const;
    // "Load Results" is enabled while something is selected.
    bool canLoadSelected() const { return m_selected.has_value(); }
    // The CSV to open for the selection, if the selected row is shown.
    std::optional<QString> selectedCsvPath() const;

    // Deletes the selected capture with its side file, its captures.json elements and its cache
    // entry; then the selection is empty and the filter is applied again.
    void deleteSelected();
    // Fills the shown rows from all rows, the filter text and the sort order.
    void applyFilter();

    // "{shown} of {all} captures" with a filter in force, else "{all} captures".
    QString countText() const;

signals:
    void loadingChanged(bool loading);
    void selectionChanged();
    void capturesChanged();

private:
    static QVariant alignment(CaptureColumn column);
    void setLoading(bool loading);

    QString m_folder;
    QList<CaptureSummary> m_allCaptures;
    QList<CaptureSummary> m_captures;
    std::optional<QUuid> m_selected;
    bool m_loading = true;
    QList<CaptureSortKey> m_sortOrder = CaptureLibrary::defaultSortOrder();
    QString m_filterText;
    QPointer<QFutureWatcher<QList<CaptureSummary>>> m_scan;
};
