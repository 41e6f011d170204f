#include "UploadStatusView.h"

#include "Icons.h"
#include "Spinner.h"
#include "SymbolLabel.h"
#include "TextLabels.h"

#include "core/AppState.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

std::optional<QColor> tintOf(const SymbolIcon& icon) {
    if (!icon.tint)
        return std::nullopt;
    return QColor(icon.tint->red, icon.tint->green, icon.tint->blue);
}

} // namespace

UploadStatusView::UploadStatusView(AppState& state, QWidget* parent)
    : QWidget(parent)
    , m_state(state) {
    setObjectName(u"uploadStatus"_s);
    setAccessibleName(u"Upload status"_s);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);

    m_textIcon = SymbolLabel::make(this);
    m_textLine = TextLabels::iconLine(m_textIcon, m_text, this);
    m_text->setObjectName(u"uploadText"_s);
    // The spinner stands where the icon would, for the rows that are still working.
    m_spinner = new Spinner(1.0, m_textLine);
    m_spinner->setObjectName(u"uploadSpinner"_s);
    m_spinner->setAccessibleName(u"Working"_s);
    qobject_cast<QHBoxLayout*>(m_textLine->layout())->insertWidget(0, m_spinner, 0, Qt::AlignTop);
    layout->addWidget(m_textLine);

    m_progress = new QWidget(this);
    auto* progressLayout = new QVBoxLayout(m_progress);
    progressLayout->setContentsMargins(0, 0, 0, 0);
    auto* barLine = new QHBoxLayout;
    m_bar = new QProgressBar(m_progress);
    m_bar->setTextVisible(false);
    m_bar->setAccessibleName(u"Upload progress"_s);
    m_percent = new QLabel(m_progress);
    m_percent->setObjectName(u"uploadPercent"_s);
    m_eta = new QLabel(m_progress);
    m_eta->setObjectName(u"uploadEta"_s);
    m_eta->setForegroundRole(QPalette::PlaceholderText);
    barLine->addWidget(m_bar, 1);
    barLine->addWidget(m_percent);
    barLine->addWidget(m_eta);
    progressLayout->addLayout(barLine);
    m_sizeLine = TextLabels::wrapping(m_progress);
    m_sizeLine->setObjectName(u"uploadSize"_s);
    m_sizeLine->setForegroundRole(QPalette::PlaceholderText);
    progressLayout->addWidget(m_sizeLine);
    layout->addWidget(m_progress);

    m_block = new QWidget(this);
    auto* blockLayout = new QVBoxLayout(m_block);
    blockLayout->setContentsMargins(0, 0, 0, 0);
    m_headingIcon = SymbolLabel::make(m_block);
    m_headingLine = TextLabels::iconLine(m_headingIcon, m_heading, m_block);
    m_heading->setObjectName(u"uploadHeading"_s);
    blockLayout->addWidget(m_headingLine);
    m_rows = new QVBoxLayout;
    m_rows->setContentsMargins(0, 0, 0, 0);
    blockLayout->addLayout(m_rows);
    m_failureIcon = SymbolLabel::make(m_block);
    m_failure = TextLabels::iconLine(m_failureIcon, m_failureLine, m_block);
    m_failureLine->setObjectName(u"uploadFailureLine"_s);
    blockLayout->addWidget(m_failure);
    layout->addWidget(m_block);

    m_button = new QPushButton(this);
    m_button->setAutoDefault(false);
    connect(m_button, &QPushButton::clicked, this, [this] { m_state.retryUpload(); });
    layout->addWidget(m_button, 0, Qt::AlignLeft);

    connect(&m_state, &AppState::uploadStateChanged, this, &UploadStatusView::refresh);
    draw(m_status, m_icons); // the empty status, so that nothing shows until there is something to say
    refresh();
}

void UploadStatusView::refresh() {
    const AppState::UploadState& upload = m_state.upload();
    const UploadStatus status =
        UploadStatus::forState(upload, m_state.measuredUplinkMbps(), Time::clock().now());
    const UploadStatusIcons icons = UploadStatusIcons::forStatus(status, upload);
    m_countdownShown = UploadStatusIcons::showsCountdown(status, upload);
    if (status != m_status || icons != m_icons) {
        draw(status, icons);
        m_status = status;
        m_icons = icons;
    }
    updateCountdownTimer();
}

void UploadStatusView::draw(const UploadStatus& status, const UploadStatusIcons& icons) {
    using Kind = UploadStatus::Kind;
    setVisible(status.kind != Kind::none);

    const bool textKind = status.kind == Kind::preparing || status.kind == Kind::deferred ||
                          status.kind == Kind::uploadingCount || status.kind == Kind::skipped ||
                          status.kind == Kind::uploaded;
    m_textLine->setVisible(textKind);
    m_spinner->setVisible(status.showsSpinner);
    setIcon(m_textIcon, icons.text);
    TextLabels::setText(m_text, status.text);

    m_progress->setVisible(status.showsProgressBar);
    if (status.showsProgressBar) {
        // Bytes may pass an int's range; the bar counts in thousandths.
        const double share =
            status.progressMaximum > 0
                ? std::clamp(double(status.progressValue) / double(status.progressMaximum), 0.0, 1.0)
                : 0.0;
        m_bar->setRange(0, 1000);
        m_bar->setValue(int(share * 1000));
        TextLabels::setText(m_percent, status.percentText);
        m_eta->setVisible(status.etaText.has_value());
        TextLabels::setText(m_eta, status.etaText.value_or(QString()));
        TextLabels::setText(m_sizeLine, status.sizeLine);
    }

    m_block->setVisible(status.kind == Kind::block);
    m_headingLine->setVisible(status.heading.has_value());
    setIcon(m_headingIcon, icons.heading);
    TextLabels::setText(m_heading, status.heading.value_or(QString()));
    if (status.rows != m_status.rows || icons.rows != m_icons.rows)
        rebuildRows(status, icons);
    m_failure->setVisible(status.failureLine.has_value());
    setIcon(m_failureIcon, icons.failureLine);
    TextLabels::setText(m_failureLine, status.failureLine.value_or(QString()));

    m_button->setVisible(status.buttonLabel.has_value());
    if (status.buttonLabel) {
        m_button->setText(*status.buttonLabel);
        m_button->setAccessibleName(*status.buttonLabel);
        m_button->setIcon(Icons::symbol(u"arrow.clockwise"_s));
    }
}

void UploadStatusView::setIcon(QLabel* label, const std::optional<SymbolIcon>& icon) {
    label->setVisible(icon.has_value());
    if (!icon) {
        label->clear();
        label->setProperty("symbol", QString());
        return;
    }
    SymbolLabel::set(label, icon->name, tintOf(*icon));
}

void UploadStatusView::rebuildRows(const UploadStatus& status, const UploadStatusIcons& icons) {
    while (QLayoutItem* item = m_rows->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    for (qsizetype index = 0; index < status.rows.size(); ++index) {
        QLabel* icon = SymbolLabel::make(m_block);
        const std::optional<SymbolIcon> symbol = index < icons.rows.size() ? icons.rows[index] : std::nullopt;
        if (symbol) {
            setIcon(icon, symbol);
        } else {
            // An error row keeps the icon's room, so that its text lines up with the others.
            icon->clear();
        }
        QLabel* text = nullptr;
        QWidget* row = TextLabels::iconLine(icon, text, m_block);
        text->setText(status.rows[index]);
        text->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
        m_rows->addWidget(row);
        row->show();
    }
}

void UploadStatusView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    refresh();
}

void UploadStatusView::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    updateCountdownTimer();
}

void UploadStatusView::updateCountdownTimer() {
    const bool wanted = m_countdownShown && isVisible();
    if (wanted == m_countdown.isActive())
        return;
    if (wanted)
        m_countdown = Time::scheduler().repeating(1.0, this, [this] { refresh(); });
    else
        m_countdown.cancel();
}
