#include "tests/acceptance/JackStudio.h"

#include "deck/protocol/MTC.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <csignal>

namespace deck::acceptance {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;

const Bytes kPlay = EncodeMMC(kMMCAllDevices, kMMCPlay);
const Bytes kStop = EncodeMMC(kMMCAllDevices, kMMCStop);
constexpr Timecode kScene{1, 2, 3, 4, false};

Bytes LocateToScene()
{
    return EncodeLocateTarget(kMMCAllDevices, FrameRate::k25.MtcCode(), kScene);
}

Bytes SceneFullFrame()
{
    return {0xF0, 0x7F, 0x7F, 0x01, 0x01, 0x21, 0x02, 0x03, 0x04, 0xF7};
}

bool IsQuarterFrame(const Bytes& message)
{
    return message.size() == 2 && message[0] == kQuarterFrameStatus;
}

class JackTest : public JackDeckTest {
protected:
    // A deck bound to a machine's ports.
    std::unique_ptr<Program> StartWithMachine()
    {
        mServer->Start();
        mPeer.emplace(*mServer, "machine");
        return StartBound({"--in", "mmc_out", "--out", "mtc_in"});
    }

    static std::optional<json> NextCall(Program& deck)
    {
        const auto line = deck.WaitForLine([](const std::string& text) {
            return text.find(R"("event":"call")") != std::string::npos
                && text.find("SetSMPTEActive") == std::string::npos;
        });
        return line ? std::optional(json::parse(*line)) : std::nullopt;
    }

    static int End(Program& deck)
    {
        deck.Signal(SIGTERM);
        return deck.Wait();
    }

    std::optional<JackPeer> mPeer;
};

TEST_F(JackTest, PlaysForAMachineAndLeadsItWithMTC)
{
    const auto deck = StartWithMachine();
    mPeer->SendInOneCycle({kPlay});

    EXPECT_TRUE(deck->WaitForLine(R"("state":"play")"));
    MtcDecoder decoder;
    std::vector<FrameNumber> told;
    const auto isSecond = [&](const Bytes& message) {
        const auto reading = IsQuarterFrame(message) ? decoder.Feed(message) : std::nullopt;
        if (reading) {
            EXPECT_EQ(reading->time.rateCode, FrameRate::k25.MtcCode());
            told.push_back(ToNearestFrame(reading->time.timecode, FrameRate::k25));
        }
        return told.size() == 2;
    };
    ASSERT_TRUE(mPeer->WaitFor(isSecond)) << deck->Output();
    EXPECT_EQ(told[1], told[0] + 2) << "eight quarter frames are two frames";
    EXPECT_EQ(End(*deck), 0);
}

TEST_F(JackTest, ObeysAStopAndALocateOfOneCycleInTheirOrder)
{
    const auto deck = StartWithMachine();
    mPeer->SendInOneCycle({kPlay});
    ASSERT_TRUE(mPeer->WaitFor(IsQuarterFrame));
    ASSERT_EQ(NextCall(*deck).value()["call"], "Play");
    mPeer->SendInOneCycle({kStop, LocateToScene()});

    const auto first = NextCall(*deck);
    const auto second = NextCall(*deck);

    ASSERT_TRUE(first && second) << deck->Output();
    EXPECT_EQ((*first)["call"], "Stop");
    EXPECT_EQ((*second)["call"], "LocateToSMPTETime");
    EXPECT_EQ((*second)["time"]["hours"], 1);
    EXPECT_EQ((*second)["time"]["frames"], 4);
    EXPECT_TRUE(mPeer->WaitFor(SceneFullFrame()));
    EXPECT_EQ(End(*deck), 0);
    EXPECT_THAT(deck->Output(),
        testing::ContainsRegex(R"re("state":"stop",[^}]*"timecode":"01:02:03:04")re"));
}

TEST_F(JackTest, OffersPortsOfItsOwnThatAPatchbayCanWire)
{
    mServer->Start();
    mPeer.emplace(*mServer, "machine");
    const auto deck = Start({"run", "--json"});
    ASSERT_TRUE(deck->WaitForLine(R"("own_ports":true)")) << deck->Output();

    ASSERT_TRUE(mPeer->Wire("korva-deck:MMC in", "korva-deck:MTC out"));
    mPeer->SendInOneCycle({LocateToScene()});
    EXPECT_TRUE(mPeer->WaitFor(SceneFullFrame())) << deck->Output();
    mPeer->SendInOneCycle({kPlay});
    EXPECT_TRUE(mPeer->WaitFor(IsQuarterFrame)) << deck->Output();
    EXPECT_EQ(End(*deck), 0);
}

TEST_F(JackTest, ServesItsOwnPortsBesideTheChosenOnes)
{
    const auto deck = StartWithMachine();
    JackPeer other(*mServer, "other");
    ASSERT_TRUE(other.Wire("korva-deck:MMC in", "korva-deck:MTC out"));

    other.SendInOneCycle({LocateToScene()});
    EXPECT_TRUE(mPeer->WaitFor(SceneFullFrame())) << deck->Output() << mServer->Output();
    EXPECT_TRUE(other.WaitFor(SceneFullFrame())) << deck->Output() << mServer->Output();
    mPeer->SendInOneCycle({kPlay});
    EXPECT_TRUE(mPeer->WaitFor(IsQuarterFrame)) << deck->Output();
    EXPECT_TRUE(other.WaitFor(IsQuarterFrame)) << deck->Output();
    EXPECT_EQ(End(*deck), 0);
}

TEST_F(JackTest, ShowsThePatchbayNothingButItsOwnPorts)
{
    mServer->Start();
    mPeer.emplace(*mServer, "machine");
    const auto deck = Start({"run", "--json", "--no-own-ports"});
    ASSERT_TRUE(deck->WaitForLine(R"("own_ports":false)")) << deck->Output();

    const auto ports = Start({"ports"});

    EXPECT_EQ(ports->Wait(), 0);
    EXPECT_THAT(ports->Output(), testing::Not(HasSubstr("korva-deck")));
    EXPECT_EQ(End(*deck), 0);
}

TEST_F(JackTest, EndsWellWhileItRolls)
{
    const auto deck = StartWithMachine();
    mPeer->SendInOneCycle({kPlay});
    ASSERT_TRUE(mPeer->WaitFor(IsQuarterFrame));

    EXPECT_EQ(End(*deck), 0) << deck->Output();
}

TEST_F(JackTest, SendsNoMTCWhereNoneIsWanted)
{
    mServer->Start();
    mPeer.emplace(*mServer, "machine");
    const auto deck = StartBound({"--in", "mmc_out", "--out", "mtc_in", "--no-mtc"});
    mPeer->SendInOneCycle({LocateToScene()});
    ASSERT_TRUE(deck->WaitForLine(R"("timecode":"01:02:03:04")"));
    EXPECT_EQ(End(*deck), 0);

    // With MTC the same locate comes out: what came first would be found first
    const auto again = Start({"run", "--json", "--mtc", "--rate", "24"});
    ASSERT_TRUE(again->WaitForLine(R"("bound":true)"));
    mPeer->SendInOneCycle({EncodeLocateTarget(kMMCAllDevices, 0, kScene)});
    const auto full = mPeer->WaitFor([](const Bytes& message) { return message.size() == 10; });
    ASSERT_TRUE(full);
    EXPECT_EQ((*full)[5], 0x01) << "the first full frame is the second deck's, at 24";
    EXPECT_EQ(End(*again), 0);
}

TEST_F(JackTest, RemembersItsPortsAndBindsThemWhenTheyCome)
{
    EXPECT_EQ(End(*StartWithMachine()), 0);
    EXPECT_THAT(Read(SettingsPath()), HasSubstr(R"("transmit_mtc":true)"));
    mPeer.reset();
    const auto deck = Start({"run", "--json"});
    ASSERT_TRUE(deck->WaitForLine(R"("event":"waiting")"));
    ASSERT_TRUE(deck->WaitForLine(R"("bound":false)"));
    mPeer.emplace(*mServer, "machine");

    ASSERT_TRUE(deck->WaitForLine(R"("bound":true)")) << deck->Output();
    mPeer->SendInOneCycle({kPlay});
    EXPECT_TRUE(mPeer->WaitFor(IsQuarterFrame)) << deck->Output();
    EXPECT_EQ(End(*deck), 0);
}

TEST_F(JackTest, SaysThatTheServerHasGoneAlsoWhereItHasNoPortsButItsOwn)
{
    mServer->Start();
    const auto deck = Start({"run", "--json"});
    ASSERT_TRUE(deck->WaitForLine(R"("own_ports":true)")) << deck->Output();

    mServer->Kill();
    EXPECT_TRUE(deck->WaitForLine(R"("waiting":")")) << deck->Output();
}

TEST_F(JackTest, BindsAgainByItselfAfterTheServerWasKilled)
{
    const auto deck = StartWithMachine();
    mServer->Kill();
    EXPECT_TRUE(deck->WaitForLine(R"("bound":false)")) << deck->Output();
    mPeer.reset();
    mServer->Start();
    mPeer.emplace(*mServer, "machine");

    ASSERT_TRUE(deck->WaitForLine(R"("bound":true)")) << deck->Output();
    mPeer->SendInOneCycle({kPlay});
    EXPECT_TRUE(mPeer->WaitFor(IsQuarterFrame)) << deck->Output();
    EXPECT_EQ(End(*deck), 0);
}

TEST_F(JackTest, GoesOnWhenTheServerComesLate)
{
    const auto deck = Start({"run", "--json", "--in", "mmc_out", "--out", "mtc_in"});
    ASSERT_TRUE(deck->WaitForLine(R"("event":"waiting")"));
    mServer->Start();

    // No port of that name is there: the deck says so now that it can know
    EXPECT_EQ(deck->Wait(), 2);
    EXPECT_THAT(deck->Output(), HasSubstr("there is no source"));
}

TEST_F(JackTest, ListsThePortsOfOtherClients)
{
    mServer->Start();
    mPeer.emplace(*mServer, "machine");

    EXPECT_EQ(Run({"ports", "--json"}), 0);
    const json listed = json::parse(mOutput);
    EXPECT_EQ(listed["service"], "jack");
    EXPECT_THAT(mOutput, AllOf(HasSubstr("mmc_out"), HasSubstr("mtc_in")));
    EXPECT_EQ(Run({"ports"}), 0);
    EXPECT_THAT(mOutput, AllOf(HasSubstr("source"), HasSubstr("destination")));
}

TEST_F(JackTest, ListsTheCandidatesOfAnAmbiguousName)
{
    mServer->Start();
    mPeer.emplace(*mServer, "machine");
    const JackPeer twin(*mServer, "twin");

    EXPECT_EQ(Run({"run", "--in", "mmc", "--out", "mtc"}), 2);
    EXPECT_THAT(
        mOutput, AllOf(HasSubstr("more than one source"), HasSubstr("machine"), HasSubstr("twin")));
    EXPECT_EQ(Run({"run", "--in", "organ", "--out", "mtc"}), 2);
    EXPECT_THAT(mOutput, AllOf(HasSubstr("no source \"organ\""), HasSubstr("machine")));
}

// Bytes from a fixed seed, in messages of up to 40.
class Noise {
public:
    explicit Noise(bool hasSysEx)
        : mHasSysEx(hasSysEx)
    {
    }

    std::vector<Bytes> NextCycle()
    {
        std::vector<Bytes> messages;
        for (int message = 0; message < kMessagesACycle; ++message) {
            Bytes bytes(1U + Next() % kLongest);
            std::generate(bytes.begin(), bytes.end(), [this] { return Next(); });
            messages.push_back(bytes);
        }
        return messages;
    }

private:
    static constexpr int kMessagesACycle = 8;
    static constexpr unsigned kLongest = 40;

    std::uint8_t Next()
    {
        mState = mState * 1103515245U + 12345U;
        const auto byte = static_cast<std::uint8_t>(mState >> 16U);
        return !mHasSysEx && (byte == 0xF0 || byte == 0xF7) ? std::uint8_t{0xF8} : byte;
    }

    bool mHasSysEx;
    unsigned mState = 1;
};

constexpr int kNoisyCycles = 50;

TEST_F(JackTest, ObeysAfterNoiseAndForeignSysEx)
{
    const auto deck = StartWithMachine();
    Noise noise(false);
    for (int cycle = 0; cycle < kNoisyCycles; ++cycle) {
        mPeer->SendInOneCycle(noise.NextCycle());
        mPeer->SendInOneCycle({{0xF0, 0x43, 0x10, 0x4C, 0x00, 0xF7}});
    }
    mPeer->SendInOneCycle({kPlay});

    EXPECT_TRUE(deck->WaitForLine(R"("call":"Play")")) << deck->Output();
    EXPECT_TRUE(mPeer->WaitFor(IsQuarterFrame));
    EXPECT_EQ(End(*deck), 0);
}

TEST_F(JackTest, SurvivesWhateverComes)
{
    const auto deck = StartWithMachine();
    Noise noise(true);
    for (int cycle = 0; cycle < kNoisyCycles; ++cycle) {
        mPeer->SendInOneCycle(noise.NextCycle());
    }
    mPeer->SendInOneCycle({kPlay});

    // What it is taken for depends on the noise before it; that it came is seen in any case
    EXPECT_TRUE(deck->WaitForLine(R"("text":"PLAY")")) << deck->Output();
    EXPECT_EQ(End(*deck), 0) << deck->Output();
}

} // namespace
} // namespace deck::acceptance
