#include "support/CliRun.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QProcess>

using namespace Qt::StringLiterals;

TEST(NorvaneCli, HelpListsTheVerbsAndSucceeds) {
    TempHome home;
    const CliRun run = runCli({u"--help"_s});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(run.out.contains(u"Usage: norvane-cli <command>"_s));
    EXPECT_TRUE(run.out.contains(u"\n  paths"_s)) << qPrintable(run.out);
    EXPECT_TRUE(run.out.contains(u"\n  version"_s));
}

TEST(NorvaneCli, UnknownVerbFailsWithHelpOnStandardError) {
    TempHome home;
    const CliRun run = runCli({u"frobnicate"_s});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(run.err.contains(u"unknown command 'frobnicate'"_s));
}

TEST(NorvaneCli, PathsFollowTheHomeFolder) {
    TempHome home;
    const CliRun run = runCli({u"paths"_s});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(run.out.contains(home.path() + u"/.local/share/Norvane/captures"_s)) << qPrintable(run.out);
    EXPECT_TRUE(run.out.contains(home.path() + u"/.local/state/Norvane/logs/linux-app.log"_s));
}
