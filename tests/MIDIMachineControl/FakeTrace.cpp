#include "tests/MIDIMachineControl/FakeTrace.h"

#include "kelcore/debug/Trace.h"
#include "kelcore/threads/CurrentThread.h"

#include <atomic>

namespace {

mmc::tests::FakeTrace* sFake = nullptr;
std::atomic<std::uint32_t> sChangeCount{0};
std::uint32_t sLastUsedChangeCount = 0;
std::atomic<int> sChangeCountCalls{0};

std::string Text(const unsigned char* text)
{
    return reinterpret_cast<const char*>(text);
}

} // namespace

// Take the place of the library's own.
namespace kelcore::debug {

std::uint32_t TraceChangeCount() noexcept
{
    ++sChangeCountCalls;
    return sChangeCount;
}

bool TraceEnabled(const unsigned char* category, int level, bool flag)
{
    return sFake != nullptr && sFake->TraceEnabled(Text(category), level, flag);
}

void Trace(const unsigned char* text)
{
    if (sFake != nullptr) {
        sFake->Trace(Text(text));
    }
}

} // namespace kelcore::debug

namespace mmc::tests {

FakeTrace::FakeTrace()
{
    sFake = this;
    sChangeCountCalls = 0;
    Change();
}

FakeTrace::~FakeTrace()
{
    sFake = nullptr;
    Change(); // what sites remember of this test is void
}

void FakeTrace::Change()
{
    ChangeTo(++sLastUsedChangeCount);
}

void FakeTrace::ChangeTo(std::uint32_t changeCount)
{
    sChangeCount = changeCount;
}

int FakeTrace::ChangeCountCalls() const
{
    return sChangeCountCalls;
}

std::string TraceLine(const std::string& text)
{
    return "<" + std::to_string(kelcore::threads::GetCurrentThreadID())
        + "> <MMC, HandleMMCCommands> <5> " + text + "\n";
}

} // namespace mmc::tests
