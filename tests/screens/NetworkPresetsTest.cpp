#include "screens/NetworkPresets.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

QStringList ssids(const char* json) {
    return NetworkPresets::airlineSSIDs(QByteArray(json));
}

} // namespace

TEST(NetworkPresets, GenericNamesComeFirstInTheirOrder) {
    EXPECT_EQ(NetworkPresets::genericNames(),
              (QStringList{u"Hotel WiFi"_s, u"Office WiFi"_s, u"Home WiFi"_s, u"Home fiber"_s,
                           u"Coffee shop"_s, u"Public WiFi"_s, u"Cellular hotspot"_s}));
    EXPECT_EQ(NetworkPresets::build({}), NetworkPresets::genericNames());
}

TEST(NetworkPresets, AirlineNamesFollowUnlessTheirLowerCaseIsKnown) {
    const QStringList presets =
        NetworkPresets::build({u"SkyNet"_s, u"HOTEL WIFI"_s, u"skynet"_s, u"AeroNet"_s});
    EXPECT_EQ(presets.mid(7), (QStringList{u"SkyNet"_s, u"AeroNet"_s}));
}

TEST(NetworkPresets, RegionsRankInTheirOrderAndAnyOtherLast) {
    EXPECT_EQ(NetworkPresets::regionRank(u"US"_s), 0);
    EXPECT_EQ(NetworkPresets::regionRank(u"CA"_s), 1);
    EXPECT_EQ(NetworkPresets::regionRank(u"EU"_s), 2);
    EXPECT_EQ(NetworkPresets::regionRank(u"ME"_s), 3);
    EXPECT_EQ(NetworkPresets::regionRank(u"APAC"_s), 4);
    EXPECT_EQ(NetworkPresets::regionRank(u"LATAM"_s), 5);
    EXPECT_EQ(NetworkPresets::regionRank(u"us"_s), 99) << "regions match exactly";
    EXPECT_EQ(NetworkPresets::regionRank(u"AF"_s), 99);
}

TEST(NetworkPresets, AirlinesSortByRegionThenByName) {
    EXPECT_EQ(
        ssids(R"({"airlines": {
        "Zeta Air": {"region": "US", "ssid_patterns": ["Zeta"]},
        "Alpha Air": {"region": "EU", "ssid_patterns": ["Alpha"]},
        "Maple Air": {"region": "CA", "ssid_patterns": ["Maple"]},
        "Bravo Air": {"region": "US", "ssid_patterns": ["Bravo"]},
        "Pampa Air": {"region": "LATAM", "ssid_patterns": ["Pampa"]},
        "Dune Air": {"region": "ME", "ssid_patterns": ["Dune"]},
        "Lotus Air": {"region": "APAC", "ssid_patterns": ["Lotus"]}
    }})"),
        (QStringList{u"Bravo"_s, u"Zeta"_s, u"Maple"_s, u"Alpha"_s, u"Dune"_s, u"Lotus"_s, u"Pampa"_s}));
}

TEST(NetworkPresets, AirlineWithARegionOutsideTheSixSortsAfterAllOthersByName) {
    EXPECT_EQ(ssids(R"({"airlines": {
        "Savanna Air": {"region": "AF", "ssid_patterns": ["Savanna"]},
        "Acacia Air": {"region": "AF", "ssid_patterns": ["Acacia"]},
        "Nameless Air": {"ssid_patterns": ["Nameless"]},
        "Odd Air": {"region": 7, "ssid_patterns": ["Odd"]},
        "Pampa Air": {"region": "LATAM", "ssid_patterns": ["Pampa"]},
        "Zeta Air": {"region": "US", "ssid_patterns": ["Zeta"]}
    }})"),
              (QStringList{u"Zeta"_s, u"Pampa"_s, u"Acacia"_s, u"Nameless"_s, u"Odd"_s, u"Savanna"_s}));
}

TEST(NetworkPresets, NamesCompareByCodeUnitsSoCapitalsComeFirst) {
    EXPECT_EQ(ssids(R"({"airlines": {
        "alpha": {"region": "US", "ssid_patterns": ["lower"]},
        "Beta": {"region": "US", "ssid_patterns": ["upper"]}
    }})"),
              (QStringList{u"upper"_s, u"lower"_s}));
}

TEST(NetworkPresets, OnlyTheFirstPatternOfEachAirlineIsOffered) {
    EXPECT_EQ(
        ssids(R"({"airlines": {"A": {"region": "US", "ssid_patterns": ["First", "Second", "Third"]}}})"),
        QStringList{u"First"_s});
}

TEST(NetworkPresets, AirlinesWithoutUsablePatternsAreSkipped) {
    EXPECT_EQ(ssids(R"({"airlines": {
        "A": {"region": "US"},
        "B": {"region": "US", "ssid_patterns": []},
        "C": {"region": "US", "ssid_patterns": "C-WiFi"},
        "D": {"region": "US", "ssid_patterns": ["D-WiFi", 4]},
        "E": "not an object",
        "F": {"region": "US", "ssid_patterns": ["F-WiFi"]}
    }})"),
              QStringList{u"F-WiFi"_s});
}

TEST(NetworkPresets, WrongShapeOrBrokenJsonGivesNoAirlines) {
    EXPECT_TRUE(ssids("").isEmpty());
    EXPECT_TRUE(ssids("{\"airlines\": {").isEmpty());
    EXPECT_TRUE(ssids("[]").isEmpty());
    EXPECT_TRUE(ssids(R"({"carriers": {"A": {"region": "US", "ssid_patterns": ["A"]}}})").isEmpty());
    EXPECT_TRUE(ssids(R"({"airlines": [{"region": "US", "ssid_patterns": ["A"]}]})").isEmpty());
}

TEST(NetworkPresets, MissingOrUnreadableFileGivesNoAirlines) {
    QTemporaryDir dir;
    EXPECT_TRUE(NetworkPresets::loadAirlineSSIDs(dir.path() + u"/missing.json"_s).isEmpty());
    EXPECT_TRUE(NetworkPresets::loadAirlineSSIDs(dir.path()).isEmpty()) << "a folder can't be read as a file";
    QFile file(dir.path() + u"/airlines.json"_s);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(R"({"airlines": {"A": {"region": "US", "ssid_patterns": ["A-WiFi"]}}})");
    file.close();
    EXPECT_EQ(NetworkPresets::loadAirlineSSIDs(file.fileName()), QStringList{u"A-WiFi"_s});
}

TEST(NetworkPresets, CompiledInListOffersOneNamePerAirlineFromTheUsFirst) {
    const QStringList airlines = NetworkPresets::loadAirlineSSIDs();
    ASSERT_GE(airlines.size(), 20) << "the compiled-in resource is read";
    EXPECT_EQ(airlines.first(), u"Alaska_WiFi"_s);
    EXPECT_TRUE(airlines.contains(u"Telekom_FlyNet"_s));
    EXPECT_FALSE(airlines.contains(u"Lufthansa_FlyNet"_s)) << "an airline's second name is never offered";
    EXPECT_LT(airlines.indexOf(u"ACWiFi"_s), airlines.indexOf(u"Telekom_FlyNet"_s));
    EXPECT_EQ(airlines.last(), u"KQ_Inflight_WiFi"_s) << "African carriers stand outside the six regions";

    const QStringList& popular = NetworkPresets::popular();
    EXPECT_EQ(popular.first(7), NetworkPresets::genericNames());
    EXPECT_EQ(popular.mid(7), airlines);
}
