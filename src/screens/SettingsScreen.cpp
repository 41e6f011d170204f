#include "screens/SettingsScreen.h"

#include "base/Settings.h"
#include "platform/Locations.h"
#include "screens/SetupScreen.h"

using namespace Qt::StringLiterals;

QString SettingsScreen::windowTitle() {
    return u"Settings"_s;
}

QString SettingsScreen::directorySectionTitle() {
    return u"Capture Directory"_s;
}

QString SettingsScreen::customCaption() {
    return u"Custom location"_s;
}

QString SettingsScreen::changeTitle() {
    return u"Change..."_s;
}

QString SettingsScreen::resetTitle() {
    return u"Reset"_s;
}

QString SettingsScreen::directoryFooter() {
    return u"Where capture CSVs are stored. Changing this does not move existing captures."_s;
}

QString SettingsScreen::chooserTitle() {
    return u"Choose Capture Directory"_s;
}

QString SettingsScreen::uploadSectionTitle() {
    return u"Upload"_s;
}

QString SettingsScreen::autoUploadTitle() {
    return u"Auto-upload captures"_s;
}

QString SettingsScreen::privacyPickerTitle() {
    return u"Upload privacy"_s;
}

QString SettingsScreen::privacyTitle(UploadPrivacy privacy) {
    switch (privacy) {
    case UploadPrivacy::hash:
        return u"Hash"_s;
    case UploadPrivacy::omit:
        return u"Omit"_s;
    case UploadPrivacy::include:
        break;
    }
    return u"Include"_s;
}

QString SettingsScreen::privacyCaption(UploadPrivacy privacy) {
    switch (privacy) {
    case UploadPrivacy::hash:
        return u"Replace with anonymous identifiers"_s;
    case UploadPrivacy::omit:
        return u"Strip network details from uploads"_s;
    case UploadPrivacy::include:
        break;
    }
    return u"Upload network details as-is"_s;
}

QString SettingsScreen::uploadFooter(bool autoUpload) {
    if (!autoUpload)
        return u"Captures are stored locally only. You can upload manually later via the CLI."_s;
    return u"Captures are uploaded automatically after completion. Controls what network details (SSID, "
           u"BSSID, network name, location) are included. \"Hash\" replaces values with anonymous "
           u"identifiers that preserve grouping in reports."_s;
}

QString SettingsScreen::supportSectionTitle() {
    return u"Support"_s;
}

SettingsScreen::SupportText SettingsScreen::supportText() {
    return {u"Questions or feedback? Post to "_s, u"#quillon"_s, u" on Slack."_s};
}

QString SettingsScreen::displayDirectory(const QString& directory, const QString& home) {
    if (home.isEmpty() || home == u"/"_s)
        return directory;
    if (directory == home)
        return u"~"_s;
    // Only a whole folder name counts: "/home/bobby" is not inside "/home/bob".
    if (directory.startsWith(home + u'/'))
        return u'~' + directory.mid(home.size());
    return directory;
}

SettingsScreen::SettingsScreen(Settings& settings, QObject* parent)
    : QObject(parent)
    , m_settings(settings) {}

QString SettingsScreen::customDirectory() const {
    return m_settings.stringValue(QString::fromLatin1(Settings::captureDirectory), QString());
}

QString SettingsScreen::currentDirectory() const {
    const QString custom = customDirectory();
    return custom.isEmpty() ? Locations::defaultCaptureDir() : custom;
}

QString SettingsScreen::displayDirectory() const {
    return displayDirectory(currentDirectory(), Locations::home());
}

void SettingsScreen::setCustomDirectory(const QString& directory) {
    m_settings.setString(QString::fromLatin1(Settings::captureDirectory), directory);
    emit changed();
}

void SettingsScreen::chooseDirectory(const DirectoryChooser& chooser) {
    if (!chooser)
        return;
    const std::optional<QString> chosen = chooser(chooserTitle(), currentDirectory());
    if (chosen && !chosen->isEmpty())
        setCustomDirectory(*chosen);
}

bool SettingsScreen::autoUpload() const {
    return m_settings.boolValue(QString::fromLatin1(Settings::autoUpload)) != false;
}

void SettingsScreen::setAutoUpload(bool on) {
    m_settings.setBool(QString::fromLatin1(Settings::autoUpload), on);
    emit changed();
}

UploadPrivacy SettingsScreen::privacy() const {
    return SetupScreen::uploadPrivacySetting(m_settings);
}

void SettingsScreen::setPrivacy(UploadPrivacy privacy) {
    m_settings.setString(QString::fromLatin1(Settings::uploadPrivacy), rawValue(privacy));
    emit changed();
}
