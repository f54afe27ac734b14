#include "deck/cli/SavedMtc.h"

#include "deck/cli/MonitorLines.h"
#include "deck/host/HostError.h"
#include "tests/deck/protocol/MtcStream.h"

#include <gmock/gmock.h>

#include <sstream>

namespace deck::cli::test {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;

MtcStream SoundStream()
{
    MtcStream stream(FrameRate::k25);
    stream.now = 100s;
    stream.FullFrameAt(90000).Run(90000, 25);
    return stream;
}

/// As the monitor saves it.
std::string Save(const MtcStream& stream, const MonitorLines::Source& source)
{
    std::string text;
    MonitorLines lines(kAllMonitorGroups, true, 100s,
        [&text](const MonitorLine& line) { text += FormatMonitorJson(line) + "\n"; });
    for (const TimedBytes& message : stream.messages) {
        lines.Feed(source, message.bytes, message.time);
    }
    return text;
}

MtcReport Check(const std::string& text, const std::optional<std::string>& from = {})
{
    std::istringstream lines(text);
    return CheckSavedMtc(lines, "file", from, {});
}

std::string Refusal(const std::string& text, const std::optional<std::string>& from = {})
{
    try {
        Check(text, from);
    } catch (const HostError& error) {
        EXPECT_EQ(error.Status(), kExitBadInput);
        return error.what();
    }
    ADD_FAILURE() << "accepted";
    return "";
}

TEST(SavedMtc, PassesASoundStreamThatTheMonitorSaved)
{
    const MtcReport report = Check(Save(SoundStream(), {7, "Desk"}));

    EXPECT_EQ(report.verdict, MtcVerdict::kSound) << FormatMtcReport(report);
    EXPECT_EQ(report.quarterFrames, 200U);
}

TEST(SavedMtc, FindsWhatIsWrongWithIt)
{
    MtcStream stream = SoundStream();
    stream.messages.erase(stream.messages.begin() + 50);

    const MtcReport report = Check(Save(stream, {7, "Desk"}));

    EXPECT_EQ(report.verdict, MtcVerdict::kDefective);
    EXPECT_EQ(report.defects[static_cast<std::size_t>(MtcDefect::kMissingPiece)], 1U)
        << FormatMtcReport(report);
}

TEST(SavedMtc, PassesOverSourcesWithoutMTC)
{
    const std::string other = R"({"time_ns":1,"bytes":"90 3C 40","source":"Piano","source_id":8})"
                              "\n\n";

    EXPECT_EQ(Check(other + Save(SoundStream(), {7, "Desk"})).verdict, MtcVerdict::kSound);
    EXPECT_EQ(Check(other).verdict, MtcVerdict::kNothing);
    EXPECT_EQ(Check("").verdict, MtcVerdict::kNothing);
}

TEST(SavedMtc, JudgesTheSourceThatIsAskedFor)
{
    MtcStream spoilt = SoundStream();
    spoilt.messages.erase(spoilt.messages.begin() + 50);
    const std::string text = Save(SoundStream(), {7, "Desk"}) + Save(spoilt, {8, "Machine"});

    EXPECT_THAT(Refusal(text), AllOf(HasSubstr("Desk"), HasSubstr("Machine"), HasSubstr("--from")));
    EXPECT_EQ(Check(text, "desk").verdict, MtcVerdict::kSound);
    EXPECT_EQ(Check(text, "8").verdict, MtcVerdict::kDefective);
    EXPECT_THAT(Refusal(text, "organ"), HasSubstr("no source \"organ\""));
}

TEST(SavedMtc, NamesTheLineThatIsWrong)
{
    const std::string sound = R"({"time_ns":5,"bytes":"F1 00"})"
                              "\n";

    EXPECT_THAT(Refusal(sound + "hello"), AllOf(HasSubstr("file, line 2"), HasSubstr("time_ns")));
    EXPECT_THAT(Refusal(sound + R"({"time_ns":"6","bytes":"F1 00"})"), HasSubstr("line 2"));
    EXPECT_THAT(Refusal(sound + R"({"time_ns":6,"bytes":"F1 0x"})"), HasSubstr("line 2"));
    EXPECT_THAT(Refusal(sound + R"({"time_ns":6})"), HasSubstr("line 2"));
    EXPECT_THAT(Refusal(sound + R"({"time_ns":4,"bytes":"F1 10"})"), HasSubstr("before that of"));
}

} // namespace
} // namespace deck::cli::test
