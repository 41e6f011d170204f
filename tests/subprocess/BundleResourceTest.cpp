#include "subprocess/BundleResource.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QUuid>

using namespace Qt::StringLiterals;

TEST(BundleResource, CompiledInDataFileComesFirst) {
    EXPECT_EQ(BundleResource::url(u"aviation_facts"_s, u"json"_s), u":/norvane/aviation_facts.json"_s);
    EXPECT_EQ(BundleResource::url(u"airline_wifi_lookup"_s, u"json"_s),
              u":/norvane/airline_wifi_lookup.json"_s);
}

TEST(BundleResource, InstalledDataFolderBesideTheProgramServesWhatIsNotCompiledIn) {
    const QString folder = QDir::cleanPath(QCoreApplication::applicationDirPath() + u"/../share/norvane"_s);
    const QString name = u"lookup-"_s + QUuid::createUuid().toString(QUuid::WithoutBraces);
    ASSERT_TRUE(QDir().mkpath(folder));
    QFile file(folder + u'/' + name + u".json"_s);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.close();
    EXPECT_EQ(BundleResource::url(name, u"json"_s), file.fileName());
    EXPECT_FALSE(BundleResource::url(name, u"txt"_s)) << "the extension is part of the name";
    file.remove();
    EXPECT_FALSE(BundleResource::url(name, u"json"_s));
}

TEST(BundleResource, MissingFileGivesNothing) {
    EXPECT_FALSE(BundleResource::url(u"no_such_file"_s, u"json"_s));
}
