#include "mediaio/midiservice/src/SharedService.h"

#include "mediaio/midiservice/src/DriverFactories.h"

#include "tests/midiservice/Worlds.h"

#include <KorvaMIDIService/KorvaMIDIService.h>

#include <gmock/gmock.h>

namespace midiservice::test {

namespace {

// No server has this name, so that `auto` cannot find somebody's own.
class SharedServiceTest : public testing::Test {
    ScopedVariable mNoServer{"JACK_DEFAULT_SERVER", "korva-no-such-server"};
};

TEST_F(SharedServiceTest, StartsWithTheFirstUse)
{
    const ScopedService service("builtin");
    KorvaMIDIServiceCounters counters{};

    KorvaMIDIServiceGetCounters(&counters);
    EXPECT_EQ(MIDIReceived(1, Packets{{0xFE}}), kMIDIUnknownEndpoint);
    EXPECT_EQ(MIDISend(1, 1, Packets{{0xFE}}), kMIDIInvalidPort);
    EXPECT_EQ(RunningService(), nullptr);

    EXPECT_EQ(MIDIGetNumberOfSources(), 0U);
    EXPECT_NE(RunningService(), nullptr);
}

TEST_F(SharedServiceTest, TakesTheOneThatIsAskedFor)
{
    for (const DriverFactory& factory : DriverFactories()) {
        const ScopedService service(factory.name);
        EXPECT_STREQ(KorvaMIDIServiceName(), factory.name);
    }
}

TEST_F(SharedServiceTest, TakesTheFirstThatRunsByItself)
{
    for (const char* automatic : {"auto", ""}) {
        const ScopedService service(automatic);
        const std::string name = KorvaMIDIServiceName();

        EXPECT_THAT(name, testing::AnyOf("alsa", "builtin")) << "no JACK server runs";
        EXPECT_EQ(KorvaMIDIServiceState(nullptr, 0), kKorvaMIDIServiceRunning);
    }
}

TEST_F(SharedServiceTest, SaysSoWhenItIsAskedForSomethingUnknownAndTakesTheFirstThatRuns)
{
    const ScopedService service("midi2");
    testing::internal::CaptureStderr();

    const std::string name = KorvaMIDIServiceName();

    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_THAT(said, testing::HasSubstr("KEL_MIDI_SERVICE: \"midi2\" is none of auto"));
    EXPECT_THAT(said, testing::HasSubstr("builtin"));
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1);
    EXPECT_THAT(name, testing::AnyOf("alsa", "builtin"));
}

TEST_F(SharedServiceTest, CutsTheReasonToTheRoomThereIs)
{
    const ScopedService service("builtin");
    char reason[5] = {'x', 'x', 'x', 'x', 'x'};

    KorvaMIDIServiceState(reason, sizeof reason);

    EXPECT_EQ(std::strlen(reason), 4U);
}

} // namespace

} // namespace midiservice::test
