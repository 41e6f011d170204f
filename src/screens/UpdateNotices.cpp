#include "screens/UpdateNotices.h"

#include "core/AppState.h"
#include "services/UpdateLogger.h"
#include "services/Updater.h"
#include "services/VersionCheck.h"

using namespace Qt::StringLiterals;

namespace {

const QString warningSymbol = u"exclamationmark.triangle.fill"_s;
const QString readySymbol = u"arrow.triangle.2.circlepath"_s;
const QString importantText = u"An important update is available"_s;
const QString restartToUpdate = u"Restart to Update"_s;

// The orange banner's button: the restart into a version the updater has found, or else the download.
void offerUpdate(UpdateBanner& banner, bool versionFound) {
    banner.buttonTitle = versionFound ? restartToUpdate : UpdateRequiredNotice::downloadButtonTitle;
    banner.action = versionFound ? UpdateBanner::Action::restart : UpdateBanner::Action::download;
}

} // namespace

namespace UpdateRequiredNotice {

QString versionLine(const QString& appVersion) {
    // The platform layer reads a build without a version as "dev"; to a person that is no version at all.
    const bool known = !appVersion.isEmpty() && appVersion != u"dev"_s;
    return u"Current version: "_s + (known ? appVersion : u"unknown"_s);
}

std::optional<QUrl> downloadTarget(const QString& text) {
    const QUrl url(text.trimmed(), QUrl::StrictMode);
    if (!url.isValid() || url.isRelative())
        return std::nullopt;
    return url;
}

} // namespace UpdateRequiredNotice

std::optional<UpdateBanner> UpdateBanner::forSetup(bool updateRequired,
                                                   const std::optional<QString>& pendingVersion) {
    if (updateRequired) {
        UpdateBanner banner{Tone::important, warningSymbol, importantText};
        offerUpdate(banner, pendingVersion.has_value());
        return banner;
    }
    if (pendingVersion) {
        return UpdateBanner{Tone::neutral,
                            readySymbol,
                            u"Version %1 is ready — restart anytime to update"_s.arg(*pendingVersion),
                            false,
                            u"Restart"_s,
                            Action::restart};
    }
    return std::nullopt;
}

std::optional<UpdateBanner>
UpdateBanner::forResults(bool updateRequired, const std::optional<QString>& pendingVersion, bool uploadDone) {
    if (updateRequired) {
        UpdateBanner banner{Tone::important, std::nullopt, importantText, true};
        if (pendingVersion)
            banner.text = u"An important update (%1) is available"_s.arg(*pendingVersion);
        offerUpdate(banner, pendingVersion.has_value());
        // An update now would cut the upload short; it picks up again after the restart.
        banner.showsUploadCaption = !uploadDone;
        return banner;
    }
    if (pendingVersion) {
        return UpdateBanner{Tone::neutral,
                            readySymbol,
                            u"Nice work! Version %1 is ready — restart to update"_s.arg(*pendingVersion),
                            false,
                            restartToUpdate,
                            Action::restart};
    }
    return std::nullopt;
}

std::optional<UpdateBanner> UpdateBanner::forPlace(Place place, bool updateRequired,
                                                   const std::optional<QString>& pendingVersion,
                                                   bool uploadDone) {
    if (place == Place::setup)
        return forSetup(updateRequired, pendingVersion);
    return forResults(updateRequired, pendingVersion, uploadDone);
}

UpdateBannerModel::UpdateBannerModel(UpdateBanner::Place place, VersionCheck& versionCheck,
                                     UpdateLogger& updateLogger, AppState& state, UrlOpener openUrl,
                                     QObject* parent)
    : QObject(parent)
    , m_place(place)
    , m_versionCheck(versionCheck)
    , m_updateLogger(updateLogger)
    , m_state(state)
    , m_openUrl(std::move(openUrl)) {
    connect(&m_versionCheck, &VersionCheck::updateRequiredChanged, this, &UpdateBannerModel::changed);
    connect(&m_updateLogger, &UpdateLogger::pendingVersionChanged, this, &UpdateBannerModel::changed);
    if (m_place == UpdateBanner::Place::results)
        connect(&m_state, &AppState::uploadStateChanged, this, &UpdateBannerModel::changed);
}

std::optional<UpdateBanner> UpdateBannerModel::banner() const {
    return UpdateBanner::forPlace(m_place, m_versionCheck.updateRequired(), m_updateLogger.pendingVersion(),
                                  m_state.upload().uploadDone);
}

void UpdateBannerModel::activate() {
    const std::optional<UpdateBanner> shown = banner();
    if (!shown)
        return;
    switch (shown->action) {
    case UpdateBanner::Action::restart:
        if (Updater* updater = m_updateLogger.sparkleUpdater())
            updater->checkForUpdates();
        return;
    case UpdateBanner::Action::download:
        if (const std::optional<QUrl> url =
                UpdateRequiredNotice::downloadTarget(m_versionCheck.downloadUrl()))
            m_openUrl(*url);
        return;
    }
}
