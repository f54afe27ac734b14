#include "tests/acceptance/JackStudio.h"

namespace deck::acceptance {

void JackDeckTest::SetUp()
{
    if (!JackServer::IsInstalled()) {
        GTEST_SKIP() << "jackd is not installed: no JACK server to test with";
    }
    mServer.emplace(mPeriod);
    mEnvironment["KEL_MIDI_SERVICE"] = "jack";
    mEnvironment["JACK_DEFAULT_SERVER"] = mServer->Name();
}

std::unique_ptr<Program> JackDeckTest::StartBound(const std::vector<std::string>& arguments)
{
    std::vector<std::string> run = {"run", "--json"};
    run.insert(run.end(), arguments.begin(), arguments.end());
    auto deck = Start(run);
    EXPECT_TRUE(deck->WaitForLine(R"("bound":true)")) << deck->Output();
    return deck;
}

void JackStudio::SetUp()
{
    JackDeckTest::SetUp();
    if (IsSkipped()) {
        return;
    }
    mServer->Start();
    mConsole.emplace(*mServer, "Console");
    mRecorder.emplace(*mServer, "Recorder");
}

std::unique_ptr<Program> JackStudio::StartWired(const std::vector<std::string>& arguments)
{
    std::vector<std::string> wired = {"--in", "Console", "--out", "Recorder"};
    wired.insert(wired.end(), arguments.begin(), arguments.end());
    return StartBound(wired);
}

void JackStudio::Send(MMCCode command)
{
    mConsole->SendInOneCycle({EncodeMMC(kMMCAllDevices, command)});
}

bool JackStudio::WaitForQuarterFrames(int count)
{
    return mRecorder
        ->WaitFor([count](const Bytes& message) mutable {
            count -= message.size() == 2 ? 1 : 0;
            return count == 0;
        })
        .has_value();
}

MtcReport JackStudio::JudgeMTC()
{
    const std::size_t before = mRecorder->Received().size();
    EXPECT_TRUE(WaitForQuarterFrames(200));
    MtcChecker checker;
    const auto received = mRecorder->Received();
    for (std::size_t i = before; i < received.size(); ++i) {
        checker.Feed(received[i].bytes, received[i].time);
    }
    return checker.Report();
}

} // namespace deck::acceptance
