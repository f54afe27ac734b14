// Studios of which the deck is a part, on a real JACK server.

#pragma once

#include "tests/acceptance/DeckTest.h"
#include "tests/acceptance/JackServer.h"

#include "deck/protocol/MtcChecker.h"

namespace deck::acceptance {

/// Loses nothing on a busy machine.
inline constexpr int kPatientPeriod = 2048;
/// Times are exact on a machine that is not.
inline constexpr int kExactPeriod = 128;

/// The deck uses a server that is there but not started.
class JackDeckTest : public DeckTest {
protected:
    explicit JackDeckTest(int period = kPatientPeriod)
        : mPeriod(period)
    {
    }
    void SetUp() override;

    /// `run --json` with these arguments, its ports bound.
    std::unique_ptr<Program> StartBound(const std::vector<std::string>& arguments);

    int mPeriod;
    std::optional<JackServer> mServer;
};

/// A console that sends MMC and a recorder that reads MTC.
class JackStudio : public JackDeckTest {
protected:
    using JackDeckTest::JackDeckTest;
    void SetUp() override;

    /// A deck bound to the console and the recorder.
    std::unique_ptr<Program> StartWired(const std::vector<std::string>& arguments = {});

    /// By the console.
    void Send(MMCCode command);

    /// At the recorder, from where the last wait ended. False where they do not come.
    bool WaitForQuarterFrames(int count);
    /// What the recorder makes of the next 200 quarter frames.
    MtcReport JudgeMTC();

    std::optional<JackPeer> mConsole;
    std::optional<JackPeer> mRecorder;
};

} // namespace deck::acceptance
