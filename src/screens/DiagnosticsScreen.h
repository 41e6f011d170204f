#pragma once

#include "screens/DiagnosticsVerdictText.h"
#include "services/ConnectivityDiagnostics.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <optional>

class AppState;

// What the diagnostics screen shows while the connection is being checked and once it has a verdict,
// and what its buttons do. The screen follows the diagnosis that AppState holds; a retry brings a new
// one, and with it a closed error panel.
class DiagnosticsScreen : public QObject {
    Q_OBJECT
public:
    using Diagnostics = ConnectivityDiagnostics;
    using Step = Diagnostics::Step;

    static constexpr int checkColumnWidth = 280;
    static constexpr int explanationMaxWidth = 380;
    static constexpr int errorPanelMaxWidth = 400;
    static constexpr int errorPanelRadius = 6;
    static constexpr int spinnerSide = 14;
    static constexpr double waitingMarkOpacity = 0.4;

    static QString preparingText(); // "Preparing diagnostics..."
    static QString runningIcon();   // "stethoscope"
    static QString runningTitle();  // "Checking your connection..."

    static QString gatewayLabel();          // "Network gateway"
    static QString gatewayReachableLabel(); // "Gateway reachable"
    static QString internetLabel();         // "Internet reachable"
    static QString portalLabel();           // "Portal check"

    // The observable fields of a diagnosis at one moment.
    struct Reading {
        Diagnostics::Phase phase;
        std::optional<QString> gateway;
        std::optional<bool> gatewayReachable;
        std::optional<bool> internetReachable;

        static Reading of(const Diagnostics& diagnosis);
        friend bool operator==(const Reading&, const Reading&) = default;
    };

    // The mark in front of a check: passed, failed, the one in progress (a spinner) or still to come.
    enum class Mark { passed, failed, inProgress, waiting };
    enum class MarkTone { green, orange, secondary };

    struct CheckRow {
        QString label;
        bool done = false;
        bool ok = false;
        std::optional<QString> detail;
        Mark mark = Mark::waiting;

        // The symbol of the mark; empty for the one in progress, which is a spinner.
        QString markIcon() const;
        MarkTone markTone() const;
        double markOpacity() const;
        // The label is in the primary colour once its check is done, else in the secondary colour.
        bool labelIsPrimary() const { return done; }
        friend bool operator==(const CheckRow&, const CheckRow&) = default;
    };

    static Mark mark(bool done, bool ok, bool current);
    // Whether the row with this label is the check in progress at `step`.
    static bool isCurrentCheck(const QString& label, Step step);
    // The rows of the running phase; the portal row only once the internet has answered.
    static QList<CheckRow> checkRows(const Reading& reading);

    enum class ActionKind { getLatestVersion, openBrowser, openWifiSettings, tryAgain, viewPartialResults };
    enum class ButtonStyle { prominent, bordered };
    struct Action {
        ActionKind kind;
        QString title;
        std::optional<QString> icon;
        ButtonStyle style;
        friend bool operator==(const Action&, const Action&) = default;
    };

    // The verdict's prominent button, then "Try Again".
    static QList<Action> verdictActions(const Diagnostics::Verdict& verdict);
    // "View Partial Results", offered only when the failed run measured something.
    static std::optional<Action> partialResultsAction(bool hasLatencyPoints);
    // Only the verdict that blames the tool has an error to show.
    static bool offersErrorToggle(const Diagnostics::Verdict& verdict);
    static QString errorToggleTitle(bool showError); // "Show Error" / "Hide Error"
    // The tool's failure text while it is asked for and there is one.
    static std::optional<QString> errorDetail(const Diagnostics::Verdict& verdict, bool showError);

    // Where "Get Latest Version" goes: the project's download page.
    static QUrl downloadUrl();
    // Where "Open Browser" goes: the portal probe's plain-HTTP root, which a network's portal intercepts.
    static QUrl portalBrowserUrl();

    // A program that shows the desktop's network settings, with its arguments.
    struct Command {
        QString program;
        QStringList arguments;
        friend bool operator==(const Command&, const Command&) = default;
    };
    // The desktops' Wi-Fi settings, in the order they are tried.
    static QList<Command> wifiSettingsCommands();

    using UrlOpener = std::function<void(const QUrl&)>;
    // Gives the full path of a program, or an empty text when there is none.
    using ExecutableFinder = std::function<QString(const QString& program)>;
    // Starts a program on its own, not as our child; false when it couldn't start.
    using ProgramLauncher = std::function<bool(const QString& path, const QStringList& arguments)>;

    // Starts the first settings program that is installed and starts; without any, nothing happens.
    // Returns whether one started.
    static bool openWifiSettings(const ExecutableFinder& find, const ProgramLauncher& launch);

    // The finder and launcher default to the system's; the URL opener has none and must be set by the
    // view, which owns the desktop's browser.
    explicit DiagnosticsScreen(AppState& state, QObject* parent = nullptr);

    // The diagnosis now shown; absent while it is being prepared.
    Diagnostics* diagnosis() const { return m_diagnosis; }
    std::optional<Reading> reading() const;
    // The verdict once the diagnosis has completed.
    std::optional<Diagnostics::Verdict> verdict() const;
    std::optional<DiagnosticsVerdictText> verdictText() const;

    bool showError() const { return m_showError; }
    void toggleError();
    std::optional<QString> errorDetail() const;
    // The completed phase's buttons: the verdict's two, then "View Partial Results" if offered.
    QList<Action> actions() const;
    void trigger(ActionKind kind);

    void setUrlOpener(UrlOpener opener) { m_openUrl = std::move(opener); }
    void setExecutableFinder(ExecutableFinder finder) { m_findExecutable = std::move(finder); }
    void setProgramLauncher(ProgramLauncher launcher) { m_launchProgram = std::move(launcher); }

signals:
    // Anything on the screen may read differently: another diagnosis, its progress, the error panel, or
    // the latency points behind "View Partial Results".
    void changed();

private:
    void followDiagnosis();

    AppState& m_state;
    QPointer<Diagnostics> m_diagnosis;
    bool m_showError = false;
    UrlOpener m_openUrl;
    ExecutableFinder m_findExecutable;
    ProgramLauncher m_launchProgram;
};
