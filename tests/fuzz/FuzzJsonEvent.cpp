#include "FuzzTarget.h"

#include "subprocess/JSONEvent.h"

#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

// One line of the tool's event stream, through the fast decoder and through Qt's reader, which must agree.
int fuzzJsonEvent(const std::uint8_t* data, std::size_t size) {
    const QByteArrayView line(data, static_cast<qsizetype>(size));
    const std::optional<JSONEvent> event = JSONEvent::decode(line);
    fuzzCheck(event == JSONEvent::decodeWithQtReader(line), "both decoders read a line alike");
    if (!event)
        return 0;
    // An event comes only from an object whose "event" names its kind, or no kind this program knows.
    const QString name = QJsonDocument::fromJson(fuzzBytes(data, size)).object().value("event"_L1).toString();
    if (event->kind() != JSONEvent::Kind::unknown) {
        fuzzCheck(name == JSONEvent::wireName(event->kind()), "the kind of an event follows its name");
    } else {
        for (int i = 0; i < JSONEvent::kindCount - 1; ++i)
            fuzzCheck(name != JSONEvent::wireName(static_cast<JSONEvent::Kind>(i)),
                      "a known name never makes an unknown event");
    }
    return 0;
}
