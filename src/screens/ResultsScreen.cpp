#include "screens/ResultsScreen.h"

#include "base/Clock.h"
#include "capture/ResultsFormat.h"
#include "core/AppState.h"
#include "platform/Locations.h"
#include "platform/Platform.h"
#include "screens/SettingsScreen.h"
#include "subprocess/PythonProcess.h"

using namespace Qt::StringLiterals;

const QString ResultsScreen::titleText = u"Test Complete"_s;
const QString ResultsScreen::newTestText = u"New Test"_s;
const QString ResultsScreen::shareText = u"Share"_s;
const QString ResultsScreen::copiedText = u"Copied!"_s;
const QString ResultsScreen::historyText = u"History"_s;
const QString ResultsScreen::linkCapabilityText = u"LINK CAPABILITY"_s;
const QString ResultsScreen::videoStreamingText = u"VIDEO STREAMING"_s;
const QString ResultsScreen::folderIcon = u"folder"_s;
const QString ResultsScreen::errorIcon = u"exclamationmark.triangle.fill"_s;
const QString ResultsScreen::stopIcon = u"info.circle"_s;

QString ResultsQualityLine::plainText() const {
    return label + u' ' + verdict + geoSuffix.value_or(QString()) + separator + explanation;
}

QString ResultsQualityLine::html() const {
    const QString shown = verdict + geoSuffix.value_or(QString());
    return label.toHtmlEscaped() + u" <span style=\"color:"_s + verdictColor.hexName() +
           u"; font-weight:600\">"_s + shown.toHtmlEscaped() + u"</span>"_s +
           QString(separator + explanation).toHtmlEscaped();
}

ResultsScreen::ResultsScreen(AppState& state, std::function<void(const QString&)> writeClipboard,
                             QObject* parent)
    : QObject(parent)
    , m_state(state)
    , m_writeClipboard(std::move(writeClipboard)) {}

ResultsHeader ResultsScreen::header() const {
    return headerFor(m_state.snapshot());
}

QList<IconLine> ResultsScreen::noticeLines() const {
    QList<IconLine> lines;
    if (const std::optional<IconLine> error = errorLine())
        lines.append(*error);
    if (const std::optional<IconLine> stop = stopLine())
        lines.append(*stop);
    return lines;
}

std::optional<IconLine> ResultsScreen::errorLine() const {
    if (const std::optional<QString>& error = m_state.errorMessage())
        return IconLine{errorIcon, *error};
    return std::nullopt;
}

std::optional<IconLine> ResultsScreen::stopLine() const {
    if (const std::optional<QString>& reason = m_state.stopReason())
        return IconLine{stopIcon, *reason};
    return std::nullopt;
}

QList<StatCard> ResultsScreen::summaryCards() const {
    QList<StatCard> cards;
    const QList<ResultFigure> figures = ResultsAnalysis::summaryFigures(m_state.snapshot());
    for (const ResultFigure& figure : figures)
        cards.append(card(figure));
    return cards;
}

bool ResultsScreen::showsVideoSection() const {
    return ResultsAnalysis::hasVideoData(m_state.snapshot());
}

QList<StatCard> ResultsScreen::videoCards() const {
    QList<StatCard> cards;
    const QList<ResultFigure> figures = ResultsAnalysis::videoFigures(m_state.snapshot());
    for (const ResultFigure& figure : figures)
        cards.append(card(figure));
    return cards;
}

bool ResultsScreen::showsLatencySection() const {
    return !m_state.latencyPoints().isEmpty();
}

UploadStatus ResultsScreen::uploadStatus() const {
    return UploadStatus::forState(m_state.upload(), m_state.measuredUplinkMbps(), Time::clock().now());
}

QString ResultsScreen::savedLine() const {
    // A capture opened from the history lives in the same folder: the library lists that folder only.
    // The folder as the settings show it, so that the two read alike.
    return u"Results saved to "_s +
           SettingsScreen::displayDirectory(PythonProcess::outputDirectory(), Locations::home());
}

bool ResultsScreen::shareEnabled() const {
    return shareEnabledFor(m_state.captureId(), m_state.upload().uploadDone);
}

QString ResultsScreen::shareLabel() const {
    return m_showCopied ? copiedText : shareText;
}

std::optional<QString> ResultsScreen::shareLink() const {
    return shareLinkFor(Platform::siteUrl(), m_state.captureId());
}

void ResultsScreen::copyShareLink() {
    const std::optional<QString> link = shareLink();
    if (!link)
        return;
    if (m_writeClipboard)
        m_writeClipboard(*link);
    setShowCopied(true);
    Time::scheduler().post(copiedSeconds, this, [this] { setShowCopied(false); });
}

void ResultsScreen::newCapture() {
    m_state.newCapture();
}

void ResultsScreen::setShowCopied(bool shown) {
    if (m_showCopied == shown)
        return;
    m_showCopied = shown;
    emit showCopiedChanged();
}

ResultsHeader ResultsScreen::headerFor(const CaptureSnapshot& capture, const QLocale& locale) {
    ResultsHeader header;
    header.checkIcon = u"checkmark.circle.fill"_s;
    header.title = titleText;

    using Kind = ResultsFact::Kind;
    if (capture.captureDate && capture.captureDate->isValid())
        header.facts.append({Kind::date, u"calendar"_s, formatCaptureDate(*capture.captureDate, locale)});
    if (capture.ssid && !capture.ssid->isEmpty())
        header.facts.append({Kind::network, u"wifi"_s, *capture.ssid});
    if (const std::optional<QString> vpn = vpnText(capture.vpn))
        header.facts.append({Kind::vpn, u"lock.shield"_s, *vpn});
    if (capture.durationSec)
        header.facts.append(
            {Kind::length, u"clock"_s, ResultsAnalysis::formatDuration(*capture.durationSec)});
    if (capture.sampleCount)
        header.facts.append(
            {Kind::samples, u"number"_s, QString::number(*capture.sampleCount) + u" samples"_s});
    if (capture.captureId)
        header.facts.append({Kind::captureId, u"tag"_s, *capture.captureId, true});

    const QualityRating verdict = ResultsAnalysis::quality(capture);
    header.quality.label = u"Quality:"_s;
    header.quality.verdict = verdict.rawValue();
    header.quality.verdictColor = verdict.color();
    if (ResultsAnalysis::isGeo(capture))
        header.quality.geoSuffix = u" (GEO)"_s;
    header.quality.separator = u" - "_s;
    header.quality.explanation = ResultsAnalysis::qualityExplanation(capture);
    return header;
}

QString ResultsScreen::formatCaptureDate(const QDateTime& date, const QLocale& locale) {
    // The C locale has no short time of its own (it keeps the seconds); English reads as intended.
    const QLocale used =
        locale.language() == QLocale::C ? QLocale(QLocale::English, QLocale::UnitedStates) : locale;
    const QDateTime local = date.toLocalTime();
    return used.toString(local.date(), u"MMM d, yyyy"_s) + u", "_s +
           used.toString(local.time(), QLocale::ShortFormat);
}

std::optional<QString> ResultsScreen::vpnText(const std::optional<QString>& vpn) {
    if (!vpn || vpn->isEmpty())
        return std::nullopt;
    return vpn->startsWith(u"Ostrel"_s) ? u"Ostrel VPN"_s : u"VPN"_s;
}

StatCard ResultsScreen::card(const ResultFigure& figure) {
    StatCard card;
    card.title = figure.title;
    card.value = figure.value;
    card.rating = figure.rating;
    card.ratingQualifier = figure.ratingQualifier;
    card.subtitle = figure.subtitle;
    return card;
}

std::optional<QString> ResultsScreen::shareLinkFor(const QString& siteUrl,
                                                   const std::optional<QString>& captureId) {
    if (!captureId)
        return std::nullopt;
    return siteUrl + u"/c/"_s + *captureId + u'/';
}

bool ResultsScreen::shareEnabledFor(const std::optional<QString>& captureId, bool uploadDone) {
    return captureId.has_value() && uploadDone;
}
