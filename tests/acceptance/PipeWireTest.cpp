// A desktop whose JACK server is PipeWire.

#include "tests/acceptance/DeckTest.h"

#include <nlohmann/json.hpp>

#include <csignal>

namespace deck::acceptance {
namespace {

constexpr char kWaiting[] = R"("waiting":)";

class PipeWireTest : public DeckTest {
protected:
    void SetUp() override
    {
        if (!std::filesystem::exists("/usr/bin/pw-jack")) {
            GTEST_SKIP() << "pipewire-jack is not installed: no PipeWire to test with";
        }
        mEnvironment["KEL_MIDI_SERVICE"] = "jack";
        StartServer();
    }

    /// Ends the one that was.
    void StartServer()
    {
        mServer.reset();
        mServer.emplace(std::vector<std::string>{"pipewire"}, mEnvironment);
    }

    std::unique_ptr<Program> StartOnPipeWire(const std::vector<std::string>& arguments) const
    {
        std::vector<std::string> command = {"pw-jack", KORVA_DECK};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return std::make_unique<Program>(command, mEnvironment);
    }

    void Send(const std::string& command) const
    {
        const auto sender = StartOnPipeWire({"send", "--to", "korva-deck:MMC in", command});
        EXPECT_EQ(sender->Wait(), 0) << sender->Output();
    }

    /// A deck that has ports of its own.
    std::unique_ptr<Program> StartDeck() const
    {
        auto deck = StartOnPipeWire({"run", "--json"});
        EXPECT_TRUE(deck->WaitForLine(R"("own_ports":true)")) << deck->Output();
        return deck;
    }

    std::optional<Program> mServer;
};

TEST_F(PipeWireTest, ObeysMMCAndLeadsWithMTC)
{
    const auto deck = StartDeck();

    Send("play");
    EXPECT_TRUE(deck->WaitForLine(R"("call":"Play")")) << deck->Output();

    const auto check = StartOnPipeWire({"check-mtc", "--from", "MTC out", "--for", "2", "--json"});
    const auto line = check->WaitForLine(R"("cycles":)");
    ASSERT_TRUE(line) << check->Output();
    const auto report = nlohmann::json::parse(*line);
    EXPECT_GT(report["cycles"], 10) << *line;
    EXPECT_EQ(report["rate"], "25");
}

TEST_F(PipeWireTest, GoesOnAfterTheServerWasStartedAnew)
{
    const auto deck = StartDeck();
    mServer->Signal(SIGKILL);
    ASSERT_TRUE(deck->WaitForLine(kWaiting)) << deck->Output();

    StartServer();
    ASSERT_TRUE(deck->WaitForLine([](const std::string& line) {
        return line.find(R"("event":"status")") != std::string::npos
            && line.find(kWaiting) == std::string::npos;
    })) << deck->Output();

    Send("play");
    EXPECT_TRUE(deck->WaitForLine(R"("call":"Play")")) << deck->Output();
}

} // namespace
} // namespace deck::acceptance
