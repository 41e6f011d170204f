#pragma once

#include "subprocess/Bootstrap.h"

#include <QObject>
#include <QString>

#include <optional>

class AppState;
class FileLogger;

// The screen of a first launch, when uv is missing: it owns one Bootstrap, runs it as the screen opens
// and moves on to setup when that run ends ready. On a failure it shows the sentence, a retry and the
// raw output. Nothing else can be done here and there is no way back.
class BootstrapScreen : public QObject {
    Q_OBJECT
public:
    // What the block under the title shows for the installer's state.
    enum class Block { progress, ready, failure };

    static constexpr int iconPointSize = 48;
    static constexpr int detailPointSize = 11;

    static QString title();           // "Norvane"
    static QString firstLaunchHint(); // under the progress while the dependencies install
    static QString footer();          // the internet requirement, always at the bottom
    static QString retryTitle();      // "Retry"

    static QString appSymbol();     // "wifi", in the accent colour
    static QString readySymbol();   // "checkmark.circle.fill", green
    static QString failureSymbol(); // "exclamationmark.triangle.fill", orange

    explicit BootstrapScreen(AppState& state, FileLogger& log = FileLogger::shared(),
                             QObject* parent = nullptr);

    Bootstrap& bootstrap() { return m_bootstrap; }
    const Bootstrap& bootstrap() const { return m_bootstrap; }

    Block block() const;
    // The line under the spinner while the installer works.
    QString progressText() const { return m_bootstrap.progressMessage(); }
    bool showsFirstLaunchHint() const;
    // The failure's sentence; empty unless failed.
    QString failureMessage() const;

    // "Show Details" / "Hide Details": only on a failure that kept the raw output.
    bool showsDetailsButton() const;
    QString detailsButtonTitle() const;
    bool showDetail() const { return m_showDetail; }
    void toggleDetail();
    // The panel of raw output with its copy button, while the details are open.
    bool showsDetailPanel() const;
    QString detailText() const;

    // "Copy to Clipboard", and "Copied" for the rest of the screen's life once pressed.
    bool copied() const { return m_copied; }
    QString copyButtonTitle() const;
    QString copySymbol() const; // "doc.on.doc" before a copy, "checkmark" after
    // The text that goes to the clipboard; the view puts it there.
    QString copyDetail();

    // The start task, as the screen opens: a run to its end, then setup if it ended ready.
    void start();
    // "Retry": a run to its end that never changes the screen, whatever it ends in.
    void retry();

signals:
    // Anything that the screen shows may have changed.
    void changed();

private:
    AppState& m_state;
    Bootstrap m_bootstrap;
    bool m_showDetail = false;
    bool m_copied = false;
    // The run whose end moves on to setup; a retry's run doesn't.
    bool m_startRunPending = false;
};
