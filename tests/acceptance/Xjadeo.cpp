#include "tests/acceptance/Xjadeo.h"

#include "tests/deck/media/TestFilm.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace deck::acceptance {
namespace {

// What it answers and tells begins with a number of its remote protocol
constexpr char kPositionAnswer[] = "@201 position=";
constexpr char kFrameShown[] = "@301 position=";

/// A screen that the film fills.
std::vector<std::string> ScreenCommand()
{
    const std::string size
        = std::to_string(test::kFilmWidth) + "x" + std::to_string(test::kFilmHeight) + "x24";
    return {"setpriv", "--pdeathsig", "KILL", "Xvfb", "-displayfd", "1", "-screen", "0", size,
        "-nolisten", "tcp"};
}

bool IsNumber(const std::string& line)
{
    return !line.empty() && line.find_first_not_of("0123456789") == std::string::npos;
}

std::string DisplayOf(Program& screen)
{
    const auto number = screen.WaitForLine(&IsNumber);
    if (!number) {
        throw std::runtime_error("no virtual screen:\n" + screen.Output());
    }
    return ":" + *number;
}

int NumberAfter(const std::string& text, const std::string& words)
{
    return std::stoi(text.substr(text.rfind(words) + words.size()));
}

} // namespace

bool Xjadeo::IsInstalled()
{
    return std::system(
               "for program in xjadeo Xvfb import; do command -v $program >/dev/null || exit; done")
        == 0;
}

Xjadeo::Xjadeo(const std::string& film,
    const std::string& source,
    const std::filesystem::path& folder,
    const Program::Environment& environment)
    : mFolder(folder)
    , mScreen(ScreenCommand(), environment)
    , mDisplay(DisplayOf(mScreen))
{
    Program::Environment withScreen = environment;
    withScreen["DISPLAY"] = mDisplay;
    mPlayer = std::make_unique<Program>(
        std::vector<std::string>{"setpriv", "--pdeathsig", "KILL", "xjadeo", "--remote",
            "--no-splash", "--vo", "ImLib2", "--midi-driver", "jack", "--midi", source, film},
        withScreen, Program::Input::kCommands);
    if (!Ask("midi status", "midi connected") || !ComesTo(0)) {
        throw std::runtime_error("xjadeo does not start:\n" + Output());
    }
}

Xjadeo::~Xjadeo()
{
    // A JACK server has to wait for a client that was killed
    mPlayer->Tell("quit");
    mPlayer->Wait();
}

std::optional<std::string> Xjadeo::Ask(const std::string& question, const std::string& answer)
{
    mPlayer->Tell(question);
    return mPlayer->WaitForLine(answer);
}

int Xjadeo::Position()
{
    const auto answer = Ask("get position", kPositionAnswer);
    return answer ? NumberAfter(*answer, kPositionAnswer) : -1;
}

int Xjadeo::Picture() const
{
    const std::string file = mFolder / "picture.rgba";
    const std::string shoot
        = "import -display " + mDisplay + " -window root -depth 8 '" + file + "'";
    if (std::system(shoot.c_str()) != 0) {
        return -1;
    }
    std::ifstream picture(file, std::ios::binary);
    const std::vector<std::uint8_t> pixels(std::istreambuf_iterator<char>(picture), {});
    const std::size_t size = 4 * static_cast<std::size_t>(test::kFilmWidth) * test::kFilmHeight;
    return pixels.size() == size ? test::ReadFrameNumber(pixels) : -1;
}

bool Xjadeo::ComesTo(int frame, std::chrono::seconds deadline)
{
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (Position() != frame || Picture() != frame) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
    }
    return true;
}

void Xjadeo::TellFrames()
{
    mPlayer->Tell("notify frame");
}

std::optional<int> Xjadeo::NextFrame()
{
    if (!mPlayer->WaitForLine(kFrameShown)) {
        return std::nullopt;
    }
    return NumberAfter(Output(), kFrameShown);
}

} // namespace deck::acceptance
