#include "kelorintal/DialogTrace.h"

#include "kelcore/debug/Trace.h"
#include "kelcore/threads/CurrentThread.h"

#include <atomic>
#include <cstdint>

namespace kelorintal {

namespace {

constexpr char kCategory[] = "UI, Dialog";
constexpr int kLevel = 1;

template <typename Character> const unsigned char* Bytes(const Character* text)
{
    return reinterpret_cast<const unsigned char*>(text);
}

// The change count last seen, and in bit 32 the answer at that time.
std::atomic<std::uint64_t> sSite{0xFFFFFFFF};

bool IsWanted()
{
    constexpr std::uint64_t kWanted = std::uint64_t{1} << 32;
    const std::uint32_t count = kelcore::debug::TraceChangeCount();
    std::uint64_t site = sSite.load();
    if (static_cast<std::uint32_t>(site) != count) {
        const bool wanted = kelcore::debug::TraceEnabled(Bytes(kCategory), kLevel, true);
        site = count | (wanted ? kWanted : 0);
        sSite.store(site);
    }
    return (site & kWanted) != 0;
}

} // namespace

void TraceDialog(const std::string& text)
{
    if (!IsWanted()) {
        return;
    }
    const std::string line = "<" + std::to_string(kelcore::threads::GetCurrentThreadID()) + "> <"
        + kCategory + "> <" + std::to_string(kLevel) + "> " + text + "\n";
    kelcore::debug::Trace(Bytes(line.c_str()));
}

} // namespace kelorintal
