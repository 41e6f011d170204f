#include "platform/Platform.h"

#include "subprocess/ProcessTestSupport.h"

#include <gtest/gtest.h>

#include <QStringList>

using namespace Qt::StringLiterals;

namespace {

struct AddressCase {
    const char* text;
    bool plain;
};

class PlainWebAddress : public testing::TestWithParam<AddressCase> {};

TEST_P(PlainWebAddress, OnlyHttpAddressesThatAShellReadsAsOneWordPass) {
    const AddressCase c = GetParam();
    EXPECT_EQ(Platform::isPlainWebAddress(QString::fromUtf8(c.text)), c.plain) << c.text;
}

INSTANTIATE_TEST_SUITE_P(
    Table, PlainWebAddress,
    testing::Values(AddressCase{"http://127.0.0.1:9/uv/install.sh", true},
                    AddressCase{"https://astral.sh/uv/install.sh", true},
                    AddressCase{"https://norvane.invalid", true}, AddressCase{"http://127.0.0.1:8123/", true},
                    AddressCase{"https://user@example.org/a%20b", true},
                    // Other schemes and no host.
                    AddressCase{"file:///tmp/install.sh", false}, AddressCase{"ftp://example.org/x", false},
                    AddressCase{"http://", false}, AddressCase{"http:///path", false}, AddressCase{"", false},
                    AddressCase{"127.0.0.1:9", false},
                    // What a shell would read as more than one word, or as something to run or expand.
                    AddressCase{"http://a.org/x; rm -rf ~", false}, AddressCase{"http://a.org/x|sh", false},
                    AddressCase{"http://a.org/$(id)", false}, AddressCase{"http://a.org/`id`", false},
                    AddressCase{"http://a.org/x&y", false}, AddressCase{"http://a.org/x?y=1", false},
                    AddressCase{"http://a.org/x\ny", false}, AddressCase{"http://a.org/x y", false},
                    AddressCase{"http://a.org/'x'", false}, AddressCase{"http://a.org/x>out", false},
                    AddressCase{" http://a.org/", false}, AddressCase{"http://a.org/*", false}));

TEST(PlatformOverrides, AnAddressThatIsNoPlainOneLeavesTheBuiltInAndIsNamed) {
    ScopedEnv env;
    env.set("NORVANE_SITE_URL", "http://127.0.0.1:9/");
    env.set("NORVANE_UV_INSTALLER_URL", "file:///tmp/install.sh");
    const QString builtIn = [&] {
        ScopedEnv inner;
        inner.unset("NORVANE_UV_INSTALLER_URL");
        return Platform::uvInstallerUrl();
    }();

    EXPECT_EQ(Platform::siteUrl(), u"http://127.0.0.1:9"_s);
    EXPECT_EQ(Platform::uvInstallerUrl(), builtIn);
    EXPECT_EQ(Platform::ignoredAddressOverrides(), QStringList{u"NORVANE_UV_INSTALLER_URL"_s});
}

TEST(PlatformOverrides, UnsetOrEmptyOverridesAreNotReported) {
    ScopedEnv env;
    env.unset("NORVANE_SITE_URL");
    env.set("NORVANE_UV_INSTALLER_URL", "");
    EXPECT_TRUE(Platform::ignoredAddressOverrides().isEmpty());
}

} // namespace
