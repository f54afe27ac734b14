// A MIDI setup that a test makes up, behind the layer's own factories.

#pragma once

#include "kelcore/utility/UTF16String.h"
#include "mediaio/kelmidi/src/MidiHost.h"

#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace kelui::tests {

struct FakeEndpoint {
    kelcore::utility::UTF16String name;
    kelcore::utility::UTF16String id;
};

/// One at a time. What the dialog asks of the layer is told in `log`.
class FakeMidi {
public:
    FakeMidi();
    ~FakeMidi();
    FakeMidi(const FakeMidi&) = delete;
    FakeMidi& operator=(const FakeMidi&) = delete;

    void SetInputs(std::vector<FakeEndpoint> endpoints);
    void SetOutputs(std::vector<FakeEndpoint> endpoints);
    /// Tells the host of the dialog that the setup has changed, on a thread of its own that has
    /// ended on return.
    void Notify();

    /// Likewise on this thread, or returns false where there is no host.
    bool NotifyIfPresent();

    std::vector<std::string> TakeLog();

    bool hasHost = true;       // otherwise the layer makes none
    bool hasEnumerator = true; // likewise
    std::function<void()> onEnumInputs;
    std::function<void()> onEnumOutputs;

    // For the factories.
    void Tell(const std::string& line);
    std::vector<FakeEndpoint> GetInputs() const;
    std::vector<FakeEndpoint> GetOutputs() const;
    void SetHost(kelmidi::MidiHost* newHost);
    kelmidi::MidiHost* host = nullptr; // the one alive; written holding mNotices

private:
    mutable std::mutex mMutex;
    // Held while a host is told, so that none goes in the middle, as a service does it.
    std::mutex mNotices;
    std::vector<FakeEndpoint> mInputs;  // guarded by mMutex
    std::vector<FakeEndpoint> mOutputs; // guarded by mMutex
    std::vector<std::string> mLog;      // guarded by mMutex
};

} // namespace kelui::tests
