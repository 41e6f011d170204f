#include "screens/NetworkPresets.h"

#include "subprocess/BundleResource.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QSet>

#include <algorithm>

using namespace Qt::StringLiterals;

QString NetworkPresets::airlineListPath() {
    return BundleResource::url(u"airline_wifi_lookup"_s, u"json"_s).value_or(QString());
}

const QStringList& NetworkPresets::popular() {
    static const QStringList presets = build(loadAirlineSSIDs());
    return presets;
}

const QStringList& NetworkPresets::genericNames() {
    static const QStringList names{u"Hotel WiFi"_s,  u"Office WiFi"_s, u"Home WiFi"_s,       u"Home fiber"_s,
                                   u"Coffee shop"_s, u"Public WiFi"_s, u"Cellular hotspot"_s};
    return names;
}

QStringList NetworkPresets::build(const QStringList& airlineSSIDs) {
    QStringList result = genericNames();
    QSet<QString> seen;
    for (const QString& name : result)
        seen.insert(name.toLower());
    for (const QString& name : airlineSSIDs) {
        const QString key = name.toLower();
        if (seen.contains(key))
            continue;
        seen.insert(key);
        result.append(name);
    }
    return result;
}

int NetworkPresets::regionRank(const QString& region) {
    static const QStringList order{u"US"_s, u"CA"_s, u"EU"_s, u"ME"_s, u"APAC"_s, u"LATAM"_s};
    const qsizetype rank = order.indexOf(region);
    return rank < 0 ? 99 : int(rank);
}

QStringList NetworkPresets::loadAirlineSSIDs(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return airlineSSIDs(file.readAll());
}

QStringList NetworkPresets::airlineSSIDs(const QByteArray& json) {
    const QJsonDocument document = QJsonDocument::fromJson(json);
    if (!document.isObject())
        return {};
    const QJsonValue airlinesValue = document.object().value("airlines"_L1);
    if (!airlinesValue.isObject())
        return {};
    const QJsonObject airlines = airlinesValue.toObject();

    struct Airline {
        int rank = 99;
        QString name;
        QJsonValue patterns;
    };
    QList<Airline> ranked;
    for (auto it = airlines.begin(); it != airlines.end(); ++it) {
        const QJsonObject entry = it.value().toObject();
        const QJsonValue region = entry.value("region"_L1);
        ranked.append({region.isString() ? regionRank(region.toString()) : 99, it.key(),
                       entry.value("ssid_patterns"_L1)});
    }
    // QString's operator< compares UTF-16 code units, case-sensitively.
    std::stable_sort(ranked.begin(), ranked.end(), [](const Airline& a, const Airline& b) {
        if (a.rank != b.rank)
            return a.rank < b.rank;
        return a.name < b.name;
    });

    QStringList names;
    for (const Airline& airline : ranked) {
        if (!airline.patterns.isArray())
            continue;
        const QJsonArray patterns = airline.patterns.toArray();
        const bool allText = std::all_of(patterns.begin(), patterns.end(),
                                         [](const QJsonValue& value) { return value.isString(); });
        if (patterns.isEmpty() || !allText)
            continue;
        names.append(patterns.first().toString());
    }
    return names;
}
