#include "deck/cli/TakesCommand.h"

#include "deck/host/HostError.h"
#include "tests/deck/TemporaryFolder.h"

#include <gmock/gmock.h>

namespace deck::cli::test {
namespace {

using deck::test::TemporaryFolder;
using testing::HasSubstr;

const std::vector<RecordedTake> kTwo = {{1, FrameRate::k25, 100, 350, "film.mov", "2024-05-01"},
    {2, FrameRate::k25, 400, std::nullopt, "", ""}};

TEST(TakesText, ShowsEachTakeAndWhichIsNotEnded)
{
    const std::string text = TakesText(kTwo);

    EXPECT_THAT(text, HasSubstr("   1  00:00:04:00  00:00:14:00  00:00:10:00  25"));
    EXPECT_THAT(text, HasSubstr("film.mov\n"));
    EXPECT_THAT(text, HasSubstr("   2  00:00:16:00  not ended"));
    EXPECT_THAT(TakesText({}), HasSubstr("no takes yet"));
}

TEST(TakesJSON, HasNoOutWhereThereIsNone)
{
    const std::string json = TakesJSON(kTwo);

    EXPECT_THAT(json, HasSubstr(R"("out": "00:00:14:00")"));
    EXPECT_THAT(json, HasSubstr(R"("frames": 250)"));
    EXPECT_THAT(json, HasSubstr(R"("out": null)"));
    EXPECT_THAT(TakesJSON({}), HasSubstr(R"("takes": [])"));
}

TEST(NumberedFile, CountsFromTheSecondOn)
{
    EXPECT_EQ(NumberedFile("/x/cut.edl", 1), "/x/cut.edl");
    EXPECT_EQ(NumberedFile("/x/cut.edl", 2), "/x/cut-2.edl");
    EXPECT_EQ(NumberedFile("cut", 12), "cut-12");
}

class TakesOnDisk : public testing::Test {
protected:
    TakesOnDisk()
    {
        options.takes = folder.Path() / "takes.jsonl";
        TakeList list(*options.takes);
        list.PunchIn(100, FrameRate::k25, "", "");
        list.PunchOut(350);
    }

    std::string Refusal() const
    {
        try {
            ShowTakes(options);
        } catch (const HostError& error) {
            return error.what();
        }
        ADD_FAILURE() << "accepted";
        return "";
    }

    TemporaryFolder folder;
    TakesOptions options;
};

TEST_F(TakesOnDisk, AreExported)
{
    options.edl = (folder.Path() / "cut.edl").string();
    options.csv = (folder.Path() / "cut.csv").string();

    EXPECT_EQ(ShowTakes(options), kExitDone);

    EXPECT_THAT(folder.Read("cut.edl"), HasSubstr("TITLE: cut\n"));
    EXPECT_THAT(folder.Read("cut.edl"), HasSubstr("00:00:04:00 00:00:14:00"));
    EXPECT_THAT(folder.Read("cut.csv"), HasSubstr("1,25,00:00:04:00,00:00:14:00"));
}

TEST_F(TakesOnDisk, AreKeptAsideWhenTheListIsCleared)
{
    const std::string before = folder.Read("takes.jsonl");
    folder.Write("takes.jsonl.cleared-1", "of earlier");
    options.clear = true;

    EXPECT_EQ(ShowTakes(options), kExitDone);

    EXPECT_FALSE(std::filesystem::exists(*options.takes));
    EXPECT_EQ(folder.Read("takes.jsonl.cleared-1"), "of earlier");
    EXPECT_EQ(folder.Read("takes.jsonl.cleared-2"), before);
}

TEST_F(TakesOnDisk, AreNotClearedUnderARunningDeck)
{
    const TakeList deck(*options.takes);
    options.clear = true;

    EXPECT_THAT(Refusal(), HasSubstr("another deck keeps its takes there"));
    EXPECT_TRUE(std::filesystem::exists(*options.takes));
}

TEST_F(TakesOnDisk, AreNotClearedWhenTheyCouldNotBeExported)
{
    options.csv = "/dev/full";
    options.clear = true;

    EXPECT_THAT(Refusal(), HasSubstr("cannot write /dev/full"));
    EXPECT_TRUE(std::filesystem::exists(*options.takes));
}

TEST_F(TakesOnDisk, ThatAreNotThereAreNamed)
{
    options.takes = folder.Path() / "none";
    EXPECT_THAT(Refusal(), HasSubstr("there is no take list"));
}

} // namespace
} // namespace deck::cli::test
