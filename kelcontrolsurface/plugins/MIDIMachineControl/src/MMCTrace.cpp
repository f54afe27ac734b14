#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCTrace.h"

#include "kelcore/debug/Trace.h"
#include "kelcore/threads/CurrentThread.h"

#include <exception>
#include <locale>
#include <sstream>

namespace mmc {

namespace {

constexpr unsigned char kCategory[] = "MMC, HandleMMCCommands";
constexpr int kLevel = 5;

const unsigned char* AsBytes(const std::string& text) noexcept
{
    return reinterpret_cast<const unsigned char*>(text.c_str());
}

} // namespace

bool TraceSite::IsEnabled() noexcept
{
    const std::uint32_t changeCount = kelcore::debug::TraceChangeCount();
    // Relaxed: the two values publish nothing but themselves.
    if (changeCount != mSeenChangeCount.load(std::memory_order_relaxed)) {
        Ask(changeCount);
    }
    return mEnabled.load(std::memory_order_relaxed);
}

void TraceSite::Ask(std::uint32_t changeCount) noexcept
{
    try {
        mSeenChangeCount.store(changeCount, std::memory_order_relaxed);
        mEnabled.store(
            kelcore::debug::TraceEnabled(kCategory, kLevel, true), std::memory_order_relaxed);
    } catch (const std::exception&) {
        mEnabled.store(false, std::memory_order_relaxed);
        mSeenChangeCount.store(kNeverAsked, std::memory_order_relaxed);
    }
}

void WriteTraceLine(std::string_view text) noexcept
{
    try {
        std::ostringstream line;
        line.imbue(std::locale::classic()); // numbers without the host's digit groups
        line << '<' << kelcore::threads::GetCurrentThreadID() << "> <"
             << reinterpret_cast<const char*>(kCategory) << "> <" << kLevel << "> " << text << '\n';
        kelcore::debug::Trace(AsBytes(line.str()));
    } catch (const std::exception&) {
        // Support can do without the line; the transport cannot do without the command.
    }
}

} // namespace mmc
