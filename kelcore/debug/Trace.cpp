#include "kelcore/debug/Trace.h"

#include "kelcore/debug/DebugDatabase.h"
#include "kelcore/debug/TraceSwitches.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <mutex>
#include <string>
#include <system_error>

namespace kelcore::debug {

namespace {

// What a trace site remembers before it has asked for the first time; the count is never this.
constexpr std::uint32_t kNeverAsked = std::numeric_limits<std::uint32_t>::max();

constinit std::atomic<std::uint32_t> sChangeCount{1};
static_assert(std::atomic<std::uint32_t>::is_always_lock_free);

const char* Chars(const unsigned char* text) noexcept
{
    return reinterpret_cast<const char*>(text);
}

bool CoversLevel(const std::string& entry, int level)
{
    if (entry == "true") {
        return true;
    }
    const char* const end = entry.data() + entry.size();
    int highest = 0;
    const auto result = std::from_chars(entry.data(), end, highest);
    return result.ec == std::errc() && result.ptr == end && level <= highest;
}

int OpenTraceFile()
{
    const char* const path = std::getenv("KEL_TRACE_FILE");
    if (path == nullptr || *path == '\0') {
        return STDERR_FILENO;
    }
    const int file = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    if (file < 0) {
        const std::string reason = std::generic_category().message(errno);
        std::fprintf(stderr, "trace file %s is not used: %s\n", path, reason.c_str());
        return STDERR_FILENO;
    }
    return file;
}

// A line that cannot be written is lost: there is nobody to tell.
void WriteAll(int file, std::string_view text) noexcept
{
    while (!text.empty()) {
        const ssize_t written = write(file, text.data(), text.size());
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            return;
        }
    }
}

} // namespace

std::uint32_t TraceChangeCount() noexcept
{
    // Acquire: a site that sees the new count also sees what changed.
    return sChangeCount.load(std::memory_order_acquire);
}

void MoveTraceChangeCount() noexcept
{
    std::uint32_t count = sChangeCount.load(std::memory_order_relaxed) + 1;
    if (count == kNeverAsked) {
        count = 0;
    }
    sChangeCount.store(count, std::memory_order_release); // publishes the change before it
}

bool TraceEnabled(const unsigned char* category, int level, bool)
{
    const DebugDatabase& database = DebugDatabase::Instance();
    const std::string prefix(kTraceKeyPrefix);
    const std::string all = database.GetEntry(prefix + '*', "");
    return CoversLevel(database.GetEntry(prefix + Chars(category), all), level);
}

void Trace(const unsigned char* text)
{
    static std::mutex sMutex;
    const std::scoped_lock lock(sMutex);
    static const int sFile = OpenTraceFile(); // open until the process ends
    WriteAll(sFile, Chars(text));
}

} // namespace kelcore::debug
