#include "CapturePickerWindow.h"

#include "DestructiveAlert.h"
#include "Icons.h"
#include "ScaledFont.h"
#include "Spinner.h"

#include "capture/CaptureLibrary.h"
#include "screens/CapturePickerScreen.h"
#include "subprocess/CaptureFolder.h"

#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QScreen>
#include <QShowEvent>
#include <QStackedWidget>
#include <QStyle>
#include <QStyledItemDelegate>
#include <QTableView>
#include <QVBoxLayout>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QLabel* centredLabel(const QString& text) {
    auto* label = new QLabel(text);
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
    return label;
}

// The widest text a column's cells or header are likely to hold, in the table's font.
QString widestSample(CaptureColumn column) {
    switch (column) {
    case CaptureColumn::date:
        // A date of an earlier year carries the year: the longest form, with a two-digit day and hour.
        return CaptureLibrary::formatDateTime(QDateTime(QDate(2000, 9, 30), QTime(22, 59)),
                                              QDateTime(QDate(2001, 1, 1), QTime(0, 0)));
    case CaptureColumn::duration:
        return u"9999m"_s;
    case CaptureColumn::download:
    case CaptureColumn::upload:
        return u"9999"_s;
    case CaptureColumn::latency:
        return u"9999 ms"_s;
    case CaptureColumn::loss:
        return u"100.0%"_s;
    case CaptureColumn::location:
    case CaptureColumn::network:
        break;
    }
    return {};
}

// Rows are chosen whole, so the focus frame around the one current cell says nothing: it is left out.
class RowDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
        QStyledItemDelegate::initStyleOption(option, index);
        option->state &= ~QStyle::State_HasFocus;
    }
};

} // namespace

CapturePickerWindow::CapturePickerWindow(AppState& state, QWidget* parent)
    : CapturePickerWindow(state, CaptureFolder::outputDirectory(), parent) {}

CapturePickerWindow::CapturePickerWindow(AppState& state, const QString& folder, QWidget* parent)
    : QWidget(parent, Qt::Window) {
    m_screen = new CapturePickerScreen(
        state, folder, [this] { onDismiss(); }, this);
    setWindowTitle(CapturePickerScreen::windowTitle);
    setAccessibleName(CapturePickerScreen::windowTitle);
    setMinimumSize(560, 300);
    resize(defaultWidth, defaultHeight);

    m_pages = new QStackedWidget(this);
    m_loadingPage = buildLoadingPage();
    m_emptyPage = buildEmptyPage();
    m_tablePage = buildTablePage();
    m_pages->addWidget(m_loadingPage);
    m_pages->addWidget(m_emptyPage);
    m_pages->addWidget(m_tablePage);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_pages);

    CaptureLibraryModel& library = m_screen->library();
    connect(m_screen, &CapturePickerScreen::stateChanged, this, &CapturePickerWindow::showState);
    connect(m_screen, &CapturePickerScreen::deleteAlertChanged, this,
            &CapturePickerWindow::updateDeleteAlert);
    connect(&library, &CaptureLibraryModel::capturesChanged, this, [this] {
        showSelectionInTable();
        updateFooter();
    });
    connect(&library, &CaptureLibraryModel::selectionChanged, this, [this] {
        showSelectionInTable();
        updateFooter();
    });
    showState();
    updateFooter();
}

CapturePickerWindow* CapturePickerWindow::openFor(AppState& state, QWidget* owner) {
    auto* window = new CapturePickerWindow(state, owner);
    window->setAttribute(Qt::WA_DeleteOnClose);
    QScreen* screen = owner ? owner->screen() : QGuiApplication::primaryScreen();
    if (screen) {
        window->setGeometry(QStyle::alignedRect(Qt::LeftToRight, Qt::AlignCenter, window->size(),
                                                screen->availableGeometry()));
    }
    window->show();
    window->raise();
    window->activateWindow();
    return window;
}

void CapturePickerWindow::onDismiss() {
    close();
}

QWidget* CapturePickerWindow::currentPage() const {
    return m_pages->currentWidget();
}

QMenu* CapturePickerWindow::rowMenu() const {
    return m_rowMenu.data();
}

QMessageBox* CapturePickerWindow::deleteAlert() const {
    return m_deleteAlert.data();
}

QWidget* CapturePickerWindow::buildLoadingPage() {
    auto* page = new QWidget;
    auto* spinner = new Spinner(2.0, page);
    spinner->setAccessibleName(CapturePickerScreen::loadingText);
    m_loadingLabel = centredLabel(CapturePickerScreen::loadingText);
    m_loadingLabel->setForegroundRole(QPalette::PlaceholderText);
    auto* layout = new QVBoxLayout(page);
    layout->setSpacing(12);
    layout->addStretch();
    layout->addWidget(spinner, 0, Qt::AlignHCenter);
    layout->addWidget(m_loadingLabel);
    layout->addStretch();
    return page;
}

QWidget* CapturePickerWindow::buildEmptyPage() {
    auto* page = new QWidget;
    m_emptyIcon = new QLabel;
    m_emptyIcon->setAlignment(Qt::AlignCenter);
    const int side = fontMetrics().height() * 3;
    Icons::showOn(m_emptyIcon, CapturePickerScreen::emptySymbol, side);
    m_emptyIcon->setForegroundRole(QPalette::PlaceholderText);
    m_emptyTitle = centredLabel(CapturePickerScreen::emptyTitle);
    QFont title = scaledFont(m_emptyTitle->font(), 1.25);
    title.setWeight(QFont::DemiBold);
    m_emptyTitle->setFont(title);
    m_emptyMessage = centredLabel(CapturePickerScreen::emptyMessage);
    m_emptyMessage->setForegroundRole(QPalette::PlaceholderText);
    auto* layout = new QVBoxLayout(page);
    layout->setSpacing(8);
    layout->addStretch();
    layout->addWidget(m_emptyIcon);
    layout->addSpacing(4);
    layout->addWidget(m_emptyTitle);
    layout->addWidget(m_emptyMessage);
    layout->addStretch();
    return page;
}

QWidget* CapturePickerWindow::buildTablePage() {
    auto* page = new QWidget;
    CaptureLibraryModel& library = m_screen->library();

    m_filter = new QLineEdit;
    m_filter->setPlaceholderText(CapturePickerScreen::filterPlaceholder);
    m_filter->setAccessibleName(CapturePickerScreen::filterPlaceholder);
    m_filter->setClearButtonEnabled(true);
    connect(m_filter, &QLineEdit::textChanged, &library, &CaptureLibraryModel::setFilterText);

    m_table = new QTableView;
    m_table->setModel(&library);
    m_table->setAccessibleName(CapturePickerScreen::windowTitle);
    // Tab leaves the table for the buttons; the arrow keys move between rows.
    m_table->setTabKeyNavigation(false);
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setAlternatingRowColors(true);
    m_table->setShowGrid(false);
    m_table->setWordWrap(false);
    m_table->setTextElideMode(Qt::ElideRight);
    m_table->setContextMenuPolicy(Qt::CustomContextMenu);
    m_table->setItemDelegate(new RowDelegate(m_table));
    m_table->verticalHeader()->hide();
    m_table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_table->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 10);
    QHeaderView* header = m_table->horizontalHeader();
    header->setHighlightSections(false);
    header->setSectionsMovable(false);
    // The model starts newest first; the header shows that before any click.
    header->setSortIndicator(int(CaptureColumn::date), Qt::DescendingOrder);
    m_table->setSortingEnabled(true);
    sizeColumns();
    connect(m_table->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &CapturePickerWindow::takeSelectionFromTable);
    connect(m_table, &QAbstractItemView::doubleClicked, this, [this](const QModelIndex& index) {
        if (!index.isValid())
            return;
        selectRow(index);
        m_screen->loadSelected();
    });
    connect(m_table, &QWidget::customContextMenuRequested, this, &CapturePickerWindow::openRowMenu);

    m_count = new QLabel;
    m_count->setForegroundRole(QPalette::PlaceholderText);
    m_cancelButton = new QPushButton(CapturePickerScreen::cancelButtonTitle);
    m_cancelButton->setAccessibleName(CapturePickerScreen::cancelButtonTitle);
    connect(m_cancelButton, &QPushButton::clicked, m_screen, &CapturePickerScreen::dismiss);
    m_loadButton = new QPushButton(CapturePickerScreen::loadButtonTitle);
    m_loadButton->setAccessibleName(CapturePickerScreen::loadButtonTitle);
    m_loadButton->setDefault(true);
    connect(m_loadButton, &QPushButton::clicked, m_screen, &CapturePickerScreen::loadSelected);

    auto* footer = new QHBoxLayout;
    footer->addWidget(m_count, 1);
    footer->addWidget(m_cancelButton);
    footer->addWidget(m_loadButton);

    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(12, 12, 12, 12);
    layout->setSpacing(10);
    layout->addWidget(m_filter);
    layout->addWidget(m_table, 1);
    layout->addLayout(footer);
    return page;
}

void CapturePickerWindow::sizeColumns() {
    QHeaderView* header = m_table->horizontalHeader();
    header->setStretchLastSection(false);
    const QFontMetrics cells(m_table->font());
    // The item delegate's margins on both sides, and a little air between neighbouring figures.
    const int cellMargin =
        2 * (m_table->style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, m_table) + 1) + 10;
    for (int section = 0; section < captureColumnCount; ++section) {
        const auto column = static_cast<CaptureColumn>(section);
        if (column == CaptureColumn::location || column == CaptureColumn::network) {
            // The free texts share what the figures leave.
            header->setSectionResizeMode(section, QHeaderView::Stretch);
            continue;
        }
        // The header's own hint keeps room for the sort arrow beside the title.
        const int width = std::max(cells.horizontalAdvance(widestSample(column)) + cellMargin,
                                   header->sectionSizeHint(section));
        header->setSectionResizeMode(section, QHeaderView::Interactive);
        header->resizeSection(section, width);
    }
}

void CapturePickerWindow::showState() {
    switch (m_screen->state()) {
    case CapturePickerScreen::State::loading:
        m_pages->setCurrentWidget(m_loadingPage);
        break;
    case CapturePickerScreen::State::empty:
        m_pages->setCurrentWidget(m_emptyPage);
        break;
    case CapturePickerScreen::State::table:
        if (m_pages->currentWidget() != m_tablePage) {
            m_pages->setCurrentWidget(m_tablePage);
            m_table->setFocus();
        }
        break;
    }
}

void CapturePickerWindow::selectRow(const QModelIndex& index) {
    m_table->selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect |
                                                          QItemSelectionModel::Rows);
}

void CapturePickerWindow::takeSelectionFromTable() {
    if (m_syncingSelection)
        return;
    const QModelIndexList rows = m_table->selectionModel()->selectedRows();
    if (rows.isEmpty())
        m_screen->library().setSelected(std::nullopt);
    else
        m_screen->library().setSelected(rows.first().data(CaptureLibraryModel::IdRole).toUuid());
}

void CapturePickerWindow::showSelectionInTable() {
    // A selection whose row the filter hides stays in the model but shows nowhere.
    const int row = m_screen->library().selectedRow();
    const QScopedValueRollback syncing(m_syncingSelection, true);
    if (row < 0) {
        m_table->selectionModel()->clearSelection();
        return;
    }
    const QModelIndex index = m_screen->library().index(row, 0);
    selectRow(index);
    m_table->scrollTo(index);
}

void CapturePickerWindow::updateFooter() {
    m_count->setText(m_screen->library().countText());
    m_loadButton->setEnabled(m_screen->canLoadSelected());
}

void CapturePickerWindow::openRowMenu(const QPoint& viewportPosition) {
    const QModelIndex index = m_table->indexAt(viewportPosition);
    if (!index.isValid())
        return;
    selectRow(index);
    if (m_rowMenu)
        m_rowMenu->close();
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addAction(CapturePickerScreen::loadButtonTitle, m_screen, &CapturePickerScreen::loadSelected);
    menu->addAction(CapturePickerScreen::deleteMenuTitle, m_screen, &CapturePickerScreen::requestDelete);
    m_rowMenu = menu;
    menu->popup(m_table->viewport()->mapToGlobal(viewportPosition));
}

void CapturePickerWindow::updateDeleteAlert() {
    if (!m_screen->showDeleteAlert()) {
        if (m_deleteAlert)
            m_deleteAlert->close();
        return;
    }
    if (m_deleteAlert)
        return;
    QMessageBox* box = DestructiveAlert::make(
        this, CapturePickerScreen::deleteAlertTitle, CapturePickerScreen::deleteAlertMessage,
        CapturePickerScreen::deleteAlertConfirm, CapturePickerScreen::deleteAlertCancel);
    connect(box, &QMessageBox::finished, this, [this, box] {
        // Closed by the program: the question has already been answered.
        if (!m_screen->showDeleteAlert())
            return;
        if (DestructiveAlert::wasConfirmed(*box))
            m_screen->confirmDelete();
        else
            m_screen->cancelDelete();
    });
    m_deleteAlert = box;
    box->open();
}

void CapturePickerWindow::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (!event->spontaneous())
        m_screen->appear();
}

void CapturePickerWindow::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
    case Qt::Key_Escape:
        m_screen->dismiss();
        return;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        // The default button's key; with nothing selected, or no table to select from, it does nothing.
        if (m_pages->currentWidget() == m_tablePage && m_loadButton->isEnabled())
            m_loadButton->click();
        return;
    case Qt::Key_Menu:
        // The keyboard's way to a row's menu: at the table's current row, as a right click is at its own.
        if (m_table && m_table->hasFocus() && m_table->currentIndex().isValid())
            openRowMenu(m_table->visualRect(m_table->currentIndex()).center());
        return;
    default:
        QWidget::keyPressEvent(event);
    }
}
