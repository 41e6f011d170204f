#include "RunningView.h"

#include "CardGridLayout.h"
#include "Icons.h"
#include "RunningParts.h"
#include "ScaledFont.h"
#include "Spinner.h"
#include "StatCardView.h"
#include "TextLabels.h"

#include "core/AppState.h"
#include "screens/RunningScreen.h"
#include "subprocess/PythonProcess.h"

#include <QAction>
#include <QClipboard>
#include <QFontDatabase>
#include <QFrame>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

// A symbol the height of a line of text, sharp on any screen.
QLabel* makeIconLabel(const QString& symbol, QWidget* parent) {
    auto* label = new QLabel(parent);
    const int side = label->fontMetrics().height();
    Icons::showOn(label, symbol, side);
    label->setFixedSize(side, side);
    label->setAlignment(Qt::AlignTop);
    return label;
}

// An icon in front of a wrapping text, the shape of every notice line.
QWidget* makeIconLine(const QString& symbol, QLabel*& text, QWidget* parent) {
    return TextLabels::iconLine(makeIconLabel(symbol, nullptr), text, parent);
}

QPushButton* makeButton(const QString& title, const QString& symbol, QWidget* parent) {
    auto* button = new QPushButton(Icons::symbol(symbol), title, parent);
    button->setAccessibleName(title);
    button->setAutoDefault(false);
    return button;
}

} // namespace

RunningView::RunningView(AppState& state, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_model(new RunningScreen(state, this)) {
    setObjectName(u"running"_s);
    setAccessibleName(u"Capture in progress"_s);

    auto* layout = new QVBoxLayout(this);
    buildTop(layout);
    buildScrollingArea(layout);
    buildButtons(layout);

    connect(&m_state, &AppState::statsChanged, this, [this] {
        refreshProgress();
        refreshCards();
        refreshStatusNotice();
    });
    connect(&m_state, &AppState::seriesChanged, this, &RunningView::refreshCards);
    connect(&m_state, &AppState::videoResultsChanged, this, &RunningView::refreshCards);
    connect(&m_state, &AppState::sessionChanged, this, [this] {
        refreshStatusNotice();
        refreshButtons();
    });
    connect(&m_state, &AppState::throughputStateChanged, this, &RunningView::refreshButtons);
    connect(&m_state, &AppState::blockedProbesChanged, this, &RunningView::refreshBlockedLine);
    connect(&m_state, &AppState::warningsChanged, this, &RunningView::refreshWarnings);
    PythonProcess& process = m_state.pythonProcess();
    connect(&process, &PythonProcess::playwrightUnavailableChanged, this, &RunningView::refreshBrowserNotice);
    connect(&process, &PythonProcess::stderrOutputChanged, this, &RunningView::refreshStatusNotice);
    // The ages of the figures and the breathing of the loss card move with the clock, the notice with
    // the seconds of silence.
    connect(m_model, &RunningScreen::ticked, this, &RunningView::refreshCards);
    connect(m_model, &RunningScreen::noDataSecondsChanged, this, &RunningView::refreshStatusNotice);

    refreshProgress();
    refreshCards();
    refreshBlockedLine();
    refreshWarnings();
    refreshBrowserNotice();
    refreshStatusNotice();
    refreshButtons();
}

void RunningView::buildTop(QVBoxLayout* layout) {
    auto* progressRow = new QHBoxLayout;
    m_elapsedLabel = new QLabel(this);
    QFont clockFont = scaledFont(m_elapsedLabel->font(), 1.15);
    clockFont.setWeight(QFont::DemiBold);
    m_elapsedLabel->setFont(clockFont);
    m_elapsedLabel->setAccessibleDescription(u"Elapsed time"_s);
    m_progressBar = new QProgressBar(this);
    m_progressBar->setTextVisible(false);
    m_progressBar->setAccessibleName(u"Capture progress"_s);
    m_remainingLabel = new QLabel(this);
    m_remainingLabel->setForegroundRole(QPalette::PlaceholderText);
    m_remainingLabel->setAccessibleDescription(u"Time remaining"_s);
    // Room for two-digit minutes from the start, so that the bar doesn't shrink as the clocks grow.
    m_elapsedLabel->setMinimumWidth(QFontMetrics(clockFont).horizontalAdvance(u"00:00"_s));
    m_remainingLabel->setMinimumWidth(
        m_remainingLabel->fontMetrics().horizontalAdvance(u"00:00 remaining"_s));
    m_remainingLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    progressRow->addWidget(m_elapsedLabel);
    progressRow->addWidget(m_progressBar, 1);
    progressRow->addWidget(m_remainingLabel);
    progressRow->addStretch(0);
    layout->addLayout(progressRow);

    auto* divider = new QFrame(this);
    divider->setFrameShape(QFrame::HLine);
    divider->setFrameShadow(QFrame::Sunken);
    layout->addWidget(divider);

    // The activity line stays in view; the trivia line comes with it and goes below the honeycomb.
    const ActivityLinesParts activityLines = makeActivityLines(m_state, this);
    layout->addWidget(activityLines.activity);
    m_triviaRow = activityLines.trivia;
}

void RunningView::buildScrollingArea(QVBoxLayout* layout) {
    m_scrollArea = new QScrollArea(this);
    m_scrollArea->setObjectName(u"runningScroll"_s);
    m_scrollArea->setAccessibleName(u"Live figures"_s);
    // The page scrolls to whichever control takes the focus; the area itself would hold it unseen.
    m_scrollArea->setFocusPolicy(Qt::NoFocus);
    m_scrollArea->setFrameShape(QFrame::NoFrame);
    m_scrollArea->setWidgetResizable(true);
    m_scrollArea->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_scrollArea->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    auto* content = new QWidget(m_scrollArea);
    content->setObjectName(u"runningContent"_s);
    auto* column = new QVBoxLayout(content);
    m_contentColumn = column;
    const int lineHeight = fontMetrics().height();

    m_chart = makeLiveLatencyChart(m_state, content);
    m_chart->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    m_chartMinimumHeight = std::max(m_chart->minimumSizeHint().height(), lineHeight * 12);
    m_chart->setFixedHeight(m_chartMinimumHeight);
    column->addWidget(m_chart);

    m_blockedRow = makeIconLine(u"xmark.shield"_s, m_blockedText, content);
    m_blockedText->setAccessibleDescription(u"Blocked probes"_s);
    column->addWidget(m_blockedRow);

    auto makeCard = [content](const QString& name) {
        auto* card = new StatCardView(content);
        card->setObjectName(name);
        return card;
    };
    // Each of the two rows of cards keeps to itself; on a narrow window it wraps onto rows of its own.
    auto* firstRow = new CardGridLayout;
    m_latencyCard = makeCard(u"latencyCard"_s);
    m_lossCard = makeCard(u"lossCard"_s);
    m_youTubeTile = makeCard(u"youTubeTile"_s);
    m_downloadTestCard = makeCard(u"downloadTestCard"_s);
    m_downloadThroughputCard = makeCard(u"downloadThroughputCard"_s);
    for (StatCardView* card :
         {m_latencyCard, m_lossCard, m_youTubeTile, m_downloadTestCard, m_downloadThroughputCard})
        firstRow->addWidget(card);
    column->addLayout(firstRow);

    auto* secondRow = new CardGridLayout;
    m_signalCard = makeCard(u"signalCard"_s);
    m_dnsCard = makeCard(u"dnsCard"_s);
    m_netflixTile = makeCard(u"netflixTile"_s);
    m_uploadTestCard = makeCard(u"uploadTestCard"_s);
    m_uploadThroughputCard = makeCard(u"uploadThroughputCard"_s);
    for (StatCardView* card :
         {m_signalCard, m_dnsCard, m_netflixTile, m_uploadTestCard, m_uploadThroughputCard})
        secondRow->addWidget(card);
    column->addLayout(secondRow);

    column->addWidget(makeHoneycombView(m_state, content));
    column->addWidget(m_triviaRow);
    column->addWidget(makeNoteChips(m_state, content));

    m_warningsBox = new QWidget(content);
    m_warningsBox->setAccessibleName(u"Warnings"_s);
    m_warningsLayout = new QVBoxLayout(m_warningsBox);
    m_warningsLayout->setContentsMargins(0, 0, 0, 0);
    column->addWidget(m_warningsBox);

    QLabel* browserText = nullptr;
    m_browserNotice = makeIconLine(u"play.rectangle"_s, browserText, content);
    browserText->setText(RunningScreen::browserNoticeText);
    column->addWidget(m_browserNotice);

    m_statusNotice = new QWidget(content);
    auto* notice = new QVBoxLayout(m_statusNotice);
    notice->setContentsMargins(0, 0, 0, 0);
    auto* noticeLine = new QHBoxLayout;
    m_statusSpinner = new Spinner(1.0, m_statusNotice);
    m_statusSpinner->setAccessibleName(u"Working"_s);
    m_statusIcon = makeIconLabel(u"exclamationmark.triangle"_s, m_statusNotice);
    m_statusText = TextLabels::wrapping(m_statusNotice);
    m_statusText->setAccessibleDescription(u"Status"_s);
    noticeLine->addWidget(m_statusSpinner, 0, Qt::AlignVCenter);
    noticeLine->addWidget(m_statusIcon, 0, Qt::AlignTop);
    noticeLine->addWidget(m_statusText, 1);
    notice->addLayout(noticeLine);
    m_stderrTail = TextLabels::wrapping(m_statusNotice);
    m_stderrTail->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_stderrTail->setForegroundRole(QPalette::PlaceholderText);
    m_stderrTail->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    m_stderrTail->setAccessibleDescription(u"Last output of the measurement tool"_s);
    notice->addWidget(m_stderrTail);
    m_diagnoseButton = makeButton(u"Stop and Diagnose"_s, u"stethoscope"_s, m_statusNotice);
    connect(m_diagnoseButton, &QPushButton::clicked, this, [this] { m_model->stopAndDiagnose(); });
    notice->addWidget(m_diagnoseButton, 0, Qt::AlignLeft);
    column->addWidget(m_statusNotice);
    // Notices come, go and change length at the foot; the room below them takes that up, so that
    // nothing above moves.
    column->addStretch(1);

    m_scrollArea->setWidget(content);
    // The scroll bar comes and goes with the viewport's width.
    m_scrollArea->viewport()->installEventFilter(this);
    keepScrollBarRoom();
    layout->addWidget(m_scrollArea, 1);
}

void RunningView::buildButtons(QVBoxLayout* layout) {
    auto* row = new QHBoxLayout;
    m_speedTestButton = makeButton(u"Speed Test"_s, u"speedometer"_s, this);
    m_youTubeButton = makeButton(u"YouTube"_s, u"play.rectangle"_s, this);
    m_stopButton = makeButton(u"Stop Test"_s, u"stop.fill"_s, this);
    connect(m_speedTestButton, &QPushButton::clicked, this, [this] { m_model->requestSpeedTest(); });
    connect(m_youTubeButton, &QPushButton::clicked, this, [this] { m_model->requestYouTubeTest(); });
    connect(m_stopButton, &QPushButton::clicked, this, [this] { m_model->stopTest(); });
    row->addWidget(m_speedTestButton);
    row->addWidget(m_youTubeButton);
    row->addStretch(1);
    row->addWidget(m_stopButton);
    layout->addLayout(row);
}

bool RunningView::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_scrollArea->viewport() && event->type() == QEvent::Resize) {
        keepScrollBarRoom();
        fitChartToViewport();
    }
    return QWidget::eventFilter(watched, event);
}

void RunningView::keepScrollBarRoom() {
    // The scroll bar shows only when the figures don't fit, and its room is kept free while it is
    // hidden: a scroll bar that came and went would change the honeycomb's width, and a new width lays
    // the strip out afresh, losing what it has painted. The viewport's own width tells whether the bar
    // takes its room just now; the bar's shown state may not have caught up when the viewport resizes.
    const int taken = m_scrollArea->maximumViewportSize().width() - m_scrollArea->viewport()->width();
    const int room = m_scrollArea->verticalScrollBar()->sizeHint().width();
    m_contentColumn->setContentsMargins(0, 0, std::max(0, room - taken), 0);
}

void RunningView::fitChartToViewport() {
    // The chart grows with the window, by the window's height alone: were it to take up whatever the
    // figures below leave over, it would jump each time a notice came or went.
    const int share = int(m_scrollArea->viewport()->height() * chartShareOfViewport);
    m_chart->setFixedHeight(std::max(m_chartMinimumHeight, share));
}

void RunningView::refreshProgress() {
    const RunningProgress progress = m_model->progress();
    TextLabels::setText(m_elapsedLabel, progress.elapsedText);
    m_progressBar->setVisible(progress.showsBar());
    m_remainingLabel->setVisible(progress.showsBar());
    if (!progress.showsBar())
        return;
    TextLabels::setText(m_remainingLabel, *progress.remainingText);
    // Whole seconds are the bar's resolution; a capture of days still fits an int.
    const int maximum = int(std::clamp(std::ceil(progress.barMaximum), 1.0, 2.0e9));
    m_progressBar->setRange(0, maximum);
    m_progressBar->setValue(int(std::clamp(std::floor(progress.barValue), 0.0, double(maximum))));
}

void RunningView::refreshCards() {
    const RunningCards cards = m_model->cards();
    m_latencyCard->setCard(cards.latency);
    m_lossCard->setCard(cards.loss);
    m_youTubeTile->setVisible(cards.youTube.has_value());
    if (cards.youTube)
        m_youTubeTile->setCard(*cards.youTube);
    m_downloadTestCard->setCard(cards.downloadTest);
    m_downloadThroughputCard->setCard(cards.downloadThroughput);
    m_signalCard->setCard(cards.signal);
    m_dnsCard->setCard(cards.dns);
    m_netflixTile->setVisible(cards.netflix.has_value());
    if (cards.netflix)
        m_netflixTile->setCard(*cards.netflix);
    m_uploadTestCard->setCard(cards.uploadTest);
    m_uploadThroughputCard->setCard(cards.uploadThroughput);
}

void RunningView::refreshBlockedLine() {
    const std::optional<IconLine> line = m_model->blockedLine();
    m_blockedRow->setVisible(line.has_value());
    if (line)
        TextLabels::setText(m_blockedText, line->text);
}

void RunningView::refreshWarnings() {
    const QStringList& warnings = m_state.warnings();
    m_warningsBox->setVisible(!warnings.isEmpty());
    if (warnings == m_shownWarnings)
        return;
    m_shownWarnings = warnings;
    while (QLayoutItem* item = m_warningsLayout->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    for (const IconLine& line : m_model->warningLines()) {
        QLabel* text = nullptr;
        QWidget* row = makeIconLine(line.icon, text, m_warningsBox);
        text->setText(line.text);
        text->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
        // The label keeps keyboard selection; a right click anywhere on the row offers the copy.
        text->setContextMenuPolicy(Qt::NoContextMenu);
        row->setContextMenuPolicy(Qt::ActionsContextMenu);
        auto* copy = new QAction(Icons::symbol(u"doc.on.doc"_s), RunningScreen::copyToClipboardText, row);
        const QString warning = line.text;
        connect(copy, &QAction::triggered, row,
                [warning] { QGuiApplication::clipboard()->setText(warning); });
        row->addAction(copy);
        m_warningsLayout->addWidget(row);
        row->show(); // a child added to a box on screen doesn't show by itself
    }
}

void RunningView::refreshBrowserNotice() {
    m_browserNotice->setVisible(m_model->browserNotice().has_value());
}

void RunningView::refreshStatusNotice() {
    const RunningStatusNotice notice = m_model->statusNotice();
    m_statusNotice->setVisible(notice.kind != RunningStatusNotice::Kind::none);
    m_statusSpinner->setVisible(notice.showsSpinner);
    m_statusIcon->setVisible(notice.icon.has_value());
    TextLabels::setText(m_statusText, notice.text);
    m_stderrTail->setVisible(notice.stderrTail.has_value());
    TextLabels::setText(m_stderrTail, notice.stderrTail.value_or(QString()));
    const bool wasOffered = m_diagnoseButton->isVisibleTo(this);
    m_diagnoseButton->setVisible(notice.offersStopAndDiagnose);
    // The way out of a silent capture sits at the foot of the figures; it must not wait there unseen.
    if (notice.offersStopAndDiagnose && !wasOffered)
        QMetaObject::invokeMethod(
            this, [this] { m_scrollArea->ensureWidgetVisible(m_statusNotice); }, Qt::QueuedConnection);
}

void RunningView::refreshButtons() {
    const RunningButtons buttons = m_model->buttons();
    m_speedTestButton->setVisible(buttons.speedTestOffered);
    m_speedTestButton->setEnabled(buttons.speedTestEnabled);
    m_youTubeButton->setVisible(buttons.youTubeOffered);
    m_youTubeButton->setEnabled(buttons.youTubeEnabled);
}
