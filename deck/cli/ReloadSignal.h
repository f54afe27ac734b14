// SIGHUP as something to wait for: a request to read the configuration anew,
// unless it means that the terminal has gone.

#pragma once

namespace deck::cli {

/// Make it before any other thread starts: threads inherit that the signal is blocked.
class ReloadSignal {
public:
    /// Throws std::system_error.
    ReloadSignal();
    ~ReloadSignal();
    ReloadSignal(const ReloadSignal&) = delete;
    ReloadSignal& operator=(const ReloadSignal&) = delete;

    /// Readable once the signal came, until it is taken.
    int Descriptor() const noexcept { return mDescriptor; }
    /// True once for each time that the signal came (several at once count as one). [host]
    bool TryTake() noexcept;
    /// A deck that was started in a terminal ends with it. [host]
    bool HasLostTerminal() const noexcept;

private:
    int mDescriptor = -1;
    bool mHadTerminal;
};

} // namespace deck::cli
