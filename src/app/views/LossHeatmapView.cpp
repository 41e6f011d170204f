#include "LossHeatmapView.h"

#include "core/AppState.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QShowEvent>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;
using namespace LossHeatmap;

namespace {

QColor red(double opacity) {
    const RgbColor rgb = LossHeatmap::color();
    QColor result(rgb.red, rgb.green, rgb.blue);
    result.setAlphaF(float(opacity));
    return result;
}

constexpr int gradientWidth = 64;
constexpr int rowGap = 3;
constexpr double cornerRadius = 4;

} // namespace

// "0%", the gradient, "100%", and the "Blocked" key when a protocol is blocked.
class LossHeatmapScale : public QWidget {
public:
    explicit LossHeatmapScale(QWidget* parent)
        : QWidget(parent) {
        setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
        setAccessibleName(u"Loss scale"_s);
    }

    void setShowsBlockedKey(bool shows) {
        if (shows == m_showsBlocked)
            return;
        m_showsBlocked = shows;
        updateGeometry();
        update();
    }
    bool showsBlockedKey() const { return m_showsBlocked; }

    QSize sizeHint() const override {
        const QFontMetrics metrics = fontMetrics();
        int width = metrics.horizontalAdvance(scaleLowText()) + gap() + gradientWidth + gap() +
                    metrics.horizontalAdvance(scaleHighText());
        if (m_showsBlocked)
            width += 3 * gap() + swatch() + gap() + metrics.horizontalAdvance(blockedKeyText());
        return {width + 1, metrics.height() + 2};
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        const QFontMetrics metrics = fontMetrics();
        const QColor text = palette().color(QPalette::PlaceholderText);
        const int h = height();
        int x = 0;
        painter.setPen(text);
        const int low = metrics.horizontalAdvance(scaleLowText());
        painter.drawText(QRect(x, 0, low, h), Qt::AlignLeft | Qt::AlignVCenter, scaleLowText());
        x += low + gap();

        const QRectF bar(x, (h - swatch()) / 2.0, gradientWidth, swatch());
        QLinearGradient gradient(bar.topLeft(), bar.topRight());
        gradient.setColorAt(0, red(lowestOpacity));
        gradient.setColorAt(1, red(highestOpacity));
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(gradient);
        painter.drawRoundedRect(bar, 2, 2);
        x += gradientWidth + gap();

        painter.setPen(text);
        const int high = metrics.horizontalAdvance(scaleHighText());
        painter.drawText(QRect(x, 0, high, h), Qt::AlignLeft | Qt::AlignVCenter, scaleHighText());
        x += high;

        if (m_showsBlocked) {
            x += 3 * gap();
            const QRectF key(x + 0.5, (h - swatch()) / 2.0 + 0.5, swatch() - 1, swatch() - 1);
            painter.setPen(QPen(red(0.5), 1));
            painter.setBrush(red(blockedOpacity));
            painter.drawRoundedRect(key, 2, 2);
            x += swatch() + gap();
            painter.setPen(text);
            painter.drawText(QRect(x, 0, width() - x, h), Qt::AlignLeft | Qt::AlignVCenter, blockedKeyText());
        }
    }

    void changeEvent(QEvent* event) override {
        if (event->type() == QEvent::FontChange)
            updateGeometry();
        QWidget::changeEvent(event);
    }

private:
    int gap() const { return std::max(4, fontMetrics().averageCharWidth() / 2 + 1); }
    int swatch() const { return std::max(8, fontMetrics().height() * 6 / 10); }

    bool m_showsBlocked = false;
};

// The rows, painted in one piece. Each pixel column of a row is painted once, in the strongest loss
// that falls in it, so that a capture of many hours costs what one of minutes does.
class LossHeatmapStrip : public QWidget {
public:
    explicit LossHeatmapStrip(QWidget* parent)
        : QWidget(parent) {
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        setAccessibleName(LossHeatmap::title());
    }

    void setFrame(const Frame* frame) {
        m_frame = frame;
        m_columnsWidth = -1;
        setFixedHeight(int(std::ceil(frame->height())));
        QStringList labels;
        for (const Row& row : frame->rows)
            labels.append(row.blocked ? row.label + u": "_s + blockedRowText() : row.label);
        setAccessibleDescription(labels.join(u", "_s));
        update();
    }

    int labelWidth() const {
        int widest = 0;
        if (m_frame) {
            for (const Row& row : m_frame->rows)
                widest = std::max(widest, fontMetrics().horizontalAdvance(row.label));
        }
        return widest + fontMetrics().averageCharWidth() * 2;
    }
    QRect bandRect(qsizetype row) const {
        const int left = labelWidth();
        return QRect(left, int(double(row) * rowHeight) + rowGap, std::max(1, width() - left - 1),
                     int(rowHeight) - 2 * rowGap);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        if (!m_frame)
            return;
        QPainter painter(this);
        const QPalette& colors = palette();
        const QColor text = colors.color(QPalette::WindowText);
        const QColor secondary = colors.color(QPalette::PlaceholderText);
        QFont bold = font();
        bold.setBold(true);

        const int bandWidth = bandRect(0).width();
        if (m_columnsWidth != bandWidth) {
            m_columns.clear();
            for (const Row& row : m_frame->rows)
                m_columns.append(columnOpacities(row, bandWidth));
            m_columnsWidth = bandWidth;
        }

        for (qsizetype i = 0; i < m_frame->rows.size(); ++i) {
            const Row& row = m_frame->rows[i];
            const QRect band = bandRect(i);
            painter.setPen(text);
            painter.setFont(font());
            painter.drawText(QRect(0, band.top(), band.left(), band.height()),
                             Qt::AlignLeft | Qt::AlignVCenter, row.label);

            // The whole length of the capture, faintly, so that a row without loss still reads as a row.
            QPainterPath outline;
            outline.addRoundedRect(QRectF(band), cornerRadius, cornerRadius);
            painter.save();
            painter.setRenderHint(QPainter::Antialiasing);
            painter.fillPath(outline, ChartText::withAlpha(text, 0.06));
            painter.setClipPath(outline);
            if (row.blocked) {
                painter.fillRect(band, red(blockedOpacity));
                painter.setPen(red(1));
                painter.setFont(bold);
                painter.drawText(band, Qt::AlignCenter, blockedRowText());
            } else {
                // Runs of columns of one opacity make one rectangle each.
                const QList<double>& columns = m_columns[i];
                int column = 0;
                while (column < columns.size()) {
                    const double opacity = columns[column];
                    int end = column + 1;
                    while (end < columns.size() && columns[end] == opacity)
                        ++end;
                    if (opacity > 0)
                        painter.fillRect(QRect(band.left() + column, band.top(), end - column, band.height()),
                                         red(opacity));
                    column = end;
                }
            }
            painter.restore();
        }

        if (!m_frame->rows.isEmpty()) {
            // The times of the two ends, under the rows.
            const QRect last = bandRect(m_frame->rows.size() - 1);
            const QRect under(last.left(), last.bottom() + rowGap, last.width(),
                              height() - last.bottom() - rowGap);
            painter.setPen(secondary);
            painter.setFont(font());
            painter.drawText(under, Qt::AlignLeft | Qt::AlignVCenter, m_frame->startText);
            painter.drawText(under, Qt::AlignRight | Qt::AlignVCenter, m_frame->endText);
        }
    }

private:
    const Frame* m_frame = nullptr;
    QList<QList<double>> m_columns;
    int m_columnsWidth = -1;
};

LossHeatmapView::LossHeatmapView(AppState& state, QWidget* parent)
    : QWidget(parent)
    , m_state(state) {
    setAccessibleName(title());

    m_title = new QLabel(title(), this);
    m_scale = new LossHeatmapScale(this);
    auto* header = new QHBoxLayout;
    header->setContentsMargins(0, 0, 0, 0);
    header->addWidget(m_title);
    header->addStretch();
    header->addWidget(m_scale);

    m_strip = new LossHeatmapStrip(this);
    m_excluded = new QLabel(this);
    m_excluded->setWordWrap(true);
    m_excluded->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_excluded->hide();

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    layout->addLayout(header);
    layout->addWidget(m_strip);
    layout->addWidget(m_excluded);

    m_strip->setFrame(&m_frame);
    applyFonts();
    applyPalette();

    connect(&m_state, &AppState::latencyPointsChanged, this, [this] { m_rebuild.request(); });
}

QWidget* LossHeatmapView::stripWidget() const {
    return m_strip;
}

QWidget* LossHeatmapView::scaleWidget() const {
    return m_scale;
}

void LossHeatmapView::rebuild() {
    m_frame = LossHeatmap::frame(m_state.latencyPoints());
    m_scale->setShowsBlockedKey(m_frame.showsBlockedKey);
    m_excluded->setText(m_frame.excludedText.value_or(QString()));
    m_excluded->setVisible(m_frame.excludedText.has_value());
    m_strip->setFrame(&m_frame);
}

void LossHeatmapView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    m_rebuild.catchUp();
}

void LossHeatmapView::changeEvent(QEvent* event) {
    switch (event->type()) {
    case QEvent::PaletteChange:
        applyPalette();
        break;
    case QEvent::FontChange:
        applyFonts();
        break;
    default:
        break;
    }
    QWidget::changeEvent(event);
}

void LossHeatmapView::applyFonts() {
    QFont titleFont = font();
    titleFont.setBold(true);
    m_title->setFont(titleFont);
    const QFont small = ChartText::smaller(font());
    m_scale->setFont(small);
    m_strip->setFont(small);
    m_excluded->setFont(small);
}

void LossHeatmapView::applyPalette() {
    QPalette excludedPalette = m_excluded->palette();
    excludedPalette.setColor(QPalette::WindowText, palette().color(QPalette::PlaceholderText));
    m_excluded->setPalette(excludedPalette);
    m_strip->update();
    m_scale->update();
}
