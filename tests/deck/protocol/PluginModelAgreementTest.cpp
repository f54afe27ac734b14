// The model against the measure that the plug-in itself is tested with: what it predicts is what
// the plug-in does, for hostile bytes at any chunking.

#include "deck/protocol/PluginModel.h"
#include "tests/MIDIMachineControl/HostileMidi.h"

#include <gtest/gtest.h>

namespace deck {
namespace {

mmc::tests::HostCall Plain(const HostCall& call)
{
    if (call.kind == HostCallKind::Locate)
        return mmc::tests::LocateCall(call.time.timeFormat,
            {call.time.hours, call.time.minutes, call.time.seconds, call.time.frames,
                call.time.subframes});
    static const std::array<mmc::tests::HostCall, 8> kPlain{mmc::tests::kStartRewind,
        mmc::tests::kStopRewind, mmc::tests::kStartFastForward, mmc::tests::kStopFastForward,
        mmc::tests::kStop, mmc::tests::kPlay, mmc::tests::kRecord, mmc::tests::kPause};
    return kPlain.at(static_cast<std::size_t>(call.kind));
}

TEST(PluginModel, PredictsEveryCallOfThePluginForHostileBytes)
{
    std::size_t calls = 0;
    std::size_t deaf = 0;
    for (unsigned int seed = 0; seed < 4000; ++seed) {
        mmc::tests::HostileMidi midi(seed);
        mmc::tests::NaiveReceiver plugin;
        PluginModel model;
        std::vector<mmc::tests::HostCall> predicted;
        const std::size_t most = 1 + seed % 40;
        for (int i = 0; i < 60; ++i) {
            const auto arrival = midi.NextArrival(most);
            plugin.Arrive(arrival);
            const bool wasDeaf = model.IsDeaf();
            for (const auto& call : model.Feed(arrival).calls)
                predicted.push_back(Plain(call));
            ASSERT_EQ(predicted, plugin.Calls()) << "seed " << seed << ", arrival " << i;
            ASSERT_LE(wasDeaf, model.IsDeaf());
        }
        calls += predicted.size();
        deaf += model.IsDeaf();
    }
    EXPECT_GT(calls, 4000u);
    EXPECT_GT(deaf, 1000u);
}

} // namespace
} // namespace deck
