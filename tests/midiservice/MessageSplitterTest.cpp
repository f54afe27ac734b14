#include "mediaio/midiservice/src/MessageSplitter.h"

#include "tests/midiservice/Pieces.h"

namespace midiservice::test {

namespace {

class MessageSplitterTest : public testing::Test {
protected:
    std::vector<PieceRecord> Feed(const Bytes& bytes)
    {
        PieceList pieces;
        mSplitter.Feed(7, bytes.data(), bytes.size(), pieces);
        return pieces.records;
    }

    static PieceRecord Message(const Bytes& bytes) { return {Piece::Message, bytes, 7}; }
    static PieceRecord Loose(const Bytes& bytes) { return {Piece::Loose, bytes, 7}; }

    MessageSplitter mSplitter;
};

using Records = std::vector<PieceRecord>;

TEST_F(MessageSplitterTest, CutsWholeMessagesOfEveryLength)
{
    EXPECT_EQ(Feed({0x80, 1, 2, 0x91, 3, 4, 0xA2, 5, 6, 0xB3, 7, 8, 0xC4, 9, 0xD5, 10, 0xE6, 11, 12,
                  0xF1, 13, 0xF2, 14, 15, 0xF3, 16, 0xF6, 0xF8}),
        (Records{Message({0x80, 1, 2}), Message({0x91, 3, 4}), Message({0xA2, 5, 6}),
            Message({0xB3, 7, 8}), Message({0xC4, 9}), Message({0xD5, 10}), Message({0xE6, 11, 12}),
            Message({0xF1, 13}), Message({0xF2, 14, 15}), Message({0xF3, 16}), Message({0xF6}),
            Message({0xF8})}));
}

TEST_F(MessageSplitterTest, RepeatsTheStatusOfRunningStatus)
{
    EXPECT_EQ(Feed({0x90, 1, 2, 3, 4}), (Records{Message({0x90, 1, 2}), Message({0x90, 3, 4})}));
    EXPECT_EQ(Feed({5, 6}), (Records{Message({0x90, 5, 6})}));
    EXPECT_FALSE(mSplitter.IsIdle());
}

TEST_F(MessageSplitterTest, JoinsAMessageThatComesInParts)
{
    EXPECT_TRUE(Feed({0x90}).empty());
    EXPECT_TRUE(Feed({1}).empty());
    EXPECT_EQ(Feed({2}), (Records{Message({0x90, 1, 2})}));
}

TEST_F(MessageSplitterTest, LetsRealTimePassWithinAMessage)
{
    EXPECT_EQ(Feed({0x90, 1, 0xF8, 2}), (Records{Message({0xF8}), Message({0x90, 1, 2})}));
}

TEST_F(MessageSplitterTest, EndsRunningStatusAtASystemCommonMessage)
{
    EXPECT_EQ(
        Feed({0x90, 1, 2, 0xF6, 3}), (Records{Message({0x90, 1, 2}), Message({0xF6}), Loose({3})}));
    EXPECT_TRUE(mSplitter.IsIdle());
}

TEST_F(MessageSplitterTest, EndsRunningStatusAtASysEx)
{
    Feed({0x90, 1, 2, 3});
    PieceList pieces;
    mSplitter.OnSysEx(7, pieces);

    EXPECT_EQ(pieces.records, (Records{Loose({0x90, 3})}));
    EXPECT_EQ(Feed({4}), (Records{Loose({4})}));
}

TEST_F(MessageSplitterTest, PassesWhatIsNoMessageOn)
{
    EXPECT_EQ(Feed({1, 0xF7, 0x90, 2, 0x80, 3, 4}),
        (Records{Loose({1}), Loose({0xF7}), Loose({0x90, 2}), Message({0x80, 3, 4})}));
}

} // namespace

} // namespace midiservice::test
