#pragma once

#include "base/Clock.h"
#include "capture/CaptureSeries.h"
#include "capture/CaptureSnapshot.h"
#include "capture/CaptureStats.h"
#include "screens/StatCard.h"
#include "subprocess/JSONEvent.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>

#include <optional>

class AppState;

// The time line at the top: the elapsed clock, and for a timed capture a bar and the time left.
struct RunningProgress {
    QString elapsedText;
    std::optional<QString> remainingText; // "{m:ss} remaining"; set exactly when the bar shows
    double barValue = 0;
    double barMaximum = 0;

    bool showsBar() const { return remainingText.has_value(); }
    static RunningProgress forStats(const CaptureStats& stats);

    friend bool operator==(const RunningProgress&, const RunningProgress&) = default;
};

// One line with a symbol in front: the blocked probes, the browser notice, a warning.
struct IconLine {
    QString icon;
    QString text;
    friend bool operator==(const IconLine&, const IconLine&) = default;
};

// The notice at the bottom of the scrolling area: how the start goes, or how long the tool has been
// silent.
struct RunningStatusNotice {
    enum class Kind {
        none,
        startingUp,     // a small indicator with `text`
        startingProbes, // a small indicator with `text`
        noDataWarning,  // `icon`, `text`, `stderrTail`
        noDataDiagnose, // the same, and the "Stop and Diagnose" button
    };

    Kind kind = Kind::none;
    QString text;
    std::optional<QString> icon;
    bool showsSpinner = false;
    // The last two non-blank lines of the tool's standard error, when it wrote any.
    std::optional<QString> stderrTail;
    bool offersStopAndDiagnose = false;

    static constexpr int warnAfterSeconds = 5;
    static constexpr int diagnoseAfterSeconds = 20;

    static RunningStatusNotice forState(double elapsedSec, bool hasInfoEvent, int noDataSeconds,
                                        const QString& stderrOutput);

    friend bool operator==(const RunningStatusNotice&, const RunningStatusNotice&) = default;
};

// Which of the optional buttons show, and which of them can be pressed. "Stop Test" is always there.
struct RunningButtons {
    bool speedTestOffered = true;
    bool youTubeOffered = true;
    bool speedTestEnabled = true;
    bool youTubeEnabled = true;

    static RunningButtons forState(const std::optional<InfoEvent>& infoEvent,
                                   const std::optional<QString>& throughputPhase);

    friend bool operator==(const RunningButtons&, const RunningButtons&) = default;
};

// The two rows of cards. The video tiles appear only once their test has produced something.
struct RunningCards {
    StatCard latency;
    StatCard loss;
    std::optional<StatCard> youTube;
    StatCard downloadTest;
    StatCard downloadThroughput;

    StatCard signal;
    StatCard dns;
    std::optional<StatCard> netflix;
    StatCard uploadTest;
    StatCard uploadThroughput;

    QList<StatCard> firstRow() const;
    QList<StatCard> secondRow() const;

    friend bool operator==(const RunningCards&, const RunningCards&) = default;
};

// The presentation model of the running screen apart from the pieces that have models of their own
// (chart, honeycomb, activity and trivia lines, notes). The figures are pure functions of AppState;
// the object itself holds only the no-data clock, which runs while the screen is `running`, and
// forwards the screen's four actions.
class RunningScreen : public QObject {
    Q_OBJECT

public:
    static constexpr double tickSeconds = 1.0;
    // Above this latency the link is taken for a geostationary one.
    static constexpr double geoLatencyMs = 400.0;
    // The loss figure breathes once it has held still for longer than this.
    static constexpr double lossSettledSeconds = 5.0;

    static const QString browserNoticeText;
    static const QString copyToClipboardText;

    explicit RunningScreen(AppState& state, QObject* parent = nullptr);

    // --- the no-data clock ----------------------------------------------------------------------------
    int noDataSeconds() const { return m_noDataSeconds; }
    // The moment of the last tick, for the ages of the figures.
    const QDateTime& now() const { return m_now; }
    bool isClockRunning() const { return m_noDataTimer.isActive(); }

    // --- what the screen shows ------------------------------------------------------------------------
    RunningProgress progress() const;
    RunningCards cards() const;
    std::optional<IconLine> blockedLine() const;
    QList<IconLine> warningLines() const;
    std::optional<IconLine> browserNotice() const;
    RunningStatusNotice statusNotice() const;
    RunningButtons buttons() const;

    // --- actions --------------------------------------------------------------------------------------
    void stopTest();
    // Ends the silent tool and explains the failure: "No data received after {n} seconds".
    void stopAndDiagnose();
    // Both do nothing while their button is hidden or disabled.
    void requestSpeedTest();
    void requestYouTubeTest();

    // --- the rules, as pure functions -----------------------------------------------------------------
    // Whole minutes, ":" and two-digit seconds, cut to whole seconds: 125 reads "2:05", 3600 "60:00".
    static QString formatTimeClock(double seconds);
    // "10 Mbps" from 10 on, "9.5 Mbps" below; 9.96 reads "10.0 Mbps".
    static QString formatSpeedMbps(double mbps);
    // An observed rate: "---" when missing, "idle" in the secondary colour below 0.1 Mbps.
    struct ObservedRateText {
        QString text;
        std::optional<CardColor> color;
        friend bool operator==(const ObservedRateText&, const ObservedRateText&) = default;
    };
    static ObservedRateText formatObservedThroughput(std::optional<double> mbps);

    static StatCard latencyCard(const CaptureStats& stats);
    static StatCard lossCard(const CaptureStats& stats, const QDateTime& now);
    static StatCard downloadTestCard(const CaptureStats& stats);
    static StatCard uploadTestCard(const CaptureStats& stats);
    static StatCard signalCard(const CaptureStats& stats);
    static StatCard dnsCard(const CaptureStats& stats);
    static StatCard downloadThroughputCard(const QList<ObservedThroughputPoint>& points);
    static StatCard uploadThroughputCard(const QList<ObservedThroughputPoint>& points);
    static std::optional<StatCard> youTubeTile(const CaptureSnapshot& video);
    static std::optional<StatCard> netflixTile(const QList<CdnThroughputPoint>& points);
    static RunningCards cardsFor(const CaptureSnapshot& snapshot, const QDateTime& now);

    // "Blocked: {keys}", the keys sorted and joined by ", "; nothing when no probe is blocked.
    static std::optional<QString> blockedText(const QSet<QString>& blockedProbes);
    // The last two non-blank lines of the tool's standard error, joined by a line feed.
    static std::optional<QString> stderrTail(const QString& stderrOutput);
    static QString diagnoseMessage(int noDataSeconds);

signals:
    // Once a second while the clock runs: `noDataSeconds` and `now` moved on, ages may have changed.
    void ticked();
    // `noDataSeconds` changed: a tick, a status event that reset it, or the clock's start.
    void noDataSecondsChanged();

private:
    void followScreen();
    void startNoDataMonitor();
    void stopNoDataMonitor();
    void tick();
    void onStatsChanged();
    void setNoDataSeconds(int seconds);

    AppState& m_state;
    int m_noDataSeconds = 0;
    QDateTime m_now;
    Timer m_noDataTimer;
    double m_lastElapsedSec = 0;
};
