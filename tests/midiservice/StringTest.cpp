#include "tests/midiservice/Clients.h"

#include <thread>

namespace midiservice::test {

namespace {

std::u16string Characters(CFStringRef string)
{
    std::u16string characters(static_cast<std::size_t>(CFStringGetLength(string)), u'\0');
    CFStringGetCharacters(string, CFRangeMake(0, CFStringGetLength(string)),
        reinterpret_cast<UniChar*>(characters.data()));
    return characters;
}

/// A string for as long as this object lives.
struct Owned {
    CFStringRef string;
    ~Owned() { CFRelease(string); }
};

CFStringRef FromUTF8(const char* text)
{
    return CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingUTF8);
}

TEST(CFString, HoldsUTF16Characters)
{
    const UniChar characters[] = {u'M', 0x00FC, 0xD834, 0xDD1E};
    const Owned owned{CFStringCreateWithCharacters(kCFAllocatorDefault, characters, 4)};

    EXPECT_EQ(CFStringGetLength(owned.string), 4);
    EXPECT_EQ(Characters(owned.string), u"M\u00FC\U0001D11E");
}

TEST(CFString, KeepsUnpairedSurrogatesAsTheyAre)
{
    const UniChar characters[] = {0xD834, u'x', 0xDD1E};
    const Owned owned{CFStringCreateWithCharacters(kCFAllocatorDefault, characters, 3)};

    EXPECT_EQ(Characters(owned.string), std::u16string({0xD834, u'x', 0xDD1E}));
    EXPECT_EQ(ToUTF8(owned.string), "\xEF\xBF\xBDx\xEF\xBF\xBD");
}

TEST(CFString, IsMadeOfUTF8)
{
    const Owned owned{FromUTF8("M\xC3\xBC \xF0\x9D\x84\x9E")};

    EXPECT_EQ(Characters(owned.string), u"M\u00FC \U0001D11E");
    EXPECT_EQ(ToUTF8(owned.string), "M\xC3\xBC \xF0\x9D\x84\x9E");
}

TEST(CFString, IsNotMadeOfBrokenText)
{
    EXPECT_EQ(FromUTF8("\xC3"), nullptr);
    EXPECT_EQ(FromUTF8("\xFF"), nullptr);
    EXPECT_EQ(CFStringCreateWithCString(kCFAllocatorDefault, "\xC3\xBC", kCFStringEncodingASCII),
        nullptr);
    EXPECT_EQ(FromUTF8(nullptr), nullptr);
    EXPECT_EQ(CFStringCreateWithCharacters(kCFAllocatorDefault, nullptr, 1), nullptr);
    EXPECT_EQ(CFStringCreateWithCharacters(kCFAllocatorDefault, nullptr, -1), nullptr);
}

TEST(CFString, MayBeEmpty)
{
    const Owned fromNothing{CFStringCreateWithCharacters(kCFAllocatorDefault, nullptr, 0)};
    const Owned fromText{
        CFStringCreateWithCString(kCFAllocatorDefault, "", kCFStringEncodingASCII)};

    EXPECT_EQ(CFStringGetLength(fromNothing.string), 0);
    EXPECT_EQ(CFStringGetLength(fromText.string), 0);
}

TEST(CFString, GivesAPartAndNeverMoreThanItHas)
{
    const Owned owned{FromUTF8("abcd")};
    UniChar part[6] = {'x', 'x', 'x', 'x', 'x', 'x'};

    CFStringGetCharacters(owned.string, CFRangeMake(1, 2), part);
    EXPECT_EQ(std::u16string(part, part + 3), u"bcx");
    CFStringGetCharacters(owned.string, CFRangeMake(3, 100), part);
    EXPECT_EQ(std::u16string(part, part + 3), u"dcx");
    CFStringGetCharacters(owned.string, CFRangeMake(5, 1), part);
    CFStringGetCharacters(owned.string, CFRangeMake(-1, 1), part);
    CFStringGetCharacters(owned.string, CFRangeMake(0, -1), part);
    EXPECT_EQ(std::u16string(part, part + 3), u"dcx");
}

TEST(CFString, OfAConstantIsTheSameEachTimeAndOutlivesItsReleases)
{
    const CFStringRef first = CFSTR("constant");
    const std::string text = "constant";

    EXPECT_EQ(__CFStringMakeConstantString(text.c_str()), first);
    EXPECT_NE(CFSTR("other"), first);
    CFRelease(first);
    CFRelease(first);
    EXPECT_EQ(Characters(first), u"constant");
}

TEST(CFRetain, KeepsAnObjectUntilItsLastOwnerReleasesIt)
{
    const CFStringRef string = FromUTF8("x");

    EXPECT_EQ(CFRetain(string), string);
    CFRelease(string);
    EXPECT_EQ(Characters(string), u"x"); // the address sanitizer knows
    CFRelease(string);
}

TEST(CFRetain, MayBeCalledByManyThreads)
{
    const CFStringRef string = FromUTF8("x");
    std::vector<std::thread> threads;
    for (int number = 0; number < 3; ++number)
        threads.emplace_back([string] {
            for (int round = 0; round < 10'000; ++round) {
                CFRetain(string);
                CFRelease(string);
            }
        });
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(Characters(string), u"x");
    CFRelease(string);
}

TEST(CFRelease, PassesNullOver)
{
    CFRelease(nullptr);
    EXPECT_EQ(CFRetain(nullptr), nullptr);
}

} // namespace

} // namespace midiservice::test
