#include "UpdateBannerView.h"

#include "Icons.h"
#include "ScaledFont.h"
#include "TextLabels.h"
#include "Theme.h"

#include <QDesktopServices>
#include <QEvent>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

QString rgba(const QColor& colour, double alpha) {
    return u"rgba(%1, %2, %3, %4)"_s.arg(colour.red())
        .arg(colour.green())
        .arg(colour.blue())
        .arg(alpha, 0, 'f', 2);
}

} // namespace

UpdateBannerView::UpdateBannerView(UpdateBanner::Place place, VersionCheck& versionCheck,
                                   UpdateLogger& updateLogger, AppState& state, QWidget* parent)
    : QWidget(parent)
    , m_model(new UpdateBannerModel(
          place, versionCheck, updateLogger, state, [](const QUrl& url) { QDesktopServices::openUrl(url); },
          this)) {
    const int line = fontMetrics().height();
    auto* outer = new QVBoxLayout(this);
    // On the setup screen the next block follows the banner without a gap of its own; the results
    // column spaces its rows itself.
    outer->setContentsMargins(0, 0, 0, place == UpdateBanner::Place::setup ? line : 0);

    // The frame carries the style sheet, so that the view itself still hears of a change of scheme.
    m_frame = new QFrame(this);
    m_frame->setObjectName(u"updateBanner"_s);
    auto* row = new QHBoxLayout(m_frame);
    row->setContentsMargins(line * 2 / 3, line / 2, line / 2, line / 2);
    row->setSpacing(line / 2);
    m_icon = new QLabel(m_frame);
    const int side = qRound(line * 1.2);
    m_icon->setFixedSize(side, side);
    row->addWidget(m_icon, 0, Qt::AlignVCenter);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(0);
    m_text = TextLabels::wrapping(m_frame);
    m_text->setObjectName(u"updateBannerText"_s);
    texts->addWidget(m_text);
    m_caption = TextLabels::wrapping(m_frame);
    m_caption->setObjectName(u"updateBannerCaption"_s);
    m_caption->setText(UpdateBanner::uploadCaptionText);
    m_caption->setFont(scaledFont(m_caption->font(), 0.85));
    texts->addWidget(m_caption);
    row->addLayout(texts, 1);
    m_button = new QPushButton(m_frame);
    m_button->setObjectName(u"updateBannerButton"_s);
    m_button->setAutoDefault(false);
    row->addWidget(m_button, 0, Qt::AlignVCenter);
    outer->addWidget(m_frame);

    connect(m_button, &QPushButton::clicked, m_model, &UpdateBannerModel::activate);
    connect(m_model, &UpdateBannerModel::changed, this, &UpdateBannerView::refresh);
    refresh();
}

void UpdateBannerView::refresh() {
    m_shown = m_model->banner();
    if (!m_shown) {
        hide();
        return;
    }
    const UpdateBanner& banner = *m_shown;
    m_frame->setAccessibleName(banner.text);
    TextLabels::setText(m_text, banner.text);
    QFont weight = m_text->font();
    weight.setWeight(banner.mediumWeight ? QFont::Medium : QFont::Normal);
    m_text->setFont(weight);
    m_caption->setVisible(banner.showsUploadCaption);
    m_button->setText(banner.buttonTitle);
    m_button->setAccessibleName(banner.buttonTitle);
    m_icon->setVisible(banner.symbol.has_value());
    applyColours();
    // Shown only once it has a place: a banner without a parent would open as a window of its own.
    if (parentWidget())
        show();
}

void UpdateBannerView::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange && m_shown)
        applyColours();
    QWidget::changeEvent(event);
}

void UpdateBannerView::applyColours() {
    const QPalette colours = palette();
    const bool important = m_shown->tone == UpdateBanner::Tone::important;
    const QColor white(Qt::white);
    if (m_shown->symbol) {
        Icons::showOn(m_icon, *m_shown->symbol, m_icon->width(),
                      important ? std::optional<QColor>(white) : std::nullopt);
        m_icon->setAccessibleName(*m_shown->symbol);
    }
    if (important) {
        const QColor orange = Theme::bannerOrange();
        m_frame->setStyleSheet(uR"(
QFrame#updateBanner { background: %1; border: none; border-radius: 8px; }
QLabel#updateBannerText { color: %2; }
QLabel#updateBannerCaption { color: %3; }
QPushButton#updateBannerButton { background: %2; color: %1; border: none; border-radius: 6px; padding: 0.35em 0.9em; font-weight: 600; }
QPushButton#updateBannerButton:focus { border: 2px solid %4; }
)"_s.arg(orange.name(), white.name(), rgba(white, 0.8), orange.darker(180).name()));
        return;
    }
    m_frame->setStyleSheet(uR"(
QFrame#updateBanner { background: %1; border: 1px solid %2; border-radius: 8px; }
)"_s.arg(rgba(colours.color(QPalette::WindowText), 0.05), Theme::controlEdge(colours).name()));
}
