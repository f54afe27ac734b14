// Lines of standard input as they come, without holding up a signal.

#pragma once

#include "deck/cli/StopSignals.h"

#include <string>

namespace deck::cli {

class LineReader {
public:
    /// The descriptor stays open.
    LineReader(int descriptor, const StopSignals& signals);

    /// The next line without its end; nothing at the end of the input or after a signal. Throws
    /// HostError where the input cannot be read. [host, may block]
    std::optional<std::string> Next();

private:
    bool ReadMore();

    int mDescriptor;
    const StopSignals& mSignals;
    std::string mRead;
    bool mIsAtEnd = false;
};

} // namespace deck::cli
