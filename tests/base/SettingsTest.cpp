#include "base/Settings.h"

#include "platform/Locations.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QSettings>
#include <QTemporaryDir>

class SettingsTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    QString file() const { return dir.filePath(QStringLiteral("settings.conf")); }
};

TEST_F(SettingsTest, MissingKeyIsNeitherTrueNorFalse) {
    Settings settings(file());
    EXPECT_FALSE(settings.boolValue(Settings::autoUpload).has_value());
    EXPECT_TRUE(settings.boolValue(Settings::autoUpload, true));
}

TEST_F(SettingsTest, StoredFalseReadsFalseAfterReopening) {
    Settings(file()).setBool(Settings::autoUpload, false);
    Settings reopened(file());
    ASSERT_TRUE(reopened.boolValue(Settings::autoUpload).has_value());
    EXPECT_FALSE(*reopened.boolValue(Settings::autoUpload));
    EXPECT_FALSE(reopened.boolValue(Settings::autoUpload, true));
}

TEST_F(SettingsTest, OtherContentUnderABooleanKeyIsAnythingElse) {
    Settings(file()).setString(Settings::autoUpload, QStringLiteral("no"));
    Settings reopened(file());
    EXPECT_FALSE(reopened.boolValue(Settings::autoUpload).has_value());
    Settings(file()).setDouble(Settings::autoUpload, 0.0);
    EXPECT_FALSE(Settings(file()).boolValue(Settings::autoUpload).has_value());
}

TEST_F(SettingsTest, EveryChangeIsOnDiskAtOnce) {
    Settings settings(file());
    settings.setString(Settings::uploadPrivacy, QStringLiteral("hash"));
    // Read the file behind the wrapper's back: nothing waits for a destructor to sync.
    QSettings raw(file(), QSettings::IniFormat);
    EXPECT_EQ(raw.value(QString::fromLatin1(Settings::uploadPrivacy)).toString(), QStringLiteral("hash"));
}

TEST_F(SettingsTest, DoubleRoundTripsAndNonNumbersReadAsAbsent) {
    Settings(file()).setDouble(Settings::lastMeasuredUplinkMbps, 12.75);
    EXPECT_DOUBLE_EQ(*Settings(file()).doubleValue(Settings::lastMeasuredUplinkMbps), 12.75);
    Settings(file()).setString(Settings::lastMeasuredUplinkMbps, QStringLiteral("fast"));
    EXPECT_FALSE(Settings(file()).doubleValue(Settings::lastMeasuredUplinkMbps).has_value());
    EXPECT_FALSE(Settings(file()).doubleValue(QStringLiteral("never-set")).has_value());
}

TEST_F(SettingsTest, StringListsAreStoredAsJsonArraysOfText) {
    Settings(file()).setStringList(Settings::pastLocations,
                                   {QStringLiteral("Gate 12"), QStringLiteral("Hôtel, Zimmer 4")});
    EXPECT_EQ(Settings(file()).stringValue(Settings::pastLocations, QString()),
              QStringLiteral("[\"Gate 12\",\"Hôtel, Zimmer 4\"]"));
    EXPECT_EQ(Settings(file()).stringList(Settings::pastLocations),
              (QStringList{QStringLiteral("Gate 12"), QStringLiteral("Hôtel, Zimmer 4")}));
}

TEST_F(SettingsTest, BrokenListsReadAsEmptyAndNonTextEntriesArePassedOver) {
    Settings settings(file());
    settings.setString(Settings::pastNetworks, QStringLiteral("not json"));
    EXPECT_TRUE(settings.stringList(Settings::pastNetworks).isEmpty());
    settings.setString(Settings::pastNetworks, QStringLiteral("{\"a\":1}"));
    EXPECT_TRUE(settings.stringList(Settings::pastNetworks).isEmpty());
    settings.setString(Settings::pastNetworks, QStringLiteral("[\"CafeNet\", 7, null, \"Airport\"]"));
    EXPECT_EQ(settings.stringList(Settings::pastNetworks),
              (QStringList{QStringLiteral("CafeNet"), QStringLiteral("Airport")}));
}

TEST_F(SettingsTest, RemoveForgetsTheKey) {
    Settings settings(file());
    settings.setBool(Settings::historySeeded, true);
    EXPECT_TRUE(settings.contains(Settings::historySeeded));
    settings.remove(Settings::historySeeded);
    EXPECT_FALSE(Settings(file()).contains(Settings::historySeeded));
}

TEST(SettingsLocation, DefaultFileLivesUnderTheHomeConfigFolder) {
    TempHome home;
    Settings settings;
    EXPECT_EQ(settings.filePath(), home.path() + QStringLiteral("/.config/Norvane/Norvane.conf"));
    settings.setString(Settings::captureDirectory, QStringLiteral("/tmp/captures"));
    EXPECT_TRUE(QFile::exists(home.path() + QStringLiteral("/.config/Norvane/Norvane.conf")));
}
