#include "DiagnosticsView.h"

#include "Icons.h"
#include "ScaledFont.h"
#include "Spinner.h"
#include "Theme.h"

#include "core/AppState.h"
#include "screens/DiagnosticsScreen.h"

#include <QDesktopServices>
#include <QEvent>
#include <QFontDatabase>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QScrollArea>
#include <QStackedLayout>
#include <QStackedWidget>
#include <QTextEdit>
#include <QVBoxLayout>
#include <QtMath>

#include <algorithm>

using namespace Qt::StringLiterals;

using Tone = DiagnosticsVerdictText::Tone;
using MarkTone = DiagnosticsScreen::MarkTone;
using Mark = DiagnosticsScreen::Mark;

namespace {

// The named colours of the screen, in a shade picked for the scheme.
QColor toneShade(Tone tone, bool dark) {
    switch (tone) {
    case Tone::yellow:
        return dark ? QColor(0xff, 0xd6, 0x0a) : QColor(0xc2, 0x92, 0x00);
    case Tone::orange:
        return dark ? QColor(0xff, 0x9f, 0x0a) : QColor(0xe0, 0x6c, 0x00);
    case Tone::red:
        break;
    }
    return dark ? QColor(0xff, 0x6b, 0x6b) : QColor(0xc6, 0x28, 0x28);
}

// An icon of the given height, in one colour: the symbol's shape filled with `colour`.
QPixmap tintedIcon(const QString& symbol, int side, qreal ratio, const QColor& colour) {
    return Icons::symbol(symbol, colour).pixmap(QSize(side, side), ratio);
}

// The symbol of an action button in the colour of its text, so that it reads on the filled button too.
void tintActionIcon(QPushButton* button) {
    const QString symbol = button->property("symbol").toString();
    if (symbol.isEmpty())
        return;
    const bool prominent = button->objectName() == u"prominent"_s;
    const QColor colour =
        button->palette().color(prominent ? QPalette::HighlightedText : QPalette::ButtonText);
    const int side = button->fontMetrics().height();
    button->setIcon(QIcon(tintedIcon(symbol, side, button->devicePixelRatioF(), colour)));
    button->setIconSize(QSize(side, side));
}

QPushButton* makeActionButton(const DiagnosticsScreen::Action& action, QWidget* parent) {
    auto* button = new QPushButton(action.title, parent);
    button->setAccessibleName(action.title);
    button->setAutoDefault(false);
    button->setObjectName(action.style == DiagnosticsScreen::ButtonStyle::prominent ? u"prominent"_s
                                                                                    : u"bordered"_s);
    button->setProperty("symbol", action.icon.value_or(QString()));
    tintActionIcon(button);
    return button;
}

// Holds `content` centred, as wide as the room allows up to `maxWidth`, so that wrapped text takes the
// full width it is given and its height follows.
QWidget* centredColumn(QWidget* content, int maxWidth, QWidget* parent) {
    auto* holder = new QWidget(parent);
    auto* row = new QHBoxLayout(holder);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    content->setMaximumWidth(maxWidth);
    content->setSizePolicy(QSizePolicy::Expanding, content->sizePolicy().verticalPolicy());
    row->addStretch(1);
    row->addWidget(content, 1000);
    row->addStretch(1);
    return holder;
}

} // namespace

namespace DiagnosticsViewParts {

// The mark in front of a check, drawn rather than taken from the icon theme so that a filled check, a
// filled cross and an empty ring look alike on every desktop.
class CheckMark : public QWidget {
public:
    explicit CheckMark(QWidget* parent)
        : QWidget(parent) {}

    void setRow(const DiagnosticsScreen::CheckRow& row) {
        m_row = row;
        setAccessibleName(row.markIcon());
        update();
    }
    Mark mark() const { return m_row.mark; }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const qreal side = std::min(width(), height()) - 1.0;
        const QRectF circle((width() - side) / 2, (height() - side) / 2, side, side);
        const QColor colour = DiagnosticsView::markColour(m_row, palette());
        if (m_row.mark == Mark::waiting) {
            painter.setPen(QPen(colour, std::max(1.2, side / 11)));
            painter.drawEllipse(circle.adjusted(1, 1, -1, -1));
            return;
        }
        painter.setPen(Qt::NoPen);
        painter.setBrush(colour);
        painter.drawEllipse(circle);
        // The tick or cross is cut out of the disc: the window shows through, as far from the disc as
        // the disc is from the window.
        QPen stroke(palette().color(QPalette::Window), std::max(1.5, side / 8), Qt::SolidLine, Qt::RoundCap,
                    Qt::RoundJoin);
        painter.setPen(stroke);
        painter.setBrush(Qt::NoBrush);
        const QPointF c = circle.center();
        const qreal r = side / 2;
        if (m_row.mark == Mark::passed) {
            QPainterPath tick;
            tick.moveTo(c + QPointF(-0.45 * r, 0.02 * r));
            tick.lineTo(c + QPointF(-0.12 * r, 0.35 * r));
            tick.lineTo(c + QPointF(0.45 * r, -0.32 * r));
            painter.drawPath(tick);
        } else {
            const qreal a = 0.33 * r;
            painter.drawLine(c + QPointF(-a, -a), c + QPointF(a, a));
            painter.drawLine(c + QPointF(-a, a), c + QPointF(a, -a));
        }
    }

private:
    DiagnosticsScreen::CheckRow m_row;
};

// The tool's failure text: monospaced, selectable, wrapped anywhere, since a traceback has long words,
// and as tall as its text up to a dozen lines, after which it scrolls.
class ErrorText : public QTextEdit {
public:
    static constexpr int maxLines = 12;

    explicit ErrorText(QWidget* parent)
        : QTextEdit(parent) {
        setObjectName(u"errorPanel"_s);
        setAccessibleName(u"Error"_s);
        setReadOnly(true);
        setAcceptRichText(false);
        setFrameShape(QFrame::NoFrame);
        setLineWrapMode(QTextEdit::WidgetWidth);
        setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
        setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        document()->setDocumentMargin(8);
    }

    void setErrorText(const QString& text) {
        if (toPlainText() != text)
            setPlainText(text);
        fitHeight();
    }

protected:
    void resizeEvent(QResizeEvent* event) override {
        QTextEdit::resizeEvent(event);
        fitHeight();
    }
    void changeEvent(QEvent* event) override {
        QTextEdit::changeEvent(event);
        if (event->type() == QEvent::FontChange)
            fitHeight();
    }

private:
    void fitHeight() {
        document()->setTextWidth(viewport()->width());
        const int frame = 2 * frameWidth();
        const int content = qCeil(document()->size().height());
        const int most = fontMetrics().lineSpacing() * maxLines + qRound(2 * document()->documentMargin());
        const int height = std::min(content, most) + frame;
        if (height != this->height())
            setFixedHeight(height);
    }
};

// One check of the running phase: its mark or the spinner, its label, and the detail after it.
class CheckRowView : public QWidget {
public:
    explicit CheckRowView(QWidget* parent)
        : QWidget(parent) {
        auto* layout = new QHBoxLayout(this);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->setSpacing(8);
        m_markSlot = new QStackedWidget(this);
        m_mark = new CheckMark(m_markSlot);
        auto* spinnerBox = new QWidget(m_markSlot);
        auto* spinnerLayout = new QHBoxLayout(spinnerBox);
        spinnerLayout->setContentsMargins(0, 0, 0, 0);
        m_spinner = new Spinner(1.0, spinnerBox);
        m_spinner->setFixedSize(DiagnosticsScreen::spinnerSide, DiagnosticsScreen::spinnerSide);
        m_spinner->setAccessibleName(u"Checking"_s);
        spinnerLayout->addWidget(m_spinner, 0, Qt::AlignCenter);
        m_markSlot->addWidget(m_mark);
        m_markSlot->addWidget(spinnerBox);
        layout->addWidget(m_markSlot);
        m_label = new QLabel(this);
        m_label->setTextFormat(Qt::PlainText);
        layout->addWidget(m_label);
        m_detail = new QLabel(this);
        m_detail->setTextFormat(Qt::PlainText);
        m_detail->setForegroundRole(QPalette::PlaceholderText);
        layout->addWidget(m_detail);
        layout->addStretch(1);
        applyFonts();
    }

    void setRow(const DiagnosticsScreen::CheckRow& row) {
        m_label->setText(row.label);
        m_label->setForegroundRole(row.labelIsPrimary() ? QPalette::WindowText : QPalette::PlaceholderText);
        m_detail->setText(row.detail.value_or(QString()));
        m_detail->setVisible(row.detail.has_value());
        m_mark->setRow(row);
        m_markSlot->setCurrentIndex(row.mark == Mark::inProgress ? 1 : 0);
        setAccessibleName(row.detail ? row.label + u": "_s + *row.detail : row.label);
    }

    void applyFonts() {
        const int side = std::max(DiagnosticsScreen::spinnerSide, fontMetrics().height());
        m_markSlot->setFixedSize(side, side);
    }

private:
    QStackedWidget* m_markSlot = nullptr;
    CheckMark* m_mark = nullptr;
    Spinner* m_spinner = nullptr;
    QLabel* m_label = nullptr;
    QLabel* m_detail = nullptr;
};

} // namespace DiagnosticsViewParts

using DiagnosticsViewParts::CheckRowView;

QColor DiagnosticsView::verdictColour(Tone tone, const QPalette& palette) {
    const QColor window = palette.color(QPalette::Window);
    return Theme::legibleMark(toneShade(tone, Theme::isDark(palette)), window);
}

QColor DiagnosticsView::markColour(const DiagnosticsScreen::CheckRow& row, const QPalette& palette) {
    const QColor window = palette.color(QPalette::Window);
    QColor colour = palette.color(QPalette::PlaceholderText);
    switch (row.markTone()) {
    case MarkTone::green:
        colour = Theme::isDark(palette) ? QColor(0x4c, 0xd9, 0x64) : QColor(0x1e, 0x8e, 0x3e);
        break;
    case MarkTone::orange:
        colour = toneShade(Tone::orange, Theme::isDark(palette));
        break;
    case MarkTone::secondary:
        break;
    }
    // A ring still waiting is dimmed, but never so far that it drops out of sight.
    colour.setAlphaF(colour.alphaF() * float(row.markOpacity()));
    return Theme::legibleMark(colour, window);
}

DiagnosticsView::DiagnosticsView(AppState& state, QWidget* parent)
    : QWidget(parent)
    , m_screen(new DiagnosticsScreen(state, this)) {
    setObjectName(u"diagnostics"_s);
    m_screen->setUrlOpener([](const QUrl& url) { QDesktopServices::openUrl(url); });

    m_pages = new QStackedLayout(this);
    m_preparingPage = buildPreparingPage();
    m_runningPage = buildRunningPage();
    m_completedPage = buildCompletedPage();
    m_pages->addWidget(m_preparingPage);
    m_pages->addWidget(m_runningPage);
    m_pages->addWidget(m_completedPage);

    connect(m_screen, &DiagnosticsScreen::changed, this, &DiagnosticsView::refresh);
    applyColours(); // and the fonts with it
    refresh();
}

QWidget* DiagnosticsView::buildPreparingPage() {
    auto* page = new QWidget(this);
    auto* layout = new QVBoxLayout(page);
    layout->setSpacing(12);
    layout->addStretch(1);
    auto* spinner = new Spinner(2.0, page);
    spinner->setAccessibleName(u"Preparing"_s);
    layout->addWidget(spinner, 0, Qt::AlignHCenter);
    m_preparingLabel = new QLabel(DiagnosticsScreen::preparingText(), page);
    m_preparingLabel->setAlignment(Qt::AlignCenter);
    m_preparingLabel->setForegroundRole(QPalette::PlaceholderText);
    layout->addWidget(m_preparingLabel);
    layout->addStretch(1);
    return page;
}

QWidget* DiagnosticsView::buildRunningPage() {
    auto* page = new QWidget(this);
    auto* layout = new QVBoxLayout(page);
    layout->setSpacing(16);
    layout->addStretch(1);
    m_runningIcon = new QLabel(page);
    m_runningIcon->setAlignment(Qt::AlignCenter);
    m_runningIcon->setAccessibleName(DiagnosticsScreen::runningIcon());
    layout->addWidget(m_runningIcon, 0, Qt::AlignHCenter);
    m_runningTitle = new QLabel(DiagnosticsScreen::runningTitle(), page);
    m_runningTitle->setAlignment(Qt::AlignCenter);
    m_runningTitle->setWordWrap(true);
    layout->addWidget(m_runningTitle);

    auto* column = new QWidget(page);
    column->setFixedWidth(DiagnosticsScreen::checkColumnWidth);
    auto* rows = new QVBoxLayout(column);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->setSpacing(10);
    for (int i = 0; i < 4; ++i) {
        auto* row = new CheckRowView(column);
        rows->addWidget(row);
        m_rows.append(row);
    }
    layout->addWidget(column, 0, Qt::AlignHCenter);
    layout->addStretch(1);
    return page;
}

QWidget* DiagnosticsView::buildCompletedPage() {
    // Scrolls, so that a long error text or a small window cuts nothing off.
    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setAccessibleName(u"Diagnosis"_s);
    // The page scrolls to whichever control takes the focus; the area itself would hold it unseen.
    scroll->setFocusPolicy(Qt::NoFocus);
    auto* page = new QWidget(scroll);
    page->setObjectName(u"diagnosticsVerdict"_s);
    scroll->setWidget(page);
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(24, 24, 24, 24);
    layout->setSpacing(14);
    layout->addStretch(1);

    m_verdictIcon = new QLabel(page);
    m_verdictIcon->setAlignment(Qt::AlignCenter);
    layout->addWidget(m_verdictIcon, 0, Qt::AlignHCenter);
    m_headline = new QLabel(page);
    m_headline->setAlignment(Qt::AlignCenter);
    m_headline->setWordWrap(true);
    m_headline->setTextFormat(Qt::PlainText);
    layout->addWidget(m_headline);

    auto* textColumn = new QWidget(page);
    auto* textLayout = new QVBoxLayout(textColumn);
    textLayout->setContentsMargins(0, 0, 0, 0);
    textLayout->setSpacing(8);
    m_explanation = new QLabel(textColumn);
    m_explanation->setAlignment(Qt::AlignCenter);
    m_explanation->setWordWrap(true);
    m_explanation->setTextFormat(Qt::PlainText);
    textLayout->addWidget(m_explanation);
    m_bullets = new QWidget(textColumn);
    auto* bulletLayout = new QVBoxLayout(m_bullets);
    bulletLayout->setContentsMargins(0, 0, 0, 0);
    bulletLayout->setSpacing(4);
    textLayout->addWidget(m_bullets);
    layout->addWidget(centredColumn(textColumn, DiagnosticsScreen::explanationMaxWidth, page));

    m_errorToggle = new QPushButton(page);
    m_errorToggle->setFlat(true);
    m_errorToggle->setObjectName(u"errorToggle"_s);
    m_errorToggle->setAutoDefault(false);
    m_errorToggle->setCursor(Qt::PointingHandCursor);
    connect(m_errorToggle, &QPushButton::clicked, m_screen, &DiagnosticsScreen::toggleError);
    layout->addWidget(m_errorToggle, 0, Qt::AlignHCenter);

    m_errorPanel = new DiagnosticsViewParts::ErrorText(page);
    m_errorHolder = centredColumn(m_errorPanel, DiagnosticsScreen::errorPanelMaxWidth, page);
    layout->addWidget(m_errorHolder);

    m_actions = new QWidget(page);
    auto* actionsLayout = new QVBoxLayout(m_actions);
    actionsLayout->setContentsMargins(0, 8, 0, 0);
    actionsLayout->setSpacing(10);
    m_actionRow = new QHBoxLayout;
    m_actionRow->setSpacing(10);
    m_partialRow = new QHBoxLayout;
    actionsLayout->addLayout(m_actionRow);
    actionsLayout->addLayout(m_partialRow);
    layout->addWidget(m_actions, 0, Qt::AlignHCenter);
    layout->addStretch(1);
    return scroll;
}

void DiagnosticsView::refresh() {
    const auto reading = m_screen->reading();
    if (!reading) {
        m_pages->setCurrentWidget(m_preparingPage);
        return;
    }
    if (!reading->phase.isCompleted()) {
        refreshRunning();
        m_pages->setCurrentWidget(m_runningPage);
        return;
    }
    refreshCompleted();
    m_pages->setCurrentWidget(m_completedPage);
}

void DiagnosticsView::refreshRunning() {
    const QList<DiagnosticsScreen::CheckRow> rows = DiagnosticsScreen::checkRows(*m_screen->reading());
    for (qsizetype i = 0; i < m_rows.size(); ++i) {
        const bool shown = i < rows.size();
        if (shown)
            m_rows[i]->setRow(rows[i]);
        m_rows[i]->setVisible(shown);
    }
}

void DiagnosticsView::refreshCompleted() {
    const auto verdict = m_screen->verdict();
    const auto text = m_screen->verdictText();
    if (!verdict || !text)
        return;
    const int side = fontMetrics().height() * 3;
    m_verdictIcon->setPixmap(
        tintedIcon(text->icon, side, devicePixelRatioF(), verdictColour(text->tone, palette())));
    m_verdictIcon->setFixedSize(side, side);
    m_verdictIcon->setAccessibleName(text->icon);
    m_headline->setText(text->headline);
    m_explanation->setText(text->explanation);
    setBullets(text->bullets);

    const bool toggle = DiagnosticsScreen::offersErrorToggle(*verdict);
    m_errorToggle->setVisible(toggle);
    m_errorToggle->setText(DiagnosticsScreen::errorToggleTitle(m_screen->showError()));
    m_errorToggle->setAccessibleName(m_errorToggle->text());
    const auto detail = m_screen->errorDetail();
    m_errorPanel->setErrorText(detail.value_or(QString()));
    m_errorHolder->setVisible(detail.has_value());

    rebuildActions();
}

void DiagnosticsView::setBullets(const QStringList& bullets) {
    if (bullets == m_shownBullets)
        return;
    m_shownBullets = bullets;
    const QList<QWidget*> old = m_bullets->findChildren<QWidget*>(Qt::FindDirectChildrenOnly);
    for (QWidget* row : old)
        delete row;
    // A hanging indent: a wrapped point continues under its own text, not under the bullet.
    for (const QString& bullet : bullets) {
        auto* row = new QWidget(m_bullets);
        auto* layout = new QHBoxLayout(row);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->setSpacing(6);
        auto* mark = new QLabel(u"•"_s, row);
        mark->setForegroundRole(QPalette::PlaceholderText);
        layout->addWidget(mark, 0, Qt::AlignTop);
        auto* label = new QLabel(bullet, row);
        label->setTextFormat(Qt::PlainText);
        label->setWordWrap(true);
        layout->addWidget(label, 1);
        m_bullets->layout()->addWidget(row);
    }
    m_bullets->setVisible(!bullets.isEmpty());
}

void DiagnosticsView::rebuildActions() {
    const QList<DiagnosticsScreen::Action> actions = m_screen->actions();
    QStringList titles;
    for (const auto& action : actions)
        titles.append(action.title);
    const QString key = titles.join(u'\n');
    if (key == m_shownActions)
        return;
    m_shownActions = key;
    const QList<QPushButton*> old = m_actions->findChildren<QPushButton*>();
    for (QPushButton* button : old)
        delete button;
    for (const auto& action : actions) {
        auto* button = makeActionButton(action, m_actions);
        const auto kind = action.kind;
        connect(button, &QPushButton::clicked, m_screen, [this, kind] { m_screen->trigger(kind); });
        if (kind == DiagnosticsScreen::ActionKind::viewPartialResults)
            m_partialRow->addWidget(button, 0, Qt::AlignHCenter);
        else
            m_actionRow->addWidget(button);
    }
}

void DiagnosticsView::changeEvent(QEvent* event) {
    // Only once every part exists: the constructor applies both itself.
    if (m_completedPage && event->type() == QEvent::FontChange)
        applyFonts();
    if (m_completedPage && event->type() == QEvent::PaletteChange)
        applyColours();
    QWidget::changeEvent(event);
}

void DiagnosticsView::applyFonts() {
    QFont title = scaledFont(font(), 1.25);
    title.setWeight(QFont::DemiBold);
    m_runningTitle->setFont(title);
    m_headline->setFont(title);
    m_preparingLabel->setFont(font());
    m_errorPanel->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    for (CheckRowView* row : std::as_const(m_rows))
        row->applyFonts();
    const int side = fontMetrics().height() * 3;
    m_runningIcon->setFixedSize(side, side);
    m_runningIcon->setPixmap(tintedIcon(DiagnosticsScreen::runningIcon(), side, devicePixelRatioF(),
                                        palette().color(QPalette::Highlight)));
}

void DiagnosticsView::applyColours() {
    const QPalette colours = palette();
    QColor panel = colours.color(QPalette::WindowText);
    panel.setAlphaF(0.07f);
    const QColor highlight = colours.color(QPalette::Highlight);
    const QString sheet = uR"(
QTextEdit#errorPanel { background: rgba(%1, %2, %3, %4); border-radius: %5px; }
QPushButton#prominent { background: %6; color: %7; border: none; border-radius: 6px; padding: 0.45em 1.2em; font-weight: 600; }
QPushButton#prominent:focus { border: 2px solid %8; }
QPushButton#bordered { padding: 0.4em 1.1em; }
QPushButton#errorToggle { color: %9; border: none; padding: 0.2em 0.5em; }
QPushButton#errorToggle:focus { border: 1px solid %9; border-radius: 4px; }
)"_s.arg(panel.red())
                              .arg(panel.green())
                              .arg(panel.blue())
                              .arg(panel.alphaF())
                              .arg(DiagnosticsScreen::errorPanelRadius)
                              .arg(highlight.name(), colours.color(QPalette::HighlightedText).name(),
                                   Theme::isDark(colours) ? colours.color(QPalette::HighlightedText).name()
                                                          : highlight.darker(150).name(),
                                   colours.color(QPalette::Link).name());
    m_completedPage->setStyleSheet(sheet);
    applyFonts();
    const QList<QPushButton*> buttons = m_actions->findChildren<QPushButton*>();
    for (QPushButton* button : buttons)
        tintActionIcon(button);
    if (m_screen->verdict())
        refreshCompleted();
}
