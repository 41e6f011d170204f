#pragma once

#include "services/Updater.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

// What an update feed in the desktop update framework's RSS form offers.
struct Appcast {
    // The items of the channel in feed order; those without a version are left out.
    QList<UpdateItem> items;
    // Why the feed couldn't be read; no items are kept then.
    std::optional<QString> error;
};

// Reads `<rss><channel><item>…`: the version and the display version come from the item's
// `<sparkle:version>` / `<sparkle:shortVersionString>` elements, or else from the attributes of that
// name on its `<enclosure>`. A missing display version is the version itself.
Appcast parseAppcast(const QByteArray& xml);

// The newest of `items` by their display versions, compared as VersionCheck::compareVersions does;
// equal display versions are told apart by the version, and a full tie goes to the one listed first.
// Items whose display version holds no number can't be placed and are passed over.
std::optional<UpdateItem> newestAppcastItem(const QList<UpdateItem>& items);
