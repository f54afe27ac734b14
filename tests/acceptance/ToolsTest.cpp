// The tools of the command line on a real JACK server: what they send, hear and
// judge is what machines that know nothing of the deck see and do.

#include "tests/acceptance/JackStudio.h"

#include "deck/protocol/MTC.h"

#include <nlohmann/json.hpp>

#include <csignal>
#include <sstream>

namespace deck::acceptance {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

const Bytes kPlay = EncodeMMC(kMMCAllDevices, kMMCPlay);
const Bytes kStop = EncodeMMC(kMMCAllDevices, kMMCStop);

/// The lines that are JSON; what is said to people goes to standard error.
std::vector<json> JsonLines(const std::string& output)
{
    std::vector<json> lines;
    std::istringstream text(output);
    for (std::string line; std::getline(text, line);) {
        if (line.starts_with('{')) {
            lines.push_back(json::parse(line));
        }
    }
    return lines;
}

class ToolsTest : public JackStudio {
protected:
    using JackStudio::JackStudio;

    /// The deck with these arguments, and this on its standard input.
    int RunWithInput(const std::string& input, const std::string& arguments)
    {
        const auto file = mHome / "input";
        Write(file, input);
        Program program(
            {"sh", "-c", "'" KORVA_DECK "' " + arguments + " < '" + file.string() + "'"},
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
    // By the server's estimate of the time, which is a little off on a busy machine
    EXPECT_GE(received[1].time - received[0].time, std::chrono::milliseconds(250));
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

TEST_F(ToolsTest, DrivesADeckThatRuns)
{
    const auto deck = StartWired();

    // A busy machine's deck may miss a cycle and what came in it
    EXPECT_EQ(Run({"send", "--to", "korva-deck:MMC in", "--interval", "200", "play", "play", "play",
                  "play", "play"}),
        0)
        << mOutput;

    EXPECT_TRUE(deck->WaitForLine(R"("call":"Play")")) << deck->Output();
}

TEST_F(ToolsTest, NamesAPortThatIsNotThere)
{
    EXPECT_EQ(Run({"send", "--to", "organ", "play"}), 2);
    EXPECT_THAT(mOutput, AllOf(HasSubstr("no destination \"organ\""), HasSubstr("Recorder")));
}

// ------------------------------------------------------------------ monitor

TEST_F(ToolsTest, ShowsWhatComesInAndWhatThePluginMakesOfIt)
{
    const auto monitor = Start({"monitor", "--from", "Console", "--json", "--count", "4"});
    ASSERT_TRUE(monitor->WaitForLine("listening to Console:mmc_out")) << monitor->Output();
    mConsole->SendInOneCycle({EncodeMMC(5, kMMCPlay), EncodeMMC(kMMCAllDevices, 0x0B),
        {0xF0, 0x7F, 0x7F, 0x01, 0x01, 0x21, 0x02, 0x03, 0x04, 0xF7}, {0x90, 0x3C, 0x40}});

    EXPECT_EQ(monitor->Wait(), 0);
    const std::vector<json> lines = JsonLines(monitor->Output());
    ASSERT_EQ(lines.size(), 4U) << monitor->Output();
    EXPECT_EQ(lines[0]["source"], "Console:mmc_out");
    EXPECT_EQ(lines[0]["bytes"], "F0 7F 05 06 02 F7");
    EXPECT_EQ(lines[0]["device"], 5);
    EXPECT_EQ(lines[0]["fate"], "host call");
    EXPECT_EQ(lines[1]["fate"], "traced only");
    EXPECT_GT(lines[1]["since_last_ns"], 0);
    EXPECT_EQ(lines[2]["kind"], "mtc-full");
    EXPECT_EQ(lines[2]["rate"], "25");
    EXPECT_EQ(lines[2]["fate"], "dropped");
    EXPECT_EQ(lines[3]["kind"], "other");
}

TEST_F(ToolsTest, ShowsOneKindOnlyOfEverySourceAndSavesIt)
{
    const JackPeer desk(*mServer, "Desk");
    const auto file = mHome / "saved.txt";
    const auto monitor = Start({"monitor", "--only", "mmc,sysex", "--save", file.string()});
    ASSERT_TRUE(monitor->WaitForLine("listening to Desk:mmc_out")) << monitor->Output();
    mConsole->SendInOneCycle({{0x90, 0x3C, 0x40}, kStop});
    ASSERT_TRUE(monitor->WaitForLine("[Console:mmc_out]  F0 7F 7F 06 01 F7  STOP"));
    mConsole->SendInOneCycle({{0xF8}, {0xF0, 0x43, 0x10, 0xF7}});
    ASSERT_TRUE(monitor->WaitForLine("F0 43 10 F7"));
    monitor->Signal(SIGINT);

    EXPECT_EQ(monitor->Wait(), 0);
    EXPECT_THAT(Read(file), AllOf(HasSubstr("STOP"), HasSubstr("F0 43 10 F7")));
    EXPECT_THAT(monitor->Output(), AllOf(Not(HasSubstr("90 3C 40")), Not(HasSubstr("  F8"))));
    EXPECT_THAT(Read(file), Not(HasSubstr("listening")));
}

TEST_F(ToolsTest, HearsASourceAgainThatWasAway)
{
    const auto monitor = Start({"monitor", "--from", "Console"});
    ASSERT_TRUE(monitor->WaitForLine("listening to Console:mmc_out"));
    mConsole.reset();
    ASSERT_TRUE(monitor->WaitForLine("Console:mmc_out has gone")) << monitor->Output();
    mConsole.emplace(*mServer, "Console");
    ASSERT_TRUE(monitor->WaitForLine("listening to Console:mmc_out")) << monitor->Output();
    Send(kMMCPlay);

    EXPECT_TRUE(monitor->WaitForLine("PLAY")) << monitor->Output();
    monitor->Signal(SIGTERM);
    EXPECT_EQ(monitor->Wait(), 0);
}

TEST_F(ToolsTest, EndsTheMonitorAfterItsTime)
{
    EXPECT_EQ(Run({"monitor", "--for", "0.2"}), 0) << mOutput;
    EXPECT_EQ(Run({"monitor", "--save", "/no/such/folder/file"}), 2);
    EXPECT_THAT(
        mOutput, AllOf(HasSubstr("cannot write /no/such/folder/file"), HasSubstr("--save")));
}

// ------------------------------------------------------------------ check-mtc

/// The exit statuses of check-mtc.
enum Verdict : int { kSound = 0, kNotSound = 1, kWrong = 2, kNothingHeard = 3 };

class CheckMtcTest : public ToolsTest {
protected:
    CheckMtcTest()
        : ToolsTest(kExactPeriod)
    {
    }

    /// A deck that rolls, whose output the others find as a source.
    std::unique_ptr<Program> StartRolling(const std::vector<std::string>& options = {})
    {
        auto deck = StartWired(options);
        // A busy machine's deck may miss a cycle and what came in it
        for (int i = 0; i < 500; ++i) {
            mConsole->SendInOneCycle(
                i % 100 == 0 ? std::vector<Bytes>{kPlay} : std::vector<Bytes>{});
        }
        EXPECT_TRUE(mRecorder->WaitFor([](const Bytes& message) { return message.size() == 2; }));
        return deck;
    }
};

// The deck's own port, as a patchbay shows it
constexpr char kDecksOutput[] = "to Recorder";

TEST_F(CheckMtcTest, HearsTheDecksPacedMTC)
{
    const auto deck = StartRolling({"--rate", "25", "--start", "01:00:00:00"});

    const int status = Run({"check-mtc", "--from", kDecksOutput, "--for", "3", "--json"});

    const auto lines = JsonLines(mOutput);
    ASSERT_EQ(lines.size(), 1U) << mOutput;
    const json& report = lines[0];
    EXPECT_GT(report["cycles"], 10) << mOutput;
    EXPECT_EQ(report["rate"], "25");
    EXPECT_EQ(report["direction"], "forward");
    EXPECT_EQ(status, report["verdict"] == "sound" ? kSound : kNotSound);
}

TEST_F(CheckMtcTest, FindsTheBurstsOfUnpacedMTC)
{
    const auto deck = StartRolling({"--mtc-pacing", "off"});

    EXPECT_EQ(Run({"check-mtc", "--from", kDecksOutput, "--for", "2"}), kNotSound) << mOutput;
    EXPECT_THAT(mOutput, AllOf(HasSubstr("defective"), HasSubstr("jitter")));
}

TEST_F(CheckMtcTest, JudgesWhatTheMonitorSaved)
{
    const auto deck = StartRolling({"--mtc-pacing", "off"});
    const std::string file = mHome / "mtc.jsonl";

    ASSERT_EQ(Run({"monitor", "--from", kDecksOutput, "--only", "mtc", "--json", "--save", file,
                  "--count", "100"}),
        0)
        << mOutput;

    EXPECT_EQ(Run({"check-mtc", file}), kNotSound) << mOutput;
    EXPECT_THAT(mOutput, HasSubstr("jitter"));
}

TEST_F(CheckMtcTest, FindsAPieceThatIsMissing)
{
    const auto check = Start({"check-mtc", "--from", "Console", "--for", "2"});
    ASSERT_TRUE(check->WaitForLine("listening to Console:mmc_out")) << check->Output();
    const MtcTime time = MtcTimeOf(90000, FrameRate::k25);
    for (int piece = 0; piece < 4 * kMtcPieces; ++piece) {
        if (piece != 11) {
            const auto bytes = EncodeQuarterFrame(time, piece % kMtcPieces);
            mConsole->SendInOneCycle({Bytes(bytes.begin(), bytes.end())});
        }
    }

    EXPECT_EQ(check->Wait(), kNotSound);
    EXPECT_THAT(check->Output(), HasSubstr("missing-piece"));
}

TEST_F(CheckMtcTest, SaysThatNothingWasHeard)
{
    EXPECT_EQ(Run({"check-mtc", "--from", "Console", "--for", "0.2"}), kNothingHeard) << mOutput;
    EXPECT_THAT(mOutput, HasSubstr("nothing to judge"));
}

TEST_F(CheckMtcTest, EndsWithItsVerdictAtASignal)
{
    const auto check = Start({"check-mtc", "--from", "Console"});
    ASSERT_TRUE(check->WaitForLine("listening to Console:mmc_out")) << check->Output();
    check->Signal(SIGINT);

    EXPECT_EQ(check->Wait(), kNothingHeard);
    EXPECT_THAT(check->Output(), HasSubstr("nothing to judge"));
}

TEST_F(CheckMtcTest, RefusesWhatItCannotCheck)
{
    Write(mHome / "notes.txt", "hello\n");

    EXPECT_EQ(Run({"check-mtc", (mHome / "notes.txt").string()}), kWrong);
    EXPECT_THAT(mOutput, AllOf(HasSubstr("notes.txt, line 1"), HasSubstr("monitor --json")));
    EXPECT_EQ(Run({"check-mtc", (mHome / "none").string()}), kWrong);
    EXPECT_THAT(mOutput, HasSubstr("cannot read"));
    EXPECT_EQ(Run({"check-mtc", "--from", "organ"}), kWrong);
    EXPECT_THAT(mOutput, HasSubstr("no source \"organ\""));
}

// ------------------------------------------------------------------ doctor

class DoctorTest : public ToolsTest {
protected:
    DoctorTest()
        : ToolsTest(kExactPeriod)
    {
    }

    /// Examines; what it found of `check` at `level`.
    std::vector<std::string> Find(const std::string& check,
        const std::string& level,
        const std::vector<std::string>& options = {})
    {
        std::vector<std::string> arguments{"doctor", "--json"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        mStatus = Run(arguments);
        std::vector<std::string> found;
        const json report = json::parse(mOutput.substr(mOutput.find("{\n")));
        for (const json& finding : report["findings"]) {
            if (finding["check"] == check && finding["level"] == level) {
                found.push_back(finding["text"]);
            }
        }
        EXPECT_EQ(mStatus == 0, report["fine"]) << mOutput;
        return found;
    }

    /// A doctor that listens, as soon as it does.
    std::unique_ptr<Program> StartListening(const std::vector<std::string>& options = {})
    {
        std::vector<std::string> arguments{"doctor", "--listen", "1.5"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        auto doctor = Start(arguments);
        EXPECT_TRUE(doctor->WaitForLine("listening to Console:mmc_out")) << doctor->Output();
        return doctor;
    }

    void Connect()
    {
        ASSERT_EQ(Run({"connect", "--in", "Console", "--out", "Recorder"}), 0) << mOutput;
    }

    int mStatus = 0;
};

TEST_F(DoctorTest, IsContentWithAStudioThatWorks)
{
    Connect();
    const auto doctor = StartListening({"--rate", "25"});
    mConsole->SendInOneCycle({EncodeLocateTarget(kMMCAllDevices, 1, {1, 0, 0, 24, false})});

    EXPECT_EQ(doctor->Wait(), 0) << doctor->Output();
    EXPECT_THAT(doctor->Output(),
        AllOf(HasSubstr("jack is running"), HasSubstr("MMC in is bound to \"Console:mmc_out\""),
            HasSubstr("MTC goes to \"Recorder:mtc_in\""), HasSubstr("1 MMC messages came"),
            HasSubstr("\"MIDI Machine Control\" loads"), Not(HasSubstr("problem"))));
}

TEST_F(DoctorTest, DisturbsNoDeckThatRuns)
{
    const auto deck = StartWired();

    EXPECT_EQ(Run({"doctor"}), 0) << mOutput;
    Send(kMMCPlay);

    EXPECT_TRUE(deck->WaitForLine(R"("call":"Play")")) << deck->Output();
}

TEST_F(DoctorTest, FindsThatNoPortsAreChosenAndTouchesNothing)
{
    EXPECT_THAT(Find("binding", "note"), ElementsAre(HasSubstr("no ports are chosen")));
    EXPECT_EQ(mStatus, 0) << "the deck has ports of its own";
    EXPECT_FALSE(std::filesystem::exists(SettingsPath()));
}

TEST_F(DoctorTest, FindsAPortThatIsAwayAndMTCThatNobodyReads)
{
    Connect();
    mRecorder.reset();

    EXPECT_THAT(Find("binding", "problem"), ElementsAre(HasSubstr("for MTC out is not there")));
    EXPECT_THAT(Find("mtc", "problem"), ElementsAre(HasSubstr("nothing reads it")));
}

TEST_F(DoctorTest, FindsSilenceWhereItWasToListen)
{
    Connect();

    EXPECT_THAT(
        Find("sysex", "problem", {"--listen", "0.2"}), ElementsAre(HasSubstr("nothing came")));
    EXPECT_THAT(Find("sysex", "note"), ElementsAre(HasSubstr("nothing came")));
    EXPECT_EQ(mStatus, 0) << mOutput;
}

TEST_F(DoctorTest, FindsADeafeningSenderAtAnotherRate)
{
    Connect();
    const auto doctor = StartListening({"--rate", "25"});
    mConsole->SendInOneCycle({EncodeLocateTarget(kMMCAllDevices, 0, {1, 0, 0, 29, false}),
        {0xF0, 0x7F, 0x7F, 0x06, 0x01, 0x02, 0xF7}});

    EXPECT_EQ(doctor->Wait(), 1) << doctor->Output();
    EXPECT_THAT(doctor->Output(),
        AllOf(HasSubstr("rate bits of 24 and frames up to 29, the deck is to run at 25"),
            HasSubstr("--locate-rate deck"), HasSubstr("deaf"), HasSubstr("several commands")));
}

TEST_F(DoctorTest, FindsWhatIsNotThereAtAll)
{
    Connect();
    mConsole.reset();
    mRecorder.reset();
    mServer->Stop();

    EXPECT_THAT(Find("service", "problem"), ElementsAre(HasSubstr("no JACK server is running")))
        << mOutput;
    EXPECT_THAT(Find("plug-in", "problem", {"--bundle", "/nowhere/X.bundle"}),
        ElementsAre(HasSubstr("no bundle at /nowhere/X.bundle")));
    Write(SettingsPath(), "{broken");
    EXPECT_THAT(Find("binding", "problem"), ElementsAre(HasSubstr("is broken")));
    EXPECT_EQ(Read(SettingsPath()), "{broken");
}

TEST_F(DoctorTest, RefusesWrongArguments)
{
    EXPECT_EQ(Run({"doctor", "--rate", "26"}), 2);
    EXPECT_EQ(Run({"doctor", "--listen", "long"}), 2);
}

} // namespace
} // namespace deck::acceptance
