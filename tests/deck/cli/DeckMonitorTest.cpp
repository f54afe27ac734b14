#include "deck/cli/DeckMonitor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <poll.h>

namespace deck::cli::test {
namespace {

/// Counts how often it is shown the ports.
class PortsDisplay final : public Display {
public:
    void Tell(const std::string&, const std::string&) override {}
    void Show(const DeckStatus&, bool) override {}
    void ShowPorts(const PortLists& ports) override
    {
        ++shown;
        names.clear();
        for (const host::MidiPort& port : ports.sources) {
            names.push_back(port.name);
        }
    }

    int shown = 0;
    std::vector<std::string> names; // of the sources
};

class DeckMonitorTest : public testing::Test {
protected:
    static void SetUpTestSuite() { setenv("KEL_MIDI_SERVICE", "builtin", 1); }

    /// As `run` and the window do: looks whenever something has happened.
    template <typename Condition> bool UpdateUntil(DeckMonitor& monitor, Condition isSo)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        for (;;) {
            monitor.Update(false);
            if (isSo() || std::chrono::steady_clock::now() > end) {
                return isSo();
            }
            pollfd polled{mSession.Events().Descriptor(), POLLIN, 0};
            poll(&polled, 1, 1000);
        }
    }

    host::MidiClient mMachine{"machine"};
    host::DeckSession mSession{TEST_BUNDLE, {}};
    PortsDisplay mDisplay;
};

TEST_F(DeckMonitorTest, ListsThePortsWhenTheServiceSaysThatTheyHaveChangedAndNotBefore)
{
    DeckMonitor monitor(mSession, mDisplay, FrameRate::k25, 0, true);
    monitor.SetPorts({});
    EXPECT_EQ(mDisplay.shown, 1);
    for (int i = 0; i < 100; ++i) {
        monitor.Update(true);
    }
    EXPECT_EQ(mDisplay.shown, 1) << "nothing has come or gone";

    const auto hasConsole = [&] {
        return std::find(mDisplay.names.begin(), mDisplay.names.end(), "Console")
            != mDisplay.names.end();
    };
    const MIDIEndpointRef console = mMachine.MakeSource("Console");
    EXPECT_TRUE(UpdateUntil(monitor, hasConsole));
    MIDIEndpointDispose(console);
    EXPECT_TRUE(UpdateUntil(monitor, [&] { return !hasConsole(); }));
}

TEST_F(DeckMonitorTest, KeepsTheNameOfAPortThatIsGoneButNotOfAnother)
{
    DeckMonitor monitor(mSession, mDisplay, FrameRate::k25, 0, true);
    const MIDIEndpointRef console = mMachine.MakeSource("Console");
    const MIDIUniqueID id = host::UniqueIDOf(console);
    monitor.SetPorts({id, std::nullopt, std::nullopt});
    EXPECT_TRUE(monitor.Status().in.isThere);

    MIDIEndpointDispose(console);
    EXPECT_TRUE(UpdateUntil(monitor, [&] { return !monitor.Status().in.isThere; }));
    EXPECT_EQ(monitor.Status().in.name, "Console");

    monitor.SetPorts({id + 1, std::nullopt, std::nullopt});
    EXPECT_EQ(monitor.Status().in.name, "");
}

} // namespace
} // namespace deck::cli::test
