#include "screens/DiagnosticsScreen.h"

#include "core/AppState.h"
#include "platform/Platform.h"

#include <QProcess>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

QString DiagnosticsScreen::preparingText() {
    return u"Preparing diagnostics..."_s;
}

QString DiagnosticsScreen::runningIcon() {
    return u"stethoscope"_s;
}

QString DiagnosticsScreen::runningTitle() {
    return u"Checking your connection..."_s;
}

QString DiagnosticsScreen::gatewayLabel() {
    return u"Network gateway"_s;
}

QString DiagnosticsScreen::gatewayReachableLabel() {
    return u"Gateway reachable"_s;
}

QString DiagnosticsScreen::internetLabel() {
    return u"Internet reachable"_s;
}

QString DiagnosticsScreen::portalLabel() {
    return u"Portal check"_s;
}

DiagnosticsScreen::Reading DiagnosticsScreen::Reading::of(const Diagnostics& diagnosis) {
    return {diagnosis.phase(), diagnosis.gateway(), diagnosis.gatewayReachable(),
            diagnosis.internetReachable()};
}

QString DiagnosticsScreen::CheckRow::markIcon() const {
    switch (mark) {
    case Mark::passed:
        return u"checkmark.circle.fill"_s;
    case Mark::failed:
        return u"xmark.circle.fill"_s;
    case Mark::inProgress:
        return {};
    case Mark::waiting:
        break;
    }
    return u"circle"_s;
}

DiagnosticsScreen::MarkTone DiagnosticsScreen::CheckRow::markTone() const {
    switch (mark) {
    case Mark::passed:
        return MarkTone::green;
    case Mark::failed:
        return MarkTone::orange;
    case Mark::inProgress:
    case Mark::waiting:
        break;
    }
    return MarkTone::secondary;
}

double DiagnosticsScreen::CheckRow::markOpacity() const {
    return mark == Mark::waiting ? waitingMarkOpacity : 1.0;
}

DiagnosticsScreen::Mark DiagnosticsScreen::mark(bool done, bool ok, bool current) {
    if (done)
        return ok ? Mark::passed : Mark::failed;
    return current ? Mark::inProgress : Mark::waiting;
}

bool DiagnosticsScreen::isCurrentCheck(const QString& label, Step step) {
    switch (step) {
    case Step::checkingGateway:
        return label.contains(u"gateway"_s) && !label.contains(u"reachable"_s);
    case Step::pingingGateway:
        return label.contains(u"Gateway reachable"_s);
    case Step::pingingInternet:
        return label.contains(u"Internet"_s);
    case Step::checkingPortal:
        return label.contains(u"Portal"_s);
    case Step::idle:
    case Step::completed:
        break;
    }
    return false;
}

QList<DiagnosticsScreen::CheckRow> DiagnosticsScreen::checkRows(const Reading& reading) {
    const Step step = reading.phase.step;
    const auto yesNo = [](const std::optional<bool>& answer) -> std::optional<QString> {
        if (!answer)
            return std::nullopt;
        return *answer ? u"yes"_s : u"no"_s;
    };
    const auto row = [step](QString label, bool done, bool ok, std::optional<QString> detail) {
        const bool current = isCurrentCheck(label, step);
        return CheckRow{std::move(label), done, ok, std::move(detail), mark(done, ok, current)};
    };

    QList<CheckRow> rows;
    // The steps only move forward, so a later step means that the gateway search is over.
    rows.append(row(gatewayLabel(), step > Step::checkingGateway, reading.gateway.has_value(),
                    reading.gateway ? std::optional(u"found (%1)"_s.arg(*reading.gateway)) : std::nullopt));
    rows.append(row(gatewayReachableLabel(), reading.gatewayReachable.has_value(),
                    reading.gatewayReachable.value_or(false), yesNo(reading.gatewayReachable)));
    rows.append(row(internetLabel(), reading.internetReachable.has_value(),
                    reading.internetReachable.value_or(false), yesNo(reading.internetReachable)));
    if (reading.internetReachable == true) {
        const bool completed = reading.phase.isCompleted();
        const bool portal = completed && reading.phase.verdict &&
                            std::holds_alternative<Diagnostics::CaptivePortal>(*reading.phase.verdict);
        std::optional<QString> detail;
        if (completed)
            detail = portal ? u"hijacked"_s : u"ok"_s;
        rows.append(row(portalLabel(), completed, !portal, detail));
    }
    return rows;
}

QList<DiagnosticsScreen::Action> DiagnosticsScreen::verdictActions(const Diagnostics::Verdict& verdict) {
    const Action tryAgain{ActionKind::tryAgain, u"Try Again"_s, std::nullopt, ButtonStyle::bordered};
    const Action openBrowser{ActionKind::openBrowser, u"Open Browser"_s, u"safari"_s, ButtonStyle::prominent};
    return std::visit(
        [&](const auto& v) -> QList<Action> {
            using V = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<V, Diagnostics::InternetReachable>) {
                return {{ActionKind::getLatestVersion, u"Get Latest Version"_s, u"arrow.down.circle"_s,
                         ButtonStyle::prominent},
                        tryAgain};
            } else if constexpr (std::is_same_v<V, Diagnostics::NoConnectivity>) {
                return {{ActionKind::openWifiSettings, u"Open WiFi Settings"_s, u"wifi"_s,
                         ButtonStyle::prominent},
                        tryAgain};
            } else {
                return {openBrowser, tryAgain};
            }
        },
        verdict);
}

std::optional<DiagnosticsScreen::Action> DiagnosticsScreen::partialResultsAction(bool hasLatencyPoints) {
    if (!hasLatencyPoints)
        return std::nullopt;
    return Action{ActionKind::viewPartialResults, u"View Partial Results"_s, u"chart.bar"_s,
                  ButtonStyle::bordered};
}

bool DiagnosticsScreen::offersErrorToggle(const Diagnostics::Verdict& verdict) {
    return std::holds_alternative<Diagnostics::InternetReachable>(verdict);
}

QString DiagnosticsScreen::errorToggleTitle(bool showError) {
    return showError ? u"Hide Error"_s : u"Show Error"_s;
}

std::optional<QString> DiagnosticsScreen::errorDetail(const Diagnostics::Verdict& verdict, bool showError) {
    const auto* fine = std::get_if<Diagnostics::InternetReachable>(&verdict);
    if (!showError || !fine || fine->processError.isEmpty())
        return std::nullopt;
    return fine->processError;
}

QUrl DiagnosticsScreen::downloadUrl() {
    return QUrl(Platform::siteUrl() + u"/download"_s);
}

QUrl DiagnosticsScreen::portalBrowserUrl() {
    return Diagnostics::portalRootUrl();
}

QList<DiagnosticsScreen::Command> DiagnosticsScreen::wifiSettingsCommands() {
    return {{u"gnome-control-center"_s, {u"wifi"_s}},
            {u"systemsettings"_s, {u"kcm_networkmanagement"_s}},
            {u"nm-connection-editor"_s, {}}};
}

bool DiagnosticsScreen::openWifiSettings(const ExecutableFinder& find, const ProgramLauncher& launch) {
    const QList<Command> commands = wifiSettingsCommands();
    for (const Command& command : commands) {
        const QString path = find(command.program);
        if (!path.isEmpty() && launch(path, command.arguments))
            return true;
    }
    return false;
}

DiagnosticsScreen::DiagnosticsScreen(AppState& state, QObject* parent)
    : QObject(parent)
    , m_state(state)
    , m_findExecutable([](const QString& program) { return QStandardPaths::findExecutable(program); })
    , m_launchProgram([](const QString& path, const QStringList& arguments) {
        return QProcess::startDetached(path, arguments);
    }) {
    connect(&m_state, &AppState::diagnosticsChanged, this, [this] {
        followDiagnosis();
        emit changed();
    });
    connect(&m_state, &AppState::latencyPointsChanged, this, &DiagnosticsScreen::changed);
    followDiagnosis();
}

void DiagnosticsScreen::followDiagnosis() {
    Diagnostics* current = m_state.diagnostics();
    if (current == m_diagnosis)
        return;
    if (m_diagnosis)
        disconnect(m_diagnosis, nullptr, this, nullptr);
    m_diagnosis = current;
    // Each diagnosis is a new visit of the screen: its error panel starts closed.
    m_showError = false;
    if (!current)
        return;
    for (auto signal : {&Diagnostics::phaseChanged, &Diagnostics::gatewayChanged,
                        &Diagnostics::gatewayReachableChanged, &Diagnostics::internetReachableChanged})
        connect(current, signal, this, &DiagnosticsScreen::changed);
}

std::optional<DiagnosticsScreen::Reading> DiagnosticsScreen::reading() const {
    if (!m_diagnosis)
        return std::nullopt;
    return Reading::of(*m_diagnosis);
}

std::optional<DiagnosticsScreen::Diagnostics::Verdict> DiagnosticsScreen::verdict() const {
    if (!m_diagnosis)
        return std::nullopt;
    return m_diagnosis->phase().verdict;
}

std::optional<DiagnosticsVerdictText> DiagnosticsScreen::verdictText() const {
    const auto found = verdict();
    if (!found)
        return std::nullopt;
    return DiagnosticsVerdictText::forVerdict(*found);
}

void DiagnosticsScreen::toggleError() {
    m_showError = !m_showError;
    emit changed();
}

std::optional<QString> DiagnosticsScreen::errorDetail() const {
    const auto found = verdict();
    if (!found)
        return std::nullopt;
    return errorDetail(*found, m_showError);
}

QList<DiagnosticsScreen::Action> DiagnosticsScreen::actions() const {
    const auto found = verdict();
    if (!found)
        return {};
    QList<Action> actions = verdictActions(*found);
    if (const auto partial = partialResultsAction(!m_state.latencyPoints().isEmpty()))
        actions.append(*partial);
    return actions;
}

void DiagnosticsScreen::trigger(ActionKind kind) {
    switch (kind) {
    case ActionKind::getLatestVersion:
        if (m_openUrl)
            m_openUrl(downloadUrl());
        return;
    case ActionKind::openBrowser:
        if (m_openUrl)
            m_openUrl(portalBrowserUrl());
        return;
    case ActionKind::openWifiSettings:
        openWifiSettings(m_findExecutable, m_launchProgram);
        return;
    case ActionKind::tryAgain:
        m_state.dismissDiagnostics();
        return;
    case ActionKind::viewPartialResults:
        m_state.showResults();
        return;
    }
}
