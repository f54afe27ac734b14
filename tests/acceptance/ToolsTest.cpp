// The tools of the command line on a real JACK server: what they send, hear and
// judge is what machines that know nothing of the deck see and do.

#include "tests/acceptance/DeckTest.h"
#include "tests/acceptance/JackServer.h"

#include "deck/protocol/MTC.h"

#include <nlohmann/json.hpp>

#include <csignal>

namespace deck::acceptance {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

const Bytes kPlay = EncodeMMC(kMMCAllDevices, kMMCPlay);
const Bytes kStop = EncodeMMC(kMMCAllDevices, kMMCStop);

class ToolsTest : public DeckTest {
protected:
    void SetUp() override
    {
        if (!JackServer::IsInstalled()) {
            GTEST_SKIP() << "jackd is not installed: no JACK server to test with";
        }
        mServer.emplace();
        mServer->Start();
        mConsole.emplace(*mServer, "Console");
        mRecorder.emplace(*mServer, "Recorder");
        mEnvironment["KEL_MIDI_SERVICE"] = "jack";
        mEnvironment["JACK_DEFAULT_SERVER"] = mServer->Name();
    }

    /// The deck with these arguments, and this on its standard input.
    int RunWithInput(const std::string& input, const std::string& arguments)
    {
        const auto file = mHome / "input";
        Write(file, input);
        Program program(
            {"sh", "-c", std::string(KORVA_DECK) + " " + arguments + " < " + file.string()},
            mEnvironment);
        const int status = program.Wait();
        mOutput = program.Output();
        return status;
    }

    /// What the recorder has, without its times.
    std::vector<Bytes> Recorded()
    {
        std::vector<Bytes> messages;
        for (const auto& arrival : mRecorder->Received()) {
            messages.push_back(arrival.bytes);
        }
        return messages;
    }

    std::optional<JackServer> mServer;
    std::optional<JackPeer> mConsole;
    std::optional<JackPeer> mRecorder;
};

// ------------------------------------------------------------------ send

// The program ends as soon as it has sent: what it sent last must be there all the same.
TEST_F(ToolsTest, SendsWhatAMachineReceives)
{
    EXPECT_EQ(Run({"send", "--to", "Recorder", "stop", "locate 01:02:03:04", "play"}), 0)
        << mOutput;

    EXPECT_TRUE(mRecorder->WaitFor(kPlay));
    EXPECT_THAT(Recorded(),
        ElementsAre(kStop, EncodeLocateTarget(kMMCAllDevices, 1, {1, 2, 3, 4, false}), kPlay));
    EXPECT_THAT(mOutput, AllOf(HasSubstr("LOCATE 01:02:03:04"), HasSubstr("F0 7F 7F 06 02 F7")));
}

TEST_F(ToolsTest, SendsALongSysExWhole)
{
    Bytes dump(2000, 0x55);
    dump.front() = 0xF0;
    dump.back() = 0xF7;

    EXPECT_EQ(Run({"send", "--to", "Recorder", FormatBytes(dump)}), 0) << mOutput;

    EXPECT_TRUE(mRecorder->WaitFor(dump));
}

TEST_F(ToolsTest, SendsAFileWithItsWaits)
{
    Write(mHome / "take.txt", "# a take\nplay\nwait 300ms\nstop # done\n");

    EXPECT_EQ(
        Run({"send", "--to", "Recorder", "--device", "3", "--file", (mHome / "take.txt").string()}),
        0)
        << mOutput;

    EXPECT_TRUE(mRecorder->WaitFor(EncodeMMC(3, kMMCStop)));
    const auto received = mRecorder->Received();
    ASSERT_EQ(received.size(), 2U);
    EXPECT_EQ(received[0].bytes, EncodeMMC(3, kMMCPlay));
    EXPECT_GE(received[1].time - received[0].time, std::chrono::milliseconds(290));
}

TEST_F(ToolsTest, SendsNothingOfAFileWithAFault)
{
    Write(mHome / "take.txt", "play\nplya\n");

    EXPECT_EQ(Run({"send", "--to", "Recorder", "--file", (mHome / "take.txt").string()}), 2);

    EXPECT_THAT(mOutput, HasSubstr("take.txt, line 2: \"plya\""));
    EXPECT_EQ(Run({"send", "--to", "Recorder", "stop"}), 0);
    EXPECT_TRUE(mRecorder->WaitFor(kStop));
    EXPECT_THAT(Recorded(), ElementsAre(kStop));
}

TEST_F(ToolsTest, SendsTheSoundLinesOfStandardInput)
{
    EXPECT_EQ(RunWithInput("play\nplya\nstop", "send --to Recorder --file -"), 2);

    EXPECT_THAT(mOutput, HasSubstr("standard input, line 2: \"plya\""));
    EXPECT_TRUE(mRecorder->WaitFor(kStop));
    EXPECT_THAT(Recorded(), ElementsAre(kPlay, kStop));
}

TEST_F(ToolsTest, NamesAPortThatIsNotThere)
{
    EXPECT_EQ(Run({"send", "--to", "organ", "play"}), 2);
    EXPECT_THAT(mOutput, AllOf(HasSubstr("no destination \"organ\""), HasSubstr("Recorder")));
}

} // namespace
} // namespace deck::acceptance
