#include "screens/ActivityLines.h"

#include "core/AppState.h"

using namespace Qt::StringLiterals;

const QString ActivityLines::probeTickIcon = u"waveform.path.ecg"_s;

std::optional<ActivityContent> ActivityLines::pick(const std::optional<Activity>& flash,
                                                   const std::optional<Activity>& persistent,
                                                   const std::optional<QString>& latestProbeTick,
                                                   const QDateTime& now) {
    if (flash && now < flash->expiry)
        return ActivityContent{flash->text, flash->icon, false};
    if (persistent && now < persistent->expiry)
        return ActivityContent{persistent->text, persistent->icon, false};
    if (latestProbeTick)
        return ActivityContent{*latestProbeTick, probeTickIcon, true};
    return std::nullopt;
}

bool ActivityLines::isFreshSession(const AppState& state) {
    return !state.infoEvent() && !state.completeEvent() && !state.captureId();
}

ActivityLines::ActivityLines(const AppState& state, QObject* parent)
    : QObject(parent)
    , m_state(state) {
    connect(&m_state, &AppState::sessionChanged, this, [this] {
        if (isFreshSession(m_state))
            clear();
    });
}

void ActivityLines::start() {
    updateDisplay();
    m_tickTimer = Time::scheduler().repeating(tickSeconds, this, [this] { updateDisplay(); });
    if (!m_activityConnection)
        m_activityConnection =
            connect(&m_state, &AppState::activityChanged, this, &ActivityLines::updateDisplay);
}

void ActivityLines::stop() {
    m_tickTimer.cancel();
    disconnect(m_activityConnection);
    m_activityConnection = {};
}

void ActivityLines::updateDisplay() {
    const std::optional<ActivityContent> content = pick(m_state.flashActivity(), m_state.persistentActivity(),
                                                        m_state.latestProbeTick(), Time::clock().now());
    if (content)
        setContent(content->text, content->icon, content->monospace);
}

void ActivityLines::setContent(const QString& text, const QString& icon, bool monospace) {
    if (text == m_displayedText)
        return;
    setOpacity(0);
    // A newer change replaces one still waiting to swap in, so the line never flashes a text that is
    // already out of date.
    m_swapTimer = Time::scheduler().singleShot(fadeSeconds, this, [this, text, icon, monospace] {
        m_displayedText = text;
        m_iconName = icon;
        m_isMonospace = monospace;
        emit contentChanged();
        setOpacity(1);
    });
}

void ActivityLines::clear() {
    m_swapTimer.cancel();
    m_displayedText.clear();
    m_iconName.clear();
    m_isMonospace = false;
    emit contentChanged();
    setOpacity(1);
}

void ActivityLines::setOpacity(double opacity) {
    if (m_opacity == opacity)
        return;
    m_opacity = opacity;
    emit opacityChanged();
}
