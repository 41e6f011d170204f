#pragma once

#include "base/Clock.h"
#include "capture/CaptureSnapshot.h"
#include "capture/QualityRating.h"
#include "screens/Confetti.h"
#include "screens/TriviaLine.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QRandomGenerator>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

class AppState;

// The figures of a finished capture as the celebration shows them, taken once when the screen appears
// so that nothing moves under the reveal. The verdict rates the medians of the speed tests: it may
// differ from the results screen's, which rates the last rates, and stands for this screen alone.
struct CelebrationFigures {
    QualityRating quality = QualityRating::good;
    bool isGeo = false;
    std::optional<double> latencyMs;
    std::optional<double> lossPct;
    std::optional<double> downloadMbps;
    std::optional<double> uploadMbps;
    std::optional<QString> netflixRes;
    std::optional<double> netflixMbps;
    std::optional<QString> youTubeRes;
    std::optional<double> youTubeMbps;
    qsizetype downloadTests = 0;
    qsizetype uploadTests = 0;

    // The verdict is good or better: the ring and the confetti belong to it.
    bool isCelebration() const { return quality <= QualityRating::good; }

    static CelebrationFigures fromCapture(const CaptureSnapshot& capture);

    friend bool operator==(const CelebrationFigures&, const CelebrationFigures&) = default;
};

// One row of figures: a label, and either a value that counts up with its unit, or a fixed text.
struct CelebrationRow {
    QString label;
    std::optional<double> value;
    QString unit;                // empty when the row has none
    std::optional<QString> text; // shown in place of an absent value

    // The figure at a point of the counting up: the value, the text, or "---".
    QString valueText(double statProgress) const;
    // The unit goes with a value only.
    QString unitText() const { return value ? unit : QString(); }

    friend bool operator==(const CelebrationRow&, const CelebrationRow&) = default;
};

// "Latency", "Loss", "Download", "Upload" always; "Netflix" and "YouTube" when measured.
QList<CelebrationRow> celebrationRows(const CelebrationFigures& figures);

// A figure counting up: "---" when absent; with the unit "%" the share of the value as "%.1f",
// otherwise its whole part.
QString formatAnimatedValue(std::optional<double> value, const QString& unit, double statProgress);

// The reveal between the finished capture and its results: the figures one by one, counting up, a
// divider, the verdict in large letters with a ring and confetti when it is good, a word of thanks,
// then the results. A click moves on at any moment.
//
// The sequence runs on the injected scheduler and only records when each part was revealed; every
// animated property is a function of the clock's time, so a view draws the right frame whenever it
// draws, on the system clock or on a virtual one.
class CelebrationScreen : public QObject {
    Q_OBJECT

public:
    // The timing of the sequence, in seconds.
    static constexpr double rowFadeSeconds = 0.3;
    static constexpr double betweenRowsSeconds = 0.08;
    static constexpr double afterRowsSeconds = 0.1;
    static constexpr double countUpSeconds = 0.8;
    static constexpr double afterCountUpSeconds = 0.6;
    static constexpr double dividerSeconds = 0.4;
    static constexpr double afterDividerSeconds = 0.1;
    static constexpr double ringSeconds = 0.7;
    static constexpr double afterRingSeconds = 0.1;
    static constexpr double verdictResponse = 0.5;
    static constexpr double verdictDamping = 0.6;
    static constexpr double confettiSeconds = 0.8;
    static constexpr double afterVerdictSeconds = 0.3;
    static constexpr double messageSeconds = 0.4;
    static constexpr double afterMessageSeconds = 0.8;
    static constexpr double skipHintSeconds = 0.5;
    static constexpr double afterSkipHintSeconds = 3.0;

    static constexpr double ringEndScale = 4.0;
    // The verdict grows from this size to its own when it is revealed.
    static constexpr double verdictStartScale = 0.5;
    // The skip hint stays dimmed even when fully shown.
    static constexpr double skipHintFullOpacity = 0.5;

    // For a verdict of impaired or worse: one of these, whatever the run.
    static const QStringList toughConditionsMessages;
    // When no word of thanks fits the run.
    static const QString fallbackMessage;
    static const QString skipHintText; // "click to skip"

    // The words of thanks come from the compiled-in resource unless a test hands over its own table.
    explicit CelebrationScreen(AppState& state, QObject* parent = nullptr);

    void setAppreciations(QList<TriviaContent::Appreciation> appreciations);
    void setRandomSeed(quint32 seed) { m_random.seed(seed); }

    // The screen came into view: the figures are taken, the message chosen and the reveal started.
    void appear();
    // The screen left view: the reveal stops where it is.
    void disappear();

    void cacheMetrics();
    void pickMessage();
    void startAnimations();
    // Leaves for the results while the capture is still celebrating, and stops the reveal; at any other
    // time it does nothing, so however often it is called it moves on once.
    void advance();

    // The message for a verdict and a run's length, drawn from `appreciations` by `random`.
    static QString chooseMessage(QualityRating quality, double durationSec,
                                 const QList<TriviaContent::Appreciation>& appreciations,
                                 QRandomGenerator& random);
    // The length of the run: the complete event's duration, or else the elapsed time of the figures.
    static double runDuration(const CaptureSnapshot& capture);

    // --- what the screen shows --------------------------------------------------------------------
    const CelebrationFigures& figures() const { return m_figures; }
    const QList<CelebrationRow>& rows() const { return m_rows; }
    QualityRating quality() const { return m_figures.quality; }
    bool isCelebration() const { return m_figures.isCelebration(); }
    bool isGeo() const { return m_figures.isGeo; }
    // The verdict word: "Good", or "Good (GEO)" on a geostationary link.
    QString verdictText() const;
    const QString& message() const { return m_message; }
    const QList<ConfettiParticle>& particles() const { return m_particles; }

    // --- how far the reveal has come ----------------------------------------------------------------
    bool isSequenceRunning() const { return m_task.isActive(); }
    bool showStat(qsizetype row) const;
    bool showDivider() const { return m_dividerAt.has_value(); }
    bool showRing() const { return m_ringAt.has_value(); }
    bool showVerdict() const { return m_verdictAt.has_value(); }
    bool confettiLaunched() const { return m_confettiAt.has_value(); }
    bool showMessage() const { return m_messageAt.has_value(); }
    bool showSkipHint() const { return m_skipHintAt.has_value(); }

    // --- the animated properties at a moment --------------------------------------------------------
    // 0 while hidden, easing out to 1.
    double rowOpacity(qsizetype row, const QDateTime& now) const;
    double statProgress(const QDateTime& now) const;
    double dividerProgress(const QDateTime& now) const;
    double ringScale(const QDateTime& now) const;
    double ringOpacity(const QDateTime& now) const;
    double verdictScale(const QDateTime& now) const;
    double verdictOpacity(const QDateTime& now) const;
    double messageOpacity(const QDateTime& now) const;
    double skipHintOpacity(const QDateTime& now) const;
    // The scraps in flight, in the order of `particles()`; empty before the launch.
    QList<ConfettiFrame> confettiFrames(const QDateTime& now) const;
    // Whether anything still changes with time: a view draws frames only while it does.
    bool isMoving(const QDateTime& now) const;

signals:
    // A part of the reveal was set, or the figures and message were taken afresh.
    void changed();

private:
    struct Step {
        double waitBefore = 0;
        std::function<void()> action;
    };
    void resetReveal();
    // Runs the steps from `index` on until one needs a wait first, and arms that wait.
    void continueAt(qsizetype index);
    // The wait before step `index` is over.
    void runAt(qsizetype index);
    QDateTime now() const;
    void reveal(std::optional<QDateTime>& at);

    AppState& m_state;
    std::optional<QList<TriviaContent::Appreciation>> m_appreciations; // the resource's when unset
    QRandomGenerator m_random;

    CelebrationFigures m_figures;
    QList<CelebrationRow> m_rows;
    QString m_message;
    QList<ConfettiParticle> m_particles;

    QList<std::optional<QDateTime>> m_rowShownAt;
    std::optional<QDateTime> m_countUpAt;
    std::optional<QDateTime> m_dividerAt;
    std::optional<QDateTime> m_ringAt;
    std::optional<QDateTime> m_verdictAt;
    std::optional<QDateTime> m_confettiAt;
    std::optional<QDateTime> m_messageAt;
    std::optional<QDateTime> m_skipHintAt;

    QList<Step> m_script;
    Timer m_task;
};
