#include "deck/protocol/PluginModel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace deck {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using enum HostCallKind;

struct Surface {
    PluginModel model;

    PluginPrediction Feed(std::string_view bytes) { return model.Feed(*ParseBytes(bytes)); }
    PluginPrediction Command(std::uint8_t code, ByteView data = {})
    {
        return model.Feed(EncodeMMC(0x7F, code, data));
    }
    std::vector<HostCallKind> Kinds(std::string_view bytes)
    {
        std::vector<HostCallKind> kinds;
        for (const auto& call : Feed(bytes).calls)
            kinds.push_back(call.kind);
        return kinds;
    }
};

constexpr std::string_view kPlay = "F0 7F 7F 06 02 F7";
constexpr std::string_view kStop = "F0 7F 7F 06 01 F7";

TEST(PluginModel, PredictsTheCallOfEverySimpleCommand)
{
    const std::vector<std::pair<std::uint8_t, std::string>> expected{{0x01, "Stop"}, {0x02, "Play"},
        {0x03, "Play"}, {0x04, "StartFastForward"}, {0x05, "StartRewind"}, {0x06, "Record"},
        {0x07, "Stop"}, {0x08, "Pause"}, {0x09, "Pause"}};
    for (const auto& [code, text] : expected) {
        const auto prediction = Surface().Command(code);
        EXPECT_EQ(prediction.fate, PluginFate::kHostCall);
        EXPECT_EQ(prediction.text, text);
        EXPECT_EQ(prediction.calls.size(), 1u);
    }
}

TEST(PluginModel, AgreesWithTheTableOfCommands)
{
    for (const auto& command : MMCCommands()) {
        if (command.code == kMMCLocate || command.code == kMMCReset || command.code == 0)
            continue;
        const auto fate = Surface().Command(command.code).fate;
        EXPECT_EQ(fate == PluginFate::kHostCall, command.treatment == MMCTreatment::kHostCall);
        EXPECT_EQ(fate == PluginFate::kTracedOnly, command.treatment == MMCTreatment::kTracedOnly);
        EXPECT_EQ(fate == PluginFate::kIgnored, command.treatment == MMCTreatment::kIgnored);
    }
    EXPECT_EQ(Surface().Command(0x7A).fate, PluginFate::kIgnored);
    EXPECT_EQ(Surface().Command(0x22).fate, PluginFate::kIgnored);
}

TEST(PluginModel, ReleasesTheWindFirst)
{
    Surface surface;
    EXPECT_THAT(surface.Kinds("F0 7F 7F 06 05 F7"), ElementsAre(StartRewind));
    EXPECT_THAT(surface.Kinds("F0 7F 7F 06 04 F7"), ElementsAre(StopRewind, StartFastForward));
    EXPECT_THAT(surface.Kinds("F0 7F 7F 06 07 F7"), ElementsAre(Stop));
    EXPECT_THAT(surface.Kinds("F0 7F 7F 06 08 F7"), ElementsAre(Pause));
    EXPECT_THAT(surface.Kinds(kPlay), ElementsAre(StopFastForward, Play));
    EXPECT_THAT(surface.Kinds(kPlay), ElementsAre(Play));
}

TEST(PluginModel, TracesAResetThatHasNothingToRelease)
{
    Surface surface;
    EXPECT_EQ(surface.Command(kMMCReset).fate, PluginFate::kTracedOnly);
    surface.Command(kMMCRewind);
    const auto prediction = surface.Command(kMMCReset);
    EXPECT_EQ(prediction.fate, PluginFate::kHostCall);
    EXPECT_EQ(prediction.text, "StopRewind");
}

TEST(PluginModel, PassesALocateOnWithItsFormat)
{
    for (std::uint32_t bits = 0; bits < 4; ++bits) {
        Surface surface;
        const auto prediction = surface.model.Feed(
            EncodeLocateTarget(0x7F, static_cast<std::uint8_t>(bits), {1, 2, 3, 4, false}, 99));
        ASSERT_EQ(prediction.calls.size(), 1u);
        EXPECT_EQ(prediction.calls[0], (HostCall{Locate, {bits + 2, 1, 2, 3, 4, 99}}));
        EXPECT_EQ(prediction.text,
            bits == 2 ? "LocateToSMPTETime 01:02:03;04" : "LocateToSMPTETime 01:02:03:04");
    }
    EXPECT_EQ(Surface().Feed("F0 7F 7F 06 44 02 00 08 F7").fate, PluginFate::kIgnored);
}

TEST(PluginModel, TakesMessagesInAnyPieces)
{
    Surface surface;
    EXPECT_EQ(surface.Feed("F0 7F").fate, PluginFate::kWaiting);
    EXPECT_EQ(surface.Feed("F8").fate, PluginFate::kWaiting);
    surface.model.Reset();
    EXPECT_EQ(surface.Feed("F0 7F 7F").fate, PluginFate::kWaiting);
    EXPECT_EQ(surface.Feed("06 02").fate, PluginFate::kWaiting);
    EXPECT_THAT(surface.Kinds("F7"), ElementsAre(Play));
    EXPECT_THAT(
        surface.Kinds("90 3C 40 F0 7F 7F 06 01 F7 F0 7F 10 06 02 F7"), ElementsAre(Stop, Play));
}

TEST(PluginModel, DropsWhatIsNoMMC)
{
    for (const char* bytes : {"90 3C 40", "F8", "F0 7F 7F 06 F7", "F0 7E 7F 06 01 F7", "F1 23",
             "F0 7F 7F 01 01 01 02 03 04 F7"}) {
        Surface surface;
        EXPECT_EQ(surface.Feed(bytes).fate, PluginFate::kDropped) << bytes;
        EXPECT_THAT(surface.Kinds(kPlay), ElementsAre(Play)) << bytes;
    }
}

TEST(PluginModel, HearsWhatFollowsAForeignMessageOnePacketLate)
{
    Surface surface;
    const auto prediction = surface.Feed("F0 43 10 4C 00 F7 F0 7F 7F 06 02 F7");
    EXPECT_EQ(prediction.fate, PluginFate::kWaiting);
    EXPECT_THAT(prediction.calls, IsEmpty());
    EXPECT_THAT(surface.Kinds("F8"), ElementsAre(Play));
}

TEST(PluginModel, LosesAPacketToAStrayEnd)
{
    Surface surface;
    EXPECT_EQ(surface.Feed("F7").fate, PluginFate::kWaiting);
    EXPECT_THAT(surface.Kinds(kPlay), IsEmpty());
    EXPECT_THAT(surface.Kinds("F8"), ElementsAre(Play));
}

TEST(PluginModel, GoesDeafOnSeveralCommands)
{
    Surface surface;
    const auto prediction = surface.Feed("F0 7F 7F 06 01 02 F7");
    EXPECT_EQ(prediction.fate, PluginFate::kDeaf);
    EXPECT_EQ(prediction.calls, (std::vector<HostCall>{{Stop}}));
    EXPECT_THAT(prediction.text, HasSubstr("Stop, deaf from here on: a message with several"));
    EXPECT_TRUE(surface.model.IsDeaf());

    const auto next = surface.Feed(kPlay);
    EXPECT_EQ(next.fate, PluginFate::kDeaf);
    EXPECT_THAT(next.calls, IsEmpty());
    EXPECT_THAT(next.text, HasSubstr("not heard: a message with several commands"));
}

TEST(PluginModel, HearsSeveralCommandsWhereEachHasItsSubId)
{
    Surface surface;
    EXPECT_THAT(surface.Kinds("F0 7F 7F 06 01 06 02 F7"), ElementsAre(Stop, Play));
    EXPECT_FALSE(surface.model.IsDeaf());
}

TEST(PluginModel, GoesDeafOnAResponse)
{
    Surface surface;
    EXPECT_EQ(surface.Feed("F0 7F 7F 07 01 F7").fate, PluginFate::kDeaf);
    EXPECT_THAT(surface.model.DeafReason(), HasSubstr("response"));
    EXPECT_THAT(surface.Kinds(kPlay), IsEmpty());
}

TEST(PluginModel, GoesDeafOnAUnitOfUnknownLength)
{
    for (const char* bytes : {"F0 7F 7F 06 00 F7", "F0 7F 7F 06 90 F7"}) {
        Surface surface;
        EXPECT_EQ(surface.Feed(bytes).fate, PluginFate::kDeaf) << bytes;
        EXPECT_THAT(surface.model.DeafReason(), HasSubstr("no known length")) << bytes;
    }
}

TEST(PluginModel, GoesDeafOnTheCommandBehindAShortLocate)
{
    Surface surface;
    const auto first = surface.Feed("F0 7F 7F 06 44 06 01 21 02 03 04 F7");
    EXPECT_EQ(first.fate, PluginFate::kWaiting);
    EXPECT_TRUE(surface.model.IsUnitPending());

    const auto second = surface.Feed(kPlay);
    EXPECT_EQ(second.fate, PluginFate::kDeaf);
    EXPECT_EQ(second.calls, (std::vector<HostCall>{{Locate, {3, 1, 2, 3, 4, 6}}}));
    EXPECT_THAT(second.text, HasSubstr("too short swallowed"));
}

TEST(PluginModel, CarriesOutAUnitOnceLaterMessagesHaveFilledIt)
{
    Surface surface;
    surface.Feed("F0 7F 7F 06 40 02 F7");
    EXPECT_EQ(surface.Feed(kPlay).fate, PluginFate::kTracedOnly) << "06 02 were its data";
    EXPECT_FALSE(surface.model.IsUnitPending());
    EXPECT_THAT(surface.Kinds(kStop), ElementsAre(Stop));
}

TEST(PluginModel, TakesTheNextSubIdForACountThatIsMissing)
{
    Surface surface;
    EXPECT_EQ(surface.Feed("F0 7F 7F 06 44 F7").fate, PluginFate::kWaiting);
    EXPECT_FALSE(surface.model.IsDeaf());
    EXPECT_EQ(surface.Feed(kPlay).fate, PluginFate::kWaiting);
    EXPECT_FALSE(surface.model.IsDeaf());
}

TEST(PluginModel, DoesNotReadALocateBeyondItsBytes)
{
    EXPECT_EQ(Surface().Feed("F0 7F 7F 06 44 01 01 F7").fate, PluginFate::kIgnored);
    EXPECT_EQ(Surface().Feed("F0 7F 7F 06 44 00 F7").fate, PluginFate::kIgnored);
}

TEST(PluginModel, HearsAgainAfterAReset)
{
    Surface surface;
    surface.Feed("F0 7F 7F 07 01 F7");
    surface.model.Reset();
    EXPECT_FALSE(surface.model.IsDeaf());
    EXPECT_THAT(surface.Kinds(kPlay), ElementsAre(Play));
}

TEST(PluginModel, StaysCheapUnderAFloodThatNeverEnds)
{
    Surface surface;
    surface.Feed("F0 7F 7F 06 44");
    for (int i = 0; i < 300'000; ++i)
        surface.model.Feed(Bytes{0xF8});
    EXPECT_EQ(surface.Feed("F7").fate, PluginFate::kDeaf) << "the clock bytes became its count";
}

} // namespace
} // namespace deck
