#include "BootstrapView.h"

#include "Icons.h"
#include "ScaledFont.h"
#include "Spinner.h"
#include "TextLabels.h"
#include "Theme.h"

#include "core/AppState.h"
#include "screens/BootstrapScreen.h"

#include <QClipboard>
#include <QEvent>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QShowEvent>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

QColor green(const QPalette& palette) {
    return Theme::isDark(palette) ? QColor(0x4c, 0xd9, 0x64) : QColor(0x1e, 0x8e, 0x3e);
}

QColor orange(const QPalette& palette) {
    return Theme::isDark(palette) ? QColor(0xff, 0x9f, 0x0a) : QColor(0xe0, 0x6c, 0x00);
}

// A colour as a style sheet takes it, translucency included: the secondary text of the light scheme is
// translucent black.
QString cssColour(const QColor& colour) {
    return u"rgba(%1, %2, %3, %4)"_s.arg(colour.red())
        .arg(colour.green())
        .arg(colour.blue())
        .arg(colour.alpha());
}

QLabel* centredLabel(const QString& text, QWidget* parent) {
    auto* label = TextLabels::wrapping(parent);
    label->setText(text);
    label->setAlignment(Qt::AlignHCenter);
    return label;
}

QLabel* secondaryLabel(const QString& text, QWidget* parent) {
    auto* label = centredLabel(text, parent);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

QVBoxLayout* column(QWidget* widget) {
    auto* layout = new QVBoxLayout(widget);
    layout->setContentsMargins(0, 0, 0, 0);
    return layout;
}

} // namespace

BootstrapView::BootstrapView(AppState& state, QWidget* parent)
    : QWidget(parent)
    , m_screen(new BootstrapScreen(state, FileLogger::shared(), this)) {
    m_appIcon = new QLabel(this);
    m_appIcon->setAccessibleName(BootstrapScreen::appSymbol());
    m_title = centredLabel(BootstrapScreen::title(), this);

    m_progressBlock = new QWidget(this);
    m_spinner = new Spinner(2.0, m_progressBlock);
    m_spinner->setAccessibleName(u"Working"_s);
    m_progress = secondaryLabel(QString(), m_progressBlock);
    m_hint = secondaryLabel(BootstrapScreen::firstLaunchHint(), m_progressBlock);
    auto* progressLayout = column(m_progressBlock);
    progressLayout->addWidget(m_spinner, 0, Qt::AlignHCenter);
    progressLayout->addWidget(m_progress);
    progressLayout->addWidget(m_hint);

    m_readyIcon = new QLabel(this);
    m_readyIcon->setAccessibleName(BootstrapScreen::readySymbol());

    m_failureBlock = new QWidget(this);
    m_failureIcon = new QLabel(m_failureBlock);
    m_failureIcon->setAccessibleName(BootstrapScreen::failureSymbol());
    m_failure = centredLabel(QString(), m_failureBlock);
    m_retry = new QPushButton(BootstrapScreen::retryTitle(), m_failureBlock);
    m_retry->setObjectName(u"prominent"_s);
    m_retry->setAccessibleName(BootstrapScreen::retryTitle());
    m_retry->setAutoDefault(false);
    m_details = new QPushButton(m_failureBlock);
    m_details->setObjectName(u"plain"_s);
    m_details->setFlat(true);
    m_details->setAutoDefault(false);

    m_detailBlock = new QWidget(m_failureBlock);
    m_detailPanel = new QPlainTextEdit(m_detailBlock);
    m_detailPanel->setObjectName(u"detailPanel"_s);
    m_detailPanel->setAccessibleName(u"Installation details"_s);
    m_detailPanel->setReadOnly(true);
    m_detailPanel->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    m_detailPanel->setMaximumHeight(180);
    m_copy = new QPushButton(m_detailBlock);
    m_copy->setObjectName(u"plain"_s);
    m_copy->setFlat(true);
    m_copy->setAutoDefault(false);
    auto* detailLayout = column(m_detailBlock);
    detailLayout->addWidget(m_detailPanel);
    detailLayout->addWidget(m_copy, 0, Qt::AlignHCenter);

    auto* failureLayout = column(m_failureBlock);
    failureLayout->setSpacing(10);
    failureLayout->addWidget(m_failureIcon, 0, Qt::AlignHCenter);
    failureLayout->addWidget(m_failure);
    failureLayout->addWidget(m_retry, 0, Qt::AlignHCenter);
    failureLayout->addWidget(m_details, 0, Qt::AlignHCenter);
    failureLayout->addWidget(m_detailBlock);

    m_footer = secondaryLabel(BootstrapScreen::footer(), this);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(40, 24, 40, 24);
    layout->setSpacing(16);
    layout->addStretch(1);
    layout->addWidget(m_appIcon, 0, Qt::AlignHCenter);
    layout->addWidget(m_title);
    layout->addWidget(m_progressBlock);
    layout->addWidget(m_readyIcon, 0, Qt::AlignHCenter);
    layout->addWidget(m_failureBlock);
    layout->addStretch(1);
    layout->addWidget(m_footer);

    connect(m_retry, &QPushButton::clicked, m_screen, &BootstrapScreen::retry);
    connect(m_details, &QPushButton::clicked, m_screen, &BootstrapScreen::toggleDetail);
    connect(m_copy, &QPushButton::clicked, this,
            [this] { QGuiApplication::clipboard()->setText(m_screen->copyDetail()); });
    connect(m_screen, &BootstrapScreen::changed, this, &BootstrapView::refresh);

    applyColours();
}

void BootstrapView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    // The start task runs once, as the screen first opens.
    if (!m_started) {
        m_started = true;
        m_screen->start();
    }
}

void BootstrapView::changeEvent(QEvent* event) {
    if (event->type() == QEvent::FontChange)
        applyFonts();
    if (event->type() == QEvent::PaletteChange)
        applyColours();
    QWidget::changeEvent(event);
}

void BootstrapView::refresh() {
    const BootstrapScreen::Block block = m_screen->block();
    m_progressBlock->setVisible(block == BootstrapScreen::Block::progress);
    m_readyIcon->setVisible(block == BootstrapScreen::Block::ready);
    m_failureBlock->setVisible(block == BootstrapScreen::Block::failure);

    TextLabels::setText(m_progress, m_screen->progressText());
    m_hint->setVisible(m_screen->showsFirstLaunchHint());
    TextLabels::setText(m_failure, m_screen->failureMessage());
    m_details->setVisible(m_screen->showsDetailsButton());
    m_details->setText(m_screen->detailsButtonTitle());
    m_details->setAccessibleName(m_screen->detailsButtonTitle());
    m_detailBlock->setVisible(m_screen->showsDetailPanel());
    if (m_detailPanel->toPlainText() != m_screen->detailText())
        m_detailPanel->setPlainText(m_screen->detailText());
    m_copy->setText(m_screen->copyButtonTitle());
    m_copy->setAccessibleName(m_screen->copyButtonTitle());
    const int side = m_copy->fontMetrics().height();
    m_copy->setIcon(Icons::symbol(m_screen->copySymbol()));
    m_copy->setIconSize(QSize(side, side));
}

void BootstrapView::applyFonts() {
    QFont title = scaledFont(font(), 1.6);
    title.setBold(true);
    m_title->setFont(title);
    m_failure->setFont(scaledFont(font(), 1.1));
    const QFont caption = scaledFont(font(), 0.85);
    m_footer->setFont(caption);
    m_copy->setFont(caption);
    QFont mono = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    mono.setPointSize(BootstrapScreen::detailPointSize);
    m_detailPanel->setFont(mono);

    const QPalette colours = palette();
    const int appSide = qRound(BootstrapScreen::iconPointSize * logicalDpiY() / 72.0);
    Icons::showOn(m_appIcon, BootstrapScreen::appSymbol(), appSide, colours.color(QPalette::Highlight));
    const int titleSide = QFontMetrics(title).height() * 3 / 2;
    Icons::showOn(m_readyIcon, BootstrapScreen::readySymbol(), titleSide, green(colours));
    Icons::showOn(m_failureIcon, BootstrapScreen::failureSymbol(), titleSide, orange(colours));
    refresh();
}

void BootstrapView::applyColours() {
    const QPalette colours = palette();
    m_failureBlock->setStyleSheet(uR"(
QPushButton#prominent { background: %1; color: %2; border: none; border-radius: 6px; padding: 0.45em 1.6em; font-weight: 600; }
QPushButton#plain { border: none; color: %3; padding: 0.2em 0.5em; }
QPushButton#prominent:focus { border: 2px solid %5; }
QPushButton#plain:focus { border: 1px solid %3; border-radius: 4px; }
QPlainTextEdit#detailPanel { border-radius: 6px; color: %4; }
)"_s.arg(colours.color(QPalette::Highlight).name(), colours.color(QPalette::HighlightedText).name(),
         colours.color(QPalette::Link).name(), cssColour(colours.color(QPalette::PlaceholderText)),
         Theme::isDark(colours) ? colours.color(QPalette::HighlightedText).name()
                                : colours.color(QPalette::Highlight).darker(150).name()));
    applyFonts();
}
