#include "FuzzTarget.h"

#include "services/VersionCheck.h"

using namespace Qt::StringLiterals;

// version.json, from the web site, the cache or the bundled fallback.
int fuzzVersionJson(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes = fuzzBytes(data, size);
    const std::optional<QJsonObject> cached = VersionCheck::parseRules(bytes, false);
    const std::optional<QJsonObject> fetched = VersionCheck::parseRules(bytes, true);
    fuzzCheck(!fetched || cached, "rules good enough for a fetch are good enough for the cache");
    if (!cached)
        return 0;
    const QString minimum = cached->value("minimum"_L1).toString();
    fuzzCheck(cached->value("minimum"_L1).isString(), "rules carry a minimum");
    fuzzCheck(!VersionCheck::compareVersions(minimum, minimum),
              "the minimum itself is never below the minimum");
    fuzzCheck(!fetched || fetched->value("latest"_L1).isString(), "fetched rules carry a latest version");
    return 0;
}
