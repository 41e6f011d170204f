#pragma once

#include "subprocess/CaptureConfig.h"

#include <QObject>
#include <QString>

#include <array>
#include <functional>
#include <optional>

class Settings;

// The settings window's form: where captures are stored, whether they upload by themselves and what
// network details an upload may carry. There is no apply step: every change is stored at once, and the
// rest of the program reads the settings when it needs them.
class SettingsScreen : public QObject {
    Q_OBJECT
public:
    static QString windowTitle(); // "Settings"

    static QString directorySectionTitle(); // "Capture Directory"
    static QString customCaption();         // "Custom location"
    static QString changeTitle();           // "Change..."
    static QString resetTitle();            // "Reset"
    static QString directoryFooter();
    static QString chooserTitle(); // "Choose Capture Directory"

    static QString uploadSectionTitle(); // "Upload"
    static QString autoUploadTitle();    // "Auto-upload captures"
    static QString privacyPickerTitle(); // "Upload privacy"
    // The picker's choices, in their order.
    static constexpr std::array<UploadPrivacy, 3> privacyChoices = allUploadPrivacies;
    static QString privacyTitle(UploadPrivacy privacy); // "Include", "Hash", "Omit"
    static QString privacyCaption(UploadPrivacy privacy);
    static QString uploadFooter(bool autoUpload);

    static QString supportSectionTitle(); // "Support"
    // "Questions or feedback? Post to #quillon on Slack.", with the channel apart so that it can be bold.
    struct SupportText {
        QString before;
        QString channel;
        QString after;
        QString plain() const { return before + channel + after; }
    };
    static SupportText supportText();

    // A folder for display: the home folder's own prefix becomes "~"; a folder elsewhere keeps its full
    // path, and so does one whose name only starts like the home folder's.
    static QString displayDirectory(const QString& directory, const QString& home);

    // Asks the user for a folder, starting at `start`; absent when the user cancels.
    using DirectoryChooser =
        std::function<std::optional<QString>(const QString& title, const QString& start)>;

    explicit SettingsScreen(Settings& settings, QObject* parent = nullptr);

    // --- Capture Directory ---
    // The stored choice; empty means the default folder.
    QString customDirectory() const;
    // The folder captures go to now: the custom one, or the default.
    QString currentDirectory() const;
    QString displayDirectory() const;
    bool showsCustomCaption() const { return !customDirectory().isEmpty(); }
    bool offersReset() const { return !customDirectory().isEmpty(); }
    void setCustomDirectory(const QString& directory);
    void resetDirectory() { setCustomDirectory(QString()); }
    // Opens the chooser at the current folder; a confirmed folder becomes the custom one.
    void chooseDirectory(const DirectoryChooser& chooser);

    // --- Upload ---
    // Only a stored false turns it off.
    bool autoUpload() const;
    void setAutoUpload(bool on);
    // The privacy choice shows only while auto-upload is on; it is kept while hidden.
    bool showsPrivacyPicker() const { return autoUpload(); }
    // The stored raw value by exact match; anything unknown reads as include, and stays stored as it is
    // until the user picks.
    UploadPrivacy privacy() const;
    void setPrivacy(UploadPrivacy privacy);
    QString privacyCaption() const { return privacyCaption(privacy()); }
    QString uploadFooter() const { return uploadFooter(autoUpload()); }

signals:
    // A setting was stored.
    void changed();

private:
    Settings& m_settings;
};
