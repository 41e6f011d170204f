#include "screens/DiagnosticsVerdictText.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

using Diagnostics = ConnectivityDiagnostics;
using Tone = DiagnosticsVerdictText::Tone;

TEST(DiagnosticsVerdictText, InternetReachableSaysTheNetworkLooksFine) {
    const auto text = DiagnosticsVerdictText::forVerdict(Diagnostics::InternetReachable{u"boom"_s});
    EXPECT_EQ(text.headline, u"Your network looks fine"_s);
    EXPECT_EQ(text.icon, u"wifi.exclamationmark"_s);
    EXPECT_EQ(text.tone, Tone::yellow);
    EXPECT_EQ(text.explanation,
              u"The Norvane tool couldn't start, but your internet connection is working. This "
              u"is usually fixed by updating or relaunching the app."_s);
    EXPECT_TRUE(text.bullets.isEmpty());
}

TEST(DiagnosticsVerdictText, CaptivePortalAsksForTheLogin) {
    const auto text = DiagnosticsVerdictText::forVerdict(Diagnostics::CaptivePortal{u"10.0.0.1"_s});
    EXPECT_EQ(text.headline, u"Captive portal detected"_s);
    EXPECT_EQ(text.icon, u"lock.shield"_s);
    EXPECT_EQ(text.tone, Tone::orange);
    EXPECT_EQ(text.explanation,
              u"This network requires sign-in. DNS queries are being redirected to a login page. "
              u"Open a browser to complete the portal login, then try again."_s);
}

TEST(DiagnosticsVerdictText, GatewayOnlyNamesTheGatewayAndListsThreeCauses) {
    const auto text = DiagnosticsVerdictText::forVerdict(Diagnostics::GatewayOnly{u"192.168.1.1"_s});
    EXPECT_EQ(text.headline, u"Connected to WiFi, but no internet"_s);
    EXPECT_EQ(text.icon, u"wifi.exclamationmark"_s);
    EXPECT_EQ(text.tone, Tone::orange);
    EXPECT_EQ(text.explanation,
              u"Your computer is connected to the WiFi network (gateway 192.168.1.1), but can't reach "
              u"the internet. This often means:"_s);
    EXPECT_EQ(
        text.bullets,
        (QStringList{u"A captive portal (hotel/airline login page) hasn't been completed"_s,
                     u"The network is behind a walled garden"_s, u"The network is down or overloaded"_s}));
}

TEST(DiagnosticsVerdictText, NoConnectivitySaysNoNetwork) {
    const auto text = DiagnosticsVerdictText::forVerdict(Diagnostics::NoConnectivity{});
    EXPECT_EQ(text.headline, u"No network connection detected"_s);
    EXPECT_EQ(text.icon, u"wifi.slash"_s);
    EXPECT_EQ(text.tone, Tone::red);
    EXPECT_EQ(text.explanation,
              u"Your computer doesn't appear to be connected to a network. Check that WiFi is enabled "
              u"and you're connected to an access point."_s);
}

} // namespace
