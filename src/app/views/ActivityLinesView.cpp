#include "ActivityLinesView.h"

#include "Icons.h"
#include "RunningParts.h"
#include "core/AppState.h"

#include <QEvent>
#include <QFontDatabase>
#include <QGraphicsOpacityEffect>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPropertyAnimation>
#include <QShowEvent>
#include <QStyle>
#include <QVBoxLayout>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

// One line of text, cut with an ellipsis at the end when it doesn't fit; the full text stays readable
// to assistive tools.
class ElidedLabel : public QLabel {
public:
    using QLabel::QLabel;

    QSize minimumSizeHint() const override {
        return QSize(fontMetrics().averageCharWidth() * 4, QLabel::minimumSizeHint().height());
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        const QRect area = contentsRect();
        const QString shown = fontMetrics().elidedText(text(), Qt::ElideRight, area.width());
        style()->drawItemText(&painter, area, int(QStyle::visualAlignment(layoutDirection(), alignment())),
                              palette(), isEnabled(), shown, foregroundRole());
    }
};

// The barely-there panel behind the activity line.
class SoftPanel : public QWidget {
public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        QPainterPath path;
        const double radius = fontMetrics().height() / 3.0;
        path.addRoundedRect(QRectF(rect()), radius, radius);
        painter.fillPath(path, QColor::fromRgbF(1, 1, 1, float(ActivityLinesView::panelOpacity)));
    }
};

QFont scaled(QFont font, double scale) {
    if (font.pointSizeF() > 0)
        font.setPointSizeF(font.pointSizeF() * scale);
    else
        font.setPixelSize(std::max(1, int(std::lround(font.pixelSize() * scale))));
    return font;
}

QFont sizedLike(QFont font, const QFont& model) {
    if (model.pointSizeF() > 0)
        font.setPointSizeF(model.pointSizeF());
    else
        font.setPixelSize(model.pixelSize());
    return font;
}

// Towards 0 the fade eases out, towards 1 it eases in.
void fadeTo(QPropertyAnimation* animation, QGraphicsOpacityEffect* effect, double target, double seconds) {
    animation->stop();
    animation->setStartValue(effect->opacity());
    animation->setEndValue(target);
    animation->setDuration(int(std::lround(seconds * 1000)));
    animation->setEasingCurve(target < effect->opacity() ? QEasingCurve::OutQuad : QEasingCurve::InQuad);
    animation->start();
}

} // namespace

ActivityLinesView::ActivityLinesView(AppState& state, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_activity(std::make_unique<ActivityLines>(state)) {
    const std::optional<InfoEvent>& info = m_state.infoEvent();
    m_trivia = std::make_unique<TriviaLine>(info ? info->durationSecs : std::nullopt);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    buildActivityRow();
    buildTriviaRow();
    layout->addWidget(m_activityPanel);
    layout->addWidget(m_triviaRow);
    applyFonts();

    connect(m_activity.get(), &ActivityLines::contentChanged, this, &ActivityLinesView::showActivity);
    connect(m_activity.get(), &ActivityLines::opacityChanged, this, [this] {
        fadeTo(m_activityFade, m_activityOpacity, m_activity->opacity(), ActivityLines::fadeSeconds);
    });
    connect(&m_state, &AppState::sessionChanged, this, &ActivityLinesView::sessionChanged);
    bindTrivia();
    showActivity();
}

ActivityLinesView::~ActivityLinesView() = default;

void ActivityLinesView::buildActivityRow() {
    m_activityPanel = new SoftPanel(this);
    m_activityPanel->setAccessibleName(u"Activity"_s);
    auto* panelLayout = new QHBoxLayout(m_activityPanel);
    const int padding = fontMetrics().height() / 3;
    panelLayout->setContentsMargins(padding * 2, padding, padding * 2, padding);

    m_activityContent = new QWidget(m_activityPanel);
    auto* row = new QHBoxLayout(m_activityContent);
    row->setContentsMargins(0, 0, 0, 0);
    m_activityIcon = new QLabel(m_activityContent);
    m_activityIcon->setObjectName(u"activityIcon"_s);
    m_activityText = new ElidedLabel(m_activityContent);
    m_activityText->setObjectName(u"activityText"_s);
    m_activityText->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    m_activityText->setTextFormat(Qt::PlainText);
    row->addWidget(m_activityIcon);
    row->addWidget(m_activityText, 1);
    panelLayout->addWidget(m_activityContent);

    m_activityOpacity = new QGraphicsOpacityEffect(m_activityContent);
    m_activityOpacity->setOpacity(1);
    m_activityContent->setGraphicsEffect(m_activityOpacity);
    m_activityFade = new QPropertyAnimation(m_activityOpacity, "opacity", this);
}

void ActivityLinesView::buildTriviaRow() {
    m_triviaRow = new QWidget(this);
    m_triviaRow->setAccessibleName(u"Trivia"_s);
    auto* row = new QHBoxLayout(m_triviaRow);
    const int padding = fontMetrics().height() / 3;
    row->setContentsMargins(padding * 2, padding, padding * 2, padding);
    m_triviaIcon = new QLabel(m_triviaRow);
    m_triviaIcon->setObjectName(u"triviaIcon"_s);
    m_triviaIcon->setAlignment(Qt::AlignTop);
    m_triviaText = new QLabel(m_triviaRow);
    m_triviaText->setObjectName(u"triviaText"_s);
    m_triviaText->setTextFormat(Qt::PlainText);
    m_triviaText->setWordWrap(true);
    m_triviaText->setForegroundRole(QPalette::PlaceholderText);
    row->addWidget(m_triviaIcon, 0, Qt::AlignTop);
    row->addWidget(m_triviaText, 1);

    m_triviaOpacity = new QGraphicsOpacityEffect(m_triviaRow);
    m_triviaOpacity->setOpacity(1);
    m_triviaRow->setGraphicsEffect(m_triviaOpacity);
    m_triviaFade = new QPropertyAnimation(m_triviaOpacity, "opacity", this);
}

void ActivityLinesView::bindTrivia() {
    connect(m_trivia.get(), &TriviaLine::contentChanged, this, &ActivityLinesView::showTrivia);
    connect(m_trivia.get(), &TriviaLine::opacityChanged, this,
            [this] { fadeTo(m_triviaFade, m_triviaOpacity, m_trivia->opacity(), TriviaLine::fadeSeconds); });
    m_triviaFade->stop();
    m_triviaOpacity->setOpacity(m_trivia->opacity());
    showTrivia();
}

void ActivityLinesView::sessionChanged() {
    if (ActivityLines::isFreshSession(m_state)) {
        // A new capture gets a new trivia line, as it would get a new screen.
        m_trivia = std::make_unique<TriviaLine>(std::nullopt);
        bindTrivia();
        if (isVisible())
            m_trivia->start();
        return;
    }
    const std::optional<InfoEvent>& info = m_state.infoEvent();
    m_trivia->setDurationSecs(info ? info->durationSecs : std::nullopt);
}

void ActivityLinesView::showActivity() {
    m_activityText->setText(m_activity->displayedText());
    m_activityText->setToolTip(m_activity->displayedText());
    setIcon(m_activityIcon, m_activity->iconName());
    applyFonts();
}

void ActivityLinesView::showTrivia() {
    m_triviaText->setText(m_trivia->currentText());
    setIcon(m_triviaIcon, m_trivia->currentIcon());
}

void ActivityLinesView::setIcon(QLabel* label, const QString& symbolName) {
    label->setProperty("symbol", symbolName);
    if (symbolName.isEmpty()) {
        label->clear();
        return;
    }
    const int side = label->fontMetrics().height();
    label->setFixedSize(side, side);
    Icons::showOn(label, symbolName, side);
}

void ActivityLinesView::applyFonts() {
    const QFont base = font();
    const QFont activityFont = scaled(base, activityFontScale);
    m_activityText->setFont(m_activity->isMonospace()
                                ? sizedLike(QFontDatabase::systemFont(QFontDatabase::FixedFont), activityFont)
                                : activityFont);
    m_activityIcon->setFont(activityFont);
    const QFont triviaFont = scaled(base, triviaFontScale);
    m_triviaText->setFont(triviaFont);
    m_triviaIcon->setFont(triviaFont);
}

void ActivityLinesView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (event->spontaneous())
        return; // the window came back from the dock; the line never went away
    m_activity->start();
    m_trivia->start();
}

void ActivityLinesView::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    if (event->spontaneous())
        return;
    m_activity->stop();
    m_trivia->stop();
}

void ActivityLinesView::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange && m_activityText) {
        applyFonts();
        setIcon(m_activityIcon, m_activity->iconName());
        setIcon(m_triviaIcon, m_trivia->currentIcon());
    }
}

ActivityLinesParts makeActivityLines(AppState& state, QWidget* parent) {
    auto* view = new ActivityLinesView(state, parent);
    return {view, view->triviaRow()};
}
