#include "deck/cli/DemoCheck.h"

#include <gmock/gmock.h>

namespace deck::cli::test {
namespace {

using testing::HasSubstr;
using enum HostCallKind;

DemoStep Step(MTCWanted mtc)
{
    return {"PLAY", EncodeMMC(kMMCAllDevices, kMMCPlay), {StopRewind, Play},
        TransportState::Playing, mtc, {}, {}, {}};
}

Timecode At(FrameNumber frame)
{
    return ToTimecode(frame, kDemoRate);
}

class DemoCheckTest : public testing::Test {
protected:
    void Begin(const DemoStep& step)
    {
        mStep = step;
        mCheck.emplace(mStep, TransportState::Stopped);
    }
    // Everything but the MTC.
    void Obey()
    {
        mCheck->OnArrived(mStep.bytes);
        for (const HostCallKind call : mStep.calls) {
            mCheck->OnCall(call);
        }
        mCheck->OnState(mStep.state);
    }

    DemoStep mStep;
    std::optional<DemoCheck> mCheck;
};

TEST_F(DemoCheckTest, IsDoneWhenAllHasHappened)
{
    Begin(Step(MTCWanted::Nothing));
    EXPECT_FALSE(mCheck->IsDone());
    Obey();

    EXPECT_TRUE(mCheck->IsDone());
    EXPECT_FALSE(mCheck->IsWrong());
}

TEST_F(DemoCheckTest, WantsTheBytesToArrive)
{
    Begin(Step(MTCWanted::Nothing));
    mCheck->OnArrived(EncodeMMC(kMMCAllDevices, kMMCStop));

    EXPECT_THAT(mCheck->Complaint(), HasSubstr("did not arrive"));
}

TEST_F(DemoCheckTest, WantsTheCallsInOrderAndNoOther)
{
    Begin(Step(MTCWanted::Nothing));
    mCheck->OnArrived(mStep.bytes);
    mCheck->OnCall(StopRewind);
    EXPECT_FALSE(mCheck->IsWrong());
    EXPECT_FALSE(mCheck->IsDone());
    EXPECT_THAT(mCheck->Complaint(), HasSubstr("wanted StopRewind, Play; came StopRewind"));
    mCheck->OnCall(Stop);
    EXPECT_TRUE(mCheck->IsWrong());

    Begin(Step(MTCWanted::Nothing));
    Obey();
    mCheck->OnCall(Play);
    EXPECT_TRUE(mCheck->IsWrong()) << "one call too many";
}

TEST_F(DemoCheckTest, WantsTheState)
{
    Begin(Step(MTCWanted::Nothing));
    Obey();
    mCheck->OnState(TransportState::Paused);

    EXPECT_FALSE(mCheck->IsDone());
    EXPECT_THAT(mCheck->Complaint(), HasSubstr("in pause, not in play"));
}

TEST_F(DemoCheckTest, WantsNoMTCWhereNothingMoves)
{
    Begin(Step(MTCWanted::Nothing));
    Obey();
    mCheck->OnFullFrame(At(0));

    EXPECT_FALSE(mCheck->IsDone());
    EXPECT_THAT(mCheck->Complaint(), HasSubstr("nothing moved"));
}

TEST_F(DemoCheckTest, WantsQuarterFramesOfFramesThatTheDeckReported)
{
    Begin(Step(MTCWanted::QuarterFrames));
    Obey();
    for (FrameNumber frame = 0; frame < 16; frame += 2) {
        mCheck->OnQuarterFrames(At(frame));
    }
    EXPECT_FALSE(mCheck->IsDone()) << "the deck was never there";
    for (FrameNumber frame = 0; frame < 16; ++frame) {
        mCheck->OnPosition({frame, {}, 1});
    }
    EXPECT_TRUE(mCheck->IsDone());
}

TEST_F(DemoCheckTest, WantsTheFullFrameOfTheTarget)
{
    DemoStep step = Step(MTCWanted::FullFrame);
    step.target = At(100);
    Begin(step);
    Obey();
    mCheck->OnPosition({99, {}, 0});
    mCheck->OnFullFrame(At(99));
    EXPECT_FALSE(mCheck->IsDone());
    EXPECT_THAT(mCheck->Complaint(), HasSubstr("a full frame of the deck's position"));

    mCheck->OnPosition({100, {}, 0});
    mCheck->OnFullFrame(At(100));
    EXPECT_TRUE(mCheck->IsDone());
}

TEST_F(DemoCheckTest, WantsTheFullFrameOfAFrameThatTheDeckReported)
{
    Begin(Step(MTCWanted::FullFrame));
    Obey();
    mCheck->OnFullFrame(At(99));
    EXPECT_FALSE(mCheck->IsDone()) << "the deck was never there";

    mCheck->OnPosition({99, {}, 0});
    EXPECT_TRUE(mCheck->IsDone());
}

TEST_F(DemoCheckTest, WantsAWindToGoItsWay)
{
    Begin(Step(MTCWanted::FullFramesBack));
    Obey();
    for (FrameNumber frame = 100; frame < 200; frame += 10) {
        mCheck->OnFullFrame(At(frame));
    }
    EXPECT_FALSE(mCheck->IsDone());
    for (FrameNumber frame = 200; frame > 100; frame -= 10) {
        mCheck->OnFullFrame(At(frame));
    }
    EXPECT_TRUE(mCheck->IsDone());
}

TEST_F(DemoCheckTest, WantsTheTraceLine)
{
    DemoStep step = Step(MTCWanted::Nothing);
    step.trace = "EJECT";
    Begin(step);
    Obey();
    mCheck->OnTrace("<1> <MMC, HandleMMCCommands> <5> REJECT");
    EXPECT_FALSE(mCheck->IsDone());
    EXPECT_THAT(mCheck->Complaint(), HasSubstr("did not trace EJECT"));
    mCheck->OnTrace("<1> <MMC, HandleMMCCommands> <5> EJECT");
    EXPECT_TRUE(mCheck->IsDone());
}

TEST(DemoScript, ShowsEveryCommandThatThePluginKnows)
{
    const auto script = MakeDemoScript();
    const auto has = [&](std::uint8_t code) {
        return std::any_of(script.begin(), script.end(),
            [code](const DemoStep& step) { return step.bytes[4] == code; });
    };
    for (const MMCCommand& command : MMCCommands()) {
        if (command.treatment == MMCTreatment::kHostCall
            || command.treatment == MMCTreatment::kTracedOnly) {
            EXPECT_TRUE(has(command.code)) << command.name;
        }
    }
}

} // namespace
} // namespace deck::cli::test
