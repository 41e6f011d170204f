#include "CaptureReport.h"

#include "LossHeatmapView.h"
#include "ResultsBottomChartsView.h"
#include "ResultsLatencyChartView.h"
#include "StatCardView.h"
#include "SymbolLabel.h"
#include "TextLabels.h"
#include "Theme.h"

#include "core/AppState.h"
#include "platform/Platform.h"
#include "screens/CaptureReportModel.h"
#include "screens/ResultsLatencyChart.h"
#include "screens/ResultsPalette.h"
#include "screens/ResultsScreen.h"

#include <QApplication>
#include <QFile>
#include <QFileInfo>
#include <QFontInfo>
#include <QFrame>
#include <QHBoxLayout>
#include <QImage>
#include <QLabel>
#include <QLocale>
#include <QPageLayout>
#include <QPainter>
#include <QPdfWriter>
#include <QScrollBar>
#include <QStyle>
#include <QVBoxLayout>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

// Room between two pieces on a page, and the margin of the paper around them.
constexpr int pieceGap = 18;
constexpr double paperMarginMm = 14;

QFont resized(QFont font, double factor, QFont::Weight weight) {
    font.setPointSizeF(font.pointSizeF() * factor);
    font.setWeight(weight);
    return font;
}

QLabel* makeLabel(const QString& text, double factor, QFont::Weight weight, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setFont(resized(label->font(), factor, weight));
    return label;
}

QLabel* makeSectionTitle(const QString& text, QWidget* parent) {
    QLabel* label = makeLabel(text, 0.85, QFont::DemiBold, parent);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

QHBoxLayout* cardRow(const QList<StatCard>& cards, QWidget* parent) {
    auto* row = new QHBoxLayout;
    for (const StatCard& card : cards) {
        auto* view = new StatCardView(parent);
        view->setCard(card);
        row->addWidget(view, 1);
    }
    return row;
}

QPageSize paperFor(const QLocale& locale) {
    return QPageSize(locale.measurementSystem() == QLocale::ImperialUSSystem ? QPageSize::Letter
                                                                             : QPageSize::A4);
}

} // namespace

CaptureReport::CaptureReport(AppState& state)
    : m_state(state)
    , m_captureFile(state.infoEvent() ? QFileInfo(state.infoEvent()->csvFile.value_or(QString())).fileName()
                                      : QString()) {
    build();
}

CaptureReport::~CaptureReport() = default;

void CaptureReport::build() {
    m_root = std::make_unique<QWidget>();
    // Paper is white whatever the desktop's scheme.
    m_root->setPalette(QApplication::style()->standardPalette());
    m_root->setAttribute(Qt::WA_DontShowOnScreen);
    // Ligatures would put "ﬁ" for "fi" into the PDF's text, and a search for "wifi" would miss it.
    QFont font = m_root->font();
    font.setStyleStrategy(QFont::PreferNoShaping);
    m_root->setFont(font);
    m_root->setFixedWidth(contentWidth);
    auto* column = new QVBoxLayout(m_root.get());
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(pieceGap);

    m_firstPage = buildFirstPage(m_root.get());
    column->addWidget(m_firstPage);
    m_pieces.append({m_firstPage, {}, std::nullopt});

    ResultsLatencyChartView* latency = nullptr;
    LossHeatmapView* loss = nullptr;
    if (!m_state.latencyPoints().isEmpty()) {
        latency = new ResultsLatencyChartView(m_state, m_root.get());
        loss = new LossHeatmapView(m_state, m_root.get());
        column->addWidget(latency);
        column->addWidget(loss);
    }
    auto* bottom = new ResultsBottomChartsView(m_state, m_root.get());
    column->addWidget(bottom);
    QWidget* warnings = buildWarnings(m_root.get());
    if (warnings)
        column->addWidget(warnings);

    // Shown, though never on screen, so that the charts build and lay out as they do on the screen. The
    // screen's scroll bars have no meaning on paper.
    m_root->show();
    // A layout shows the widgets added to a visible parent on the next turn of the event loop (the
    // charts' legends and cells, made as the charts first showed), and a chart lays its axes out on a
    // posted event too: both are delivered now, once the sizes are final. Repaints are left out: the
    // report paints each piece once, into the page.
    const auto catchUp = [] {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
    };
    catchUp();
    for (QScrollBar* bar : m_root->findChildren<QScrollBar*>())
        bar->hide();
    m_root->layout()->activate();
    m_root->adjustSize();
    catchUp();

    if (latency) {
        const ResultsLatencyChart::Timeline& timeline = latency->timeline();
        const QList<ClosedRange> rows = CaptureReportModel::timelineRows(
            timeline.startMs(), timeline.span().totalSeconds, timeline.span().visibleSeconds);
        m_showTimelineRow = [latency, rows](int row) { latency->showWindow(rows.value(row)); };
        for (qsizetype row = 0; row < rows.size(); ++row) {
            QWidget* widget = row == 0 ? latency : latency->plotWidget();
            m_pieces.append({widget, widget->rect(), int(row)});
        }
        m_pieces.append({loss, loss->rect(), std::nullopt});
    }
    for (int row = 0; row < bottom->rowCount(); ++row) {
        QRect area;
        for (int side = 0; side < 2; ++side) {
            if (QWidget* cell = bottom->cell(row, side))
                area |= QRect(cell->mapTo(bottom, QPoint(0, 0)), cell->size());
        }
        area.setLeft(0);
        area.setRight(bottom->width() - 1);
        m_pieces.append({bottom, area, std::nullopt});
    }
    if (warnings)
        m_pieces.append({warnings, warnings->rect(), std::nullopt});
    m_pieces.first().source = m_firstPage->rect();
}

QWidget* CaptureReport::buildFirstPage(QWidget* parent) {
    ResultsScreen model(m_state, [](const QString&) {});
    const ResultsHeader header = model.header();

    auto* page = new QWidget(parent);
    auto* column = new QVBoxLayout(page);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(8);

    const std::optional<QString>& location = m_state.captureLocation();
    if (location)
        column->addWidget(makeSectionTitle(CaptureReportModel::reportTitle().toUpper(), page));
    column->addWidget(
        makeLabel(location.value_or(CaptureReportModel::reportTitle()), 2.0, QFont::Bold, page));
    if (const std::optional<QString>& network = m_state.captureNetwork())
        column->addWidget(makeLabel(*network, 1.25, QFont::DemiBold, page));
    QStringList facts;
    for (const ResultsFact& fact : header.facts)
        facts.append(fact.text);
    if (!facts.isEmpty()) {
        QLabel* line = makeLabel(facts.join(u"   \u00b7   "_s), 1.0, QFont::Normal, page);
        line->setForegroundRole(QPalette::PlaceholderText);
        line->setTextInteractionFlags(Qt::NoTextInteraction);
        column->addWidget(line);
    }
    auto* quality = new QLabel(header.quality.html(), page);
    quality->setTextFormat(Qt::RichText);
    quality->setWordWrap(true);
    quality->setFont(resized(quality->font(), 1.15, QFont::Normal));
    column->addWidget(quality);

    // The screen's lines under the header: what went wrong, and why the capture stopped.
    if (const std::optional<IconLine> error = model.errorLine()) {
        QLabel* icon = SymbolLabel::make(page);
        SymbolLabel::set(icon, error->icon, Theme::toColor(ResultsPalette::speedTestColor()));
        QLabel* text = nullptr;
        column->addWidget(TextLabels::iconLine(icon, text, page));
        text->setText(error->text);
    }
    if (const std::optional<IconLine> stop = model.stopLine()) {
        QLabel* text = nullptr;
        column->addWidget(TextLabels::iconLine(SymbolLabel::make(stop->icon, page), text, page));
        text->setText(stop->text);
    }

    auto* divider = new QFrame(page);
    divider->setFrameShape(QFrame::HLine);
    divider->setFrameShadow(QFrame::Sunken);
    column->addWidget(divider);

    column->addWidget(makeSectionTitle(ResultsScreen::linkCapabilityText, page));
    column->addLayout(cardRow(model.summaryCards(), page));
    if (model.showsVideoSection()) {
        column->addSpacing(8);
        column->addWidget(makeSectionTitle(ResultsScreen::videoStreamingText, page));
        column->addLayout(cardRow(model.videoCards(), page));
    }
    return page;
}

QWidget* CaptureReport::buildWarnings(QWidget* parent) {
    const QStringList& warnings = m_state.warnings();
    if (warnings.isEmpty())
        return nullptr;
    auto* box = new QWidget(parent);
    auto* column = new QVBoxLayout(box);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(makeSectionTitle(CaptureReportModel::warningsTitle(), box));
    for (const QString& warning : warnings) {
        QLabel* icon = SymbolLabel::make(box);
        SymbolLabel::set(icon, ResultsScreen::errorIcon, Theme::toColor(ResultsPalette::speedTestColor()));
        QLabel* text = nullptr;
        column->addWidget(TextLabels::iconLine(icon, text, box));
        text->setText(warning);
    }
    return box;
}

QList<CaptureReport::Placed> CaptureReport::paginate(int pageHeight) const {
    QList<Placed> placed;
    int page = 0;
    int top = 0;
    for (const Piece& piece : m_pieces) {
        const int height = piece.source.height();
        if (top > 0 && top + height > pageHeight) {
            ++page;
            top = 0;
        }
        placed.append({page, top});
        top += height + pieceGap;
    }
    return placed;
}

namespace {

// The paper of the report and how the content's pixels map onto it.
struct Paper {
    QPageLayout layout;
    int resolution = 1200;
    QRect paintRect; // in device pixels
    double scale = 1;
    int footerHeight = 0;
    int contentHeight = 0; // in content pixels, the footer left out

    explicit Paper(const QFont& font)
        : layout(paperFor(QLocale()), QPageLayout::Portrait,
                 QMarginsF(paperMarginMm, paperMarginMm, paperMarginMm, paperMarginMm),
                 QPageLayout::Millimeter) {
        paintRect = layout.paintRectPixels(resolution);
        scale = double(paintRect.width()) / CaptureReport::contentWidth;
        footerHeight = QFontMetrics(font).height() * 2;
        contentHeight = int(paintRect.height() / scale) - footerHeight;
    }
};

} // namespace

int CaptureReport::pageCount() const {
    const Paper paper(m_root->font());
    const QList<Placed> placed = paginate(paper.contentHeight);
    return placed.isEmpty() ? 0 : placed.last().page + 1;
}

std::optional<QString> CaptureReport::writePdf(const QString& path, const Progress& progress) {
    const Paper paper(m_root->font());
    const QList<Placed> placed = paginate(paper.contentHeight);
    const int pages = placed.last().page + 1;

    QPdfWriter writer(path);
    writer.setResolution(paper.resolution);
    writer.setPageLayout(paper.layout);
    writer.setCreator(u"Norvane "_s + Platform::appVersion());
    writer.setTitle(QFileInfo(path).completeBaseName());
    QPainter painter;
    if (!painter.begin(&writer))
        return u"Could not write %1."_s.arg(path);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);

    const auto drawFooter = [&](int page) {
        painter.save();
        // In pixels: a size in points would be taken at the printer's resolution, not the content's.
        QFont font = m_root->font();
        font.setPixelSize(std::max(1, int(QFontInfo(m_root->font()).pixelSize() * 0.8)));
        painter.setFont(font);
        painter.setPen(m_root->palette().color(QPalette::PlaceholderText));
        const QRect box(0, paper.contentHeight, contentWidth, paper.footerHeight);
        painter.drawText(box, Qt::AlignRight | Qt::AlignBottom,
                         CaptureReportModel::footer(Platform::appVersion(), m_captureFile, page + 1, pages));
        painter.restore();
    };

    int page = 0;
    painter.scale(paper.scale, paper.scale);
    for (qsizetype index = 0; index < m_pieces.size(); ++index) {
        const Piece& piece = m_pieces[index];
        if (placed[index].page != page) {
            drawFooter(page);
            writer.newPage();
            page = placed[index].page;
        }
        if (piece.timelineRow)
            m_showTimelineRow(*piece.timelineRow);
        piece.widget->render(&painter, QPoint(0, placed[index].top), QRegion(piece.source),
                             QWidget::DrawChildren);
        if (progress && !progress(int(index + 1), int(m_pieces.size()))) {
            painter.end();
            QFile::remove(path);
            return u"The report was cancelled."_s;
        }
    }
    drawFooter(page);
    if (!painter.end())
        return u"Could not write %1."_s.arg(path);
    return std::nullopt;
}

std::optional<QString> CaptureReport::writePicture(const QString& path) {
    const int margin = pieceGap;
    const double scale = double(pictureWidth) / (contentWidth + 2 * margin);
    QImage picture(pictureWidth, int(std::ceil((m_firstPage->height() + 2 * margin) * scale)),
                   QImage::Format_RGB32);
    picture.fill(m_root->palette().color(QPalette::Window));
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(scale, scale);
    painter.translate(margin, margin);
    m_firstPage->render(&painter, QPoint(), QRegion(m_firstPage->rect()), QWidget::DrawChildren);
    painter.end();
    if (!picture.save(path, "PNG"))
        return u"Could not write %1."_s.arg(path);
    return std::nullopt;
}
