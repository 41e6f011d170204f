#include "screens/DiagnosticsVerdictText.h"

using namespace Qt::StringLiterals;

namespace {
// The explanations speak of the machine as its owner knows it.
#ifdef Q_OS_MACOS
const QString yourMachine = u"Your Mac"_s;
#else
const QString yourMachine = u"Your computer"_s;
#endif
} // namespace

DiagnosticsVerdictText DiagnosticsVerdictText::forVerdict(const ConnectivityDiagnostics::Verdict& verdict) {
    using Diagnostics = ConnectivityDiagnostics;
    return std::visit(
        [](const auto& v) -> DiagnosticsVerdictText {
            using V = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<V, Diagnostics::InternetReachable>) {
                return {u"wifi.exclamationmark"_s,
                        Tone::yellow,
                        u"Your network looks fine"_s,
                        u"The Norvane tool couldn't start, but your internet connection is working. This is "
                        u"usually fixed by updating or relaunching the app."_s,
                        {}};
            } else if constexpr (std::is_same_v<V, Diagnostics::CaptivePortal>) {
                return {u"lock.shield"_s,
                        Tone::orange,
                        u"Captive portal detected"_s,
                        u"This network requires sign-in. DNS queries are being redirected to a login page. "
                        u"Open a browser to complete the portal login, then try again."_s,
                        {}};
            } else if constexpr (std::is_same_v<V, Diagnostics::GatewayOnly>) {
                return {u"wifi.exclamationmark"_s,
                        Tone::orange,
                        u"Connected to WiFi, but no internet"_s,
                        yourMachine + u" is connected to the WiFi network (gateway "_s + v.gateway +
                            u"), but can't reach the internet. This often means:"_s,
                        {u"A captive portal (hotel/airline login page) hasn't been completed"_s,
                         u"The network is behind a walled garden"_s, u"The network is down or overloaded"_s}};
            } else {
                return {u"wifi.slash"_s,
                        Tone::red,
                        u"No network connection detected"_s,
                        yourMachine +
                            u" doesn't appear to be connected to a network. Check that WiFi is enabled "
                            u"and you're connected to an access point."_s,
                        {}};
            }
        },
        verdict);
}
