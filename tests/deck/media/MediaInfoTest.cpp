#include "deck/media/MediaInfo.h"
#include "tests/deck/media/TestFilm.h"

#include <gmock/gmock.h>

#include <fstream>

namespace deck::test {
namespace {

TEST(MediaInfo, ReadsRateLengthAndStartTimecode)
{
    const auto film = MakeFilm({"25", 50, "01:00:00:00"});

    const MediaInfo info = ReadMediaInfo(film);

    EXPECT_EQ(info.Rate(), FrameRate::k25);
    EXPECT_EQ(info.frameCount, 50);
    EXPECT_EQ(info.startTimecode, "01:00:00:00");
    EXPECT_EQ(info.width, kFilmWidth);
    EXPECT_FALSE(info.hasAudio);
}

TEST(MediaInfo, TellsDropFrameByTheStartTimecode)
{
    const auto drop = MakeFilm({"30000/1001", 10, "00:59:58;00"});
    const auto nonDrop = MakeFilm({"30000/1001", 10, "00:59:58:00"});

    EXPECT_EQ(ReadMediaInfo(drop).Rate(), FrameRate::k2997Drop);
    EXPECT_EQ(ReadMediaInfo(nonDrop).Rate(), FrameRate::k2997NonDrop);
}

TEST(MediaInfo, Tells23976From24)
{
    EXPECT_EQ(ReadMediaInfo(MakeFilm({"24000/1001", 10, ""})).Rate(), FrameRate::k23976);
    EXPECT_EQ(ReadMediaInfo(MakeFilm({"24", 10, ""})).Rate(), FrameRate::k24);
}

TEST(MediaInfo, SaysWhyAFileCannotBeRead)
{
    const auto notAFilm = MakeFilm({"25", 1, ""}).replace_extension(".txt");
    std::ofstream(notAFilm) << "words, not pictures";

    EXPECT_THROW(
        try { ReadMediaInfo("/nowhere/film.mov"); } catch (const MediaError& error) {
            EXPECT_THAT(error.what(), testing::HasSubstr("/nowhere/film.mov: No such file"));
            throw;
        },
        MediaError);
    EXPECT_THROW(ReadMediaInfo(notAFilm), MediaError);
}

} // namespace
} // namespace deck::test
