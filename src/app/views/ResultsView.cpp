#include "ResultsView.h"

#include "LossHeatmapView.h"
#include "ReportExport.h"
#include "ResultsBottomChartsView.h"
#include "ResultsLatencyChartView.h"

#include "FlowLayout.h"
#include "Icons.h"
#include "StatCardView.h"
#include "SymbolLabel.h"
#include "TextLabels.h"
#include "UploadStatusView.h"

#include "core/AppState.h"
#include "screens/CaptureReportModel.h"
#include "screens/ResultsPalette.h"
#include "screens/ResultsScreen.h"

#include <QClipboard>
#include <QFrame>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

// The most video cards there can be: Netflix, YouTube, stalls, start-up and buffer.
constexpr int videoCardCount = 5;

QColor qColor(const RgbColor& rgb) {
    return QColor(rgb.red, rgb.green, rgb.blue);
}

QFont scaled(QFont font, double factor) {
    if (font.pointSizeF() > 0)
        font.setPointSizeF(font.pointSizeF() * factor);
    return font;
}

QLabel* makeSectionTitle(const QString& title, QWidget* parent) {
    auto* label = new QLabel(title, parent);
    QFont font = scaled(label->font(), 0.85);
    font.setWeight(QFont::DemiBold);
    font.setLetterSpacing(QFont::PercentageSpacing, 106);
    label->setFont(font);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

QPushButton* makeButton(const QString& title, const QString& symbol, QWidget* parent) {
    auto* button = new QPushButton(Icons::symbol(symbol), title, parent);
    button->setAccessibleName(title);
    button->setAutoDefault(false);
    return button;
}

// One fact of the header: a small icon and its text, in the secondary colour.
QWidget* makeFact(const ResultsFact& fact, QWidget* parent) {
    auto* box = new QWidget(parent);
    auto* layout = new QHBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    auto* text = new QLabel(fact.text, box);
    text->setTextFormat(Qt::PlainText);
    text->setForegroundRole(QPalette::PlaceholderText);
    if (fact.selectable)
        text->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    QLabel* icon = SymbolLabel::make(fact.icon, box);
    layout->addWidget(icon, 0, Qt::AlignVCenter);
    layout->addWidget(text, 0, Qt::AlignVCenter);
    return box;
}

} // namespace

ResultsView::ResultsView(AppState& state, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_model(new ResultsScreen(
          state, [](const QString& text) { QGuiApplication::clipboard()->setText(text); }, this)) {
    setObjectName(u"results"_s);
    setAccessibleName(u"Results"_s);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    m_scrollArea = new QScrollArea(this);
    m_scrollArea->setObjectName(u"resultsScroll"_s);
    m_scrollArea->setAccessibleName(u"Capture results"_s);
    // The page scrolls to whichever control takes the focus; the area itself would hold it unseen.
    m_scrollArea->setFocusPolicy(Qt::NoFocus);
    m_scrollArea->setFrameShape(QFrame::NoFrame);
    m_scrollArea->setWidgetResizable(true);
    m_scrollArea->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto* content = new QWidget(m_scrollArea);
    content->setObjectName(u"resultsContent"_s);
    auto* column = new QVBoxLayout(content);
    const int line = fontMetrics().height();
    column->setContentsMargins(line, line, line, line);

    // 1. The header, then the lines that belong under it.
    column->addWidget(buildHeader(content));
    m_bannerSlot = new QVBoxLayout;
    m_bannerSlot->setContentsMargins(0, 0, 0, 0);
    column->addLayout(m_bannerSlot);
    QLabel* warning = SymbolLabel::make(content);
    SymbolLabel::set(warning, ResultsScreen::errorIcon, qColor(ResultsPalette::speedTestColor()));
    m_errorLine = TextLabels::iconLine(warning, m_errorText, content);
    m_errorText->setObjectName(u"resultsError"_s);
    m_errorText->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    column->addWidget(m_errorLine);
    m_stopLine =
        TextLabels::iconLine(SymbolLabel::make(ResultsScreen::stopIcon, content), m_stopText, content);
    m_stopText->setObjectName(u"resultsStopReason"_s);
    column->addWidget(m_stopLine);

    // 2. The divider.
    auto* divider = new QFrame(content);
    divider->setFrameShape(QFrame::HLine);
    divider->setFrameShadow(QFrame::Sunken);
    column->addWidget(divider);

    // 3, 4. The cards.
    column->addSpacing(line / 2);
    buildCards(column, content);

    // 5. The latency chart with the loss strip.
    m_latencyBox = new QWidget(content);
    m_latencyBox->setObjectName(u"latencySection"_s);
    auto* latencySection = new QVBoxLayout(m_latencyBox);
    latencySection->setContentsMargins(0, 0, 0, 0);
    latencySection->setSpacing(line);
    m_latencyChart = new ResultsLatencyChartView(m_state, m_latencyBox);
    latencySection->addWidget(m_latencyChart);
    m_lossHeatmap = new LossHeatmapView(m_state, m_latencyBox);
    latencySection->addWidget(m_lossHeatmap);
    column->addWidget(m_latencyBox);

    // 6. The bottom charts.
    column->addSpacing(line / 2);
    m_bottomCharts = new ResultsBottomChartsView(m_state, content);
    m_bottomCharts->setObjectName(u"bottomCharts"_s);
    column->addWidget(m_bottomCharts);

    // 7. The upload status, and where the files are.
    column->addSpacing(line / 2);
    m_uploadStatus = new UploadStatusView(m_state, content);
    column->addWidget(m_uploadStatus);
    QLabel* folder = SymbolLabel::make(ResultsScreen::folderIcon, content);
    QWidget* savedRow = TextLabels::iconLine(folder, m_savedLine, content);
    m_savedLine->setObjectName(u"resultsSavedLine"_s);
    m_savedLine->setForegroundRole(QPalette::PlaceholderText);
    m_savedLine->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    column->addWidget(savedRow);
    column->addStretch(1);

    m_scrollArea->setWidget(content);
    layout->addWidget(m_scrollArea);

    connect(&m_state, &AppState::sessionChanged, this, [this] {
        refreshHeader();
        refreshNotices();
        refreshShare();
        refreshSavedLine();
    });
    connect(&m_state, &AppState::statsChanged, this, [this] {
        refreshHeader();
        refreshSummaryCards();
    });
    connect(&m_state, &AppState::latencyPointsChanged, this, [this] {
        refreshHeader();
        refreshSummaryCards();
        refreshLatencySection();
    });
    connect(&m_state, &AppState::seriesChanged, this, [this] {
        refreshSummaryCards();
        refreshVideoCards();
    });
    connect(&m_state, &AppState::videoResultsChanged, this, &ResultsView::refreshVideoCards);
    connect(&m_state, &AppState::errorMessageChanged, this, &ResultsView::refreshNotices);
    connect(&m_state, &AppState::uploadStateChanged, this, &ResultsView::refreshShare);
    connect(m_model, &ResultsScreen::showCopiedChanged, this, &ResultsView::refreshShare);

    refreshHeader();
    refreshNotices();
    refreshSummaryCards();
    refreshVideoCards();
    refreshLatencySection();
    refreshShare();
    refreshSavedLine();
}

QWidget* ResultsView::buildHeader(QWidget* parent) {
    auto* header = new QWidget(parent);
    header->setObjectName(u"resultsHeader"_s);
    // The title and the actions share the first line; the facts and the verdict take the whole width
    // below them, so that they wrap as late as possible.
    auto* layout = new QVBoxLayout(header);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* titleRow = new QHBoxLayout;
    m_title = new QLabel(header);
    QFont titleFont = scaled(m_title->font(), 1.5);
    titleFont.setWeight(QFont::Bold);
    m_title->setFont(titleFont);
    auto* check = new QLabel(header);
    const int side = QFontMetrics(titleFont).height();
    check->setFixedSize(side, side);
    check->setObjectName(u"resultsCheck"_s);
    titleRow->addWidget(check);
    // In the narrowest window the four actions leave the title less than its line: it wraps then.
    m_title->setWordWrap(true);
    titleRow->addWidget(m_title, 1);
    layout->addLayout(titleRow);
    SymbolLabel::set(check, m_model->header().checkIcon, qColor(ResultsPalette::downloadColor()));

    m_factsBox = new QWidget(header);
    m_factsBox->setObjectName(u"resultsFacts"_s);
    // Close enough to read as one line of facts, far enough apart to tell them from each other.
    m_facts = new FlowLayout(m_factsBox, fontMetrics().height() * 2 / 3);
    m_facts->setContentsMargins(0, 0, 0, 0);
    QFont factsFont = scaled(m_factsBox->font(), 0.9);
    m_factsBox->setFont(factsFont);
    layout->addWidget(m_factsBox);

    m_quality = new QLabel(header);
    m_quality->setObjectName(u"resultsQuality"_s);
    m_quality->setWordWrap(true);
    m_quality->setTextFormat(Qt::RichText);
    m_quality->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    layout->addWidget(m_quality);

    m_exportButton = makeButton(CaptureReportModel::exportText(), u"arrow.down.circle"_s, header);
    m_shareButton = makeButton(ResultsScreen::shareText, u"square.and.arrow.up"_s, header);
    m_historyButton = makeButton(ResultsScreen::historyText, u"clock.arrow.circlepath"_s, header);
    m_newTestButton = makeButton(ResultsScreen::newTestText, u"plus"_s, header);
    m_newTestButton->setDefault(true);
    connect(m_exportButton, &QPushButton::clicked, this, [this] { ReportExport::start(m_state, this); });
    connect(m_shareButton, &QPushButton::clicked, this, [this] { m_model->copyShareLink(); });
    connect(m_historyButton, &QPushButton::clicked, this, &ResultsView::historyRequested);
    connect(m_newTestButton, &QPushButton::clicked, this, [this] { m_model->newCapture(); });
    // The report comes first, so that the described actions keep their order at the right.
    titleRow->addWidget(m_exportButton);
    titleRow->addWidget(m_shareButton);
    titleRow->addWidget(m_historyButton);
    titleRow->addWidget(m_newTestButton);
    return header;
}

void ResultsView::buildCards(QVBoxLayout* column, QWidget* parent) {
    column->addWidget(makeSectionTitle(ResultsScreen::linkCapabilityText, parent));
    auto* summaryRow = new QHBoxLayout;
    for (int index = 0; index < 5; ++index) {
        auto* card = new StatCardView(parent);
        card->setObjectName(u"summaryCard%1"_s.arg(index));
        summaryRow->addWidget(card, 1);
        m_summaryCards.append(card);
    }
    column->addLayout(summaryRow);

    m_videoSection = new QWidget(parent);
    m_videoSection->setObjectName(u"videoSection"_s);
    auto* video = new QVBoxLayout(m_videoSection);
    video->setContentsMargins(0, 0, 0, 0);
    video->addSpacing(fontMetrics().height() / 2);
    video->addWidget(makeSectionTitle(ResultsScreen::videoStreamingText, m_videoSection));
    auto* videoRow = new QHBoxLayout;
    for (int index = 0; index < videoCardCount; ++index) {
        auto* card = new StatCardView(m_videoSection);
        card->setObjectName(u"videoCard%1"_s.arg(index));
        videoRow->addWidget(card, 1);
        m_videoCards.append(card);
    }
    video->addLayout(videoRow);
    column->addWidget(m_videoSection);
}

void ResultsView::refreshHeader() {
    const ResultsHeader header = m_model->header();
    TextLabels::setText(m_title, header.title);
    TextLabels::setText(m_quality, header.quality.html());
    m_quality->setAccessibleName(header.quality.plainText());

    // The facts change only when another capture is shown; rebuild them then.
    QStringList shown;
    for (int index = 0; index < m_facts->count(); ++index)
        shown.append(m_facts->itemAt(index)->widget()->property("factText").toString());
    QStringList wanted;
    for (const ResultsFact& fact : header.facts)
        wanted.append(fact.icon + u' ' + fact.text);
    if (shown == wanted)
        return;
    while (QLayoutItem* item = m_facts->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    for (const ResultsFact& fact : header.facts) {
        QWidget* widget = makeFact(fact, m_factsBox);
        widget->setProperty("factText", QString(fact.icon + u' ' + fact.text));
        m_facts->addWidget(widget);
        widget->show();
    }
    m_factsBox->setVisible(!header.facts.isEmpty());
}

void ResultsView::refreshNotices() {
    const std::optional<IconLine> error = m_model->errorLine();
    m_errorLine->setVisible(error.has_value());
    TextLabels::setText(m_errorText, error ? error->text : QString());
    const std::optional<IconLine> stop = m_model->stopLine();
    m_stopLine->setVisible(stop.has_value());
    TextLabels::setText(m_stopText, stop ? stop->text : QString());
}

void ResultsView::refreshSummaryCards() {
    const QList<StatCard> cards = m_model->summaryCards();
    for (qsizetype index = 0; index < m_summaryCards.size() && index < cards.size(); ++index)
        m_summaryCards[index]->setCard(cards[index]);
}

void ResultsView::refreshVideoCards() {
    m_videoSection->setVisible(m_model->showsVideoSection());
    const QList<StatCard> cards = m_model->videoCards();
    for (qsizetype index = 0; index < m_videoCards.size(); ++index) {
        m_videoCards[index]->setVisible(index < cards.size());
        if (index < cards.size())
            m_videoCards[index]->setCard(cards[index]);
    }
}

void ResultsView::refreshLatencySection() {
    m_latencyBox->setVisible(m_model->showsLatencySection());
}

void ResultsView::refreshShare() {
    m_shareButton->setText(m_model->shareLabel());
    m_shareButton->setAccessibleName(m_model->shareLabel());
    m_shareButton->setEnabled(m_model->shareEnabled());
}

void ResultsView::refreshSavedLine() {
    TextLabels::setText(m_savedLine, m_model->savedLine());
}

void ResultsView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    // The capture folder is a setting that may have changed while another screen was up.
    refreshSavedLine();
}
