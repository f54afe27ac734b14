#include "MtcStream.h"

#include <gtest/gtest.h>

namespace deck {
namespace {

Bytes Piece(const MtcTime& time, int piece)
{
    const auto bytes = EncodeQuarterFrame(time, piece);
    return {bytes.begin(), bytes.end()};
}

TEST(MTC, WritesThePiecesOfTheStandard)
{
    const MtcTime time{{1, 2, 3, 4, false}, 1};
    const std::array<const char*, 8> expected{
        "F1 04", "F1 10", "F1 23", "F1 30", "F1 42", "F1 50", "F1 61", "F1 72"};
    for (int piece = 0; piece < kMtcPieces; ++piece)
        EXPECT_EQ(FormatBytes(Piece(time, piece)), expected[static_cast<std::size_t>(piece)]);
    EXPECT_EQ(FormatBytes(Piece({{23, 59, 59, 29, true}, 2}, 7)), "F1 75");
}

TEST(MTC, WritesAndReadsFullFrames)
{
    const MtcTime time{{17, 2, 3, 29, true}, 2};
    const auto bytes = EncodeFullFrame(time);
    EXPECT_EQ(FormatBytes(bytes), "F0 7F 7F 01 01 51 02 03 1D F7");
    EXPECT_EQ(DecodeFullFrame(bytes), time);
    EXPECT_FALSE(DecodeFullFrame(*ParseBytes("F0 7F 7F 01 02 51 02 03 1D F7")));
    EXPECT_FALSE(DecodeFullFrame(*ParseBytes("F0 7F 7F 01 01 51 02 03 F7")));
}

TEST(MTC, JoinsWhatItTookApartAtEveryRate)
{
    for (const FrameRate rate : FrameRate::All()) {
        for (FrameNumber frame = 0; frame < rate.FramesPerDay(); frame += 41) {
            const MtcTime time = MtcTimeOf(frame, rate);
            std::array<std::uint8_t, kMtcPieces> nibbles{};
            for (int piece = 0; piece < kMtcPieces; ++piece)
                nibbles[static_cast<std::size_t>(piece)] = EncodeQuarterFrame(time, piece)[1] & 15;
            ASSERT_EQ(JoinPieces(nibbles), time);
            ASSERT_EQ(DecodeFullFrame(EncodeFullFrame(time)), time);
        }
    }
}

TEST(MtcDecoder, ReadsACycleForwardAndReverse)
{
    MtcDecoder decoder;
    std::vector<MtcReading> readings;
    MtcStream stream(FrameRate::k25);
    stream.Run(90000, 2).RunReverse(90002, 3).FullFrameAt(5);
    for (const auto& message : stream.messages) {
        if (const auto reading = decoder.Feed(message.bytes))
            readings.push_back(*reading);
    }

    ASSERT_EQ(readings.size(), 6u);
    EXPECT_EQ(readings[1].time, MtcTimeOf(90002, FrameRate::k25));
    EXPECT_EQ(readings[1].direction, MtcDirection::kForward);
    EXPECT_EQ(readings[2].time, MtcTimeOf(90002, FrameRate::k25));
    EXPECT_EQ(readings[2].direction, MtcDirection::kReverse);
    EXPECT_EQ(readings[4].time, MtcTimeOf(89998, FrameRate::k25));
    EXPECT_TRUE(readings[5].isFullFrame);
}

TEST(MtcDecoder, DoesNotMixTwoCycles)
{
    MtcDecoder decoder;
    int readings = 0;
    for (const int piece : {0, 1, 2, 3, 4, 5, 6, 0, 1, 2, 3, 4, 6, 7, 3, 4, 5, 6, 7})
        readings += decoder.Feed(Piece({{1, 2, 3, 4, false}, 1}, piece)).has_value();
    EXPECT_EQ(readings, 0);
}

TEST(MtcDecoder, NeedsACycleInOneDirectionAfterATurn)
{
    MtcDecoder decoder;
    int readings = 0;
    for (const int piece : {0, 1, 2, 3, 4, 5, 6, 5, 4, 3, 2, 1, 0})
        readings += decoder.Feed(Piece({{1, 2, 3, 4, false}, 1}, piece)).has_value();
    EXPECT_EQ(readings, 0);
    EXPECT_EQ(decoder.Direction(), MtcDirection::kReverse);
}

TEST(MtcDecoder, IgnoresOtherMessages)
{
    MtcDecoder decoder;
    EXPECT_FALSE(decoder.Feed({}));
    EXPECT_FALSE(decoder.Feed(Bytes{0xF1}));
    EXPECT_FALSE(decoder.Feed(Bytes{0xF1, 0x80}));
    EXPECT_FALSE(decoder.Feed(Bytes{0x90, 1, 2}));
}

} // namespace
} // namespace deck
