#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// The preset network names offered under the network field: a few generic kinds of network, then one
// in-flight Wi-Fi name for each airline the program knows.
class NetworkPresets {
public:
    // Where the airline list is among the data files; empty when it is nowhere.
    static QString airlineListPath();

    // Built on first use from the airline list among the data files, then kept.
    static const QStringList& popular();

    // "Hotel WiFi", "Office WiFi", … in the order they are offered.
    static const QStringList& genericNames();
    // The generic names, then each airline name whose lower-case form is new.
    static QStringList build(const QStringList& airlineSSIDs);

    // The first network name of each airline in a file, airlines sorted by region and then by name.
    // A missing or unreadable file, or one that isn't an object with an "airlines" object, gives an
    // empty list without a word.
    static QStringList loadAirlineSSIDs(const QString& path = airlineListPath());
    static QStringList airlineSSIDs(const QByteArray& json);

    // "US" 0, "CA" 1, "EU" 2, "ME" 3, "APAC" 4, "LATAM" 5, anything else 99.
    static int regionRank(const QString& region);
};
