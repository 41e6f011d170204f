#pragma once

#include "screens/SetupChoices.h"
#include "subprocess/Bootstrap.h"
#include "subprocess/CaptureConfig.h"

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

class AppState;
class FileLogger;
class Settings;

// Whether video tests can run: the headless browser is in the cache and starts without a network.
enum class ChromiumStatus { unknown, verifying, available, unavailable };

// One pill of the duration row.
struct DurationPill {
    QString title;
    bool isSelected = false;
    friend bool operator==(const DurationPill&, const DurationPill&) = default;
};

// One half of the Timed/Continuous control; `edge` says which end of the control it rounds.
struct DurationModeButton {
    enum class Edge { leading, trailing };
    QString title;
    bool isSelected = false;
    Edge edge = Edge::leading;
    bool timed = true; // what choosing it sets
    friend bool operator==(const DurationModeButton&, const DurationModeButton&) = default;
};

// "Active" or "Passive" in continuous mode.
struct ProfileButton {
    QString title;
    CaptureProfile profile = CaptureProfile::active;
    bool isSelected = false;
    friend bool operator==(const ProfileButton&, const ProfileButton&) = default;
};

// The row at the bottom of the screen; each part shows only when it has a text.
struct SetupFooter {
    std::optional<QString> ssid;         // with the icon "network"
    std::optional<QString> signal;       // "{rssi} dBm", with the icon "wifi"
    std::optional<QString> pendingRetry; // with the icon "arrow.clockwise.icloud", redrawn every second
    friend bool operator==(const SetupFooter&, const SetupFooter&) = default;
};

// The setup screen's model: the two name fields with their suggestions and history, the duration
// choices, the opt-in for video tests (browser check and install), the start action, and the footer.
// Main thread only. The view calls appear() and disappear() as the screen comes and goes and redraws
// on changed().
class SetupScreen : public QObject {
    Q_OBJECT

public:
    static constexpr int suggestionLimit = 7;
    static constexpr int userSuggestionShare = 5;
    static constexpr qsizetype historyCap = 20;
    static const QStringList locationSeedRows;
    static const QStringList networkSeedRows;

    // The screen's words.
    static const QString titleText;
    static const QString subtitleText;
    static const QString locationHeading;
    static const QString networkHeading;
    static const QString durationHeading;
    static const QString locationPlaceholder;
    static const QString networkPlaceholder;
    static const QString videoPanelTitle;
    static const QString videoPanelSubtitle;
    static const QString enableButtonTitle;
    static const QString enabledBannerText;
    static const QString startButtonTitle;
    static const QString needsContextHint;
    static const QString historyButtonTitle;
    static const QString historyWindowTitle;

    // What the screen needs of its neighbours. Tests replace some of them; the rest of the program
    // uses systemServices().
    struct Services {
        std::function<bool()> chromiumInstalled;
        // Answers once on the main thread, after returning, unless `context` is gone by then.
        std::function<void(QObject* context, std::function<void(bool)> done)> verifyPlaywrightOffline;
        std::function<void(QObject* context, std::function<void(const QString&)> onProgress,
                           std::function<void(const Bootstrap::ChromiumInstallOutcome&)> onFinished)>
            installChromium;
        // The capture folder, where the tool keeps captures.json.
        std::function<QString()> outputDirectory;
        std::function<void(const CaptureConfig&)> startCapture;
    };
    static Services systemServices(AppState& state, FileLogger& log);

    explicit SetupScreen(AppState& state, QObject* parent = nullptr);
    SetupScreen(AppState& state, Services services, QObject* parent = nullptr);
    ~SetupScreen() override;

    // --- the fields --------------------------------------------------------------------------------
    const SetupChoices& choices() const { return m_choices; }
    const QString& location() const { return m_choices.location; }
    const QString& network() const { return m_choices.network; }
    bool isTimed() const { return m_choices.isTimed; }
    const QString& selectedDuration() const { return m_choices.selectedDuration; }
    CaptureProfile selectedProfile() const { return m_choices.selectedProfile; }
    bool locationFocused() const { return m_locationFocused; }
    bool networkFocused() const { return m_networkFocused; }

    void setLocation(const QString& text);
    void setNetwork(const QString& text);
    void setTimed(bool timed);
    void setSelectedDuration(const QString& duration);
    void setSelectedProfile(CaptureProfile profile);
    void setLocationFocused(bool focused);
    void setNetworkFocused(bool focused);

    // --- suggestions -------------------------------------------------------------------------------
    // Computed at each read from the stored history and the presets.
    QStringList filteredLocations() const;
    QStringList filteredNetworks() const;
    // The location list needs focus and some text; the network list shows on focus alone.
    bool showsLocationSuggestions() const;
    bool showsNetworkSuggestions() const;
    // A chosen row fills the field and takes the focus away from it.
    void chooseLocationSuggestion(const QString& text);
    void chooseNetworkSuggestion(const QString& text);
    // Return in a field only takes the focus away.
    void submitLocation() { setLocationFocused(false); }
    void submitNetwork() { setNetworkFocused(false); }

    // --- duration ----------------------------------------------------------------------------------
    QList<DurationModeButton> modeButtons() const;
    // Shown in timed mode.
    QList<DurationPill> durationPills() const;
    // Shown in continuous mode, with the caption under them.
    QList<ProfileButton> profileButtons() const;
    QString profileCaption() const;

    // --- video tests -------------------------------------------------------------------------------
    ChromiumStatus chromiumStatus() const { return m_chromiumStatus; }
    bool installingChromium() const { return m_installingChromium; }
    const QString& chromiumProgress() const { return m_chromiumProgress; }
    const std::optional<QString>& chromiumError() const { return m_chromiumError; }
    bool hasVerifyTask() const { return m_verifyTask != nullptr; }

    // The panel with "Enable" shows while the browser is unavailable; a spinner replaces the button
    // during the install, with the progress line under it once there is one.
    bool showsVideoPanel() const { return m_chromiumStatus == ChromiumStatus::unavailable; }
    std::optional<QString> installProgressLine() const;
    bool showsEnabledBanner() const;

    void installChromium();

    // --- start -------------------------------------------------------------------------------------
    // Both fields empty; a field holding only blanks counts as filled.
    bool needsContext() const { return m_choices.location.isEmpty() && m_choices.network.isEmpty(); }
    bool isStartEnabled() const { return !needsContext(); }
    std::optional<QString> startHint() const;
    // A start waits here while the browser check is under way.
    bool isStartPending() const { return m_startPending; }
    // The start button. Waits for a running browser check first, so the capture knows whether it may
    // test video; a second press while waiting does nothing.
    void start();

    // --- footer ------------------------------------------------------------------------------------
    SetupFooter footer(const QDateTime& now) const;
    // "1 capture pending — retrying in {secs}s", rounded to whole seconds and never below zero.
    static QString pendingRetryText(double secondsLeft);

    // --- coming and going --------------------------------------------------------------------------
    // Seeds and merges the history, prefills the network the tool last reported, and checks the
    // browser.
    void appear();
    // Forgets the running browser check and a start that was waiting for it.
    void disappear();

    // --- stored history ----------------------------------------------------------------------------
    // Newest first, without the rows equal to `text`, at most 20 rows. Empty text changes nothing.
    static void saveLocationHistory(Settings& settings, const QString& text);
    static void saveNetworkHistory(Settings& settings, const QString& text);
    // Appends the seed rows that are missing to both lists, once for good.
    static void seedStaticHistory(Settings& settings);
    // Appends the names of the library's captures that are missing; true when a row was added.
    static bool mergeFromCapturesJSON(Settings& settings, const QString& capturesJsonPath);
    // The "uploadPrivacy" setting; anything but "hash" and "omit" is "include".
    static UploadPrivacy uploadPrivacySetting(const Settings& settings);

signals:
    void changed();

private:
    struct VerifyTask;

    void setChromiumStatus(ChromiumStatus status);
    void startVerifyTask();
    void cancelVerifyTask();
    void finishStart();
    void onInstallFinished(const Bootstrap::ChromiumInstallOutcome& outcome);

    AppState& m_state;
    Services m_services;
    std::unique_ptr<Settings> m_settings;

    SetupChoices m_choices;
    bool m_locationFocused = false;
    bool m_networkFocused = false;
    ChromiumStatus m_chromiumStatus = ChromiumStatus::unknown;
    bool m_installingChromium = false;
    QString m_chromiumProgress;
    std::optional<QString> m_chromiumError;
    std::shared_ptr<VerifyTask> m_verifyTask;
    bool m_startPending = false;
    quint64 m_startGeneration = 0;
};
