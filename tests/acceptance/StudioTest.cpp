// A studio with a console that sends MMC and a recorder that reads MTC: what a
// user does with them, every command of README.md included.

#include "tests/acceptance/CommandWords.h"
#include "tests/acceptance/JackStudio.h"
#include "tests/deck/media/TestFilm.h"

#include "deck/protocol/MTC.h"

#include <csignal>
#include <fstream>

namespace deck::acceptance {
namespace {

using testing::HasSubstr;

const Bytes kStopAndPlay = {0xF0, 0x7F, 0x7F, 0x06, 0x01, 0x02, 0xF7};

class StudioTest : public JackStudio {
protected:
    StudioTest()
        : JackStudio(kExactPeriod)
    {
    }
};

// ------------------------------------------------------------------ README.md

std::vector<std::string> ReadmeCommands()
{
    std::vector<std::string> commands;
    std::ifstream readme(README);
    bool isShell = false;
    for (std::string line; std::getline(readme, line);) {
        if (line.starts_with("```")) {
            isShell = line == "```sh";
        } else if (isShell) {
            commands.push_back(line);
        }
    }
    return commands;
}

/// The statuses with which a command has done its work: some give a verdict, which is the machine's
/// and not theirs.
std::vector<int> Done(const std::vector<std::string>& arguments)
{
    const bool isJudge = arguments[0] == "check-mtc" || arguments[0] == "doctor";
    return isJudge ? std::vector{0, 1} : std::vector{0};
}

/// A machine that sends some 17 seconds of MTC.
class TimecodeMachine {
public:
    explicit TimecodeMachine(const JackServer& server)
        : mPeer(server, "Timecode")
    {
        for (FrameNumber cycle = 0; cycle < 200; ++cycle) {
            for (int piece = 0; piece < kMtcPieces; ++piece) {
                const auto bytes
                    = EncodeQuarterFrame(MtcTimeOf(90000 + 2 * cycle, FrameRate::k25), piece);
                mPeer.SendInOneCycle({Bytes(bytes.begin(), bytes.end())});
                mPeer.SendInOneCycle({}); // its rhythm is that of the server's cycles
                mPeer.SendInOneCycle({});
                mPeer.SendInOneCycle({});
            }
        }
    }

private:
    JackPeer mPeer;
};

TEST_F(StudioTest, EveryCommandOfTheReadmeWorks)
{
    UseWindowsWithoutAScreen();
    const std::string film = test::MakeFilm({"25", 50, "01:00:00:00"});
    int tried = 0;
    for (const std::string& command : ReadmeCommands()) {
        std::vector<std::string> arguments = Words(command);
        ASSERT_FALSE(arguments.empty());
        if (arguments.front() == "./check") {
            continue; // it is what runs this
        }
        ASSERT_EQ(arguments.front(), "./run") << command;
        arguments.erase(arguments.begin());
        if (arguments.empty()) {
            arguments = {"demo"};
        }
        for (std::string& argument : arguments) {
            argument = argument == "film.mov" ? film : argument;
        }
        ++tried;
        std::optional<TimecodeMachine> timecode;
        if (arguments[0] == "check-mtc") {
            timecode.emplace(*mServer);
        }
        std::unique_ptr<Program> asked; // by status
        if (arguments.front() == "status") {
            asked = Start({"run"});
            ASSERT_TRUE(asked->WaitForLine("bound")) << asked->Output();
        }
        const auto deck = Start(arguments);
        if (RunsUntilEnded(arguments)) {
            const char* const ready = arguments[0] == "play" ? "window:" : "bound";
            ASSERT_TRUE(deck->WaitForLine(ready)) << command << "\n" << deck->Output();
            deck->Signal(SIGINT);
        }
        EXPECT_THAT(Done(arguments), testing::Contains(deck->Wait())) << command << "\n"
                                                                      << deck->Output();
    }
    EXPECT_GE(tried, 14);
}

// ------------------------------------------------------------------ connect, configure, ports

TEST_F(StudioTest, ConnectKeepsThePortsForTheNextRun)
{
    ASSERT_EQ(Run({"connect", "--in", "console", "--out", "Recorder"}), 0) << mOutput;
    EXPECT_THAT(mOutput, HasSubstr("MTC      on"));

    const auto deck = Start({"run", "--json"});
    EXPECT_TRUE(deck->WaitForLine(R"("bound":true)")) << deck->Output();
}

TEST_F(StudioTest, ConnectChangesNothingWhereAPortIsUnknown)
{
    ASSERT_EQ(Run({"connect", "--in", "Console", "--out", "Recorder", "--no-mtc"}), 0) << mOutput;
    const std::string before = Read(SettingsPath());

    EXPECT_EQ(Run({"connect", "--in", "Consul", "--out", "Recorder"}), 2);
    EXPECT_THAT(mOutput, HasSubstr("there is no source \"Consul\""));
    EXPECT_EQ(Read(SettingsPath()), before);
    EXPECT_THAT(before, HasSubstr(R"("transmit_mtc":false)"));
}

TEST_F(StudioTest, ConfigureWithoutADisplaySaysWhatToDoInstead)
{
    mEnvironment["DISPLAY"] = "";
    mEnvironment["WAYLAND_DISPLAY"] = "";
    mEnvironment["QT_QPA_PLATFORM"] = "";

    EXPECT_EQ(Run({"configure"}), 2);
    EXPECT_THAT(mOutput, HasSubstr("korva-deck connect --in PORT --out PORT"));
}

TEST_F(StudioTest, PortsWatchTellsWhatComesAndGoes)
{
    const auto deck = Start({"ports", "--watch", "--json"});
    ASSERT_TRUE(deck->WaitForLine(R"("name":"Recorder:mtc_in")")) << deck->Output();

    JackPeer latecomer(*mServer, "Latecomer");
    EXPECT_TRUE(deck->WaitForLine([](const std::string& line) {
        return line.find(R"("event":"added")") != std::string::npos
            && line.find("Latecomer:mmc_out") != std::string::npos;
    })) << deck->Output();

    mConsole.reset();
    EXPECT_TRUE(deck->WaitForLine([](const std::string& line) {
        return line.find(R"("event":"removed")") != std::string::npos
            && line.find("Console:mmc_out") != std::string::npos;
    })) << deck->Output();
    deck->Signal(SIGTERM);
    EXPECT_EQ(deck->Wait(), 0);
}

// ------------------------------------------------------------------ a surface gone deaf

TEST_F(StudioTest, ObeysAgainAfterSeveralCommandsInOneMessage)
{
    const auto deck = StartWired();

    mConsole->SendInOneCycle({kStopAndPlay});
    ASSERT_TRUE(deck->WaitForLine("was connected anew")) << deck->Output();
    Send(kMMCPlay);

    EXPECT_TRUE(deck->WaitForLine(R"("call":"Play")")) << deck->Output();
}

TEST_F(StudioTest, StaysDeafWhereToldSoAndSaysWhy)
{
    const auto deck = StartWired({"--no-revive"});

    mConsole->SendInOneCycle({kStopAndPlay});
    EXPECT_TRUE(deck->WaitForLine("obeys nothing any more")) << deck->Output();
    Send(kMMCPlay);
    EXPECT_TRUE(deck->WaitForLine(R"("fate":"deaf")")) << deck->Output();
    deck->Signal(SIGTERM);
    EXPECT_EQ(deck->Wait(), 0);
    EXPECT_EQ(deck->Output().find(R"("call":"Play")"), std::string::npos);
}

// ------------------------------------------------------------------ MTC on time

TEST_F(StudioTest, BurstsAreNotWhatAMachineCanLockTo)
{
    const auto deck = StartWired({"--mtc-pacing", "off"});
    Send(kMMCPlay);

    const MtcReport report = JudgeMTC();

    EXPECT_EQ(report.verdict, MtcVerdict::kDefective) << FormatMtcReport(report);
}

} // namespace
} // namespace deck::acceptance
