#include "tests/acceptance/DeckTest.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace deck::acceptance {

namespace fs = std::filesystem;

DeckTest::DeckTest()
{
    std::string name = (fs::temp_directory_path() / "deck-acceptance-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no temporary folder");
    }
    mHome = name;
    fs::create_directory(mHome / "run");
    fs::permissions(mHome / "run", fs::perms::owner_all); // as Qt and systemd ask for
    mEnvironment = {{"XDG_CONFIG_HOME", mHome.string()}, {"XDG_DATA_HOME", mHome.string()},
        {"XDG_RUNTIME_DIR", (mHome / "run").string()}, {"KEL_MIDI_SERVICE", "builtin"},
        {"KEL_DEBUG_DATABASE", (mHome / "debug.json").string()}};
}

DeckTest::~DeckTest()
{
    fs::remove_all(mHome);
}

std::unique_ptr<Program> DeckTest::Start(const std::vector<std::string>& arguments) const
{
    std::vector<std::string> command = {KORVA_DECK};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return std::make_unique<Program>(command, mEnvironment);
}

int DeckTest::Run(const std::vector<std::string>& arguments)
{
    const auto program = Start(arguments);
    const int status = program->Wait();
    mOutput = program->Output();
    return status;
}

void DeckTest::Write(const fs::path& path, const std::string& text) const
{
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

std::string DeckTest::Read(const fs::path& path) const
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

fs::path DeckTest::SettingsPath() const
{
    return mHome / "korva" / "deck-settings.json";
}

fs::path DeckTest::ConfigPath() const
{
    return mHome / "korva-deck" / "korva-deck.conf";
}

// The player's threads post events to the window through Qt, which guards its memory by means that
// the thread sanitizer does not see: it is to look at modules that were built with it only, as ours
// all are.
void DeckTest::UseWindowsWithoutAScreen()
{
    mEnvironment["QT_QPA_PLATFORM"] = "offscreen";
    const char* const options = std::getenv("TSAN_OPTIONS");
    mEnvironment["TSAN_OPTIONS"]
        = std::string(options != nullptr ? options : "") + ":ignore_noninstrumented_modules=1";
}

} // namespace deck::acceptance
