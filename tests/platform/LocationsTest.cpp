#include "platform/Locations.h"

#include "support/TempHome.h"

#include <gtest/gtest.h>

TEST(Locations, EveryFolderFollowsHome) {
    TempHome home;
    const QString h = home.path();
    EXPECT_EQ(Locations::home(), h);
    EXPECT_EQ(Locations::applicationSupportDir(), h + QStringLiteral("/.local/share/Norvane"));
    EXPECT_EQ(Locations::defaultCaptureDir(), h + QStringLiteral("/.local/share/Norvane/captures"));
    EXPECT_EQ(Locations::logDir(), h + QStringLiteral("/.local/state/Norvane/logs"));
    EXPECT_EQ(Locations::logFilePath(), h + QStringLiteral("/.local/state/Norvane/logs/linux-app.log"));
    EXPECT_EQ(Locations::diagnosticReportsDir(),
              h + QStringLiteral("/.local/state/Norvane/DiagnosticReports"));
    EXPECT_EQ(Locations::cacheDir(), h + QStringLiteral("/.cache/Norvane"));
    EXPECT_EQ(Locations::playwrightCacheDir(), h + QStringLiteral("/.cache/ms-playwright"));
    EXPECT_EQ(Locations::toolStateDir(), h + QStringLiteral("/.norvane"));
    EXPECT_EQ(Locations::settingsFilePath(), h + QStringLiteral("/.config/Norvane/Norvane.conf"));
}

TEST(Locations, AbsoluteXdgVariablesWin) {
    TempHome home;
    qputenv("XDG_DATA_HOME", "/srv/data");
    qputenv("XDG_STATE_HOME", "/srv/state");
    qputenv("XDG_CACHE_HOME", "/srv/cache");
    qputenv("XDG_CONFIG_HOME", "/srv/config");
    EXPECT_EQ(Locations::defaultCaptureDir(), QStringLiteral("/srv/data/Norvane/captures"));
    EXPECT_EQ(Locations::logDir(), QStringLiteral("/srv/state/Norvane/logs"));
    EXPECT_EQ(Locations::playwrightCacheDir(), QStringLiteral("/srv/cache/ms-playwright"));
    EXPECT_EQ(Locations::settingsFilePath(), QStringLiteral("/srv/config/Norvane/Norvane.conf"));
    // The tools' own state stays in the home folder whatever XDG says.
    EXPECT_EQ(Locations::toolStateDir(), home.path() + QStringLiteral("/.norvane"));
}

TEST(Locations, RelativeXdgVariablesAreIgnored) {
    TempHome home;
    qputenv("XDG_STATE_HOME", "relative/state");
    EXPECT_EQ(Locations::logDir(), home.path() + QStringLiteral("/.local/state/Norvane/logs"));
}

TEST(Locations, UvIsSearchedInTheHomeFolderFirst) {
    TempHome home;
    const QStringList candidates = Locations::uvCandidates();
    ASSERT_EQ(candidates.size(), 3);
    EXPECT_EQ(candidates[0], home.path() + QStringLiteral("/.local/bin/uv"));
    EXPECT_EQ(candidates[1], QStringLiteral("/opt/homebrew/bin/uv"));
    EXPECT_EQ(candidates[2], QStringLiteral("/usr/local/bin/uv"));
}
