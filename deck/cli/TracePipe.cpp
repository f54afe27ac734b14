#include "deck/cli/TracePipe.h"

#include "kelcore/debug/DebugDatabase.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace deck::cli {

TracePipe::TracePipe(const std::string& category, int level)
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    mRead = ends[0];
    mWrite = ends[1];
    fcntl(mRead, F_SETFL, O_NONBLOCK);
    setenv("KEL_TRACE_FILE", ("/proc/self/fd/" + std::to_string(mWrite)).c_str(), 1);
    kelcore::debug::DebugDatabase::Instance().SetEntry("trace." + category, std::to_string(level));
}

TracePipe::~TracePipe()
{
    close(mWrite);
    close(mRead);
}

std::optional<std::string> TracePipe::TryReadLine()
{
    std::array<char, 4096> buffer{};
    ssize_t count = 0;
    while ((count = read(mRead, buffer.data(), buffer.size())) > 0) {
        mText.append(buffer.data(), static_cast<std::size_t>(count));
    }
    const std::size_t end = mText.find('\n');
    if (end == std::string::npos) {
        return std::nullopt;
    }
    const std::string line = mText.substr(0, end);
    mText.erase(0, end + 1);
    return line;
}

} // namespace deck::cli
