#include "screens/SettingsScreen.h"

#include "base/Settings.h"
#include "platform/Locations.h"
#include "subprocess/CaptureFolder.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QSignalSpy>

using namespace Qt::StringLiterals;

namespace {

class SettingsScreenTest : public ::testing::Test {
protected:
    // What another reader of the settings file sees: nothing waits for a button.
    Settings reread() const { return Settings(settings.filePath()); }

    TempHome home;
    Settings settings;
    SettingsScreen screen{settings};
};

TEST(SettingsScreenWords, SectionsButtonsAndFooters) {
    EXPECT_EQ(SettingsScreen::windowTitle(), u"Settings"_s);
    EXPECT_EQ(SettingsScreen::directorySectionTitle(), u"Capture Directory"_s);
    EXPECT_EQ(SettingsScreen::customCaption(), u"Custom location"_s);
    EXPECT_EQ(SettingsScreen::changeTitle(), u"Change..."_s);
    EXPECT_EQ(SettingsScreen::resetTitle(), u"Reset"_s);
    EXPECT_EQ(SettingsScreen::directoryFooter(),
              u"Where capture CSVs are stored. Changing this does not move existing captures."_s);
    EXPECT_EQ(SettingsScreen::chooserTitle(), u"Choose Capture Directory"_s);
    EXPECT_EQ(SettingsScreen::uploadSectionTitle(), u"Upload"_s);
    EXPECT_EQ(SettingsScreen::autoUploadTitle(), u"Auto-upload captures"_s);
    EXPECT_EQ(SettingsScreen::privacyPickerTitle(), u"Upload privacy"_s);
    EXPECT_EQ(SettingsScreen::supportSectionTitle(), u"Support"_s);
}

TEST(SettingsScreenWords, ThePrivacyChoicesInTheirOrderWithTheirCaptions) {
    QStringList titles;
    for (UploadPrivacy choice : SettingsScreen::privacyChoices)
        titles.append(SettingsScreen::privacyTitle(choice));
    EXPECT_EQ(titles, (QStringList{u"Include"_s, u"Hash"_s, u"Omit"_s}));
    EXPECT_EQ(SettingsScreen::privacyCaption(UploadPrivacy::include), u"Upload network details as-is"_s);
    EXPECT_EQ(SettingsScreen::privacyCaption(UploadPrivacy::hash), u"Replace with anonymous identifiers"_s);
    EXPECT_EQ(SettingsScreen::privacyCaption(UploadPrivacy::omit), u"Strip network details from uploads"_s);
}

TEST(SettingsScreenWords, TheUploadFooterFollowsAutoUpload) {
    EXPECT_EQ(SettingsScreen::uploadFooter(true),
              u"Captures are uploaded automatically after completion. Controls what network details (SSID, "
              u"BSSID, network name, location) are included. \"Hash\" replaces values with anonymous "
              u"identifiers that preserve grouping in reports."_s);
    EXPECT_EQ(SettingsScreen::uploadFooter(false),
              u"Captures are stored locally only. You can upload manually later via the CLI."_s);
}

TEST(SettingsScreenWords, TheSupportLineWithTheChannelApart) {
    const auto text = SettingsScreen::supportText();
    EXPECT_EQ(text.plain(), u"Questions or feedback? Post to #quillon on Slack."_s);
    EXPECT_EQ(text.channel, u"#quillon"_s);
}

TEST(SettingsScreenDirectory, TheHomePrefixBecomesATilde) {
    const QString home = u"/home/ada"_s;
    EXPECT_EQ(SettingsScreen::displayDirectory(u"/home/ada/.local/share/Norvane/captures"_s, home),
              u"~/.local/share/Norvane/captures"_s);
    EXPECT_EQ(SettingsScreen::displayDirectory(home, home), u"~"_s);
}

TEST(SettingsScreenDirectory, ADirectoryOutsideTheHomeFolderShowsItsFullPath) {
    const QString home = u"/home/ada"_s;
    EXPECT_EQ(SettingsScreen::displayDirectory(u"/mnt/data/captures"_s, home), u"/mnt/data/captures"_s);
    // A neighbour whose name merely starts like the home folder's is outside it too.
    EXPECT_EQ(SettingsScreen::displayDirectory(u"/home/adam/captures"_s, home), u"/home/adam/captures"_s);
}

TEST_F(SettingsScreenTest, TheDefaultFolderShowsUnderHomeWithoutCaptionOrReset) {
    EXPECT_EQ(screen.customDirectory(), QString());
    EXPECT_EQ(screen.currentDirectory(), Locations::defaultCaptureDir());
    EXPECT_EQ(screen.currentDirectory(), CaptureFolder::outputDirectory());
    EXPECT_TRUE(screen.displayDirectory().startsWith(u"~/"_s)) << qPrintable(screen.displayDirectory());
    EXPECT_EQ(screen.displayDirectory(), u'~' + Locations::defaultCaptureDir().mid(Locations::home().size()));
    EXPECT_FALSE(screen.showsCustomCaption());
    EXPECT_FALSE(screen.offersReset());
}

TEST_F(SettingsScreenTest, ACustomFolderOutsideHomeIsStoredAtOnceAndShownInFull) {
    QSignalSpy changed(&screen, &SettingsScreen::changed);
    screen.setCustomDirectory(u"/srv/captures"_s);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(reread().stringValue(QString::fromLatin1(Settings::captureDirectory)), u"/srv/captures"_s);
    EXPECT_EQ(CaptureFolder::outputDirectory(), u"/srv/captures"_s);
    EXPECT_EQ(screen.displayDirectory(), u"/srv/captures"_s);
    EXPECT_TRUE(screen.showsCustomCaption());
    EXPECT_TRUE(screen.offersReset());
}

TEST_F(SettingsScreenTest, ResetDisappearsAsSoonAsCustomDirectoryIsEmpty) {
    screen.setCustomDirectory(home.path() + u"/elsewhere"_s);
    EXPECT_EQ(screen.displayDirectory(), u"~/elsewhere"_s);
    ASSERT_TRUE(screen.offersReset());
    screen.resetDirectory();
    EXPECT_FALSE(screen.offersReset());
    EXPECT_FALSE(screen.showsCustomCaption());
    EXPECT_EQ(reread().stringValue(QString::fromLatin1(Settings::captureDirectory)), QString());
    EXPECT_EQ(CaptureFolder::outputDirectory(), Locations::defaultCaptureDir());

    // An empty text stored by anyone else counts the same.
    screen.setCustomDirectory(u"/srv/x"_s);
    settings.setString(QString::fromLatin1(Settings::captureDirectory), QString());
    EXPECT_FALSE(screen.offersReset());
}

TEST_F(SettingsScreenTest, TheChooserStartsAtTheCurrentFolderAndAConfirmedFolderIsStored) {
    QString askedTitle;
    QString askedStart;
    screen.chooseDirectory([&](const QString& title, const QString& start) -> std::optional<QString> {
        askedTitle = title;
        askedStart = start;
        return u"/data/captures"_s;
    });
    EXPECT_EQ(askedTitle, u"Choose Capture Directory"_s);
    EXPECT_EQ(askedStart, Locations::defaultCaptureDir());
    EXPECT_EQ(screen.customDirectory(), u"/data/captures"_s);

    screen.chooseDirectory([&](const QString&, const QString& start) -> std::optional<QString> {
        askedStart = start;
        return std::nullopt;
    });
    EXPECT_EQ(askedStart, u"/data/captures"_s);
    EXPECT_EQ(screen.customDirectory(), u"/data/captures"_s) << "a cancel changes nothing";
}

TEST_F(SettingsScreenTest, AutoUploadIsOnUntilAFalseIsStored) {
    EXPECT_TRUE(screen.autoUpload());
    settings.setString(QString::fromLatin1(Settings::autoUpload), u"no"_s);
    EXPECT_TRUE(screen.autoUpload());
    screen.setAutoUpload(false);
    EXPECT_FALSE(screen.autoUpload());
    EXPECT_EQ(reread().boolValue(QString::fromLatin1(Settings::autoUpload)), false);
    EXPECT_EQ(screen.uploadFooter(),
              u"Captures are stored locally only. You can upload manually later via the CLI."_s);
    screen.setAutoUpload(true);
    EXPECT_EQ(reread().boolValue(QString::fromLatin1(Settings::autoUpload)), true);
}

TEST_F(SettingsScreenTest, WithAutoUploadOffThePrivacyChoiceIsHiddenAndKept) {
    screen.setPrivacy(UploadPrivacy::omit);
    EXPECT_TRUE(screen.showsPrivacyPicker());
    screen.setAutoUpload(false);
    EXPECT_FALSE(screen.showsPrivacyPicker());
    EXPECT_EQ(reread().stringValue(QString::fromLatin1(Settings::uploadPrivacy)), u"omit"_s);
    screen.setAutoUpload(true);
    EXPECT_TRUE(screen.showsPrivacyPicker());
    EXPECT_EQ(screen.privacy(), UploadPrivacy::omit);
    EXPECT_EQ(screen.privacyCaption(), u"Strip network details from uploads"_s);
}

TEST_F(SettingsScreenTest, ThePrivacyIsReadByExactMatchAndStoredAsItsRawValue) {
    EXPECT_EQ(screen.privacy(), UploadPrivacy::include);
    settings.setString(QString::fromLatin1(Settings::uploadPrivacy), u"hash"_s);
    EXPECT_EQ(screen.privacy(), UploadPrivacy::hash);
    EXPECT_EQ(screen.privacyCaption(), u"Replace with anonymous identifiers"_s);
    settings.setString(QString::fromLatin1(Settings::uploadPrivacy), u"Hash"_s);
    EXPECT_EQ(screen.privacy(), UploadPrivacy::include);
    screen.setPrivacy(UploadPrivacy::hash);
    EXPECT_EQ(reread().stringValue(QString::fromLatin1(Settings::uploadPrivacy)), u"hash"_s);
}

TEST_F(SettingsScreenTest, AnUnknownRawPrivacyShowsAsIncludeUntilTheUserPicksAnother) {
    settings.setString(QString::fromLatin1(Settings::uploadPrivacy), u"redact"_s);
    EXPECT_EQ(screen.privacy(), UploadPrivacy::include);
    EXPECT_EQ(screen.privacyCaption(), u"Upload network details as-is"_s);
    // Reading it doesn't rewrite it.
    EXPECT_EQ(reread().stringValue(QString::fromLatin1(Settings::uploadPrivacy)), u"redact"_s);
    screen.setPrivacy(UploadPrivacy::omit);
    EXPECT_EQ(reread().stringValue(QString::fromLatin1(Settings::uploadPrivacy)), u"omit"_s);
    EXPECT_EQ(screen.privacy(), UploadPrivacy::omit);
}

} // namespace
