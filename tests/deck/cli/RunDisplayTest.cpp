#include "deck/cli/RunDisplay.h"

#include "tests/deck/TemporaryFolder.h"

#include <gmock/gmock.h>

namespace deck::cli::test {
namespace {

using testing::_;
using testing::Return;

class MockDisplay : public Display {
public:
    MOCK_METHOD(void, Tell, (const std::string&, const std::string&), (override));
    MOCK_METHOD(void, Show, (const DeckStatus&, bool), (override));
    MOCK_METHOD(void, ShowPorts, (const PortLists&), (override));
    MOCK_METHOD(void, ShowCall, (const HostCall&, CallOutcome), (override));
    MOCK_METHOD(void, ShowMMC, (const host::RawMMC&, const PluginPrediction&), (override));
    MOCK_METHOD(bool, WantsMTC, (), (const, override));
    MOCK_METHOD(void, ShowMTC, (const host::MTCEvent&), (override));
    MOCK_METHOD(void, ShowTake, (const Take&, FrameRate), (override));
    MOCK_METHOD(void, ShowPosition, (const Position&), (override));
    MOCK_METHOD(std::optional<VideoStatus>, Picture, (), (const, override));
};

TEST(RunDisplay, HandsEverythingOn)
{
    const deck::test::TemporaryFolder folder;
    testing::StrictMock<MockDisplay> inner;
    TakeKeeper takes(folder.Path() / "takes.jsonl", "", inner);
    StatusBoard board({"run", "/s.json", "/t.jsonl"});
    RunDisplay display(inner, takes, board);

    EXPECT_CALL(inner, Tell("note", "text"));
    display.Tell("note", "text");
    EXPECT_CALL(inner, Show(_, true));
    display.Show({}, true);
    EXPECT_CALL(inner, ShowPorts);
    display.ShowPorts({});
    EXPECT_CALL(inner, ShowCall(_, CallOutcome::Done));
    display.ShowCall({}, CallOutcome::Done);
    EXPECT_CALL(inner, ShowMMC);
    display.ShowMMC({}, {});
    EXPECT_CALL(inner, WantsMTC).WillOnce(Return(true));
    EXPECT_TRUE(display.WantsMTC());
    EXPECT_CALL(inner, ShowMTC);
    display.ShowMTC({});
    EXPECT_CALL(inner, ShowTake);
    display.ShowTake({}, FrameRate::k25);
    EXPECT_CALL(inner, ShowPosition);
    display.ShowPosition({});
    EXPECT_CALL(inner, Picture).WillOnce(Return(VideoStatus{}));
    EXPECT_TRUE(display.Picture());
    EXPECT_THAT(board.Answer(), testing::HasSubstr("note: text"));
}

} // namespace
} // namespace deck::cli::test
