#include "base/Settings.h"

#include "platform/Locations.h"
#include "support/PinnedFile.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

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

// A crash or a full disk in the middle of a change must leave the old file whole, so a change writes a
// new file and renames it over the old one.
TEST_F(SettingsTest, ChangeReplacesTheFileInsteadOfRewritingIt) {
    Settings settings(file());
    settings.setString(Settings::uploadPrivacy, QStringLiteral("hash"));
    QFile written(file());
    ASSERT_TRUE(written.open(QIODevice::ReadOnly));
    const QByteArray before = written.readAll();
    written.close();
    const PinnedFile old(file());
    ASSERT_TRUE(old.pinned());

    settings.setString(Settings::uploadPrivacy, QStringLiteral("full"));

    EXPECT_EQ(old.bytes(), before);
    EXPECT_EQ(Settings(file()).stringValue(Settings::uploadPrivacy), QStringLiteral("full"));
}

TEST_F(SettingsTest, ChangeThatCantBeWrittenIsReportedAndHoldsInMemory) {
    QStringList reports;
    Settings::onWriteFailed([&reports](const QString& path) { reports.append(path); });
    // A folder in the file's place: no one, root included, can rename a file over it.
    ASSERT_TRUE(QDir().mkpath(file()));
    Settings settings(file());
    settings.setString(Settings::uploadPrivacy, QStringLiteral("hash"));
    Settings::onWriteFailed({});

    EXPECT_EQ(reports, QStringList{file()});
    EXPECT_EQ(settings.stringValue(Settings::uploadPrivacy), QStringLiteral("hash"));
    EXPECT_TRUE(QFileInfo(file()).isDir());
}

TEST_F(SettingsTest, ChangeThatIsWrittenReportsNothing) {
    QStringList reports;
    Settings::onWriteFailed([&reports](const QString& path) { reports.append(path); });
    Settings(file()).setString(Settings::uploadPrivacy, QStringLiteral("hash"));
    Settings(file()).remove(Settings::uploadPrivacy);
    Settings::onWriteFailed({});
    EXPECT_TRUE(reports.isEmpty());
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
