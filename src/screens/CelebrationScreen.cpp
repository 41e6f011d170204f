#include "screens/CelebrationScreen.h"

#include "base/NumberText.h"
#include "capture/ResultsAnalysis.h"
#include "capture/SharedFigures.h"
#include "core/AppState.h"
#include "screens/Motion.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString missing = u"---"_s;

qsizetype countDirection(const QList<ThroughputPoint>& points, const QString& direction) {
    return std::count_if(points.begin(), points.end(),
                         [&direction](const ThroughputPoint& point) { return point.direction == direction; });
}

QString speedUnit(qsizetype tests) {
    return tests > 1 ? u"Mbps (P50)"_s : u"Mbps"_s;
}

} // namespace

// --- figures --------------------------------------------------------------------------------------

CelebrationFigures CelebrationFigures::fromCapture(const CaptureSnapshot& capture) {
    CelebrationFigures figures;
    figures.latencyMs = ResultsAnalysis::realMedianRTT(capture);
    figures.lossPct = ResultsAnalysis::realLossPct(capture);
    figures.downloadMbps = ResultsAnalysis::downloadFigure(capture);
    figures.uploadMbps = ResultsAnalysis::uploadFigure(capture);
    figures.downloadTests = countDirection(capture.throughputPoints, u"download"_s);
    figures.uploadTests = countDirection(capture.throughputPoints, u"upload"_s);

    figures.netflixMbps = ResultsAnalysis::netflixMedianMbps(capture);
    if (figures.netflixMbps)
        figures.netflixRes = ResultsAnalysis::netflixResolution(*figures.netflixMbps);

    if (capture.youtubeAbrResolution) {
        figures.youTubeRes = parseYouTubeResolution(*capture.youtubeAbrResolution);
    } else if (const std::optional<double> segment = ResultsAnalysis::youtubeSegmentMedianMbps(capture)) {
        figures.youTubeMbps = segment;
        figures.youTubeRes = ResultsAnalysis::youtubeThroughputResolution(*segment);
    }

    figures.isGeo = ResultsAnalysis::isGeo(capture);
    figures.quality = QualityRating::worstOf({QualityRating::rateLatency(figures.latencyMs, figures.isGeo),
                                              QualityRating::rateLoss(figures.lossPct),
                                              QualityRating::rateDownload(figures.downloadMbps),
                                              QualityRating::rateUpload(figures.uploadMbps)});
    return figures;
}

QString formatAnimatedValue(std::optional<double> value, const QString& unit, double statProgress) {
    if (!value)
        return missing;
    const double shown = *value * statProgress;
    if (unit == u"%"_s)
        return NumberText::fixed(shown, 1);
    return NumberText::wholePart(shown);
}

QString CelebrationRow::valueText(double statProgress) const {
    if (!value && text)
        return *text;
    return formatAnimatedValue(value, unit, statProgress);
}

QList<CelebrationRow> celebrationRows(const CelebrationFigures& figures) {
    QList<CelebrationRow> rows{
        {u"Latency"_s, figures.latencyMs, u"ms (P50)"_s, std::nullopt},
        {u"Loss"_s, figures.lossPct, u"%"_s, std::nullopt},
        {u"Download"_s, figures.downloadMbps, speedUnit(figures.downloadTests), std::nullopt},
        {u"Upload"_s, figures.uploadMbps, speedUnit(figures.uploadTests), std::nullopt},
    };
    if (figures.netflixMbps && figures.netflixRes)
        rows.append(
            {u"Netflix"_s, figures.netflixMbps, u"Mbps (~"_s + *figures.netflixRes + u')', std::nullopt});
    if (figures.youTubeMbps && figures.youTubeRes)
        rows.append(
            {u"YouTube"_s, figures.youTubeMbps, u"Mbps (~"_s + *figures.youTubeRes + u')', std::nullopt});
    else if (figures.youTubeRes)
        rows.append({u"YouTube"_s, std::nullopt, QString(), figures.youTubeRes});
    return rows;
}

// --- the screen -----------------------------------------------------------------------------------

const QStringList CelebrationScreen::toughConditionsMessages{
    u"Tough conditions — your data still helps."_s,
    u"Not great, but now we know. Thank you."_s,
    u"Hard to test in rough conditions. We appreciate it."_s,
    u"Even bad results are good data."_s,
    u"The network struggled, but the capture didn’t. Thanks."_s,
};
const QString CelebrationScreen::fallbackMessage = u"Thanks for testing with us."_s;
const QString CelebrationScreen::skipHintText = u"click to skip"_s;

CelebrationScreen::CelebrationScreen(AppState& state, QObject* parent)
    : QObject(parent)
    , m_state(state)
    , m_random(QRandomGenerator::global()->generate()) {}

void CelebrationScreen::setAppreciations(QList<TriviaContent::Appreciation> appreciations) {
    m_appreciations = std::move(appreciations);
}

void CelebrationScreen::appear() {
    cacheMetrics();
    pickMessage();
    startAnimations();
}

void CelebrationScreen::disappear() {
    m_task.cancel();
}

void CelebrationScreen::cacheMetrics() {
    m_figures = CelebrationFigures::fromCapture(m_state.snapshot());
    m_rows = celebrationRows(m_figures);
    resetReveal();
    emit changed();
}

double CelebrationScreen::runDuration(const CaptureSnapshot& capture) {
    return capture.durationSec.value_or(capture.stats.elapsedSec);
}

void CelebrationScreen::pickMessage() {
    m_message = chooseMessage(m_figures.quality, runDuration(m_state.snapshot()),
                              m_appreciations ? *m_appreciations : TriviaContent::appreciations(), m_random);
    emit changed();
}

QString CelebrationScreen::chooseMessage(QualityRating quality, double durationSec,
                                         const QList<TriviaContent::Appreciation>& appreciations,
                                         QRandomGenerator& random) {
    if (quality >= QualityRating::impaired)
        return toughConditionsMessages.at(random.bounded(int(toughConditionsMessages.size())));
    const QStringList categories = TriviaContent::categoriesFor(durationSec);
    QStringList fitting;
    for (const TriviaContent::Appreciation& appreciation : appreciations) {
        if (categories.contains(appreciation.category))
            fitting.append(appreciation.message);
    }
    if (fitting.isEmpty())
        return fallbackMessage;
    return fitting.at(random.bounded(int(fitting.size())));
}

QString CelebrationScreen::verdictText() const {
    QString text = m_figures.quality.rawValue();
    if (m_figures.isGeo)
        text += u" (GEO)"_s;
    return text;
}

void CelebrationScreen::resetReveal() {
    m_task.cancel();
    m_rowShownAt = QList<std::optional<QDateTime>>(m_rows.size());
    m_countUpAt.reset();
    m_dividerAt.reset();
    m_ringAt.reset();
    m_verdictAt.reset();
    m_confettiAt.reset();
    m_messageAt.reset();
    m_skipHintAt.reset();
    m_particles.clear();
}

QDateTime CelebrationScreen::now() const {
    return Time::clock().now();
}

void CelebrationScreen::reveal(std::optional<QDateTime>& at) {
    at = now();
    emit changed();
}

void CelebrationScreen::startAnimations() {
    resetReveal();
    // The whole sequence as waits and actions; each wait is taken after the step before it, so a
    // cancelled timer ends everything that would have followed.
    m_script.clear();
    for (qsizetype row = 0; row < m_rows.size(); ++row)
        m_script.append({row == 0 ? 0.0 : betweenRowsSeconds, [this, row] { reveal(m_rowShownAt[row]); }});
    // Without rows the first step is the same wait alone.
    m_script.append({afterRowsSeconds, [this] { reveal(m_countUpAt); }});
    m_script.append({afterCountUpSeconds, [this] { reveal(m_dividerAt); }});
    const bool celebrating = isCelebration();
    if (celebrating)
        m_script.append({afterDividerSeconds, [this] { reveal(m_ringAt); }});
    m_script.append({celebrating ? afterRingSeconds : afterDividerSeconds, [this] { reveal(m_verdictAt); }});
    if (celebrating) {
        m_script.append({0, [this] {
                             m_particles = Confetti::generateParticles(m_figures.quality, m_random);
                             reveal(m_confettiAt);
                         }});
    }
    m_script.append({afterVerdictSeconds, [this] { reveal(m_messageAt); }});
    m_script.append({afterMessageSeconds, [this] { reveal(m_skipHintAt); }});
    m_script.append({afterSkipHintSeconds, [this] { advance(); }});
    continueAt(0);
}

void CelebrationScreen::continueAt(qsizetype index) {
    for (; index < m_script.size(); ++index) {
        if (m_script.at(index).waitBefore > 0) {
            m_task = Time::scheduler().singleShot(m_script.at(index).waitBefore, this, [this, index] {
                m_task.cancel();
                runAt(index);
            });
            return;
        }
        const std::function<void()> action = m_script.at(index).action;
        action();
    }
}

void CelebrationScreen::runAt(qsizetype index) {
    const std::function<void()> action = m_script.at(index).action;
    action();
    continueAt(index + 1);
}

void CelebrationScreen::advance() {
    if (m_state.screen() != AppState::Screen::celebration)
        return;
    m_task.cancel();
    m_state.showResults();
}

bool CelebrationScreen::showStat(qsizetype row) const {
    return row >= 0 && row < m_rowShownAt.size() && m_rowShownAt.at(row).has_value();
}

double CelebrationScreen::rowOpacity(qsizetype row, const QDateTime& now) const {
    if (!showStat(row))
        return 0;
    return Motion::easeOut(Motion::progress(m_rowShownAt.at(row), now, rowFadeSeconds));
}

double CelebrationScreen::statProgress(const QDateTime& now) const {
    return Motion::easeOut(Motion::progress(m_countUpAt, now, countUpSeconds));
}

double CelebrationScreen::dividerProgress(const QDateTime& now) const {
    return Motion::easeOut(Motion::progress(m_dividerAt, now, dividerSeconds));
}

double CelebrationScreen::ringScale(const QDateTime& now) const {
    return 1 + (ringEndScale - 1) * Motion::easeOut(Motion::progress(m_ringAt, now, ringSeconds));
}

double CelebrationScreen::ringOpacity(const QDateTime& now) const {
    if (!m_ringAt)
        return 0;
    return 1 - Motion::easeOut(Motion::progress(m_ringAt, now, ringSeconds));
}

double CelebrationScreen::verdictScale(const QDateTime& now) const {
    const double spring =
        Motion::spring(Motion::secondsSince(m_verdictAt, now), verdictResponse, verdictDamping);
    return verdictStartScale + (1 - verdictStartScale) * spring;
}

double CelebrationScreen::verdictOpacity(const QDateTime& now) const {
    if (!m_verdictAt)
        return 0;
    // The same spring carries the fade in; its overshoot can't take the opacity past full.
    return std::clamp(Motion::spring(Motion::secondsSince(m_verdictAt, now), verdictResponse, verdictDamping),
                      0.0, 1.0);
}

double CelebrationScreen::messageOpacity(const QDateTime& now) const {
    return Motion::easeOut(Motion::progress(m_messageAt, now, messageSeconds));
}

double CelebrationScreen::skipHintOpacity(const QDateTime& now) const {
    return skipHintFullOpacity * Motion::easeIn(Motion::progress(m_skipHintAt, now, skipHintSeconds));
}

QList<ConfettiFrame> CelebrationScreen::confettiFrames(const QDateTime& now) const {
    QList<ConfettiFrame> frames;
    if (!m_confettiAt)
        return frames;
    const double seconds = Motion::secondsSince(m_confettiAt, now);
    frames.reserve(m_particles.size());
    for (const ConfettiParticle& particle : m_particles)
        frames.append(Confetti::frameAt(particle, seconds));
    return frames;
}

bool CelebrationScreen::isMoving(const QDateTime& now) const {
    const auto movingFor = [&now](const std::optional<QDateTime>& since, double seconds) {
        return since && Motion::secondsSince(since, now) < seconds;
    };
    for (const std::optional<QDateTime>& shownAt : m_rowShownAt) {
        if (movingFor(shownAt, rowFadeSeconds))
            return true;
    }
    return movingFor(m_countUpAt, countUpSeconds) || movingFor(m_dividerAt, dividerSeconds) ||
           movingFor(m_ringAt, ringSeconds) ||
           movingFor(m_verdictAt, Motion::springSettleSeconds(verdictResponse, verdictDamping)) ||
           movingFor(m_confettiAt, std::max(confettiSeconds, Confetti::burstSeconds(m_particles))) ||
           movingFor(m_messageAt, messageSeconds) || movingFor(m_skipHintAt, skipHintSeconds);
}
