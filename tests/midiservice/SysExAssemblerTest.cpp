#include "mediaio/midiservice/src/SysExAssembler.h"

#include "tests/midiservice/Pieces.h"

#include <random>

namespace midiservice::test {

namespace {

class SysExAssemblerTest : public testing::Test {
protected:
    std::vector<PieceRecord> Feed(const Bytes& bytes, HostTime time = 7)
    {
        PieceList pieces;
        mAssembler.Feed(time, bytes.data(), bytes.size(), pieces);
        return pieces.records;
    }

    SysExAssembler mAssembler;
};

TEST_F(SysExAssemblerTest, PassesOtherMessagesOnAsTheyAre)
{
    const Bytes bytes{0x90, 0x3C, 0x40, 0x3E, 0x41, 0xF8, 0x05};

    EXPECT_EQ(Feed(bytes), (std::vector<PieceRecord>{{Piece::Loose, bytes, 7}}));
    EXPECT_TRUE(mAssembler.IsIdle());
}

TEST_F(SysExAssemblerTest, GivesASysExItsTimeOfBeginning)
{
    EXPECT_TRUE(Feed({0xF0, 0x01}, 3).empty());
    EXPECT_FALSE(mAssembler.IsIdle());

    EXPECT_EQ(Feed({0x02, 0xF7}, 4),
        (std::vector<PieceRecord>{{Piece::Message, {0xF0, 0x01, 0x02, 0xF7}, 3}}));
    EXPECT_TRUE(mAssembler.IsIdle());
}

TEST_F(SysExAssemblerTest, PassesWhatIsBeforeBetweenAndBehindSysEx)
{
    EXPECT_EQ(Feed({0x90, 0x3C, 0x40, 0xF0, 0x01, 0xF7, 0x80, 0x3C, 0x00, 0xF0, 0xF7, 0xFE}),
        (std::vector<PieceRecord>{{Piece::Loose, {0x90, 0x3C, 0x40}, 7},
            {Piece::Message, {0xF0, 0x01, 0xF7}, 7}, {Piece::Loose, {0x80, 0x3C, 0x00}, 7},
            {Piece::Message, {0xF0, 0xF7}, 7}, {Piece::Loose, {0xFE}, 7}}));
}

TEST_F(SysExAssemblerTest, PassesAnEndWithoutABeginningOn)
{
    EXPECT_EQ(Feed({0xF7}), (std::vector<PieceRecord>{{Piece::Loose, {0xF7}, 7}}));
}

TEST_F(SysExAssemblerTest, MakesEachRealTimeByteInsideAMessageAheadOfTheSysEx)
{
    EXPECT_EQ(Feed({0xF0, 0xF8, 0x01, 0xFF, 0xF7}),
        (std::vector<PieceRecord>{{Piece::Message, {0xF8}, 7}, {Piece::Message, {0xFF}, 7},
            {Piece::Message, {0xF0, 0x01, 0xF7}, 7}}));
}

TEST_F(SysExAssemblerTest, PassesABrokenOffSysExOnWithoutAnEnd)
{
    EXPECT_EQ(Feed({0xF0, 0x01, 0x90, 0x3C, 0x40}),
        (std::vector<PieceRecord>{
            {Piece::Loose, {0xF0, 0x01}, 7}, {Piece::Loose, {0x90, 0x3C, 0x40}, 7}}));
}

TEST_F(SysExAssemblerTest, TakesANewBeginningAsTheEndOfTheSysExBefore)
{
    EXPECT_EQ(Feed({0xF0, 0x01, 0xF0, 0x02, 0xF7}),
        (std::vector<PieceRecord>{
            {Piece::Loose, {0xF0, 0x01}, 7}, {Piece::Message, {0xF0, 0x02, 0xF7}, 7}}));
}

TEST_F(SysExAssemblerTest, KeepsASysExOf256BytesWhole)
{
    EXPECT_EQ(Feed(SysEx(256)), (std::vector<PieceRecord>{{Piece::Message, SysEx(256), 7}}));
}

TEST_F(SysExAssemblerTest, SplitsASysExOf257Bytes)
{
    const auto pieces = Feed(SysEx(257));

    ASSERT_EQ(pieces.size(), 2U);
    EXPECT_EQ(pieces[0].piece, Piece::SysExFirst);
    EXPECT_EQ(pieces[0].bytes.size(), 256U);
    EXPECT_EQ(pieces[1], (PieceRecord{Piece::SysExLast, {0xF7}, 7}));
}

TEST_F(SysExAssemblerTest, SplitsALongSysExInOrder)
{
    const auto pieces = Feed(SysEx(1000));

    ASSERT_EQ(pieces.size(), 4U);
    EXPECT_EQ(pieces[0].piece, Piece::SysExFirst);
    EXPECT_EQ(pieces[1].piece, Piece::SysExMiddle);
    EXPECT_EQ(pieces[2].piece, Piece::SysExMiddle);
    EXPECT_EQ(pieces[3].piece, Piece::SysExLast);
    EXPECT_EQ(
        Join({pieces[0].bytes, pieces[1].bytes, pieces[2].bytes, pieces[3].bytes}), SysEx(1000));
}

TEST_F(SysExAssemblerTest, EndsALongSysExThatIsBrokenOffWithItsLastPiece)
{
    Bytes broken = SysEx(300);
    broken.back() = 0x90;
    const auto pieces = Feed(broken);

    ASSERT_EQ(pieces.size(), 3U);
    EXPECT_EQ(pieces[1].piece, Piece::SysExLast);
    EXPECT_EQ(pieces[2], (PieceRecord{Piece::Loose, {0x90}, 7}));
}

TEST_F(SysExAssemblerTest, YieldsTheSamePiecesWhateverTheChunksOfASysEx)
{
    std::mt19937 random(1); // NOLINT: the same every time
    Bytes stream;
    for (const std::size_t length : {2U, 6U, 255U, 256U, 257U, 700U}) {
        const Bytes message = SysEx(length);
        stream.insert(stream.end(), message.begin(), message.end());
    }
    const auto expected = Feed(stream);

    for (int round = 0; round < 200; ++round) {
        PieceList pieces;
        for (std::size_t start = 0; start < stream.size();) {
            const std::size_t length
                = std::min<std::size_t>(1 + random() % 300, stream.size() - start);
            mAssembler.Feed(7, stream.data() + start, length, pieces);
            start += length;
        }
        ASSERT_EQ(pieces.records, expected);
    }
}

TEST_F(SysExAssemblerTest, LosesNoByteOfAnyStreamButRealTimeOnesMoveAhead)
{
    std::mt19937 random(2); // NOLINT
    for (int round = 0; round < 500; ++round) {
        Bytes stream(random() % 800);
        for (std::uint8_t& byte : stream) {
            const auto kind = random() % 10;
            byte = static_cast<std::uint8_t>(kind == 0 ? 0xF0
                    : kind == 1                        ? 0xF7
                    : kind == 2                        ? random() % 256
                                                       : random() % 128);
        }
        stream.push_back(0x90); // ends a SysEx that is left open
        Bytes kept;
        for (const PieceRecord& piece : Feed(stream)) {
            EXPECT_LE(piece.bytes.size(), kMaxPieceBytes);
            kept.insert(kept.end(), piece.bytes.begin(), piece.bytes.end());
        }

        const auto isRealTime = [](std::uint8_t byte) { return byte >= 0xF8; };
        EXPECT_EQ(kept.size(), stream.size());
        EXPECT_EQ(std::count_if(kept.begin(), kept.end(), isRealTime),
            std::count_if(stream.begin(), stream.end(), isRealTime));
        std::erase_if(kept, isRealTime);
        std::erase_if(stream, isRealTime);
        EXPECT_EQ(kept, stream);
    }
}

TEST(PieceLength, TakesUpTo256BytesWhole)
{
    const Bytes bytes(256, 0x90);

    EXPECT_EQ(PieceLength(bytes.data(), 1), 1U);
    EXPECT_EQ(PieceLength(bytes.data(), 256), 256U);
}

TEST(PieceLength, CutsBetweenMessages)
{
    Bytes bytes;
    for (int note = 0; note < 100; ++note)
        bytes.insert(bytes.end(), {0x90, 0x3C, 0xF8, 0x40});

    EXPECT_EQ(PieceLength(bytes.data(), bytes.size()), 256U);
    EXPECT_EQ(PieceLength(bytes.data() + 1, bytes.size() - 1), 255U);
}

TEST(PieceLength, CutsAnywhereWhereThereIsNoMessageToRespect)
{
    const Bytes bytes(1000, 0x01);

    EXPECT_EQ(PieceLength(bytes.data(), bytes.size()), 256U);
}

} // namespace

} // namespace midiservice::test
