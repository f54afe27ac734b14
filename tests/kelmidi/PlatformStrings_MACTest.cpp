#include "mediaio/kelmidi/src/mac/PlatformStrings_MAC.h"

#include "FakeCoreMidi.h"

#include <gtest/gtest.h>

namespace kelmidi {
namespace {

using kelcore::utility::UTF16String;

TEST(PlatformStrings, KeepEveryCodeUnitBothWays)
{
    for (const UTF16String& text : {UTF16String(), UTF16String(u"Input port"),
             UTF16String(u"\u00e9\U0001D11E"), UTF16String(1, u'\xD800'), UTF16String(3, u'\0')}) {
        const CFStringOwner platform = KELtoMAC(text);

        ASSERT_TRUE(platform);
        EXPECT_EQ(MACtoKEL(platform.get()), text);
    }
}

TEST(PlatformStrings, AreReleasedByTheirOwner)
{
    const int before = tests::LivePlatformStrings();
    {
        const CFStringOwner platform = KELtoMAC(u"text");
        EXPECT_EQ(tests::LivePlatformStrings(), before + 1);
    }

    EXPECT_EQ(tests::LivePlatformStrings(), before);
}

} // namespace
} // namespace kelmidi
