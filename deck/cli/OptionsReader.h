// Reads a deck's command line anew, with its configuration and its video, while
// nobody waits: a file may lie on a server that does not answer.

#pragma once

#include "deck/cli/CommandLine.h"

#include <functional>
#include <future>
#include <thread>

namespace deck::cli {

class OptionsReader {
public:
    /// `onRead` is called on the reader's own thread.
    OptionsReader(std::vector<std::string> arguments, std::function<void()> onRead);
    /// Waits for a reading that is under way. [host, may block]
    ~OptionsReader();
    OptionsReader(const OptionsReader&) = delete;
    OptionsReader& operator=(const OptionsReader&) = delete;

    /// Begins to read; while it reads already, once more thereafter. [host]
    void Begin();
    /// What was read, once each; nothing where no reading has ended. Throws HostError where there
    /// was a mistake. [host]
    std::optional<PlayOptions> TryTake();

private:
    void Start();

    const std::vector<std::string> mArguments;
    const std::function<void()> mOnRead;
    bool mReadsOnceMore = false;
    std::future<PlayOptions> mReading;
    std::thread mThread;
};

} // namespace deck::cli
