#include "capture/CaptureLibraryModel.h"

#include "base/Clock.h"

#include <QThreadPool>
#include <QtConcurrent/QtConcurrentRun>

using namespace Qt::StringLiterals;

CaptureLibraryModel::CaptureLibraryModel(const QString& folder, QObject* parent)
    : QAbstractTableModel(parent)
    , m_folder(folder) {}

int CaptureLibraryModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(m_captures.size());
}

int CaptureLibraryModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : captureColumnCount;
}

QVariant CaptureLibraryModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const CaptureSummary& capture = m_captures.at(index.row());
    const auto column = static_cast<CaptureColumn>(index.column());
    switch (role) {
    case Qt::DisplayRole:
        return CaptureLibrary::cellText(capture, column);
    case Qt::TextAlignmentRole:
        return alignment(column);
    case Qt::ToolTipRole:
        // The free texts may be cut short in a narrow column; their whole text is a hover away.
        if (column == CaptureColumn::location || column == CaptureColumn::network) {
            const QString text = CaptureLibrary::cellText(capture, column);
            return text.isEmpty() ? QVariant() : QVariant(text);
        }
        return {};
    case SortRole: {
        const auto figure = [](const std::optional<double>& value) {
            return value ? QVariant(*value) : QVariant();
        };
        switch (column) {
        case CaptureColumn::date:
            return capture.timestamp;
        case CaptureColumn::duration:
            return figure(capture.durationMin);
        case CaptureColumn::location:
            return capture.location;
        case CaptureColumn::network:
            return capture.network;
        case CaptureColumn::download:
            return figure(capture.downloadMbps);
        case CaptureColumn::upload:
            return figure(capture.uploadMbps);
        case CaptureColumn::latency:
            return figure(capture.medianLatencyMs);
        case CaptureColumn::loss:
            return figure(capture.lossPct);
        }
        return {};
    }
    case IdRole:
        return capture.id;
    case CsvPathRole:
        return capture.csvPath;
    default:
        return {};
    }
}

QVariant CaptureLibraryModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || section < 0 || section >= captureColumnCount)
        return {};
    const auto column = static_cast<CaptureColumn>(section);
    switch (role) {
    case Qt::DisplayRole:
        return CaptureLibrary::columnTitle(column);
    case Qt::TextAlignmentRole:
        // A title stands over its figures: right-aligned where they are.
        return alignment(column);
    default:
        return {};
    }
}

QVariant CaptureLibraryModel::alignment(CaptureColumn column) {
    // Texts read from the left; figures line up on their last digit.
    if (column == CaptureColumn::date || column == CaptureColumn::location ||
        column == CaptureColumn::network)
        return QVariant::fromValue(Qt::Alignment(Qt::AlignLeft | Qt::AlignVCenter));
    return QVariant::fromValue(Qt::Alignment(Qt::AlignRight | Qt::AlignVCenter));
}

void CaptureLibraryModel::sort(int column, Qt::SortOrder order) {
    if (column < 0 || column >= captureColumnCount)
        return;
    QList<CaptureSortKey> keys{{static_cast<CaptureColumn>(column), order}};
    for (const CaptureSortKey& key : std::as_const(m_sortOrder)) {
        if (key.column != keys.first().column)
            keys.append(key);
    }
    setSortOrder(keys);
}

void CaptureLibraryModel::load() {
    setLoading(true);
    const QString folder = m_folder;
    // "Now" is read here, on the thread that owns the clock.
    const QDateTime now = Time::clock().now();
    auto* scan = new QFutureWatcher<QList<CaptureSummary>>(this);
    m_scan = scan;
    connect(scan, &QFutureWatcherBase::finished, this, [this, scan] {
        scan->deleteLater();
        if (scan != m_scan)
            return; // a later scan replaced this one
        setAllCaptures(scan->result());
    });
    scan->setFuture(QtConcurrent::run(
        &scanPool(), [folder, now] { return CaptureLibrary::loadCaptureSummaries(folder, now); }));
}

QThreadPool& CaptureLibraryModel::scanPool() {
    // The scan spreads the files it reads over the global pool and waits for them. Run from that same
    // pool, two scans at once could hold every thread of it while they wait, and never finish.
    static QThreadPool pool;
    pool.setMaxThreadCount(1);
    return pool;
}

void CaptureLibraryModel::setAllCaptures(const QList<CaptureSummary>& captures) {
    m_allCaptures = captures;
    applyFilter();
    setLoading(false);
}

void CaptureLibraryModel::setFilterText(const QString& text) {
    if (text == m_filterText)
        return;
    m_filterText = text;
    applyFilter();
}

void CaptureLibraryModel::setSortOrder(const QList<CaptureSortKey>& order) {
    m_sortOrder = order;
    applyFilter();
}

void CaptureLibraryModel::setSelected(const std::optional<QUuid>& id) {
    if (id == m_selected)
        return;
    m_selected = id;
    emit selectionChanged();
}

int CaptureLibraryModel::selectedRow() const {
    if (!m_selected)
        return -1;
    for (qsizetype row = 0; row < m_captures.size(); ++row) {
        if (m_captures.at(row).id == *m_selected)
            return static_cast<int>(row);
    }
    return -1;
}

std::optional<QString> CaptureLibraryModel::selectedCsvPath() const {
    const int row = selectedRow();
    return row < 0 ? std::nullopt : std::optional<QString>(m_captures.at(row).csvPath);
}

void CaptureLibraryModel::deleteSelected() {
    const int row = selectedRow();
    if (row < 0)
        return;
    const CaptureSummary capture = m_captures.at(row);
    CaptureLibrary::deleteCapture(capture.csvPath, m_folder);
    m_allCaptures.removeIf([&](const CaptureSummary& each) { return each.id == capture.id; });
    setSelected(std::nullopt);
    applyFilter();
}

void CaptureLibraryModel::applyFilter() {
    beginResetModel();
    m_captures = CaptureLibrary::applyFilter(m_allCaptures, m_filterText, m_sortOrder);
    endResetModel();
    emit capturesChanged();
}

QString CaptureLibraryModel::countText() const {
    return CaptureLibrary::countText(m_captures.size(), m_allCaptures.size(), !m_filterText.isEmpty());
}

void CaptureLibraryModel::setLoading(bool loading) {
    if (loading == m_loading)
        return;
    m_loading = loading;
    emit loadingChanged(loading);
}
