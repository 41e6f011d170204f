#pragma once

#include <QObject>
#include <QString>
#include <QUrl>

#include <functional>
#include <optional>

class AppState;
class UpdateLogger;
class VersionCheck;

// The notice that takes the whole window while this build is below the site's minimum: its words, and
// where "Download Update" leads.
namespace UpdateRequiredNotice {

inline const QString titleText = QStringLiteral("Update Recommended");
inline const QString downloadButtonTitle = QStringLiteral("Download Update");
inline const QString continueButtonTitle = QStringLiteral("Continue Anyway");
inline const QString quitButtonTitle = QStringLiteral("Quit");
inline const QString symbol = QStringLiteral("exclamationmark.triangle.fill"); // orange
inline const QString downloadSymbol = QStringLiteral("arrow.down.circle");
inline constexpr int symbolSize = 48;
inline constexpr int spacing = 24;
inline constexpr int messageMaxWidth = 440;
inline constexpr int downloadButtonWidth = 180;

// "Current version: {version}"; a build that carries no version of its own reads "unknown".
QString versionLine(const QString& appVersion);

// The address behind a download text, or nothing when the text is no address a browser could open.
std::optional<QUrl> downloadTarget(const QString& text);

} // namespace UpdateRequiredNotice

// The line at the top of the setup screen or in the results header that tells of an update without
// stopping the work. Orange ("important") while the site's minimum is above this build, neutral while
// only a newer version waits.
struct UpdateBanner {
    enum class Tone { important, neutral };
    enum class Action { restart, download };
    enum class Place { setup, results };

    inline static const QString uploadCaptionText = QStringLiteral("Upload will resume on next launch");

    Tone tone = Tone::neutral;
    std::optional<QString> symbol; // white on the orange banner, the text colour on the neutral one
    QString text;
    bool mediumWeight = false; // the results screen's orange line
    QString buttonTitle;
    Action action = Action::download;
    // "Upload will resume on next launch" under the line, in white at 0.8 opacity.
    bool showsUploadCaption = false;
    friend bool operator==(const UpdateBanner&, const UpdateBanner&) = default;

    // At most one banner per screen; the two screens word the same situation differently on purpose.
    static std::optional<UpdateBanner> forSetup(bool updateRequired,
                                                const std::optional<QString>& pendingVersion);
    static std::optional<UpdateBanner>
    forResults(bool updateRequired, const std::optional<QString>& pendingVersion, bool uploadDone);
    static std::optional<UpdateBanner>
    forPlace(Place place, bool updateRequired, const std::optional<QString>& pendingVersion, bool uploadDone);
};

// The banner of one screen, following the gate, the updater's found version and the upload, and what
// its button does. Main thread only.
class UpdateBannerModel : public QObject {
    Q_OBJECT

public:
    // Opens an address in the default browser.
    using UrlOpener = std::function<void(const QUrl&)>;

    UpdateBannerModel(UpdateBanner::Place place, VersionCheck& versionCheck, UpdateLogger& updateLogger,
                      AppState& state, UrlOpener openUrl, QObject* parent = nullptr);

    std::optional<UpdateBanner> banner() const;

    // The banner's button: "Restart…" asks the updater that found the version to take the user through
    // the update, and does nothing while none has; "Download Update" opens the gate's download address.
    void activate();

signals:
    void changed();

private:
    const UpdateBanner::Place m_place;
    VersionCheck& m_versionCheck;
    UpdateLogger& m_updateLogger;
    AppState& m_state;
    UrlOpener m_openUrl;
};
