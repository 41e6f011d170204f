#include "NoteChipsView.h"

#include "Theme.h"

#include "FlowLayout.h"
#include "RunningParts.h"
#include "core/AppState.h"

#include <QGraphicsOpacityEffect>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPropertyAnimation>
#include <QVBoxLayout>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

QColor withOpacity(QColor color, double opacity) {
    color.setAlphaF(float(opacity));
    return color;
}

QColor grey(double level, double opacity = 1) {
    return QColor::fromRgbF(float(level), float(level), float(level), float(opacity));
}

constexpr double tappedFillOpacity = 0.15;
constexpr double strokeOpacity = 0.12;
constexpr int notesFadeInMs = 250;

} // namespace

// --- NoteChipButton ---------------------------------------------------------------------------------

NoteChipButton::NoteChipButton(const NoteChipDef& chip, QWidget* parent)
    : QAbstractButton(parent)
    , m_chip(chip) {
    setText(chip.label);
    setAccessibleName(chip.label);
    setAccessibleDescription(chip.noteText);
    setToolTip(chip.noteText);
    setFocusPolicy(Qt::StrongFocus);
    setCursor(Qt::PointingHandCursor);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QString NoteChipButton::caption() const {
    return m_chip.emoji + u' ' + m_chip.label;
}

void NoteChipButton::setHighlighted(bool highlighted) {
    if (m_highlighted == highlighted)
        return;
    m_highlighted = highlighted;
    update();
}

QColor NoteChipButton::fillColor(bool dark, bool highlighted, const QColor& accent) {
    if (highlighted)
        return withOpacity(accent, tappedFillOpacity);
    return dark ? grey(0.17) : grey(0.9);
}

QColor NoteChipButton::strokeColor(bool dark, bool highlighted, const QColor& accent) {
    if (highlighted)
        return accent;
    return dark ? grey(1, strokeOpacity) : grey(0, strokeOpacity);
}

QSize NoteChipButton::sizeHint() const {
    const QFontMetrics metrics = fontMetrics();
    const int height = metrics.height();
    return QSize(metrics.horizontalAdvance(caption()) + height * 3 / 2, height * 3 / 2 + 2);
}

QSize NoteChipButton::minimumSizeHint() const {
    return sizeHint();
}

void NoteChipButton::paintEvent(QPaintEvent*) {
    const bool dark = Theme::isDark(palette());
    const QColor accent = palette().color(QPalette::Highlight);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF capsule = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    const double radius = capsule.height() / 2;
    QPainterPath path;
    path.addRoundedRect(capsule, radius, radius);
    painter.fillPath(path, fillColor(dark, m_highlighted || isDown(), accent));
    painter.strokePath(path, QPen(strokeColor(dark, m_highlighted || isDown(), accent), 1));
    if (hasFocus()) {
        QPen focusPen(accent, 2);
        painter.strokePath(path, focusPen);
    }
    painter.setPen(palette().color(QPalette::WindowText));
    painter.drawText(rect(), Qt::AlignCenter, caption());
}

// --- NoteChipsView ----------------------------------------------------------------------------------

NoteChipsView::NoteChipsView(AppState& state, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_model(std::make_unique<NoteChips>(state)) {
    build();
}

NoteChipsView::NoteChipsView(AppState& state, NoteChips::CommandSink send, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_model(std::make_unique<NoteChips>(std::move(send))) {
    build();
}

NoteChipsView::~NoteChipsView() = default;

void NoteChipsView::build() {
    setAccessibleName(u"Note chips"_s);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    const int gap = fontMetrics().height() / 2;
    layout->setSpacing(gap);

    m_chipArea = new QWidget(this);
    m_chipLayout = new FlowLayout(m_chipArea, gap);
    m_chipLayout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_chipArea);

    m_notesList = new QWidget(this);
    m_notesList->setObjectName(u"notesList"_s);
    m_notesList->setAccessibleName(u"Notes"_s);
    m_notesLayout = new QVBoxLayout(m_notesList);
    m_notesLayout->setContentsMargins(0, 0, 0, 0);
    m_notesLayout->setSpacing(gap / 3);
    m_notesList->hide();
    layout->addWidget(m_notesList);

    connect(&m_state, &AppState::sessionChanged, this, &NoteChipsView::rebuildChips);
    connect(&m_state, &AppState::seriesChanged, this, &NoteChipsView::showNotes);
    connect(m_model.get(), &NoteChips::tappedIndexChanged, this, &NoteChipsView::showHighlight);
    rebuildChips();
    showNotes();
}

void NoteChipsView::rebuildChips() {
    const QList<NoteChipDef> chips = NoteChips::visibleChips(m_state.captureCategory());
    if (chips == m_shownChips && !m_buttons.isEmpty())
        return;
    m_shownChips = chips;
    for (NoteChipButton* button : std::as_const(m_buttons))
        delete button;
    m_buttons.clear();
    for (qsizetype i = 0; i < chips.size(); ++i) {
        auto* button = new NoteChipButton(chips[i], m_chipArea);
        const int index = int(i);
        connect(button, &QAbstractButton::clicked, this,
                [this, index, chip = chips[i]] { m_model->tapChip(index, chip); });
        m_chipLayout->addWidget(button);
        button->setVisible(true); // at once, not at the layout's next turn of the event loop
        m_buttons.append(button);
    }
    showHighlight();
    updateGeometry();
}

void NoteChipsView::showNotes() {
    const QStringList rows = NoteChips::noteRows(m_state.capturedNotes());
    if (rows == noteRows())
        return;
    const bool appearing = m_notesList->isHidden() && !rows.isEmpty();
    for (QLabel* label : std::as_const(m_noteLabels))
        delete label;
    m_noteLabels.clear();
    QFont small = font();
    if (small.pointSizeF() > 0)
        small.setPointSizeF(small.pointSizeF() * 11.0 / 13.0);
    for (const QString& row : rows) {
        auto* label = new QLabel(row, m_notesList);
        label->setTextFormat(Qt::PlainText);
        label->setForegroundRole(QPalette::PlaceholderText);
        label->setFont(small);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        m_notesLayout->addWidget(label);
        m_noteLabels.append(label);
    }
    m_notesList->setVisible(!rows.isEmpty());
    if (appearing) {
        auto* effect = new QGraphicsOpacityEffect(m_notesList);
        effect->setOpacity(0);
        m_notesList->setGraphicsEffect(effect);
        auto* animation = new QPropertyAnimation(effect, "opacity", m_notesList);
        animation->setDuration(notesFadeInMs);
        animation->setStartValue(0.0);
        animation->setEndValue(1.0);
        // Once in, the list draws without the effect.
        connect(animation, &QPropertyAnimation::finished, m_notesList,
                [list = m_notesList] { list->setGraphicsEffect(nullptr); });
        animation->start(QAbstractAnimation::DeleteWhenStopped);
    }
}

void NoteChipsView::showHighlight() {
    const std::optional<int> tapped = m_model->tappedIndex();
    for (qsizetype i = 0; i < m_buttons.size(); ++i)
        m_buttons[i]->setHighlighted(tapped == int(i));
}

QStringList NoteChipsView::noteRows() const {
    QStringList rows;
    if (m_notesList->isHidden())
        return rows;
    for (const QLabel* label : m_noteLabels)
        rows.append(label->text());
    return rows;
}

QWidget* makeNoteChips(AppState& state, QWidget* parent) {
    return new NoteChipsView(state, parent);
}
