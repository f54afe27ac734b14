// What the control surface makes of commands.

#include "tests/MIDIMachineControl/FakeTrace.h"
#include "tests/MIDIMachineControl/SurfaceTest.h"
#include "tests/support/HeapControl.h"

#include <string>

namespace mmc::tests {

namespace {

using korva::tests::HeapControl;
using testing::_;
using testing::Expectation;
using testing::InSequence;
using testing::Mock;
using testing::Return;
using testing::StrictMock;

class SurfaceCommands : public SurfaceTest {
protected:
    void ExpectNothingMore() { Mock::VerifyAndClearExpectations(&mHost); }
    void ExpectLocate(
        std::uint32_t format, int hours, int minutes, int seconds, int frames, int subframes)
    {
        EXPECT_CALL(mHost,
            LocateToSMPTETime(
                mHost.SMPTERef(), format, hours, minutes, seconds, frames, subframes));
    }
    /// REWIND or FAST FORWARD, with its host call expected.
    void Rewind()
    {
        EXPECT_CALL(mHost, StartRewind(mHost.TransportRef()));
        ReceiveCommand({0x05});
        ExpectNothingMore();
    }
    void FastForward()
    {
        EXPECT_CALL(mHost, StartFastForward(mHost.TransportRef()));
        ReceiveCommand({0x04});
        ExpectNothingMore();
    }
    /// Whether commands are still carried out.
    void ExpectPlayIsHeard()
    {
        EXPECT_CALL(mHost, Play(mHost.TransportRef()));
        ReceiveCommand({0x02});
        ExpectNothingMore();
    }
    void ExpectNothingIsHeardAnyMore()
    {
        for (const std::uint8_t command : std::initializer_list<std::uint8_t>{1, 2, 5, 9}) {
            ReceiveCommand({command});
        }
        ReceiveCommand({0x44, 0x06, 0x01, 0x21, 0x02, 0x03, 0x04, 0x00});
    }
};

// One command, what the host is told, and whether a wind ends first.
struct CommandCase {
    std::uint8_t code;
    const char* traceWord;
    void (*expectHostCall)(MockHost& host); // null: none
    bool releasesWind;
};

void PrintTo(const CommandCase& command, std::ostream* stream)
{
    *stream << command.traceWord;
}

void ExpectStop(MockHost& host)
{
    EXPECT_CALL(host, Stop(host.TransportRef()));
}
void ExpectPlay(MockHost& host)
{
    EXPECT_CALL(host, Play(host.TransportRef()));
}
void ExpectRecord(MockHost& host)
{
    EXPECT_CALL(host, Record(host.TransportRef()));
}
void ExpectPause(MockHost& host)
{
    EXPECT_CALL(host, Pause(host.TransportRef()));
}
void ExpectStartRewind(MockHost& host)
{
    EXPECT_CALL(host, StartRewind(host.TransportRef()));
}
void ExpectStartFastForward(MockHost& host)
{
    EXPECT_CALL(host, StartFastForward(host.TransportRef()));
}

constexpr CommandCase kSimpleCommands[] = {
    {0x01, "STOP", ExpectStop, true},
    {0x02, "PLAY", ExpectPlay, true},
    {0x03, "DEFERREDPLAY", ExpectPlay, true},
    {0x04, "FASTFORWARD", ExpectStartFastForward, true},
    {0x05, "REWIND", ExpectStartRewind, true},
    {0x06, "RECORDSTROBE", ExpectRecord, true},
    {0x07, "RECORDEXIT", ExpectStop, false},
    {0x08, "RECORDPAUSE", ExpectPause, false},
    {0x09, "PAUSE", ExpectPause, true},
    {0x0A, "EJECT", nullptr, false},
    {0x0B, "CHASE", nullptr, false},
    {0x0D, "MMCRESET", nullptr, true},
};

class SurfaceCommand : public SurfaceCommands, public testing::WithParamInterface<CommandCase> {
protected:
    void ExpectHostCall()
    {
        if (GetParam().expectHostCall != nullptr) {
            GetParam().expectHostCall(mHost);
        }
    }
};

} // namespace

INSTANTIATE_TEST_SUITE_P(
    EachOf, SurfaceCommand, testing::ValuesIn(kSimpleCommands), [](const auto& tested) {
        return std::string(tested.param.traceWord);
    });

TEST_P(SurfaceCommand, CallsTheHostAndIsUsedUp)
{
    ExpectHostCall();
    ReceiveCommand({GetParam().code});
    ExpectNothingMore();

    if (GetParam().code == 0x04) {
        EXPECT_CALL(mHost, StopFastForward(mHost.TransportRef()));
    }
    if (GetParam().code == 0x05) {
        EXPECT_CALL(mHost, StopRewind(mHost.TransportRef()));
    }
    ExpectPlayIsHeard();
}

TEST_P(SurfaceCommand, EndsARewindFirstOrLeavesItAlone)
{
    Rewind();
    {
        const InSequence inSequence;
        if (GetParam().releasesWind) {
            EXPECT_CALL(mHost, StopRewind(mHost.TransportRef()));
        }
        ExpectHostCall();
        ReceiveCommand({GetParam().code});
    }
    ExpectNothingMore();

    // MMC RESET ends what is still engaged, and nothing else.
    if (!GetParam().releasesWind || GetParam().code == 0x05) {
        EXPECT_CALL(mHost, StopRewind(mHost.TransportRef()));
    }
    if (GetParam().code == 0x04) {
        EXPECT_CALL(mHost, StopFastForward(mHost.TransportRef()));
    }
    ReceiveCommand({0x0D});
}

TEST_P(SurfaceCommand, EndsAFastForwardFirstOrLeavesItAlone)
{
    FastForward();
    {
        const InSequence inSequence;
        if (GetParam().releasesWind) {
            EXPECT_CALL(mHost, StopFastForward(mHost.TransportRef()));
        }
        ExpectHostCall();
        ReceiveCommand({GetParam().code});
    }
    ExpectNothingMore();

    if (!GetParam().releasesWind || GetParam().code == 0x04) {
        EXPECT_CALL(mHost, StopFastForward(mHost.TransportRef()));
    }
    if (GetParam().code == 0x05) {
        EXPECT_CALL(mHost, StopRewind(mHost.TransportRef()));
    }
    ReceiveCommand({0x0D});
}

TEST_P(SurfaceCommand, IsTracedBeforeTheHostIsCalled)
{
    StrictMock<FakeTrace> trace;
    const InSequence inSequence;
    EXPECT_CALL(trace, TraceEnabled("MMC, HandleMMCCommands", 5, true)).WillOnce(Return(true));
    EXPECT_CALL(trace, Trace(TraceLine(GetParam().traceWord)));
    ExpectHostCall();

    ReceiveCommand({GetParam().code});
}

TEST_F(SurfaceCommands, TracesItsWordAlsoForCommandsWithData)
{
    StrictMock<FakeTrace> trace;
    EXPECT_CALL(trace, TraceEnabled).WillRepeatedly(Return(true));
    const InSequence inSequence;
    EXPECT_CALL(trace, Trace(TraceLine("WRITE")));
    EXPECT_CALL(trace, Trace(TraceLine("SHUTTLE")));

    ReceiveCommand({0x40, 0x02, 0x01, 0x02});
    ReceiveCommand({0x47, 0x03, 0x40, 0x00, 0x00});
}

TEST_F(SurfaceCommands, AskOncePerTraceSiteAndAgainOnlyWhenTheChangeCountMoves)
{
    StrictMock<FakeTrace> trace;
    EXPECT_CALL(mHost, Play).Times(4);
    EXPECT_CALL(mHost, Stop).Times(2);

    EXPECT_CALL(trace, TraceEnabled).WillOnce(Return(false));
    ReceiveCommand({0x02});
    ReceiveCommand({0x02});
    Mock::VerifyAndClearExpectations(&trace);

    EXPECT_CALL(trace, TraceEnabled).WillOnce(Return(true)); // STOP is another site
    EXPECT_CALL(trace, Trace(TraceLine("STOP")));
    ReceiveCommand({0x01});
    Mock::VerifyAndClearExpectations(&trace);

    trace.Change();
    EXPECT_CALL(trace, TraceEnabled).WillOnce(Return(true));
    EXPECT_CALL(trace, Trace(TraceLine("PLAY"))).Times(2);
    ReceiveCommand({0x02});
    ReceiveCommand({0x02});
    Mock::VerifyAndClearExpectations(&trace);

    trace.Change();
    EXPECT_CALL(trace, TraceEnabled).WillOnce(Return(false));
    ReceiveCommand({0x01}); // and what STOP knew is void
}

TEST_F(SurfaceCommands, CostOneLookAtTheChangeCountWhileUntraced)
{
    StrictMock<FakeTrace> trace;
    EXPECT_CALL(trace, TraceEnabled).WillOnce(Return(false));
    EXPECT_CALL(mHost, Play).Times(3);
    ReceiveCommand({0x02});
    const int before = trace.ChangeCountCalls();

    ReceiveCommand({0x02});
    ReceiveCommand({0x02});

    EXPECT_EQ(trace.ChangeCountCalls(), before + 2);
}

TEST_F(SurfaceCommands, AreNotTracedWhereTheyAreUnknown)
{
    const StrictMock<FakeTrace> trace;

    ReceiveCommand({0x0C});
    ReceiveCommand({0x7A});
    ReceiveCommand({0x45, 0x01, 0x00});

    EXPECT_EQ(trace.ChangeCountCalls(), 0);
}

TEST_F(SurfaceCommands, EngageOneWindAtATime)
{
    FastForward();
    {
        const InSequence inSequence;
        EXPECT_CALL(mHost, StopFastForward(mHost.TransportRef()));
        EXPECT_CALL(mHost, StartRewind(mHost.TransportRef()));
        ReceiveCommand({0x05});
    }
    ExpectNothingMore();

    const InSequence inSequence;
    EXPECT_CALL(mHost, StopRewind(mHost.TransportRef()));
    EXPECT_CALL(mHost, Stop(mHost.TransportRef()));
    ReceiveCommand({0x01});
}

TEST_F(SurfaceCommands, KeepAWindThroughRecordExitUntilPlay)
{
    Rewind();
    EXPECT_CALL(mHost, Stop(mHost.TransportRef()));
    ReceiveCommand({0x07});
    ExpectNothingMore();

    const InSequence inSequence;
    EXPECT_CALL(mHost, StopRewind(mHost.TransportRef()));
    EXPECT_CALL(mHost, Play(mHost.TransportRef()));
    ReceiveCommand({0x02});
}

TEST_F(SurfaceCommands, LocateAtEachRate)
{
    ExpectLocate(3, 1, 2, 3, 4, 0);
    ReceiveCommand({0x44, 0x06, 0x01, 0x21, 0x02, 0x03, 0x04, 0x00});
    ExpectLocate(4, 1, 2, 3, 4, 0);
    ReceiveCommand({0x44, 0x06, 0x01, 0x41, 0x02, 0x03, 0x04, 0x00});
    ExpectLocate(5, 1, 2, 3, 4, 0);
    ReceiveCommand({0x44, 0x06, 0x01, 0x61, 0x02, 0x03, 0x04, 0x00});
    ExpectLocate(2, 1, 2, 3, 4, 0);
    ReceiveCommand({0x44, 0x06, 0x01, 0x01, 0x02, 0x03, 0x04, 0x00});

    ExpectPlayIsHeard();
}

TEST_F(SurfaceCommands, LocateWithTheirFieldsMaskedAndTheSubframesAsTheyAre)
{
    ExpectLocate(5, 31, 63, 63, 31, 0x7F);
    ReceiveCommand({0x44, 0x06, 0x01, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F});
    ExpectLocate(2, 23, 59, 59, 29, 99);
    ReceiveCommand({0x44, 0x06, 0x01, 0x17, 0x3B, 0x3B, 0x1D, 99});
}

TEST_F(SurfaceCommands, LocateIntoThePastWithoutTheSign)
{
    ExpectLocate(3, 1, 2, 3, 4, 0);
    ReceiveCommand({0x44, 0x06, 0x01, 0x21, 0x02, 0x03, 0x44, 0x00});
}

TEST_F(SurfaceCommands, LocateWhateverTheCountSays)
{
    ExpectLocate(3, 1, 2, 3, 4, 0);
    ReceiveCommand({0x44, 0x08, 0x01, 0x21, 0x02, 0x03, 0x04, 0x00, 0x11, 0x22});

    ExpectPlayIsHeard();
}

TEST_F(SurfaceCommands, LocateDoesNothingButIsUsedUpWhereItIsNotTarget)
{
    const StrictMock<FakeTrace> trace; // not traced either
    ReceiveCommand({0x44, 0x06, 0x00, 0x21, 0x02, 0x03, 0x04, 0x00});
    ReceiveCommand({0x44, 0x06, 0x02, 0x21, 0x02, 0x03, 0x04, 0x00});
    EXPECT_EQ(trace.ChangeCountCalls(), 0);
}

TEST_F(SurfaceCommands, LocateWithoutAllItsTimeIsNotTarget)
{
    const StrictMock<FakeTrace> trace;
    ReceiveCommand({0x44, 0x00});                      // no sub-command
    ReceiveCommand({0x44, 0x01, 0x01});                // no time
    ReceiveCommand({0x44, 0x05, 0x01, 0x21, 2, 3, 4}); // no subframes
    EXPECT_EQ(trace.ChangeCountCalls(), 0);
}

TEST_F(SurfaceCommands, LocateOfTwelveBytesWithoutSubframesIsNotCarriedOut)
{
    ReceiveCommand({0x44, 0x05, 0x01, 0x21, 0x02, 0x03, 0x04});

    ExpectPlayIsHeard();
}

TEST_F(SurfaceCommands, LocateWithoutTheSMPTESuiteIsOnlyTraced)
{
    EXPECT_CALL(mHost, ReleaseSuite).Times(4);
    EXPECT_CALL(mHost, AcquireSuite).Times(2);
    EXPECT_CALL(mHost, AcquireSuite("KORVASDK ControlSurfaceHost Suite", 1, _))
        .WillOnce(Gives(MockHost::HostSuite()));
    EXPECT_CALL(mHost, AcquireSuite("KORVASDK ControlSurfaceHost Transport Suite", 1, _))
        .WillOnce(Gives(MockHost::TransportSuite()));
    EXPECT_CALL(mHost, AcquireSuite("KORVASDK ControlSurfaceHost SMPTE Suite", 1, _))
        .WillOnce(Return(kErrorBadParameter));
    EXPECT_CALL(mHost, GetTransportRef).WillOnce(Return(kSuccess));
    mSurface.SetControlSurfaceHost(mHost.HostRef());
    StrictMock<FakeTrace> trace;
    EXPECT_CALL(trace, TraceEnabled).WillOnce(Return(true));
    EXPECT_CALL(trace, Trace(TraceLine("GOTO: 01:02:03:04, fps: 25")));

    ReceiveCommand({0x44, 0x06, 0x01, 0x21, 0x02, 0x03, 0x04, 0x00});
}

TEST_F(SurfaceCommands, LocateTracesItsTimeBeforeTheHostIsCalled)
{
    StrictMock<FakeTrace> trace;
    EXPECT_CALL(trace, TraceEnabled("MMC, HandleMMCCommands", 5, true)).WillOnce(Return(true));
    const InSequence inSequence;
    const auto expect = [&](const char* text) {
        EXPECT_CALL(trace, Trace(TraceLine(text)));
        EXPECT_CALL(mHost, LocateToSMPTETime);
    };
    expect("GOTO: 01:02:03:04, fps: 25");
    expect("GOTO: 01;02;03;04, fps: 30");
    expect("GOTO: 01:02:03:04, fps: 30");
    expect("GOTO: 01:02:03:04, fps: 24");
    expect("GOTO: -23:59:59:29, fps: 24");

    ReceiveCommand({0x44, 0x06, 0x01, 0x21, 0x02, 0x03, 0x04, 0x00});
    ReceiveCommand({0x44, 0x06, 0x01, 0x41, 0x02, 0x03, 0x04, 0x00});
    ReceiveCommand({0x44, 0x06, 0x01, 0x61, 0x02, 0x03, 0x04, 0x00});
    ReceiveCommand({0x44, 0x06, 0x01, 0x01, 0x02, 0x03, 0x04, 0x00});
    ReceiveCommand({0x44, 0x06, 0x01, 0x17, 0x3B, 0x3B, 0x5D, 0x00});
}

TEST_F(SurfaceCommands, SkipTheDataOfWriteAndShuttle)
{
    ReceiveCommand({0x40, 0x02, 0x06, 0x02}); // looks like a PLAY inside
    ReceiveCommand({0x47, 0x03, 0x40, 0x00, 0x00});

    ExpectPlayIsHeard();
}

TEST_F(SurfaceCommands, CarryOutOnlyTheFirstOfSeveralInOneMessageAndNothingAfterwards)
{
    EXPECT_CALL(mHost, Stop(mHost.TransportRef()));
    ReceiveCommand({0x01, 0x02});
    ExpectNothingMore();

    ExpectNothingIsHeardAnyMore();
}

TEST_F(SurfaceCommands, CarryOutSeveralInOneMessageWhereEachHasItsSubId)
{
    const InSequence inSequence;
    EXPECT_CALL(mHost, Stop(mHost.TransportRef()));
    EXPECT_CALL(mHost, Play(mHost.TransportRef()));
    EXPECT_CALL(mHost, Pause(mHost.TransportRef()));

    ReceiveCommand({0x01, 0x06, 0x02, 0x06, 0x09});
}

TEST_F(SurfaceCommands, AreBlockedForGoodByAResponse)
{
    Receive({0xF0, 0x7F, 0x7F, 0x07, 0x01, 0xF7});

    ExpectNothingIsHeardAnyMore();
}

TEST_F(SurfaceCommands, AreBlockedForGoodByACommandWithoutALength)
{
    ReceiveCommand({0x00});

    ExpectNothingIsHeardAnyMore();
}

TEST_F(SurfaceCommands, AreBlockedForGoodByAByteThatIsNoCommand)
{
    ReceiveCommand({0x80});

    ExpectNothingIsHeardAnyMore();
}

TEST_F(SurfaceCommands, AreBlockedByARealTimeByteInTheirPlace)
{
    ReceiveCommand({0xF8, 0x02});

    ExpectNothingIsHeardAnyMore();
}

TEST_F(SurfaceCommands, PassOverUnknownOnesOfTwoBytes)
{
    for (int code = 0x0E; code < 0x40; ++code) {
        ReceiveCommand({static_cast<std::uint8_t>(code)});
    }
    for (int code = 0x78; code < 0x80; ++code) {
        ReceiveCommand({static_cast<std::uint8_t>(code)});
    }
    ReceiveCommand({0x0C});

    ExpectPlayIsHeard();
}

TEST_F(SurfaceCommands, PassOverUnknownOnesWithData)
{
    for (int code = 0x41; code < 0x78; ++code) {
        if (code != 0x44 && code != 0x47) {
            ReceiveCommand({static_cast<std::uint8_t>(code), 0x02, 0x06, 0x02});
        }
    }
    ReceiveCommand({0x4C, 0x00}); // a count of none

    ExpectPlayIsHeard();
}

TEST_F(SurfaceCommands, WaitForTheDataThatTheirCountPromises)
{
    ReceiveCommand({0x44, 0x06, 0x01, 0x21}); // five bytes of nine

    ReceiveCommand({0x02}); // seven: no locate yet, and no PLAY
}

TEST_F(SurfaceCommands, CountTheBytesOfLaterMessagesTowardsTheirData)
{
    ReceiveCommand({0x44, 0x06, 0x01, 0x21}); // 06 44 06 01 21
    ReceiveCommand({0x02});                   // 06 02
    ExpectLocate(3, 1, 6, 2, 6, 3);
    ReceiveCommand({0x03}); // 06 03: nine bytes
    ExpectNothingMore();

    ExpectPlayIsHeard();
}

// The count that did not come with the command is then the sub-ID of the next message: 6.
TEST_F(SurfaceCommands, WaitForTheirCount)
{
    StrictMock<FakeTrace> trace;
    EXPECT_CALL(trace, TraceEnabled).WillOnce(Return(true));
    EXPECT_CALL(trace, Trace(TraceLine("SHUTTLE"))).Times(2); // carried out at once, and again
    ReceiveCommand({0x47});
    ReceiveCommand({0x01});       // 06 47 06 01
    ReceiveCommand({0x01});       // 06 47 06 01 06 01
    ReceiveCommand({0x01});       // 06 47 06 01 06 01 06 01: one lacks
    ReceiveCommand({0x01, 0x06}); // the ninth, and 01 06 behind it
    Mock::VerifyAndClearExpectations(&trace);

    ExpectNothingIsHeardAnyMore(); // since 01 is no sub-ID
}

TEST_F(SurfaceCommands, StayBlockedThroughAFloodThatIsNotKept)
{
    Receive({0xF0, 0x7F, 0x7F, 0x07, 0x01, 0xF7});
    HeapControl heap;
    heap.RefuseFrom(HeapControl::kMegabyte);

    for (int i = 0; i < 300000; ++i) { // 2.4 MB of commands
        ReceiveCommand({0x02, 0x06, 0x02, 0x06, 0x02, 0x06, 0x02});
    }
}

TEST_F(SurfaceCommands, WaitForAsMuchDataAsACommandCanHave)
{
    std::vector<std::uint8_t> most{0xF0, 0x7F, 0x7F, 0x06, 0x4C, 0xFF}; // 258 bytes with its 06
    most.insert(most.end(), 240, 0x11);
    most.push_back(0xF7);
    Receive(most); // 243 of them

    ReceiveCommand({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14}); // the other 15

    ExpectPlayIsHeard();
}

} // namespace mmc::tests
