#include "mediaio/kelmidi/src/MidiDataTypes.h"

#include "RecordingListener.h"

#include "kelcore/utility/HighPrecisionTime.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>

namespace kelmidi {
namespace {

using tests::Bytes;

constexpr unsigned long long kStamp = 0x8000000000000001ULL;

Bytes CountingBytes(std::size_t count)
{
    Bytes bytes(count);
    for (std::size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<unsigned char>(i * 7 + 1);
    }
    return bytes;
}

Bytes ValidBytes(const MidiData& data)
{
    return {data.bytes, data.bytes + data.length};
}

static_assert(std::is_standard_layout_v<MidiMessage> && !std::is_polymorphic_v<MidiMessage>);
static_assert(offsetof(MidiData, bytes) == 0 && offsetof(MidiData, length) == 256);
static_assert(offsetof(MidiMessage, timeStamp) == 0 && offsetof(MidiMessage, data) == 8);
static_assert(sizeof(MidiMessage) == 272);

TEST(MidiMessage, IsEmptyAndToBeSentAtOnceByDefault)
{
    const MidiMessage message;

    EXPECT_EQ(message.timeStamp, 0U);
    EXPECT_EQ(message.data.length, 0U);
}

TEST(MidiMessage, DoesNotTouchItsBytesByDefault)
{
    alignas(MidiMessage) unsigned char memory[sizeof(MidiMessage)];
    std::memset(memory, 0xAA, sizeof(memory));

    const MidiMessage& message = *new (memory) MidiMessage();

    EXPECT_EQ(message.timeStamp, 0U);
    EXPECT_EQ(message.data.length, 0U);
    // The memory, since the bytes of the message mean nothing.
    const unsigned char* bytes = memory + offsetof(MidiMessage, data);
    EXPECT_TRUE(std::all_of(bytes, bytes + 256, [](unsigned char byte) { return byte == 0xAA; }));
}

TEST(MidiMessage, CopiesItsBytesWithTimeStampZero)
{
    const Bytes bytes{0x90, 0x40, 0x7F};

    const MidiMessage message(bytes.data(), bytes.size());

    EXPECT_EQ(ValidBytes(message.data), bytes);
    EXPECT_EQ(message.timeStamp, 0U);
}

TEST(MidiMessage, KeepsTheTimeStampItIsGiven)
{
    const Bytes bytes{0xF8};

    const MidiMessage message(bytes.data(), bytes.size(), kStamp);

    EXPECT_EQ(ValidBytes(message.data), bytes);
    EXPECT_EQ(message.timeStamp, kStamp);
}

TEST(MidiMessage, Copies256BytesWhole)
{
    const Bytes bytes = CountingBytes(256);

    const MidiMessage message(bytes.data(), bytes.size());

    EXPECT_EQ(ValidBytes(message.data), bytes);
}

TEST(MidiMessage, IsEmptyRatherThanCutAt257Bytes)
{
    const Bytes bytes = CountingBytes(257);

    const MidiMessage plain(bytes.data(), bytes.size());
    const MidiMessage stamped(bytes.data(), bytes.size(), kStamp);

    EXPECT_EQ(plain.data.length, 0U);
    EXPECT_EQ(stamped.data.length, 0U);
    EXPECT_EQ(stamped.timeStamp, kStamp);
}

TEST(MidiMessage, IsEmptyForTheGreatestLength)
{
    const unsigned char byte = 0x90;

    const MidiMessage message(&byte, std::numeric_limits<unsigned long>::max());

    EXPECT_EQ(message.data.length, 0U);
}

TEST(MidiMessage, DoesNotReadThePointerOfAnEmptyMessage)
{
    const MidiMessage message(nullptr, 0);

    EXPECT_EQ(message.data.length, 0U);
}

TEST(MidiMessage, StaysTheSameWhenAssignedToItself)
{
    MidiMessage message = tests::MakeMessage({0xF0, 0x7F, 0xF7}, kStamp);
    const MidiMessage& same = message;

    message = same;

    EXPECT_EQ(ValidBytes(message.data), (Bytes{0xF0, 0x7F, 0xF7}));
    EXPECT_EQ(message.timeStamp, kStamp);
}

TEST(MidiMessage, CopiesTimeStampAndBytes)
{
    const MidiMessage source = tests::MakeMessage({0xB0, 1, 2}, kStamp);
    MidiMessage target = tests::MakeMessage({0xC0, 3});

    target = source;
    const MidiMessage constructed(source);

    EXPECT_EQ(ValidBytes(target.data), (Bytes{0xB0, 1, 2}));
    EXPECT_EQ(target.timeStamp, kStamp);
    EXPECT_EQ(ValidBytes(constructed.data), (Bytes{0xB0, 1, 2}));
    EXPECT_EQ(constructed.timeStamp, kStamp);
}

TEST(MidiData, AssignsOnlyTheValidBytes)
{
    const Bytes full(256, 0xAA);
    MidiMessage target(full.data(), full.size());
    const MidiMessage source = tests::MakeMessage({1, 2});

    target.data = source.data;

    EXPECT_EQ(target.data.length, 2U);
    EXPECT_EQ(target.data.bytes[1], 2);
    EXPECT_EQ(target.data.bytes[2], 0xAA);
    EXPECT_EQ(target.data.bytes[255], 0xAA);
}

TEST(MidiData, LeavesTheOldBytesUnderAnEmptyMessage)
{
    const Bytes full = CountingBytes(256);
    MidiMessage target(full.data(), full.size());

    target.data = MidiMessage().data;

    EXPECT_EQ(target.data.length, 0U);
    EXPECT_TRUE(std::equal(full.begin(), full.end(), target.data.bytes));
}

TEST(MidiData, BecomesEmptyFromASourceWithTooGreatALength)
{
    const Bytes full(256, 0xAA);
    MidiMessage target(full.data(), full.size());
    const auto source = std::make_unique<MidiData>();
    source->length = 257;

    target.data = *source;
    const MidiData constructed(*source);

    EXPECT_EQ(target.data.length, 0U);
    EXPECT_EQ(target.data.bytes[0], 0xAA);
    EXPECT_EQ(constructed.length, 0U);
}

TEST(MidiData, ReturnsTheTargetOfAnAssignment)
{
    MidiMessage target;
    const MidiMessage source;

    EXPECT_EQ(&(target.data = source.data), &target.data);
}

TEST(HostTime, IsTheHighPrecisionClock)
{
    using kelcore::utility::HighPrecisionTime;

    const auto before = HighPrecisionTime::GetCurrentTime();
    const auto now = GetCurrentHostTime();
    const auto after = HighPrecisionTime::GetCurrentTime();

    EXPECT_LE(before, now);
    EXPECT_LE(now, after);
}

TEST(HostTime, IsNotMovedByZeroNanoSeconds)
{
    EXPECT_EQ(AddNanoSeconds(kStamp, 0), kStamp);
    EXPECT_EQ(AddNanoSeconds(0, 0), 0U);
}

TEST(HostTime, MovesBothWays)
{
    using kelcore::utility::HighPrecisionTime;
    const auto step = static_cast<unsigned long long>(HighPrecisionTime::ConvertFromNanos(1000000));

    EXPECT_EQ(AddNanoSeconds(5000000000, 1000000), 5000000000 + step);
    EXPECT_EQ(AddNanoSeconds(5000000000, -1000000), 5000000000 - step);
}

TEST(HostTime, WrapsBelowZeroAndAboveTheTop)
{
    using kelcore::utility::HighPrecisionTime;
    const auto step = static_cast<unsigned long long>(HighPrecisionTime::ConvertFromNanos(1000000));
    constexpr auto kTop = std::numeric_limits<unsigned long long>::max();

    EXPECT_EQ(AddNanoSeconds(0, -1000000), kTop - step + 1);
    EXPECT_EQ(AddNanoSeconds(kTop, 1000000), step - 1);
}

} // namespace
} // namespace kelmidi
