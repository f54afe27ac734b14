#include "deck/protocol/TakeList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <sstream>
#include <sys/resource.h>
#include <unistd.h>

namespace deck {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr FrameNumber kMinuteOfDrop = 1800; // 00:01:00;02

class TakeListOnDisk : public testing::Test {
protected:
    TakeListOnDisk()
    {
        std::string name = (std::filesystem::temp_directory_path() / "takesXXXXXX").string();
        mFolder = ::mkdtemp(name.data());
        path = mFolder / "takes.jsonl";
    }
    ~TakeListOnDisk() override { std::filesystem::remove_all(mFolder); }

    std::string Text() const
    {
        std::ostringstream text;
        text << std::ifstream(path).rdbuf();
        return text.str();
    }
    void Write(std::string_view text) const { std::ofstream(path) << text; }

    std::filesystem::path path;

private:
    std::filesystem::path mFolder;
};

RecordedTake Take(int number, FrameRate rate, FrameNumber in, FrameNumber out)
{
    return {number, rate, in, out, "", ""};
}

TEST_F(TakeListOnDisk, KeepsTakesFromOneRunToTheNext)
{
    std::vector<RecordedTake> made;
    {
        TakeList list(path);
        EXPECT_TRUE(list.PunchIn(100, FrameRate::k25, "Film \"1\".mov", "2024-05-01T10:00:00Z"));
        EXPECT_TRUE(list.PunchOut(350));
        EXPECT_TRUE(list.PunchIn(kMinuteOfDrop, FrameRate::k2997Drop, "", ""));
        EXPECT_TRUE(list.PunchOut(kMinuteOfDrop + 60));
        made = list.Takes();
    }
    TakeList again(path);
    EXPECT_EQ(again.Takes(), made);
    EXPECT_THAT(again.Warnings(), IsEmpty());
    EXPECT_EQ(again.Error(), "");
    EXPECT_TRUE(again.PunchIn(5, FrameRate::k24, "", ""));
    EXPECT_EQ(again.Takes().back().number, 3);
}

TEST_F(TakeListOnDisk, HasWrittenEachLineWhenTheCallReturns)
{
    TakeList list(path);
    list.PunchIn(100, FrameRate::k25, "a", "now");
    EXPECT_EQ(Text(),
        R"({"event":"in","take":1,"timecode":"00:00:04:00","rate":"25","reel":"a","date":"now"})"
        "\n");
    list.PunchOut(125);
    EXPECT_THAT(
        Text(), testing::EndsWith("{\"event\":\"out\",\"take\":1,\"timecode\":\"00:00:05:00\"}\n"));
}

TEST_F(TakeListOnDisk, KeepsATakeOpenThatACrashInterrupted)
{
    Write(R"({"event":"in","take":4,"timecode":"00:00:04:00","rate":"25"})"
          "\n");
    TakeList list(path);
    ASSERT_EQ(list.Takes().size(), 1u);
    EXPECT_FALSE(list.Takes()[0].out);
    EXPECT_TRUE(list.PunchOut(150));
    EXPECT_EQ(TakeList(path).Takes()[0].Duration(), 50);
}

TEST_F(TakeListOnDisk, ToleratesATornLastLineWhereverItIsTorn)
{
    {
        TakeList list(path);
        list.PunchIn(100, FrameRate::k25, "r\xC3\xA9", "d");
        list.PunchOut(200);
        list.PunchIn(300, FrameRate::k25, "r\xC3\xA9", "d");
    }
    const std::string text = Text();
    const auto lastLine = text.rfind('\n', text.size() - 2) + 1;
    for (auto size = lastLine + 1; size < text.size() - 1; size += 7) {
        Write(text.substr(0, size));
        TakeList list(path);
        ASSERT_EQ(list.Takes().size(), 1u) << size;
        ASSERT_THAT(list.Warnings(), ElementsAre(HasSubstr("line 3: not a whole take")));
        ASSERT_TRUE(list.PunchIn(400, FrameRate::k25, "", ""));
        ASSERT_TRUE(list.PunchOut(500));

        TakeList again(path);
        ASSERT_EQ(again.Takes().size(), 2u) << "the torn line swallowed the next one";
        ASSERT_EQ(again.Takes()[1].Duration(), 100);
        ASSERT_EQ(again.Warnings().size(), 1u);
    }
}

TEST_F(TakeListOnDisk, TakesALastLineThatMissesOnlyItsEnd)
{
    Write(R"({"event":"in","take":1,"timecode":"00:00:04:00","rate":"25"})");
    TakeList list(path);
    EXPECT_THAT(list.Warnings(), IsEmpty());
    list.PunchOut(125);
    EXPECT_EQ(TakeList(path).Takes().at(0).Duration(), 25);
}

TEST_F(TakeListOnDisk, NamesEachLineThatItLeavesOut)
{
    Write("[]\n"
          R"({"event":"out","take":1,"timecode":"00:00:04:00"})"
          "\n"
          R"({"event":"in","take":1,"timecode":"00:00:04:00","rate":"26"})"
          "\n"
          R"({"event":"in","take":1,"timecode":"00:61:04:00","rate":"25"})"
          "\n"
          R"({"event":"in","take":"x","timecode":"00:00:04:00","rate":"25"})"
          "\n"
          "\n"
          R"({"event":"in","take":2,"timecode":"00:00:04:00","rate":"25"})"
          "\n"
          R"({"event":"in","take":2,"timecode":"00:00:04:00","rate":"25"})"
          "\n"
          R"({"event":"out","take":2,"timecode":7})"
          "\n");
    TakeList list(path);
    EXPECT_THAT(list.Warnings(),
        ElementsAre(HasSubstr("line 1: not a whole take"), HasSubstr("line 2: does not follow"),
            HasSubstr("line 3: \"26\" is not a frame rate"),
            HasSubstr("line 4: 00:61:04:00: minutes go from 00 to 59"),
            HasSubstr("line 5: does not follow"), HasSubstr("line 8: does not follow"),
            HasSubstr("line 9: \"\" is not a time code")));
    EXPECT_EQ(list.Takes().size(), 1u);
}

TEST_F(TakeListOnDisk, EndsAnOpenTakeWhereTheNextBegins)
{
    TakeList list(path);
    list.PunchIn(100, FrameRate::k25, "", "");
    list.PunchIn(200, FrameRate::k25, "", "");
    EXPECT_EQ(list.Takes()[0].out, 200);
    EXPECT_FALSE(list.Takes()[1].out);
    EXPECT_TRUE(list.PunchOut(300));
    EXPECT_FALSE(list.PunchOut(400)) << "none is open";
}

TEST_F(TakeListOnDisk, LeavesATakeThatWasFoundOpenAsItIs)
{
    TakeList(path).PunchIn(100, FrameRate::k25, "", "");
    {
        TakeList list(path);
        EXPECT_TRUE(list.PunchIn(50, FrameRate::k25, "", ""));
        EXPECT_TRUE(list.PunchOut(60));
    }

    const TakeList again(path);

    ASSERT_EQ(again.Takes().size(), 2u);
    EXPECT_FALSE(again.Takes()[0].out) << "nobody knows where it ended";
    EXPECT_EQ(again.Takes()[1].Duration(), 10);
    EXPECT_THAT(again.Warnings(), IsEmpty());
}

TEST_F(TakeListOnDisk, IsKeptByOneAtATime)
{
    TakeList list(path);
    list.PunchIn(100, FrameRate::k25, "", "");

    TakeList second(path);

    EXPECT_THAT(second.Error(), HasSubstr("another deck keeps its takes there"));
    EXPECT_FALSE(second.PunchIn(100, FrameRate::k25, "", ""));
    EXPECT_TRUE(list.PunchOut(200));
}

TEST_F(TakeListOnDisk, IsLookedAtWithoutAChange)
{
    EXPECT_THAT(TakeList(path, TakeList::Access::Look).Error(), HasSubstr("No such file"));
    EXPECT_FALSE(std::filesystem::exists(path));
    const std::string torn = R"({"event":"in","take":1,"timecode":"00:00:04:00","rate":"25"})";
    Write(torn);

    const TakeList list(path, TakeList::Access::Look);

    EXPECT_THAT(list.Error(), IsEmpty());
    EXPECT_EQ(list.Takes().size(), 1u);
    EXPECT_EQ(Text(), torn);
}

TEST_F(TakeListOnDisk, SaysWhyItCannotKeepTakes)
{
    TakeList list(path / "nowhere" / "takes.jsonl");
    EXPECT_THAT(list.Error(), HasSubstr("No such file or directory; takes are not kept"));
    EXPECT_FALSE(list.PunchIn(1, FrameRate::k25, "", ""));
    EXPECT_EQ(list.Takes().size(), 1u) << "the take is not lost in memory";
}

TEST_F(TakeListOnDisk, IsAFileAndNoDevice)
{
    EXPECT_THAT(TakeList("/dev/zero").Error(), HasSubstr("not a file"));
    EXPECT_THAT(TakeList(path.parent_path()).Error(), HasSubstr("Is a directory"));
}

TEST_F(TakeListOnDisk, GoesOnBehindALineThatDidNotFit)
{
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    TakeList list(path);
    EXPECT_TRUE(list.PunchIn(100, FrameRate::k25, "", ""));

    const rlimit full{Text().size() + 10, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &full), 0);
    EXPECT_FALSE(list.PunchOut(200));
    EXPECT_THAT(list.Error(), HasSubstr("the take is not kept"));
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
    std::signal(SIGXFSZ, oldHandler);

    EXPECT_TRUE(list.PunchIn(300, FrameRate::k25, "", ""));
    EXPECT_TRUE(list.PunchOut(400));
    TakeList again(path);
    ASSERT_EQ(again.Takes().size(), 2u);
    EXPECT_EQ(again.Takes()[1].Duration(), 100);
    EXPECT_EQ(again.Warnings().size(), 1u);
}

TEST(RecordedTake, CountsFramesNotNumbers)
{
    const auto rate = FrameRate::k2997Drop;
    EXPECT_EQ(Take(1, rate, *ToFrame({0, 0, 59, 0, true}, rate), *ToFrame({0, 1, 1, 0, true}, rate))
                  .Duration(),
        58);
    EXPECT_EQ(Take(1, rate, rate.FramesPerDay() - 10, 20).Duration(), 30) << "over midnight";
    EXPECT_EQ(Take(1, rate, 5, 5).Duration(), 0);
}

TEST(ExportEdl, WritesTheColumnsOfTheFormat)
{
    auto take = Take(1, FrameRate::k25, 90000, 90250);
    take.reel = "my-film.mov";
    EXPECT_THAT(ExportEdl({take, Take(2, FrameRate::k25, 91000, 91001)}, "Session\n4"),
        ElementsAre("TITLE: Session 4\n"
                    "FCM: NON-DROP FRAME\n"
                    "\n"
                    "001  MYFILMMO V     C        01:00:00:00 01:00:10:00 01:00:00:00 01:00:10:00\n"
                    "* TAKE 1 AT 25\n"
                    "* FROM CLIP NAME: my-film.mov\n"
                    "002  AX       V     C        01:00:40:00 01:00:40:01 01:00:40:00 01:00:40:01\n"
                    "* TAKE 2 AT 25\n"));
}

TEST(ExportEdl, SaysWhereTheCountingChanges)
{
    const auto lists = ExportEdl({Take(1, FrameRate::k2997Drop, 1798, kMinuteOfDrop),
                                     Take(2, FrameRate::k2997NonDrop, 1798, 1800)},
        "T");
    EXPECT_THAT(lists,
        ElementsAre("TITLE: T\n"
                    "FCM: DROP FRAME\n"
                    "\n"
                    "001  AX       V     C        00:00:59:28 00:01:00:02 00:00:59:28 00:01:00:02\n"
                    "* TAKE 1 AT 29.97df\n"
                    "FCM: NON-DROP FRAME\n"
                    "002  AX       V     C        00:00:59:28 00:01:00:00 00:00:59:28 00:01:00:00\n"
                    "* TAKE 2 AT 29.97\n"));
}

TEST(ExportEdl, NamesTakesWithoutAnEvent)
{
    RecordedTake open{3, FrameRate::k25, 100, {}, "", ""};
    EXPECT_THAT(ExportEdl({Take(2, FrameRate::k25, 5, 5), open}, "T"),
        ElementsAre("TITLE: T\nFCM: NON-DROP FRAME\n\n"
                    "* TAKE 2 AT 00:00:00:05 IS EMPTY\n"
                    "* TAKE 3 AT 00:00:04:00 WAS NOT ENDED\n"));
    EXPECT_THAT(ExportEdl({}, "T"), ElementsAre("TITLE: T\nFCM: NON-DROP FRAME\n\n"));
}

TEST(ExportEdl, BeginsANewListAfter999Events)
{
    std::vector<RecordedTake> takes;
    for (int i = 1; i <= 1000; ++i)
        takes.push_back(Take(i, FrameRate::k25, i * 100, i * 100 + 50));
    const auto lists = ExportEdl(takes, "T");
    ASSERT_EQ(lists.size(), 2u);
    EXPECT_THAT(lists[0], HasSubstr("\n999  AX"));
    EXPECT_THAT(lists[1], testing::StartsWith("TITLE: T 2\nFCM: NON-DROP FRAME\n\n001  AX"));
}

TEST(ExportCsv, QuotesWhatNeedsIt)
{
    auto take = Take(1, FrameRate::k2997Drop, 1798, kMinuteOfDrop + 2);
    take.reel = "a, \"b\".mov";
    take.date = "2024-05-01";
    RecordedTake open{2, FrameRate::k25, 100, {}, "", ""};
    EXPECT_EQ(ExportCsv({take, open}),
        "take,rate,in,out,duration,frames,reel,date\r\n"
        "1,29.97df,00:00:59;28,00:01:00;04,00:00:00;04,4,\"a, \"\"b\"\".mov\",2024-05-01\r\n"
        "2,25,00:00:04:00,,,,,\r\n");
}

} // namespace
} // namespace deck
