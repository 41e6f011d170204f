#include "screens/SetupScreen.h"

#include "base/NumberText.h"
#include "base/Settings.h"
#include "core/AppState.h"
#include "screens/NetworkPresets.h"
#include "screens/SuggestionMerger.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>
#include <utility>

using namespace Qt::StringLiterals;

const QStringList SetupScreen::locationSeedRows{
    u"Encinitas, CA"_s,
    u"Queens Plaza, Queens, NY"_s,
    u"JFK"_s,
    u"DAL 709 JFK-SAN"_s,
    u"DAL 367 SAN-JFK"_s,
    u"Mechanicsburg, PA"_s,
    u"Carlisle, PA"_s,
    u"Harrisburg, PA"_s,
    u"Hartford, CT"_s,
    u"New London, CT"_s,
    u"Conn College, New London, CT"_s,
    u"Poughkeepsie, NY"_s,
    u"Ostrel Oceanview"_s,
    u"Ostrel E1"_s,
    u"Best Western, Victoria BC"_s,
    u"UVic Library, Victoria BC"_s,
    u"AS3319 SEA-YVR"_s,
    u"AS190 SEA-SAN"_s,
};

const QStringList SetupScreen::networkSeedRows{
    u"Ting"_s,
    u"Hilton Honors"_s,
    u"Dickinson Guest"_s,
    u"YBC"_s,
    u"Story and Soiil Guest"_s,
    u"CCGuest"_s,
    u"@HyattMeetings"_s,
    u"HotelGroupWiFi.example"_s,
    u"FikaHygge_GUEST"_s,
    u"AeroWiFi.example"_s,
    u"_Free_JFK_Wi-Fi"_s,
    u"Zefi"_s,
    u"Fiber (Ting)"_s,
    u"Corporate WiFi"_s,
    u"Hotel WiFi"_s,
    u"Campus WiFi + Ostrel VPN"_s,
    u"WaiFaiHottoSpotto (Ting Fiber)"_s,
    u"Starlink LEO"_s,
    u"Intelsat GEO"_s,
};

const QString SetupScreen::titleText = u"Start Network Test"_s;
const QString SetupScreen::subtitleText = u"Configure your test and begin."_s;
const QString SetupScreen::locationHeading = u"LOCATION"_s;
const QString SetupScreen::networkHeading = u"NETWORK"_s;
const QString SetupScreen::durationHeading = u"DURATION"_s;
const QString SetupScreen::locationPlaceholder = u"e.g. DAL 367 SAN-JFK | Oceanview B2F1"_s;
const QString SetupScreen::networkPlaceholder = u"e.g. AeroWiFi.example | Zefi"_s;
const QString SetupScreen::videoPanelTitle = u"YouTube Quality Testing"_s;
const QString SetupScreen::videoPanelSubtitle = u"Measure video bitrate, quality, and buffering"_s;
const QString SetupScreen::enableButtonTitle = u"Enable"_s;
const QString SetupScreen::enabledBannerText = u"YouTube video streaming tests enabled"_s;
const QString SetupScreen::startButtonTitle = u"Start Monitoring"_s;
const QString SetupScreen::needsContextHint = u"Fill in a location or network name to start"_s;
const QString SetupScreen::historyButtonTitle = u"Test History"_s;
const QString SetupScreen::historyWindowTitle = u"Test History"_s;

// The browser check the screen started when it appeared. Cancelling only stops its answer from
// changing the status: a start that waits for it still gets the answer.
struct SetupScreen::VerifyTask {
    bool cancelled = false;
    std::optional<bool> value;
    QList<std::function<void(bool)>> waiters;

    void whenDone(std::function<void(bool)> waiter) {
        if (value)
            waiter(*value);
        else
            waiters.append(std::move(waiter));
    }
};

SetupScreen::Services SetupScreen::systemServices(AppState& state, FileLogger& log) {
    Services services;
    services.chromiumInstalled = [] { return ::chromiumInstalled(); };
    services.verifyPlaywrightOffline = [&log](QObject* context, std::function<void(bool)> done) {
        Bootstrap::verifyPlaywrightOffline(context, std::move(done), log);
    };
    services.installChromium =
        [&log](QObject* context, std::function<void(const QString&)> onProgress,
               std::function<void(const Bootstrap::ChromiumInstallOutcome&)> onFinished) {
            Bootstrap::installChromium(context, std::move(onProgress), std::move(onFinished), log);
        };
    services.outputDirectory = [] { return PythonProcess::outputDirectory(); };
    services.startCapture = [&state](const CaptureConfig& config) { state.startCapture(config); };
    return services;
}

SetupScreen::SetupScreen(AppState& state, QObject* parent)
    : SetupScreen(state, systemServices(state, FileLogger::shared()), parent) {}

SetupScreen::SetupScreen(AppState& state, Services services, QObject* parent)
    : QObject(parent)
    , m_state(state)
    , m_services(std::move(services))
    , m_settings(std::make_unique<Settings>()) {
    // The footer follows what the tool last reported and the upload retry.
    connect(&m_state, &AppState::sessionChanged, this, &SetupScreen::changed);
    connect(&m_state, &AppState::uploadStateChanged, this, &SetupScreen::changed);
}

SetupScreen::~SetupScreen() = default;

// --- Fields ----------------------------------------------------------------------------------------

void SetupScreen::setLocation(const QString& text) {
    if (m_choices.location == text)
        return;
    m_choices.location = text;
    emit changed();
}

void SetupScreen::setNetwork(const QString& text) {
    if (m_choices.network == text)
        return;
    m_choices.network = text;
    emit changed();
}

void SetupScreen::setTimed(bool timed) {
    if (m_choices.isTimed == timed)
        return;
    m_choices.isTimed = timed;
    emit changed();
}

void SetupScreen::setSelectedDuration(const QString& duration) {
    if (m_choices.selectedDuration == duration || !SetupChoices::durations.contains(duration))
        return;
    m_choices.selectedDuration = duration;
    emit changed();
}

void SetupScreen::setSelectedProfile(CaptureProfile profile) {
    if (m_choices.selectedProfile == profile)
        return;
    m_choices.selectedProfile = profile;
    emit changed();
}

void SetupScreen::setLocationFocused(bool focused) {
    if (m_locationFocused == focused)
        return;
    m_locationFocused = focused;
    emit changed();
}

void SetupScreen::setNetworkFocused(bool focused) {
    if (m_networkFocused == focused)
        return;
    m_networkFocused = focused;
    emit changed();
}

// --- Suggestions -----------------------------------------------------------------------------------

QStringList SetupScreen::filteredLocations() const {
    QStringList history = m_settings->stringList(QString::fromLatin1(Settings::pastLocations));
    history.removeAll(m_choices.location);
    return SuggestionMerger::merge(history, {}, m_choices.location, suggestionLimit, userSuggestionShare);
}

QStringList SetupScreen::filteredNetworks() const {
    QStringList history = m_settings->stringList(QString::fromLatin1(Settings::pastNetworks));
    history.removeAll(m_choices.network);
    QStringList presets = NetworkPresets::popular();
    presets.removeAll(m_choices.network);
    return SuggestionMerger::merge(history, presets, m_choices.network, suggestionLimit, userSuggestionShare);
}

bool SetupScreen::showsLocationSuggestions() const {
    return m_locationFocused && !m_choices.location.isEmpty() && !filteredLocations().isEmpty();
}

bool SetupScreen::showsNetworkSuggestions() const {
    return m_networkFocused && !filteredNetworks().isEmpty();
}

void SetupScreen::chooseLocationSuggestion(const QString& text) {
    setLocation(text);
    setLocationFocused(false);
}

void SetupScreen::chooseNetworkSuggestion(const QString& text) {
    setNetwork(text);
    setNetworkFocused(false);
}

// --- Duration --------------------------------------------------------------------------------------

QList<DurationModeButton> SetupScreen::modeButtons() const {
    return {{u"Timed Test"_s, m_choices.isTimed, DurationModeButton::Edge::leading, true},
            {u"Run Continuously"_s, !m_choices.isTimed, DurationModeButton::Edge::trailing, false}};
}

QList<DurationPill> SetupScreen::durationPills() const {
    QList<DurationPill> pills;
    for (const QString& duration : SetupChoices::durations)
        pills.append({duration, duration == m_choices.selectedDuration});
    return pills;
}

QList<ProfileButton> SetupScreen::profileButtons() const {
    return {{u"Active"_s, CaptureProfile::active, m_choices.selectedProfile == CaptureProfile::active},
            {u"Passive"_s, CaptureProfile::passive, m_choices.selectedProfile == CaptureProfile::passive}};
}

QString SetupScreen::profileCaption() const {
    return m_choices.selectedProfile == CaptureProfile::active
               ? u"High-frequency testing for focused captures"_s
               : u"Relaxed intervals for continuous monitoring"_s;
}

// --- Video tests -----------------------------------------------------------------------------------

std::optional<QString> SetupScreen::installProgressLine() const {
    if (m_installingChromium && !m_chromiumProgress.isEmpty())
        return m_chromiumProgress;
    return std::nullopt;
}

bool SetupScreen::showsEnabledBanner() const {
    return m_chromiumStatus == ChromiumStatus::available &&
           !m_settings->boolValue(QString::fromLatin1(Settings::seenYouTubeEnabled), false);
}

void SetupScreen::setChromiumStatus(ChromiumStatus status) {
    if (m_chromiumStatus == status)
        return;
    m_chromiumStatus = status;
    emit changed();
}

void SetupScreen::startVerifyTask() {
    auto task = std::make_shared<VerifyTask>();
    m_verifyTask = task;
    m_services.verifyPlaywrightOffline(this, [this, task](bool ok) {
        task->value = ok;
        if (!task->cancelled)
            setChromiumStatus(ok ? ChromiumStatus::available : ChromiumStatus::unavailable);
        const QList<std::function<void(bool)>> waiters = std::exchange(task->waiters, {});
        for (const auto& waiter : waiters)
            waiter(ok);
    });
}

void SetupScreen::cancelVerifyTask() {
    if (!m_verifyTask)
        return;
    m_verifyTask->cancelled = true;
    m_verifyTask.reset();
}

void SetupScreen::installChromium() {
    if (m_installingChromium)
        return;
    cancelVerifyTask();
    m_installingChromium = true;
    m_chromiumError.reset();
    m_chromiumProgress = u"Preparing download…"_s;
    emit changed();
    m_services.installChromium(
        this,
        [this](const QString& line) {
            m_chromiumProgress = line;
            emit changed();
        },
        [this](const Bootstrap::ChromiumInstallOutcome& outcome) { onInstallFinished(outcome); });
}

void SetupScreen::onInstallFinished(const Bootstrap::ChromiumInstallOutcome& outcome) {
    using Kind = Bootstrap::ChromiumInstallOutcome::Kind;
    switch (outcome.kind) {
    case Kind::uvNotFound:
        m_chromiumError = u"uv not found"_s;
        m_chromiumProgress.clear();
        m_installingChromium = false;
        emit changed();
        return;
    case Kind::launchFailed:
        m_chromiumError = u"Failed to start installer: "_s + outcome.launchError;
        m_chromiumProgress.clear();
        m_installingChromium = false;
        emit changed();
        return;
    case Kind::exited:
        break;
    }

    if (outcome.exitCode != 0) {
        m_chromiumStatus = ChromiumStatus::unavailable;
        m_installingChromium = false;
        m_chromiumProgress.clear();
        const QString lastLine = outcome.standardError.split(u'\n').last();
        if (lastLine.isEmpty())
            m_chromiumError = u"Installation failed (exit "_s + QString::number(outcome.exitCode) + u')';
        else
            m_chromiumError = u"Installation failed: "_s + lastLine;
        emit changed();
        return;
    }

    m_chromiumProgress = u"Verifying offline availability…"_s;
    emit changed();
    m_services.verifyPlaywrightOffline(this, [this](bool ok) {
        m_installingChromium = false;
        m_chromiumProgress.clear();
        if (ok) {
            m_chromiumStatus = ChromiumStatus::available;
            // Brings the "enabled" banner up until the next capture starts.
            m_settings->setBool(QString::fromLatin1(Settings::seenYouTubeEnabled), false);
        } else {
            m_chromiumStatus = ChromiumStatus::unavailable;
            m_chromiumError = u"Chromium installed but offline cache failed — try restarting the app"_s;
        }
        emit changed();
    });
}

// --- Start -----------------------------------------------------------------------------------------

std::optional<QString> SetupScreen::startHint() const {
    if (needsContext())
        return needsContextHint;
    return std::nullopt;
}

void SetupScreen::start() {
    if (needsContext() || m_startPending)
        return;
    if (m_chromiumStatus == ChromiumStatus::verifying && m_verifyTask) {
        m_startPending = true;
        const quint64 generation = ++m_startGeneration;
        emit changed();
        m_verifyTask->whenDone([this, generation](bool) {
            if (!m_startPending || generation != m_startGeneration)
                return;
            m_startPending = false;
            finishStart();
        });
        return;
    }
    finishStart();
}

void SetupScreen::finishStart() {
    if (m_chromiumStatus == ChromiumStatus::available)
        m_settings->setBool(QString::fromLatin1(Settings::seenYouTubeEnabled), true);
    saveLocationHistory(*m_settings, m_choices.location);
    saveNetworkHistory(*m_settings, m_choices.network);
    const CaptureConfig config = m_choices.toCaptureConfig(uploadPrivacySetting(*m_settings));
    emit changed();
    m_services.startCapture(config);
}

// --- Footer ----------------------------------------------------------------------------------------

SetupFooter SetupScreen::footer(const QDateTime& now) const {
    SetupFooter footer;
    if (const std::optional<InfoEvent>& info = m_state.infoEvent()) {
        footer.ssid = info->ssid;
        if (info->rssi)
            footer.signal = QString::number(*info->rssi) + u" dBm"_s;
    }
    if (const std::optional<QDateTime>& retryAt = m_state.upload().pendingRetryAt)
        footer.pendingRetry = pendingRetryText(double(now.msecsTo(*retryAt)) / 1000.0);
    return footer;
}

QString SetupScreen::pendingRetryText(double secondsLeft) {
    const qint64 seconds = std::max<qint64>(0, NumberText::wholeSeconds(std::round(secondsLeft)));
    return u"1 capture pending — retrying in "_s + QString::number(seconds) + u's';
}

// --- Coming and going ------------------------------------------------------------------------------

void SetupScreen::appear() {
    if (!m_settings->boolValue(QString::fromLatin1(Settings::historySeeded), false))
        seedStaticHistory(*m_settings);
    mergeFromCapturesJSON(*m_settings, m_services.outputDirectory() + u"/captures.json"_s);

    if (const std::optional<InfoEvent>& info = m_state.infoEvent();
        info && info->ssid && !info->ssid->isEmpty())
        setNetwork(*info->ssid);

    if (!m_services.chromiumInstalled()) {
        setChromiumStatus(ChromiumStatus::unavailable);
    } else {
        setChromiumStatus(ChromiumStatus::verifying);
        cancelVerifyTask();
        startVerifyTask();
    }
    // The history may have grown.
    emit changed();
}

void SetupScreen::disappear() {
    cancelVerifyTask();
    if (m_startPending) {
        m_startPending = false;
        emit changed();
    }
}

// --- Stored history --------------------------------------------------------------------------------

namespace {

void saveHistory(Settings& settings, const char* key, const QString& text) {
    if (text.isEmpty())
        return;
    const QString name = QString::fromLatin1(key);
    QStringList rows = settings.stringList(name);
    rows.removeAll(text);
    rows.prepend(text);
    if (rows.size() > SetupScreen::historyCap)
        rows.resize(SetupScreen::historyCap);
    settings.setStringList(name, rows);
}

// Adds the rows of `extra` that `rows` lacks (exact match) to its end; true when one was added.
bool appendMissing(QStringList& rows, const QStringList& extra) {
    bool added = false;
    for (const QString& row : extra) {
        if (!rows.contains(row)) {
            rows.append(row);
            added = true;
        }
    }
    return added;
}

} // namespace

void SetupScreen::saveLocationHistory(Settings& settings, const QString& text) {
    saveHistory(settings, Settings::pastLocations, text);
}

void SetupScreen::saveNetworkHistory(Settings& settings, const QString& text) {
    saveHistory(settings, Settings::pastNetworks, text);
}

void SetupScreen::seedStaticHistory(Settings& settings) {
    const QString locationsKey = QString::fromLatin1(Settings::pastLocations);
    const QString networksKey = QString::fromLatin1(Settings::pastNetworks);
    QStringList locations = settings.stringList(locationsKey);
    QStringList networks = settings.stringList(networksKey);
    appendMissing(locations, locationSeedRows);
    appendMissing(networks, networkSeedRows);
    settings.setStringList(locationsKey, locations);
    settings.setStringList(networksKey, networks);
    settings.setBool(QString::fromLatin1(Settings::historySeeded), true);
}

bool SetupScreen::mergeFromCapturesJSON(Settings& settings, const QString& capturesJsonPath) {
    QFile file(capturesJsonPath);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    if (!document.isArray())
        return false;

    // Every entry must carry both names as text, or the file counts as unreadable as a whole.
    QStringList entryLocations;
    QStringList entryNetworks;
    const QJsonArray entries = document.array();
    for (const QJsonValue& entry : entries) {
        const QJsonValue location = entry.toObject().value("location"_L1);
        const QJsonValue networkType = entry.toObject().value("network_type"_L1);
        if (!entry.isObject() || !location.isString() || !networkType.isString())
            return false;
        if (!location.toString().isEmpty())
            entryLocations.append(location.toString());
        if (!networkType.toString().isEmpty())
            entryNetworks.append(networkType.toString());
    }

    const QString locationsKey = QString::fromLatin1(Settings::pastLocations);
    const QString networksKey = QString::fromLatin1(Settings::pastNetworks);
    QStringList locations = settings.stringList(locationsKey);
    QStringList networks = settings.stringList(networksKey);
    const bool addedLocation = appendMissing(locations, entryLocations);
    const bool addedNetwork = appendMissing(networks, entryNetworks);
    if (!addedLocation && !addedNetwork)
        return false;
    settings.setStringList(locationsKey, locations);
    settings.setStringList(networksKey, networks);
    return true;
}

UploadPrivacy SetupScreen::uploadPrivacySetting(const Settings& settings) {
    const std::optional<QString> raw = settings.stringValue(QString::fromLatin1(Settings::uploadPrivacy));
    return uploadPrivacyFromRawValue(raw.value_or(QString())).value_or(UploadPrivacy::include);
}
