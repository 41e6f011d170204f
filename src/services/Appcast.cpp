#include "services/Appcast.h"

#include "services/VersionCheck.h"

#include <QXmlStreamReader>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString sparkleNamespace = u"http://www.andymatuschak.org/xml-namespaces/sparkle"_s;

std::optional<QString> nonEmpty(const QString& text) {
    const QString trimmed = text.trimmed();
    return trimmed.isEmpty() ? std::nullopt : std::optional<QString>(trimmed);
}

// Reads one <item>, from its start tag to its end tag.
std::optional<UpdateItem> readItem(QXmlStreamReader& reader) {
    std::optional<QString> version, displayVersion, enclosureVersion, enclosureDisplayVersion;
    while (reader.readNextStartElement()) {
        if (reader.namespaceUri() == sparkleNamespace && reader.name() == u"version") {
            version = nonEmpty(reader.readElementText());
        } else if (reader.namespaceUri() == sparkleNamespace && reader.name() == u"shortVersionString") {
            displayVersion = nonEmpty(reader.readElementText());
        } else if (reader.namespaceUri().isEmpty() && reader.name() == u"enclosure") {
            const QXmlStreamAttributes attributes = reader.attributes();
            enclosureVersion = nonEmpty(attributes.value(sparkleNamespace, u"version"_s).toString());
            enclosureDisplayVersion =
                nonEmpty(attributes.value(sparkleNamespace, u"shortVersionString"_s).toString());
            reader.skipCurrentElement();
        } else {
            reader.skipCurrentElement();
        }
    }
    const std::optional<QString> build = version ? version : enclosureVersion;
    if (!build)
        return std::nullopt;
    return UpdateItem{displayVersion.value_or(enclosureDisplayVersion.value_or(*build)), *build};
}

bool hasNumber(const QString& version) {
    const QStringList pieces = version.split(u'.', Qt::SkipEmptyParts);
    return std::ranges::any_of(pieces, [](const QString& piece) {
        bool ok = false;
        piece.toLongLong(&ok, 10);
        return ok && piece.trimmed() == piece;
    });
}

bool isOlder(const UpdateItem& a, const UpdateItem& b) {
    if (VersionCheck::compareVersions(a.displayVersion, b.displayVersion))
        return true;
    if (VersionCheck::compareVersions(b.displayVersion, a.displayVersion))
        return false;
    return VersionCheck::compareVersions(a.version, b.version);
}

} // namespace

Appcast parseAppcast(const QByteArray& xml) {
    QXmlStreamReader reader(xml);
    Appcast feed;
    if (reader.readNextStartElement() && reader.name() != u"rss")
        return {{}, u"not an RSS feed"_s};
    while (reader.readNextStartElement()) {
        if (reader.name() != u"channel") {
            reader.skipCurrentElement();
            continue;
        }
        while (reader.readNextStartElement()) {
            if (reader.name() != u"item")
                reader.skipCurrentElement();
            else if (std::optional<UpdateItem> item = readItem(reader))
                feed.items.append(*item);
        }
    }
    // Whatever follows the feed must still be well-formed, or the feed was cut or garbled.
    while (!reader.atEnd())
        reader.readNext();
    if (reader.hasError())
        return {{}, reader.errorString()};
    return feed;
}

std::optional<UpdateItem> newestAppcastItem(const QList<UpdateItem>& items) {
    std::optional<UpdateItem> newest;
    for (const UpdateItem& item : items) {
        if (hasNumber(item.displayVersion) && (!newest || isOlder(*newest, item)))
            newest = item;
    }
    return newest;
}
