// A program that runs beside the test: what it writes, line by line, and how it
// ends.

#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <condition_variable>
#include <sys/types.h>

namespace deck::acceptance {

/// Long enough for a sanitizer on a busy machine; no test waits for it to pass.
inline constexpr std::chrono::seconds kDeadline{60};

class Program {
public:
    using Environment = std::map<std::string, std::string>;

    enum class Input { kNone, kCommands };

    /// `environment` is laid over the test's own. Standard output and error are read as one.
    Program(const std::vector<std::string>& command,
        const Environment& environment,
        Input input = Input::kNone);
    /// Kills it where it still runs.
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// The next line, from where the last call found one, that `fits`; nothing where the program
    /// ends or the deadline passes without one.
    std::optional<std::string> WaitForLine(const std::function<bool(const std::string&)>& fits);
    std::optional<std::string> WaitForLine(const std::string& part);

    /// A line on its standard input, of a program that takes commands; what has ended hears
    /// nothing.
    void Tell(const std::string& line) const;
    void Signal(int signal) const;
    /// Waits for the end: the exit status, or 128 and the signal that killed it; -1 at the
    /// deadline.
    int Wait();
    /// All that it has written.
    std::string Output() const;

private:
    void Read(int descriptor);
    void Take(const std::string& text);

    mutable std::mutex mMutex;
    mutable std::condition_variable mChanged;
    std::vector<std::string> mLines; // guarded by mMutex
    std::string mRest;               // the reader's: a line not yet ended
    bool mHasEnded = false;          // guarded by mMutex
    std::size_t mNext = 0;
    pid_t mProcess = 0;
    int mInput = -1; // where its standard input is written
    std::optional<int> mStatus;
    std::thread mReader;
};

} // namespace deck::acceptance
