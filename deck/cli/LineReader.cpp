#include "deck/cli/LineReader.h"

#include "deck/host/HostError.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace deck::cli {

LineReader::LineReader(int descriptor, const StopSignals& signals)
    : mDescriptor(descriptor)
    , mSignals(signals)
{
}

std::optional<std::string> LineReader::Next()
{
    while (mRead.find('\n') == std::string::npos && !mIsAtEnd) {
        if (!ReadMore()) {
            return std::nullopt;
        }
    }
    if (mRead.empty()) {
        return std::nullopt;
    }
    const auto end = std::min(mRead.find('\n'), mRead.size());
    std::string line = mRead.substr(0, end);
    mRead.erase(0, end + 1);
    return line;
}

bool LineReader::ReadMore()
{
    if (mSignals.Wait({mDescriptor}, std::nullopt) == StopSignals::Woken::BySignal) {
        return false;
    }
    std::array<char, 4096> bytes{};
    const ssize_t length = read(mDescriptor, bytes.data(), bytes.size());
    if (length < 0 && errno != EINTR && errno != EAGAIN) {
        throw HostError(std::string("standard input cannot be read (") + std::strerror(errno)
            + "); give commands or --file FILE");
    }
    mRead.append(bytes.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    mIsAtEnd = length == 0;
    return true;
}

} // namespace deck::cli
