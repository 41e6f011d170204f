#include "FuzzTarget.h"

#include "services/ConnectivityDiagnostics.h"

namespace {

void checkGateway(const std::optional<QString>& gateway) {
    if (!gateway)
        return;
    fuzzCheck(gateway->contains(u'.'), "a gateway is a dotted address");
    fuzzCheck(!gateway->contains(u'\n') && !gateway->contains(u'\r'), "a gateway lies within one line");
}

} // namespace

// The output of `route -n get default`.
int fuzzGateway(const std::uint8_t* data, std::size_t size) {
    const std::optional<QString> gateway =
        ConnectivityDiagnostics::parseGateway(QString::fromUtf8(fuzzBytes(data, size)));
    checkGateway(gateway);
    fuzzCheck(!gateway || *gateway == gateway->trimmed(), "a gateway has no blanks around it");
    return 0;
}

// The output of `ip -4 route show default`.
int fuzzLinuxGateway(const std::uint8_t* data, std::size_t size) {
    const QString text = QString::fromUtf8(fuzzBytes(data, size));
    const std::optional<QString> gateway = ConnectivityDiagnostics::parseLinuxGateway(text);
    checkGateway(gateway);
    fuzzCheck(!gateway || (text.contains(*gateway) && !gateway->contains(u' ') && !gateway->contains(u'\t')),
              "a gateway is one word of the text");
    return 0;
}
