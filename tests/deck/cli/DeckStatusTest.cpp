#include "deck/cli/DeckStatus.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

namespace deck::cli::test {
namespace {

using testing::HasSubstr;
using testing::Not;

DeckStatus Playing()
{
    DeckStatus status;
    status.state = TransportState::Playing;
    status.speed = 1;
    status.frame = 90000;
    status.rate = FrameRate::k25;
    status.service = "jack";
    status.in = {12, "Desk", true};
    status.out = {-13, "Chaser", true};
    status.mtc = true;
    status.mmc = 3;
    status.calls = 4;
    return status;
}

TEST(DeckStatus, IsOneLineOfText)
{
    EXPECT_EQ(StatusText(Playing()),
        "PLAY    01:00:00:00  25 fps  in Desk (bound)  out Chaser (bound)  MMC 3  calls 4  MTC on");
}

TEST(DeckStatus, SaysWhatItWaitsFor)
{
    DeckStatus status = Playing();
    status.out.isThere = false;

    EXPECT_THAT(StatusText(status), HasSubstr("in Desk (there)  out Chaser (waiting for it)"))
        << "the plug-in binds both or none";

    status.out.name.clear();
    EXPECT_THAT(StatusText(status), HasSubstr("out -13 (waiting for it)"));
    status.out.id.reset();
    EXPECT_THAT(StatusText(status), HasSubstr("out none"));
    status.hasOwnPorts = true;
    EXPECT_THAT(StatusText(status), HasSubstr("out own port"));
    status.waitsFor = "no server";
    EXPECT_THAT(StatusText(status), HasSubstr("jack: no server"));
}

TEST(DeckStatus, ShowsRecordingTakesAndLosses)
{
    DeckStatus status = Playing();
    EXPECT_THAT(StatusText(status), Not(HasSubstr("LOST")));
    status.isRecording = true;
    status.takes = 2;
    status.lost = 7;

    EXPECT_THAT(StatusText(status), testing::StartsWith("RECORD  01:00:00:00"));
    EXPECT_THAT(StatusText(status), HasSubstr("takes 2  LOST 7"));
}

TEST(DeckStatus, IsCutToTheWidthBetweenCharacters)
{
    DeckStatus status = Playing();
    status.in.name = "Pült";

    EXPECT_EQ(StatusText(status, 36), "PLAY    01:00:00:00  25 fps  in Pült");
    EXPECT_EQ(StatusText(status, 34), "PLAY    01:00:00:00  25 fps  in Pü");
}

TEST(DeckStatus, IsJSONForPrograms)
{
    const auto json = nlohmann::json::parse(StatusJSON(Playing()));

    EXPECT_EQ(json["event"], "status");
    EXPECT_EQ(json["state"], "play");
    EXPECT_EQ(json["timecode"], "01:00:00:00");
    EXPECT_EQ(json["rate"], "25");
    EXPECT_EQ(json["in"]["id"], 12);
    EXPECT_EQ(json["out"]["name"], "Chaser");
    EXPECT_EQ(json["bound"], true);
    EXPECT_EQ(json["mmc"], 3);
    EXPECT_EQ(json["calls"], 4);
    EXPECT_EQ(json["mtc"], true);
    EXPECT_FALSE(json.contains("waiting"));
}

TEST(DeckStatus, IsJSONWhateverAPortIsCalled)
{
    DeckStatus status = Playing();
    status.in.name = "\xFF\"\n";
    status.out = PortStatus{};

    const std::string line = StatusJSON(status);

    EXPECT_TRUE(nlohmann::json::accept(line));
    EXPECT_EQ(line.find('\n'), std::string::npos);
    EXPECT_TRUE(nlohmann::json::parse(line)["out"].is_null());
}

TEST(DeckStatus, ChangesWhenMoreThanTheFrameDoes)
{
    DeckStatus after = Playing();
    after.frame += 1;
    EXPECT_FALSE(IsChange(Playing(), after)) << "rolling by";

    after.mmc += 1;
    EXPECT_TRUE(IsChange(Playing(), after));

    DeckStatus resting = Playing();
    resting.speed = 0;
    DeckStatus located = resting;
    EXPECT_FALSE(IsChange(resting, located));
    located.frame += 1;
    EXPECT_TRUE(IsChange(resting, located)) << "a locate at rest";
}

TEST(DeckStatus, TellsProgramsWhatTheWindowTells)
{
    DeckStatus status = Playing();
    auto json = nlohmann::json::parse(StatusJSON(status));
    EXPECT_TRUE(json["sender_rate"].is_null() && json["deaf"].is_null());
    EXPECT_TRUE(json["clock"]["late_ms"].is_null());

    status.senderRate = "24";
    status.deaf = "several commands";
    status.clock = {4, std::chrono::microseconds(310), std::chrono::microseconds(400)};
    json = nlohmann::json::parse(StatusJSON(status));
    EXPECT_EQ(json["sender_rate"], "24");
    EXPECT_EQ(json["deaf"], "several commands");
    EXPECT_EQ(json["clock"]["late_ms"], 0.1);
    EXPECT_EQ(json["clock"]["worst_late_ms"], 0.31);
}

TEST(DeckStatus, TellsHowThePictureFollows)
{
    DeckStatus status = Playing();
    EXPECT_FALSE(nlohmann::json::parse(StatusJSON(status)).contains("picture"));

    status.picture.emplace();
    EXPECT_THAT(StatusText(status), HasSubstr("picture not there yet"));
    status.picture->shownFrame = 12;
    EXPECT_THAT(StatusText(status), HasSubstr("picture frame 12"));
    EXPECT_EQ(nlohmann::json::parse(StatusJSON(status))["picture"]["frame"], 12);

    status.picture->shownFrame.reset();
    status.picture->drift = PictureDrift{2.9, -7.6, 90000};
    EXPECT_THAT(StatusText(status), HasSubstr("picture +3 ms, at most -8 ms"));
    status.picture->dropped = 2;
    EXPECT_THAT(StatusText(status), HasSubstr("at most -8 ms, 2 dropped"));
    const auto json = nlohmann::json::parse(StatusJSON(status))["picture"];
    EXPECT_EQ(json["frame"], nullptr);
    EXPECT_EQ(json["drift_ms"], 2.9);
    EXPECT_EQ(json["worst_drift_ms"], -7.6);
    EXPECT_EQ(json["compared"], 90000);
    EXPECT_EQ(json["dropped"], 2);
}

TEST(DeckStatus, IsNoNewsWhereThePictureOnlyDrifts)
{
    DeckStatus before = Playing();
    before.picture.emplace();
    DeckStatus after = before;
    after.picture->drift = PictureDrift{1, 2, 3};
    after.clock.frames = 1;

    EXPECT_FALSE(IsChange(before, after));
}

TEST(DeckStatus, TellsAtOnceThatSomethingIsLostAndNotEachTime)
{
    DeckStatus first = Playing();
    first.lost = 0;
    DeckStatus lost = first;
    lost.lost = 1;
    DeckStatus more = lost;
    more.lost = 5;

    EXPECT_TRUE(IsChange(first, lost));
    EXPECT_FALSE(IsChange(lost, more)) << "with the next line";
}

TEST(CallJSON, TellsALocatesTime)
{
    const auto json = nlohmann::json::parse(
        CallJSON(HostCall{HostCallKind::Locate, {4, 1, 2, 3, 5, 6}, 0}, CallOutcome::Superseded));

    EXPECT_EQ(json["call"], "LocateToSMPTETime");
    EXPECT_EQ(json["outcome"], "superseded");
    EXPECT_EQ(json["time"]["format"], 4);
    EXPECT_EQ(json["time"]["frames"], 5);
}

TEST(MMCJSON, TellsTheBytesAndWhatTheyMean)
{
    host::RawMMC message;
    message.bytes = {0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7};
    message.length = 6;
    const auto json = nlohmann::json::parse(MMCJSON(message, {PluginFate::kHostCall, {}, "Play"}));

    EXPECT_EQ(json["event"], "mmc");
    EXPECT_EQ(json["bytes"], "F0 7F 7F 06 02 F7");
    EXPECT_EQ(json["text"], "PLAY");
}

} // namespace
} // namespace deck::cli::test
