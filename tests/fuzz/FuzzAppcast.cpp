#include "FuzzTarget.h"

#include "services/Appcast.h"

// The update feed.
int fuzzAppcast(const std::uint8_t* data, std::size_t size) {
    const Appcast feed = parseAppcast(fuzzBytes(data, size));
    fuzzCheck(!feed.error || feed.items.isEmpty(), "a feed that can't be read offers nothing");
    for (const UpdateItem& item : feed.items)
        fuzzCheck(!item.version.isEmpty() && !item.displayVersion.isEmpty(),
                  "every item offered has a version");
    const std::optional<UpdateItem> newest = newestAppcastItem(feed.items);
    fuzzCheck(!newest || std::ranges::any_of(feed.items,
                                             [&](const UpdateItem& item) {
                                                 return item.version == newest->version &&
                                                        item.displayVersion == newest->displayVersion;
                                             }),
              "the newest item is one of the feed's");
    return 0;
}
