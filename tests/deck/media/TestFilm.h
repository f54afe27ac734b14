// A film whose every picture says which one it is: sixteen bars, white for a 1,
// spell the frame's number from its lowest bit.

#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace deck::test {

struct FilmSpec {
    std::string rate = "25"; // as ffmpeg takes it
    int frames = 250;
    std::string timecode; // of the first frame; none where empty
    bool sound = false;
};

inline constexpr int kFilmWidth = 320;
inline constexpr int kFilmHeight = 64;

/// Makes the film with ffmpeg, long groups of pictures and all, in a folder of this process.
std::filesystem::path MakeFilm(const FilmSpec& spec);

/// The number in a picture of kFilmWidth x kFilmHeight pixels of four bytes.
int ReadFrameNumber(const std::vector<std::uint8_t>& pixels);

} // namespace deck::test
