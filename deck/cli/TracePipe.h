// Reads the trace lines of this process, which otherwise go to standard error or
// a file.

#pragma once

#include <optional>
#include <string>

namespace deck::cli {

/// Make it before anything is traced: the trace facility looks once where its lines go.
class TracePipe {
public:
    /// Sends the trace here, with the lines of `category` up to `level`. Throws
    /// std::system_error. [host]
    TracePipe(const std::string& category, int level);
    ~TracePipe();
    TracePipe(const TracePipe&) = delete;
    TracePipe& operator=(const TracePipe&) = delete;

    /// Readable when there are lines. [host]
    int Descriptor() const noexcept { return mRead; }
    /// The next whole line without its end, if there is one. [host]
    std::optional<std::string> TryReadLine();

private:
    int mRead = -1;
    int mWrite = -1; // keeps the pipe's other end open between two lines
    std::string mText;
};

} // namespace deck::cli
