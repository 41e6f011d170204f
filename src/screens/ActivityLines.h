#pragma once

#include "base/Clock.h"
#include "capture/CaptureSeries.h"

#include <QDateTime>
#include <QMetaObject>
#include <QObject>
#include <QString>

#include <optional>

class AppState;

// What the activity line may show: a notice with its icon, or a probe reading set in a monospaced face.
struct ActivityContent {
    QString text;
    QString icon;
    bool monospace = false;
    friend bool operator==(const ActivityContent&, const ActivityContent&) = default;
};

// The model of the running screen's activity line: it tells what the tool is doing right now. A notice
// of a test shows at once; the stream of probe readings is sampled on a slow tick, so that a busy
// capture doesn't turn the line into a blur. Every change fades out and back in.
class ActivityLines : public QObject {
    Q_OBJECT

public:
    static constexpr double tickSeconds = 1.8;
    // Each half of a change: the old text fades out over this time, then the new one fades in.
    static constexpr double fadeSeconds = 0.2;
    static const QString probeTickIcon;

    // The line that should stand at `now`: a live flash, else a live persistent notice, else the latest
    // probe reading. Nothing when none of them applies: the line then keeps what it shows.
    static std::optional<ActivityContent> pick(const std::optional<Activity>& flash,
                                               const std::optional<Activity>& persistent,
                                               const std::optional<QString>& latestProbeTick,
                                               const QDateTime& now);

    // A capture that has just been reset and has told nothing yet: no info, no end, no identity.
    static bool isFreshSession(const AppState& state);

    // Follows `state`: a fresh session clears the line, whether or not it is showing.
    explicit ActivityLines(const AppState& state, QObject* parent = nullptr);

    const QString& displayedText() const { return m_displayedText; }
    const QString& iconName() const { return m_iconName; }
    bool isMonospace() const { return m_isMonospace; }
    // The opacity the line is heading for: 0 while the old text fades out, 1 otherwise.
    double opacity() const { return m_opacity; }
    bool isTicking() const { return m_tickTimer.isActive(); }

    // The line appears: it shows the present state at once, then follows the tick and every change of
    // the two notices.
    void start();
    // The line goes away: no tick and no notice reaches it any more.
    void stop();
    void updateDisplay();
    void setContent(const QString& text, const QString& icon, bool monospace);
    // A new capture: the line starts blank, as a fresh line would, without a fade.
    void clear();

signals:
    // displayedText, iconName or isMonospace changed.
    void contentChanged();
    // The opacity target changed: towards 0 with an ease-out, towards 1 with an ease-in, each over
    // fadeSeconds.
    void opacityChanged();

private:
    void setOpacity(double opacity);

    const AppState& m_state;
    QString m_displayedText;
    QString m_iconName;
    bool m_isMonospace = false;
    double m_opacity = 1;
    Timer m_tickTimer;
    Timer m_swapTimer;
    QMetaObject::Connection m_activityConnection;
};
