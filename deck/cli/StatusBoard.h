// How a running deck is, for whoever asks from another thread.

#pragma once

#include "deck/cli/DeckStatus.h"

#include <chrono>
#include <filesystem>
#include <mutex>

namespace deck::cli {

/// What of it does not change while it runs.
struct DeckIdentity {
    std::string command; // "run" or "play"
    std::filesystem::path settings;
    std::filesystem::path takes;
};

/// [any thread, may block], each of its methods.
class StatusBoard {
public:
    explicit StatusBoard(DeckIdentity identity);

    void Post(const DeckStatus& status);
    /// The last thing that the user was told.
    void Post(const std::string& event, const std::string& text);

    /// The status as JSON in one line, then the same for people; each line with its end.
    std::string Answer() const;

private:
    std::string JSONLine() const;
    std::string Lines() const;
    std::string UpTime() const;

    const DeckIdentity mIdentity;
    const std::chrono::steady_clock::time_point mBegin = std::chrono::steady_clock::now();
    mutable std::mutex mMutex;
    DeckStatus mStatus;  // guarded by mMutex
    std::string mEvent;  // guarded by mMutex
    std::string mNotice; // guarded by mMutex
};

} // namespace deck::cli
