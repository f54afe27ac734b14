#include "tests/acceptance/Ardour.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace deck::acceptance {
namespace {

constexpr char kChaser[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<Ardour>
  <TransportMasters current="MTC">
    <TransportMaster type="MTC" name="MTC" collect="1" removeable="0"/>
  </TransportMasters>
</Ardour>
)";

void WriteConfiguration(const std::filesystem::path& folder, bool isChaser)
{
    std::filesystem::create_directories(folder / "ardour7");
    if (isChaser) {
        std::ofstream(folder / "ardour7" / "config") << kChaser;
    }
}

} // namespace

bool Ardour::IsInstalled()
{
    return std::system("command -v ardour7-lua >/dev/null") == 0;
}

Ardour::Ardour(const std::filesystem::path& folder, Program::Environment environment, bool isChaser)
{
    environment["XDG_CONFIG_HOME"] = folder.string();
    WriteConfiguration(folder, isChaser);
    // Two of its threads talk to the server as it starts, which libjack mixes up at times
    constexpr int kAttempts = 10;
    static int sSessions = 0;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        if (TryStart(folder / ("session-" + std::to_string(++sSessions)), environment)) {
            return;
        }
    }
    throw std::runtime_error("Ardour does not start:\n" + Output());
}

Ardour::~Ardour()
{
    // A JACK server has to wait for a client that was killed
    mProgram->Tell("quit");
    mProgram->Wait();
}

bool Ardour::TryStart(const std::filesystem::path& session, const Program::Environment& environment)
{
    Program::Environment withSession = environment;
    withSession["PEER_SESSION"] = session.string();
    mProgram = std::make_unique<Program>(
        std::vector<std::string>{"setpriv", "--pdeathsig", "KILL", "ardour7-lua", ARDOUR_SCRIPT},
        withSession, Program::Input::kCommands);
    return mProgram->WaitForLine([](const std::string& line) {
        return line == "ready" || line == "halted";
    }) == "ready";
}

std::string Ardour::Do(const std::string& command)
{
    mProgram->Tell(command);
    const std::string begin = command.substr(0, command.find(' ')) + ": ";
    const auto answer = mProgram->WaitForLine(
        [&begin](const std::string& line) { return line.starts_with(begin); });
    return answer ? answer->substr(begin.size()) : "";
}

std::int64_t Ardour::Stand()
{
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    std::string where = "rolling";
    while (where == "rolling" && std::chrono::steady_clock::now() < end) {
        where = Do("where");
    }
    return where.empty() || where == "rolling" ? -1 : std::stoll(where);
}

} // namespace deck::acceptance
