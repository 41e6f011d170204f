#include "CelebrationView.h"

#include "Theme.h"

#include "core/AppState.h"
#include "screens/CelebrationScreen.h"

#include <QEvent>
#include <QFontMetrics>
#include <QHideEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QShowEvent>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr int messageFlags = Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap;

QFont resized(const QFont& base, double factor, QFont::Weight weight = QFont::Normal) {
    QFont font = base;
    if (base.pointSizeF() > 0)
        font.setPointSizeF(base.pointSizeF() * factor);
    else
        font.setPixelSize(std::max(1, int(std::lround(base.pixelSize() * factor))));
    font.setWeight(weight);
    return font;
}

QColor toColor(const RgbColor& rgb) {
    return QColor(rgb.red, rgb.green, rgb.blue);
}

QColor withAlpha(QColor color, double alpha) {
    color.setAlphaF(float(std::clamp(alpha, 0.0, 1.0)));
    return color;
}

} // namespace

CelebrationView::CelebrationView(AppState& state, QWidget* parent)
    : QWidget(parent) {
    m_model = new CelebrationScreen(state, this);
    setAccessibleName(u"Capture complete"_s);
    // The whole screen is the one control: what a click does, Return or Space does once it has the focus.
    setFocusPolicy(Qt::StrongFocus);
    connect(m_model, &CelebrationScreen::changed, this, [this] {
        m_layout.size = QSize(); // rows and message may have changed
        setAccessibleDescription(m_model->message());
        updateFrameTimer();
        update();
    });
}

void CelebrationView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    // A window that comes back from the dock is not a new visit of the screen.
    if (!event->spontaneous()) {
        m_model->appear();
        setFocus(Qt::OtherFocusReason);
    }
}

void CelebrationView::hideEvent(QHideEvent* event) {
    if (!event->spontaneous()) {
        m_model->disappear();
        m_frameTimer.cancel();
    }
    QWidget::hideEvent(event);
}

void CelebrationView::changeEvent(QEvent* event) {
    if (event->type() == QEvent::FontChange || event->type() == QEvent::PaletteChange) {
        m_layout.size = QSize();
        update();
    }
    QWidget::changeEvent(event);
}

void CelebrationView::mousePressEvent(QMouseEvent* event) {
    event->accept();
    m_model->advance();
}

void CelebrationView::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Space:
        event->accept();
        m_model->advance();
        return;
    default:
        QWidget::keyPressEvent(event);
    }
}

void CelebrationView::updateFrameTimer() {
    const bool needed = isVisible() && m_model->isMoving(Time::clock().now());
    if (needed && !m_frameTimer.isActive()) {
        m_frameTimer = Time::scheduler().repeating(frameSeconds, this, [this] {
            update();
            // The last frame stops the timer once this callback has returned: a timer is not torn
            // down from inside its own callback.
            if (!m_model->isMoving(Time::clock().now()))
                QMetaObject::invokeMethod(
                    this, [this] { updateFrameTimer(); }, Qt::QueuedConnection);
        });
    } else if (!needed && m_frameTimer.isActive()) {
        m_frameTimer.cancel();
        update();
    }
}

CelebrationView::Layout CelebrationView::layoutFor(QSize size, double fontScale) const {
    Layout layout;
    layout.size = size;
    const QFont base = resized(font(), fontScale, font().weight());
    layout.unit = QFontMetrics(base).height();
    const int unit = layout.unit;
    layout.labelFont = resized(base, 1.1);
    layout.valueFont = resized(base, 1.45, QFont::DemiBold);
    layout.unitFont = resized(base, 1.0);
    layout.verdictFont = resized(base, 3.4, QFont::Bold);
    layout.messageFont = resized(base, 1.15);
    layout.hintFont = resized(base, 0.95);

    const int columnWidth = std::min(size.width() - 4 * unit, 22 * unit);
    const int left = (size.width() - columnWidth) / 2;
    const int rowHeight = QFontMetrics(layout.valueFont).height() + unit * 3 / 4;
    const int verdictHeight = QFontMetrics(layout.verdictFont).height() * 13 / 10;
    const QRect messageBounds = QFontMetrics(layout.messageFont)
                                    .boundingRect(QRect(0, 0, columnWidth, 100'000), messageFlags,
                                                  m_model->message().isEmpty() ? u" "_s : m_model->message());
    const int hintHeight = QFontMetrics(layout.hintFont).height();
    layout.hint = QRect(0, size.height() - hintHeight - unit, size.width(), hintHeight);

    const int rowsHeight = int(m_model->rows().size()) * rowHeight;
    const int dividerGap = unit;
    const int total = rowsHeight + 2 * dividerGap + verdictHeight + unit + messageBounds.height();
    // Centred in the space above the hint.
    int y = std::max(unit, (layout.hint.top() - unit - total) / 2);
    for (qsizetype row = 0; row < m_model->rows().size(); ++row) {
        layout.rows.append(QRect(left, y, columnWidth, rowHeight));
        y += rowHeight;
    }
    y += dividerGap;
    layout.divider = QRect(left, y, columnWidth, 1);
    y += dividerGap;
    layout.verdict = QRect(0, y, size.width(), verdictHeight);
    y += verdictHeight + unit;
    layout.message = QRect(left, y, columnWidth, messageBounds.height());
    layout.ringRadius = verdictHeight * 0.75;
    return layout;
}

const CelebrationView::Layout& CelebrationView::currentLayout() const {
    if (m_layout.size == size())
        return m_layout;
    // The largest letters that leave room around the content: a tall window gets larger ones, a small
    // window smaller ones rather than anything cut off.
    for (const double scale : {1.3, 1.15, 1.0, 0.9, 0.8, 0.7, 0.6}) {
        m_layout = layoutFor(size(), scale);
        const int spare = m_layout.hint.top() - m_layout.message.bottom();
        if (spare >= 3 * m_layout.unit && m_layout.rows.value(0).top() >= 2 * m_layout.unit)
            break;
    }
    return m_layout;
}

void CelebrationView::paintEvent(QPaintEvent*) {
    const QDateTime now = Time::clock().now();
    const Layout& layout = currentLayout();
    const CelebrationScreen& model = *m_model;
    const QColor text = palette().color(QPalette::WindowText);
    const QColor secondary = palette().color(QPalette::PlaceholderText);
    const bool dark = Theme::isDark(palette());
    const QColor verdictColor = toColor(model.quality().color());
    m_drawnTexts.clear();

    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);

    // The rows of figures: each fades in and rises a little into its place.
    const double progress = model.statProgress(now);
    for (qsizetype index = 0; index < model.rows().size() && index < layout.rows.size(); ++index) {
        const double opacity = model.rowOpacity(index, now);
        if (opacity <= 0)
            continue;
        const CelebrationRow& row = model.rows().at(index);
        const QRect box = layout.rows.at(index).translated(0, int(std::lround((1 - opacity) * layout.unit)));
        painter.setOpacity(opacity);
        painter.setFont(layout.labelFont);
        painter.setPen(secondary);
        painter.drawText(box, Qt::AlignLeft | Qt::AlignVCenter, row.label);

        const QString value = row.valueText(progress);
        const QString unitText = row.unitText();
        const QFontMetrics valueMetrics(layout.valueFont);
        const int unitWidth =
            unitText.isEmpty() ? 0
                               : QFontMetrics(layout.unitFont).horizontalAdvance(unitText) + layout.unit / 3;
        QRect valueBox = box.adjusted(0, 0, -unitWidth, 0);
        painter.setFont(layout.valueFont);
        painter.setPen(text);
        painter.drawText(valueBox, Qt::AlignRight | Qt::AlignVCenter, value);
        if (!unitText.isEmpty()) {
            // The unit sits on the figure's baseline.
            const int baseline = box.center().y() + (valueMetrics.ascent() - valueMetrics.descent()) / 2;
            painter.setFont(layout.unitFont);
            painter.setPen(secondary);
            painter.drawText(QPoint(box.right() - unitWidth + layout.unit / 3 + 1, baseline), unitText);
        }
        m_drawnTexts << row.label << (unitText.isEmpty() ? value : value + u' ' + unitText);
    }

    // The divider grows from the middle outwards.
    if (const double grown = model.dividerProgress(now); grown > 0) {
        painter.setOpacity(1);
        const int half = int(std::lround(layout.divider.width() * grown / 2));
        const int middle = layout.divider.center().x();
        painter.setPen(QPen(withAlpha(text, dark ? 0.22 : 0.18), 1));
        painter.drawLine(middle - half, layout.divider.top(), middle + half, layout.divider.top());
    }

    const QPointF verdictCentre = QRectF(layout.verdict).center();
    if (model.showRing()) {
        if (const double opacity = model.ringOpacity(now); opacity > 0) {
            const double scale = model.ringScale(now);
            painter.setOpacity(opacity);
            painter.setBrush(Qt::NoBrush);
            painter.setPen(QPen(verdictColor, 3 * std::sqrt(scale)));
            const double radius = layout.ringRadius * scale;
            painter.drawEllipse(verdictCentre, radius, radius);
        }
    }

    if (const double opacity = model.verdictOpacity(now); opacity > 0) {
        const double scale = model.verdictScale(now);
        painter.setOpacity(opacity);
        painter.save();
        painter.translate(verdictCentre);
        painter.scale(scale, scale);
        painter.setFont(layout.verdictFont);
        painter.setPen(verdictColor);
        const QRectF box(-layout.verdict.width() / 2.0, -layout.verdict.height() / 2.0,
                         layout.verdict.width(), layout.verdict.height());
        painter.drawText(box, Qt::AlignCenter, model.verdictText());
        painter.restore();
        m_drawnTexts << model.verdictText();
    }

    if (const double opacity = model.messageOpacity(now); opacity > 0) {
        painter.setOpacity(opacity);
        painter.setFont(layout.messageFont);
        painter.setPen(text);
        const QRect box = layout.message.translated(0, int(std::lround((1 - opacity) * layout.unit / 2)));
        painter.drawText(box, messageFlags, model.message());
        m_drawnTexts << model.message();
    }

    if (const double opacity = model.skipHintOpacity(now); opacity > 0) {
        painter.setOpacity(opacity);
        painter.setFont(layout.hintFont);
        painter.setPen(text);
        painter.drawText(layout.hint, Qt::AlignCenter, CelebrationScreen::skipHintText);
        m_drawnTexts << CelebrationScreen::skipHintText;
        if (hasFocus() && window()->testAttribute(Qt::WA_KeyboardFocusChange)) {
            // The keyboard is in use and its focus is on the screen itself: a frame round the hint shows
            // what Return does.
            const int margin = layout.unit / 3;
            const QRect words =
                QFontMetrics(layout.hintFont)
                    .boundingRect(layout.hint, Qt::AlignCenter, CelebrationScreen::skipHintText)
                    .adjusted(-margin * 2, -margin, margin * 2, margin);
            painter.setPen(QPen(palette().color(QPalette::Highlight), 2));
            painter.setBrush(Qt::NoBrush);
            painter.drawRoundedRect(words, margin, margin);
        }
    }

    // The confetti flies over everything, out of the verdict.
    const QList<ConfettiFrame> frames = model.confettiFrames(now);
    const QColor edge = withAlpha(Qt::black, 0.25);
    for (qsizetype index = 0; index < frames.size() && index < model.particles().size(); ++index) {
        const ConfettiFrame& frame = frames.at(index);
        if (frame.opacity <= 0)
            continue;
        const ConfettiParticle& particle = model.particles().at(index);
        painter.setOpacity(frame.opacity);
        painter.save();
        painter.translate(verdictCentre + QPointF(frame.x, frame.y));
        painter.rotate(frame.rotation);
        // White scraps on a light window need an edge to be seen at all.
        painter.setPen(!dark && particle.color == Confetti::white ? QPen(edge, 1) : QPen(Qt::NoPen));
        painter.setBrush(toColor(particle.color));
        const QRectF shape(-particle.size / 2, -particle.size / 2, particle.size, particle.size);
        if (particle.isCircle)
            painter.drawEllipse(shape);
        else
            painter.drawRect(shape);
        painter.restore();
    }
}
