#include "StatCardView.h"

#include "ScaledFont.h"
#include "Theme.h"

#include <QEvent>
#include <QFontMetrics>
#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr int textFlags = Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap;

constexpr double largeValueFactor = 1.7;
// A figure as broad as the cards commonly show: a rate of hundreds of megabits.
const QString broadFigure = u"000 Mbps"_s;

int cardPadding(const QFont& base) {
    return std::max(4, QFontMetrics(base).height() / 2);
}

QFont largeValueFont(const QFont& base) {
    QFont font = scaledFont(base, largeValueFactor);
    font.setWeight(QFont::DemiBold);
    return font;
}

// Height of a wrapped text at this width; an empty text still keeps its line, so that cards in a row
// don't change height as subtitles come and go.
int textHeight(const QFont& font, const QString& text, int width) {
    const QFontMetrics metrics(font);
    if (text.isEmpty())
        return metrics.height();
    return metrics.boundingRect(QRect(0, 0, std::max(1, width), 1'000'000), textFlags, text).height();
}

QColor mix(const QColor& a, const QColor& b, double amount) {
    return QColor::fromRgbF(float(a.redF() + (b.redF() - a.redF()) * amount),
                            float(a.greenF() + (b.greenF() - a.greenF()) * amount),
                            float(a.blueF() + (b.blueF() - a.blueF()) * amount));
}

} // namespace

QColor StatCardView::tileColor(const QPalette& palette) {
    return mix(palette.color(QPalette::Window), palette.color(QPalette::WindowText), 0.05);
}

QColor StatCardView::valueColor(const StatCard& card, const QPalette& palette) {
    const std::optional<CardColor> chosen = card.effectiveValueColor();
    if (!chosen)
        return palette.color(QPalette::WindowText);
    if (chosen->kind == CardColor::Kind::secondaryText)
        return palette.color(QPalette::PlaceholderText);
    return Theme::legibleText(Theme::toColor(chosen->rgb), tileColor(palette));
}

QColor StatCardView::ratingColor(QualityRating rating, const QPalette& palette) {
    return Theme::legibleText(Theme::toColor(rating.color()), tileColor(palette));
}

StatCardView::StatCardView(QWidget* parent)
    : QWidget(parent) {
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    setFocusPolicy(Qt::NoFocus);
    updateAccessibleText();
}

void StatCardView::setCard(const StatCard& card) {
    if (card == m_card)
        return;
    const bool sizeMayChange = card.value != m_card.value || card.subtitle != m_card.subtitle ||
                               card.ratingLine() != m_card.ratingLine() || card.title != m_card.title;
    m_card = card;
    m_blocks.width = -1;
    m_pulse.setBreathing(card.breathing, Time::clock().now());
    updatePulseTimer();
    updateAccessibleText();
    if (sizeMayChange)
        updateGeometry();
    update();
}

double StatCardView::pulseOpacity() const {
    return m_pulse.opacity(Time::clock().now());
}

StatCardView::Blocks StatCardView::layoutFor(int width) const {
    Blocks blocks;
    blocks.width = width;
    const QFont base = font();
    const QFontMetrics baseMetrics(base);
    blocks.padding = cardPadding(base);
    const int inner = std::max(1, width - 2 * blocks.padding);

    blocks.titleFont = scaledFont(base, 0.8);
    blocks.titleFont.setWeight(QFont::DemiBold);
    blocks.ratingFont = scaledFont(base, 0.85);
    blocks.ratingFont.setWeight(QFont::DemiBold);
    blocks.subtitleFont = scaledFont(base, 0.8);

    // The figure is large; a long one ("1080p (720p auto)") steps down until it fits on one line, and
    // wraps only when even the application's own size doesn't fit.
    for (double factor = largeValueFactor; factor > 0.95; factor -= 0.1) {
        blocks.valueFont = scaledFont(base, factor);
        blocks.valueFont.setWeight(QFont::DemiBold);
        if (QFontMetrics(blocks.valueFont).horizontalAdvance(m_card.value) <= inner)
            break;
    }

    const int gap = std::max(2, baseMetrics.height() / 5);
    int y = blocks.padding;
    const int titleHeight = textHeight(blocks.titleFont, m_card.displayTitle(), inner);
    blocks.title = QRect(blocks.padding, y, inner, titleHeight);
    y += titleHeight + gap;
    const int valueHeight = textHeight(blocks.valueFont, m_card.value, inner);
    blocks.value = QRect(blocks.padding, y, inner, valueHeight);
    y += valueHeight + gap;
    const int ratingHeight = textHeight(blocks.ratingFont, m_card.ratingLine().value_or(QString()), inner);
    blocks.rating = QRect(blocks.padding, y, inner, ratingHeight);
    y += ratingHeight;
    const int subtitleHeight = textHeight(blocks.subtitleFont, m_card.subtitle.value_or(QString()), inner);
    blocks.subtitle = QRect(blocks.padding, y, inner, subtitleHeight);
    y += subtitleHeight + blocks.padding;
    blocks.height = y;
    return blocks;
}

QSize StatCardView::sizeHint() const {
    // Room for a broad figure at full size: a grid of cards takes fewer columns before it splits a figure
    // from its unit.
    const int figure = QFontMetrics(largeValueFont(font())).horizontalAdvance(broadFigure);
    const int width = figure + 2 * cardPadding(font());
    return QSize(width, heightForWidth(width));
}

QSize StatCardView::minimumSizeHint() const {
    const int width = fontMetrics().averageCharWidth() * 8;
    return QSize(width, heightForWidth(width));
}

int StatCardView::heightForWidth(int width) const {
    if (width == m_blocks.width)
        return m_blocks.height;
    return layoutFor(width).height;
}

const StatCardView::Blocks& StatCardView::currentBlocks() const {
    if (m_blocks.width != width())
        m_blocks = layoutFor(width());
    return m_blocks;
}

void StatCardView::paintEvent(QPaintEvent* event) {
    const Blocks& blocks = currentBlocks();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);

    // A tile a shade off the window colour, in either scheme.
    const QColor window = palette().color(QPalette::Window);
    const QColor text = palette().color(QPalette::WindowText);
    const QColor secondary = palette().color(QPalette::PlaceholderText);
    const QColor tile = tileColor(palette());
    // A pulse frame touches the figure only: a plain fill under it is all the tile it needs.
    const bool figureOnly = blocks.value.contains(event->rect());
    if (figureOnly) {
        painter.fillRect(event->rect(), tile);
    } else {
        const double radius = blocks.padding * 0.8;
        QPainterPath outline;
        outline.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
        painter.fillPath(outline, tile);
        painter.setPen(QPen(mix(window, text, 0.14), 1));
        painter.drawPath(outline);

        painter.setFont(blocks.titleFont);
        painter.setPen(secondary);
        painter.drawText(blocks.title, textFlags, m_card.displayTitle());
    }

    QColor figure = valueColor(m_card, palette());
    figure.setAlphaF(float(figure.alphaF() * pulseOpacity()));
    painter.setFont(blocks.valueFont);
    painter.setPen(figure);
    painter.drawText(blocks.value, textFlags, m_card.value);
    if (figureOnly)
        return;

    if (const std::optional<QString> ratingLine = m_card.ratingLine()) {
        painter.setFont(blocks.ratingFont);
        painter.setPen(ratingColor(*m_card.rating, palette()));
        painter.drawText(blocks.rating, textFlags, *ratingLine);
    }
    if (m_card.subtitle) {
        painter.setFont(blocks.subtitleFont);
        painter.setPen(secondary);
        painter.drawText(blocks.subtitle, textFlags, *m_card.subtitle);
    }
}

void StatCardView::changeEvent(QEvent* event) {
    if (event->type() == QEvent::FontChange) {
        m_blocks.width = -1;
        updateGeometry();
    }
    QWidget::changeEvent(event);
}

void StatCardView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    updatePulseTimer();
}

void StatCardView::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    updatePulseTimer();
}

void StatCardView::updatePulseTimer() {
    const bool needed = isVisible() && m_pulse.isMoving(Time::clock().now());
    if (needed && !m_pulseTimer.isActive()) {
        m_pulseTimer = Time::scheduler().repeating(pulseFrameSeconds, this, [this] {
            update(currentBlocks().value);
            // Settling ends by itself and the frames stop with it, once this callback has returned: a
            // timer is not torn down from inside its own callback.
            if (!m_pulse.isMoving(Time::clock().now()))
                QMetaObject::invokeMethod(
                    this, [this] { updatePulseTimer(); }, Qt::QueuedConnection);
        });
    } else if (!needed && m_pulseTimer.isActive()) {
        m_pulseTimer.cancel();
        update(); // a settle cut short by hiding lands on full opacity when shown again
    }
}

void StatCardView::updateAccessibleText() {
    setAccessibleName(m_card.title);
    QStringList parts{m_card.value};
    if (const std::optional<QString> ratingLine = m_card.ratingLine())
        parts.append(u"Rating: "_s + *ratingLine);
    if (m_card.subtitle)
        parts.append(*m_card.subtitle);
    setAccessibleDescription(parts.join(u", "_s));
}
