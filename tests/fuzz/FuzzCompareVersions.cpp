#include "FuzzTarget.h"

#include "services/VersionCheck.h"

// Three version texts, one per line; "below" must be a strict order between them.
int fuzzCompareVersions(const std::uint8_t* data, std::size_t size) {
    const QStringList texts = QString::fromUtf8(fuzzBytes(data, size)).split(u'\n');
    const QString a = texts.value(0);
    const QString b = texts.value(1);
    const QString c = texts.value(2);
    const auto below = VersionCheck::compareVersions;
    fuzzCheck(!below(a, a), "no version is below itself");
    fuzzCheck(!(below(a, b) && below(b, a)), "two versions are never each below the other");
    fuzzCheck(!(below(a, b) && below(b, c)) || below(a, c), "below is transitive");
    // Versions that neither is below the other are equal in rank: nothing tells them apart.
    if (!below(a, b) && !below(b, a))
        fuzzCheck(below(a, c) == below(b, c) && below(c, a) == below(c, b), "equal versions rank alike");
    return 0;
}
