#pragma once

#include "capture/CaptureSnapshot.h"
#include "capture/QualityRating.h"
#include "capture/ResultsAnalysis.h"
#include "capture/RgbColor.h"
#include "screens/RunningScreen.h"
#include "screens/StatCard.h"
#include "screens/UploadStatus.h"

#include <QDateTime>
#include <QList>
#include <QLocale>
#include <QObject>
#include <QString>

#include <functional>
#include <optional>

class AppState;

// One fact under the title of the results: an icon and a short text.
struct ResultsFact {
    enum class Kind { date, network, vpn, length, samples, captureId };

    Kind kind = Kind::date;
    QString icon;
    QString text;
    // The capture id can be selected, so that it can be quoted in a message.
    bool selectable = false;

    friend bool operator==(const ResultsFact&, const ResultsFact&) = default;
};

// "Quality: Good (GEO) - explanation": the verdict and its suffix in the verdict's colour, the rest in
// the text colour.
struct ResultsQualityLine {
    QString label;                    // "Quality:"
    QString verdict;                  // the raw value, "Superior" … "Broken"
    RgbColor verdictColor;            // the rating's colour, for the verdict and its suffix
    std::optional<QString> geoSuffix; // " (GEO)"
    QString separator;                // " - "
    QString explanation;

    // The whole line as one plain text, for accessibility and tests.
    QString plainText() const;
    // The same as rich text, the verdict and its suffix in the verdict's colour and weight.
    QString html() const;

    friend bool operator==(const ResultsQualityLine&, const ResultsQualityLine&) = default;
};

// The left half of the header: the check mark, the title, the facts and the verdict.
struct ResultsHeader {
    QString checkIcon;
    QString title; // "Test Complete"
    QList<ResultsFact> facts;
    ResultsQualityLine quality;

    friend bool operator==(const ResultsHeader&, const ResultsHeader&) = default;
};

// The presentation model of the results screen's frame: the header, the lines below it, the cards, the
// upload status and the last line. Everything it shows is a function of AppState at the time of asking;
// the object itself holds only whether the share link was just copied.
class ResultsScreen : public QObject {
    Q_OBJECT

public:
    // How long the share control reads "Copied!" after a click.
    static constexpr double copiedSeconds = 2.0;

    static const QString titleText;          // "Test Complete"
    static const QString newTestText;        // "New Test"
    static const QString shareText;          // "Share"
    static const QString copiedText;         // "Copied!"
    static const QString historyText;        // "History"
    static const QString linkCapabilityText; // "LINK CAPABILITY"
    static const QString videoStreamingText; // "VIDEO STREAMING"
    static const QString folderIcon;         // the icon of the "Results saved to" line
    static const QString errorIcon;          // a warning triangle
    static const QString stopIcon;           // an info sign

    // `writeClipboard` replaces the clipboard's content with the share link; the view passes the
    // desktop's clipboard, tests a recorder.
    ResultsScreen(AppState& state, std::function<void(const QString&)> writeClipboard,
                  QObject* parent = nullptr);

    // --- what the screen shows ------------------------------------------------------------------------
    ResultsHeader header() const;
    // The lines below the header that apply: the error with a warning triangle, then the stop reason
    // with an info sign. The update banner, when one applies, stands above them and is not listed here.
    QList<IconLine> noticeLines() const;
    std::optional<IconLine> errorLine() const;
    std::optional<IconLine> stopLine() const;
    // The five cards under "LINK CAPABILITY".
    QList<StatCard> summaryCards() const;
    // Whether the "VIDEO STREAMING" section shows, and its cards as far as they exist.
    bool showsVideoSection() const;
    QList<StatCard> videoCards() const;
    // Whether the latency chart with its loss strip shows: only with latency points.
    bool showsLatencySection() const;
    UploadStatus uploadStatus() const;
    // "Results saved to {folder}", the folder where the captures are kept, with "~" for the home folder.
    QString savedLine() const;

    // --- the share control ----------------------------------------------------------------------------
    bool shareEnabled() const;
    bool showCopied() const { return m_showCopied; }
    // "Share", or "Copied!" just after a click.
    QString shareLabel() const;
    // "{site}/c/{captureId}/", without a capture id nothing.
    std::optional<QString> shareLink() const;

    // --- actions --------------------------------------------------------------------------------------
    // Puts the share link on the clipboard and reads "Copied!" for two seconds. Without a capture id it
    // does nothing. Every click arms its own timer and every timer clears the flag, so a second click
    // within the two seconds harms nothing and the label turns back two seconds after the first click.
    void copyShareLink();
    void newCapture();

    // --- the rules, as pure functions -----------------------------------------------------------------
    static ResultsHeader headerFor(const CaptureSnapshot& capture, const QLocale& locale = QLocale());
    // Abbreviated date and short time in local time: "Mar 14, 2026, 9:30 AM" in English.
    static QString formatCaptureDate(const QDateTime& date, const QLocale& locale = QLocale());
    // "Ostrel VPN" for a name that starts with "Ostrel", else "VPN"; an empty name gives no fact.
    static std::optional<QString> vpnText(const std::optional<QString>& vpn);
    static StatCard card(const ResultFigure& figure);
    static std::optional<QString> shareLinkFor(const QString& siteUrl,
                                               const std::optional<QString>& captureId);
    static bool shareEnabledFor(const std::optional<QString>& captureId, bool uploadDone);

signals:
    void showCopiedChanged();

private:
    void setShowCopied(bool shown);

    AppState& m_state;
    std::function<void(const QString&)> m_writeClipboard;
    bool m_showCopied = false;
};
