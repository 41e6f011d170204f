#include "screens/FinishingScreen.h"

using namespace Qt::StringLiterals;

QString FinishingScreen::message() {
    return u"Saving results..."_s;
}

std::optional<AppState::Screen> FinishingScreen::screenAfterWait(AppState::Screen current) {
    if (current == AppState::Screen::finishing)
        return AppState::Screen::celebration;
    return std::nullopt;
}

FinishingScreen::FinishingScreen(AppState& state, std::function<void()> moveToCelebration, QObject* parent)
    : QObject(parent)
    , m_state(state)
    , m_moveToCelebration(std::move(moveToCelebration)) {}

void FinishingScreen::appear() {
    m_wait = Time::scheduler().singleShot(fallbackSeconds, this, [this] { waitEnded(); });
}

void FinishingScreen::disappear() {
    if (!m_wait.isActive())
        return;
    m_wait.cancel();
    waitEnded();
}

void FinishingScreen::waitEnded() {
    m_wait.cancel();
    // Read now and not before: a capture that ended during the wait must not be disturbed.
    if (screenAfterWait(m_state.screen()) && m_moveToCelebration)
        m_moveToCelebration();
}
