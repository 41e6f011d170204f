#include "screens/BootstrapScreen.h"

#include "core/AppState.h"

using namespace Qt::StringLiterals;

QString BootstrapScreen::title() {
    return u"Norvane"_s;
}

QString BootstrapScreen::firstLaunchHint() {
    return u"This may take a minute on first launch."_s;
}

QString BootstrapScreen::footer() {
    return u"First-time setup requires an internet connection."_s;
}

QString BootstrapScreen::retryTitle() {
    return u"Retry"_s;
}

QString BootstrapScreen::appSymbol() {
    return u"wifi"_s;
}

QString BootstrapScreen::readySymbol() {
    return u"checkmark.circle.fill"_s;
}

QString BootstrapScreen::failureSymbol() {
    return u"exclamationmark.triangle.fill"_s;
}

QString BootstrapScreen::copySymbol() const {
    return m_copied ? u"checkmark"_s : u"doc.on.doc"_s;
}

BootstrapScreen::BootstrapScreen(AppState& state, FileLogger& log, QObject* parent)
    : QObject(parent)
    , m_state(state)
    , m_bootstrap(log) {
    connect(&m_bootstrap, &Bootstrap::stateChanged, this, &BootstrapScreen::changed);
    connect(&m_bootstrap, &Bootstrap::progressMessageChanged, this, &BootstrapScreen::changed);
    connect(&m_bootstrap, &Bootstrap::diagnosticDetailChanged, this, &BootstrapScreen::changed);
    connect(&m_bootstrap, &Bootstrap::runFinished, this, [this] {
        if (!m_startRunPending)
            return;
        m_startRunPending = false;
        if (m_bootstrap.state().kind == Bootstrap::State::Kind::ready)
            m_state.bootstrapFinished();
    });
}

BootstrapScreen::Block BootstrapScreen::block() const {
    switch (m_bootstrap.state().kind) {
    case Bootstrap::State::Kind::ready:
        return Block::ready;
    case Bootstrap::State::Kind::failed:
        return Block::failure;
    case Bootstrap::State::Kind::checking:
    case Bootstrap::State::Kind::installingUV:
    case Bootstrap::State::Kind::installingDeps:
        break;
    }
    return Block::progress;
}

bool BootstrapScreen::showsFirstLaunchHint() const {
    return m_bootstrap.state().kind == Bootstrap::State::Kind::installingDeps;
}

QString BootstrapScreen::failureMessage() const {
    return m_bootstrap.state().isFailed() ? m_bootstrap.state().message : QString();
}

bool BootstrapScreen::showsDetailsButton() const {
    return m_bootstrap.state().isFailed() && m_bootstrap.diagnosticDetail().has_value();
}

QString BootstrapScreen::detailsButtonTitle() const {
    return m_showDetail ? u"Hide Details"_s : u"Show Details"_s;
}

void BootstrapScreen::toggleDetail() {
    m_showDetail = !m_showDetail;
    emit changed();
}

bool BootstrapScreen::showsDetailPanel() const {
    return m_showDetail && showsDetailsButton();
}

QString BootstrapScreen::detailText() const {
    return m_bootstrap.diagnosticDetail().value_or(QString());
}

QString BootstrapScreen::copyButtonTitle() const {
    return m_copied ? u"Copied"_s : u"Copy to Clipboard"_s;
}

QString BootstrapScreen::copyDetail() {
    if (!m_copied) {
        m_copied = true;
        emit changed();
    }
    return detailText();
}

void BootstrapScreen::start() {
    m_startRunPending = true;
    m_bootstrap.run();
}

void BootstrapScreen::retry() {
    m_startRunPending = false;
    m_bootstrap.run();
}
