#include "tests/deck/media/TestFilm.h"

#include <cstdlib>
#include <stdexcept>
#include <unistd.h>

namespace deck::test {

namespace {

constexpr int kBits = 16;
constexpr int kBarWidth = kFilmWidth / kBits;

std::filesystem::path FilmFolder()
{
    struct Folder {
        std::filesystem::path path
            = std::filesystem::temp_directory_path() / ("korva-film-" + std::to_string(getpid()));
        Folder() { std::filesystem::create_directories(path); }
        ~Folder() { std::filesystem::remove_all(path); }
    };
    static const Folder sFolder;
    return sFolder.path;
}

} // namespace

std::filesystem::path MakeFilm(const FilmSpec& spec)
{
    static int sCount = 0;
    const auto path = FilmFolder() / ("film-" + std::to_string(++sCount) + ".mov");
    const std::string size = std::to_string(kFilmWidth) + ":" + std::to_string(kFilmHeight);
    // A pixel a bar, then larger: the expression is evaluated for each pixel
    const std::string command = "ffmpeg -v error -y -f lavfi -i \"color=c=black:s="
        + std::to_string(kBits) + "x2:r=" + spec.rate
        + ",format=gray,geq=lum='if(mod(floor(N/pow(2\\,X))\\,2)\\,235\\,16)',scale=" + size
        + ":flags=neighbor\"" + (spec.sound ? " -f lavfi -i sine -shortest" : "") + " -frames:v "
        + std::to_string(spec.frames)
        + (spec.timecode.empty() ? "" : " -timecode '" + spec.timecode + "'")
        + " -c:v libx264 -preset fast -bf 3 -g 50 -pix_fmt yuv420p '" + path.string() + "'";
    if (std::system(command.c_str()) != 0) {
        throw std::runtime_error("ffmpeg did not make a film: " + command);
    }
    return path;
}

int ReadFrameNumber(const std::vector<std::uint8_t>& pixels)
{
    int number = 0;
    for (int bit = 0; bit < kBits; ++bit) {
        const int x = bit * kBarWidth + kBarWidth / 2;
        const int y = kFilmHeight / 2;
        if (pixels[static_cast<std::size_t>(4 * (y * kFilmWidth + x) + 1)] > 128) {
            number |= 1 << bit;
        }
    }
    return number;
}

} // namespace deck::test
