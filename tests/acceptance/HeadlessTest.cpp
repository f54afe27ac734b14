// A deck left alone in a rack: its takes, its configuration, and who asks how it
// is.

#include "tests/acceptance/JackStudio.h"

#include <nlohmann/json.hpp>

#include <array>
#include <csignal>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace deck::acceptance {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class RackTest : public JackStudio {};

// ------------------------------------------------------------------ takes

TEST_F(RackTest, KeepsATakeFromRecordStrobeToExit)
{
    const auto deck = StartWired();
    Send(kMMCRecordStrobe);
    ASSERT_TRUE(deck->WaitForLine(R"("event":"take","take":1)")) << deck->Output();
    Send(kMMCRecordExit);
    const auto ended = deck->WaitForLine(R"("event":"take")");
    ASSERT_TRUE(ended) << deck->Output();
    EXPECT_THAT(*ended, Not(HasSubstr(R"("out":null)")));

    EXPECT_EQ(Run({"takes", "--export-csv", "-"}), 0) << "while the deck runs";
    EXPECT_THAT(mOutput, HasSubstr("1,25,00:00:00:0"));
    EXPECT_EQ(Run({"takes", "--clear"}), 2);
    EXPECT_THAT(mOutput, HasSubstr("another deck"));
}

TEST_F(RackTest, EndsATakeWithTheDeck)
{
    const auto deck = StartWired({"--status-interval", "0.05"});
    Send(kMMCRecordStrobe);
    ASSERT_TRUE(deck->WaitForLine(R"("event":"take","take":1)")) << deck->Output();
    ASSERT_TRUE(deck->WaitForLine(R"(00:00:00:1)")) << deck->Output();

    deck->Signal(SIGTERM);
    ASSERT_EQ(deck->Wait(), 0) << deck->Output();

    EXPECT_EQ(Run({"takes"}), 0);
    EXPECT_THAT(mOutput, AllOf(HasSubstr("   1  00:00:00:00"), Not(HasSubstr("not ended"))));
    EXPECT_EQ(Run({"takes", "--export-edl", "-"}), 0);
    EXPECT_THAT(mOutput, HasSubstr("001  AX       V     C        00:00:00:00 00:00:0"));
}

TEST_F(RackTest, KeepsATakeThatACrashInterrupted)
{
    {
        const auto deck = StartWired();
        Send(kMMCRecordStrobe);
        ASSERT_TRUE(deck->WaitForLine(R"("event":"take","take":1)")) << deck->Output();
        deck->Signal(SIGKILL);
        deck->Wait();
    }
    EXPECT_EQ(Run({"takes"}), 0);
    EXPECT_THAT(mOutput, HasSubstr("not ended"));

    const auto deck = StartBound({});
    EXPECT_THAT(deck->Output(), HasSubstr("take 1 from 00:00:00:00 was never ended"));
    Send(kMMCRecordStrobe);
    EXPECT_TRUE(deck->WaitForLine(R"("event":"take","take":2)")) << deck->Output();
}

// ------------------------------------------------------------------ configuration

TEST_F(RackTest, StartsBeforeThePortsThatItsConfigurationNames)
{
    mConsole.reset();
    Write(ConfigPath(), "in = Console\nout = Recorder\n");
    const auto deck = Start({"run", "--json"});
    ASSERT_TRUE(deck->WaitForLine(R"(there is no source \"Console\")")) << deck->Output();

    mConsole.emplace(*mServer, "Console");

    ASSERT_TRUE(deck->WaitForLine(R"("bound":true)")) << deck->Output();
    Send(kMMCPlay);
    EXPECT_TRUE(deck->WaitForLine(R"("call":"Play")")) << deck->Output();
}

TEST_F(RackTest, DoesNotWaitForAPortThatItsUserNamesByHand)
{
    EXPECT_EQ(Run({"run", "--in", "Consul", "--out", "Recorder"}), 2);
    Write(ConfigPath(), "in = Consul\nout = Recorder\n");
    EXPECT_EQ(Run({"run", "--no-wait"}), 3);
}

TEST_F(RackTest, TakesOtherPortsWhenItIsTold)
{
    JackPeer other(*mServer, "Other");
    Write(ConfigPath(), "in = Console\nout = Recorder\n");
    const auto deck = StartBound({});

    Write(ConfigPath(), "in = Other\nout = Recorder\nwind-speed = 20\nrate = 24\n");
    deck->Signal(SIGHUP);

    ASSERT_TRUE(deck->WaitForLine(R"(changed: in, wind-speed; needs a restart: rate)"))
        << deck->Output();
    EXPECT_TRUE(deck->WaitForLine(R"("name":"Other:mmc_out")")) << deck->Output();
    other.SendInOneCycle({EncodeMMC(kMMCAllDevices, kMMCPlay)});
    EXPECT_TRUE(deck->WaitForLine(R"("call":"Play")")) << deck->Output();
    EXPECT_THAT(Read(SettingsPath()), HasSubstr("PortConfiguration"));
}

TEST_F(RackTest, GoesOnAsItWasAfterABadConfiguration)
{
    Write(ConfigPath(), "in = Console\nout = Recorder\n");
    const auto deck = StartBound({});

    Write(ConfigPath(), "in = Recorder\nout = Console\nwind-speed = fast\n");
    deck->Signal(SIGHUP);

    const auto told = deck->WaitForLine("not reloaded, nothing changes");
    ASSERT_TRUE(told) << deck->Output();
    EXPECT_THAT(*told, HasSubstr(ConfigPath().string() + ": wind-speed fast: "));
    Send(kMMCPlay);
    EXPECT_TRUE(deck->WaitForLine(R"("call":"Play")")) << deck->Output();
}

TEST_F(RackTest, SaysThatThePortsOfAReloadAreNotThereAndKeepsThoseItHas)
{
    Write(ConfigPath(), "in = Console\nout = Recorder\n");
    const auto deck = StartBound({});

    Write(ConfigPath(), "in = Latecomer\nout = Recorder\n");
    deck->Signal(SIGHUP);
    ASSERT_TRUE(deck->WaitForLine(R"(there is no source \"Latecomer\")")) << deck->Output();
    Send(kMMCPlay);
    ASSERT_TRUE(deck->WaitForLine(R"("call":"Play")")) << deck->Output();

    const JackPeer latecomer(*mServer, "Latecomer");
    EXPECT_TRUE(deck->WaitForLine(R"("name":"Latecomer:mmc_out")")) << deck->Output();
}

// ------------------------------------------------------------------ status

TEST_F(RackTest, TellsHowItIs)
{
    const auto deck = StartWired();
    Send(kMMCPlay);
    ASSERT_TRUE(deck->WaitForLine(R"("state":"play")")) << deck->Output();

    ASSERT_EQ(Run({"status", "--json"}), 0) << mOutput;
    const auto json = nlohmann::json::parse(mOutput);
    EXPECT_EQ(json["state"], "play");
    EXPECT_EQ(json["bound"], true);
    EXPECT_EQ(json["in"]["name"], "Console:mmc_out");
    EXPECT_EQ(json["command"], "run");
    EXPECT_EQ(json["settings"], SettingsPath().string());
    ASSERT_EQ(Run({"status"}), 0);
    EXPECT_THAT(mOutput, AllOf(HasSubstr("PLAY"), HasSubstr("process ")));
}

/// Where a service manager listens to those that it has started.
class ManagerSocket {
public:
    explicit ManagerSocket(const std::filesystem::path& path)
        : mDescriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.string().copy(address.sun_path, sizeof address.sun_path - 1);
        if (bind(mDescriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
            throw std::runtime_error("no socket");
        }
    }
    ~ManagerSocket() { close(mDescriptor); }
    ManagerSocket(const ManagerSocket&) = delete;
    ManagerSocket& operator=(const ManagerSocket&) = delete;

    bool WaitFor(const std::string& start) const
    {
        pollfd polled{mDescriptor, POLLIN, 0};
        constexpr int kMillis = std::chrono::milliseconds(kDeadline).count();
        while (poll(&polled, 1, kMillis) > 0) {
            std::array<char, 1024> text{};
            const ssize_t length = recv(mDescriptor, text.data(), text.size() - 1, 0);
            if (length > 0 && std::string(text.data()).starts_with(start)) {
                return true;
            }
        }
        return false;
    }

private:
    int mDescriptor;
};

class HeadlessTest : public DeckTest {
protected:
    std::unique_ptr<Program> StartIdle()
    {
        auto deck = Start({"run"});
        EXPECT_TRUE(deck->WaitForLine("in none  out none")) << deck->Output();
        return deck;
    }
    nlohmann::json Status()
    {
        EXPECT_EQ(Run({"status", "--json"}), 0) << mOutput;
        return nlohmann::json::parse(mOutput);
    }
    /// The terminal that a deck with that `command` was started in goes once `words` stand there.
    void ExpectEndWithTheTerminal(const std::string& command, const std::string& words)
    {
        if (!std::filesystem::exists("/usr/bin/script")) {
            GTEST_SKIP() << "script is not installed: no terminal to hang up";
        }
        Program terminal(
            {"script", "-qc", "'" + std::string(KORVA_DECK) + "' " + command, "/dev/null"},
            mEnvironment);
        ASSERT_TRUE(terminal.WaitForLine(words)) << terminal.Output();
        ASSERT_EQ(Run({"status"}), 0) << mOutput;

        terminal.Signal(SIGKILL);

        const auto deadline = std::chrono::steady_clock::now() + kDeadline;
        while (Run({"status"}) == 0 && std::chrono::steady_clock::now() < deadline) {
        }
        EXPECT_EQ(Run({"status"}), 3) << command << ": " << mOutput;
    }
};

TEST_F(HeadlessTest, IsAskedWhileItWaitsForItsService)
{
    mEnvironment["KEL_MIDI_SERVICE"] = "jack";
    mEnvironment["JACK_DEFAULT_SERVER"] = "there-is-none";
    const auto deck = Start({"run", "--rate", "24"});
    ASSERT_TRUE(deck->WaitForLine("waiting: jack")) << deck->Output();

    const auto status = Status();

    EXPECT_THAT(status["waiting"].get<std::string>(), HasSubstr("JACK"));
    EXPECT_EQ(status["rate"], "24");
    EXPECT_EQ(status["notice"]["event"], "waiting");
}

TEST_F(HeadlessTest, NamesTheProcessThatHasItsSettings)
{
    const auto deck = StartIdle();
    const auto process = Status()["process"].get<int>();

    EXPECT_EQ(Run({"run"}), 2);
    EXPECT_THAT(mOutput,
        AllOf(HasSubstr("another korva-deck (process " + std::to_string(process) + ")"),
            HasSubstr("--settings")));
    EXPECT_EQ(Status()["process"], process) << "the first one can be asked as before";
}

TEST_F(HeadlessTest, TakesThePlaceOfADeckThatWasKilled)
{
    {
        const auto deck = StartIdle();
        deck->Signal(SIGKILL);
        deck->Wait();
    }
    EXPECT_EQ(Run({"status"}), 3);
    EXPECT_THAT(mOutput, HasSubstr("no deck runs with the settings file"));

    const auto deck = StartIdle();
    EXPECT_EQ(Status()["state"], "stop");
    deck->Signal(SIGTERM);
    EXPECT_EQ(deck->Wait(), 0);
    EXPECT_TRUE(std::filesystem::is_empty(mHome / "run" / "korva-deck"))
        << "its socket goes with it";
}

TEST_F(HeadlessTest, EndsWithTheTerminalThatItWasStartedIn)
{
    UseWindowsWithoutAScreen();
    ExpectEndWithTheTerminal("run", "no ports are chosen");
    ExpectEndWithTheTerminal("play", "window: ");
}

TEST_F(HeadlessTest, EndsWithItsTerminalAlsoWhileItWaits)
{
    UseWindowsWithoutAScreen();
    mEnvironment["KEL_MIDI_SERVICE"] = "jack";
    mEnvironment["JACK_DEFAULT_SERVER"] = "there-is-none";
    ExpectEndWithTheTerminal("run", "waiting: jack");
}

TEST_F(HeadlessTest, ReadsItsConfigurationWithoutATerminalAsOftenAsItIsTold)
{
    const auto deck = StartIdle();
    for (int speed = 3; speed < 6; ++speed) {
        Write(ConfigPath(), "wind-speed = " + std::to_string(speed) + "\n");
        deck->Signal(SIGHUP);
        ASSERT_TRUE(deck->WaitForLine("reloaded: changed: wind-speed")) << deck->Output();
    }
    deck->Signal(SIGHUP);
    EXPECT_TRUE(deck->WaitForLine("reloaded: nothing has changed")) << deck->Output();
}

TEST_F(HeadlessTest, RunsOnWhereItCannotBeAsked)
{
    Write(mHome / "run" / "korva-deck", "no folder");

    const auto deck = Start({"run"});

    EXPECT_TRUE(deck->WaitForLine("not a folder that only this user can enter")) << deck->Output();
    EXPECT_TRUE(deck->WaitForLine("in none  out none")) << deck->Output();
}

// ------------------------------------------------------------------ service manager

TEST_F(HeadlessTest, HasAUnitThatSystemdAccepts)
{
    if (!std::filesystem::exists("/usr/bin/systemd-analyze")) {
        GTEST_SKIP() << "systemd is not installed: nothing to verify its unit with";
    }
    Program verify({"systemd-analyze", "--user", "--man=no", "verify", SYSTEMD_UNIT}, mEnvironment);

    EXPECT_EQ(verify.Wait(), 0);
    EXPECT_EQ(verify.Output(), "") << "it warns on lines that it does not know";
}

TEST_F(HeadlessTest, TellsItsServiceManagerWhenItIsReadyAndWhenItEnds)
{
    const ManagerSocket manager(mHome / "notify");
    mEnvironment["NOTIFY_SOCKET"] = (mHome / "notify").string();
    const auto deck = Start({"run"});

    EXPECT_TRUE(manager.WaitFor("READY=1"));
    EXPECT_TRUE(manager.WaitFor("STATUS=note: no ports are chosen"));
    deck->Signal(SIGTERM);
    EXPECT_TRUE(manager.WaitFor("STOPPING=1"));
    EXPECT_EQ(deck->Wait(), 0);
}

TEST_F(HeadlessTest, HasASocketForEachSettingsFile)
{
    const auto first = StartIdle();
    const auto second = Start({"run", "--settings", (mHome / "b" / "deck-settings.json").string()});
    ASSERT_TRUE(second->WaitForLine("in none  out none")) << second->Output();

    EXPECT_EQ(Status()["settings"], SettingsPath().string());
    ASSERT_EQ(
        Run({"status", "--json", "--settings", (mHome / "b" / "deck-settings.json").string()}), 0);
    EXPECT_THAT(mOutput, HasSubstr("/b/deck-settings.takes.jsonl"));
}

} // namespace
} // namespace deck::acceptance
