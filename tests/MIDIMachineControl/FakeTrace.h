// The host library's trace with the test behind it.

#pragma once

#include <gmock/gmock.h>

#include <cstdint>
#include <string>

namespace mmc::tests {

/// While one lives, every question and every line must be expected; the change count is the
/// test's. Without one nothing is traced.
class FakeTrace {
public:
    FakeTrace();
    ~FakeTrace();
    FakeTrace(const FakeTrace&) = delete;
    FakeTrace& operator=(const FakeTrace&) = delete;

    /// Moves the change count to a value that no trace site of the process has seen.
    void Change();
    void ChangeTo(std::uint32_t changeCount);

    /// How often the change count was asked for.
    int ChangeCountCalls() const;

    MOCK_METHOD(bool, TraceEnabled, (const std::string& category, int level, bool));
    MOCK_METHOD(void, Trace, (const std::string& text));
};

/// What a trace line of the calling thread looks like.
std::string TraceLine(const std::string& text);

} // namespace mmc::tests
