// What `korva-deck send` reads: commands, raw bytes and waits, one a line.

#pragma once

#include "deck/protocol/MMC.h"

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace deck::cli {

/// Bytes to send, or a time to wait, or neither.
struct SendStep {
    Bytes bytes;
    std::chrono::nanoseconds wait{0};

    bool IsNothing() const noexcept { return bytes.empty() && wait.count() == 0; }
};

/// One line: a command by name, bytes, `wait 500ms`, a `#` comment or nothing. Errors name what
/// would be right.
Parsed<SendStep> ParseSendLine(std::string_view line, const MMCSendOptions& options);

/// Every step of `text`. Throws HostError, whose line names `name` and the line's number.
std::vector<SendStep> ParseSendScript(
    std::string_view text, const std::string& name, const MMCSendOptions& options);

/// Every command by name, how it is written, and what the plug-in makes of it.
std::string SendListText();

} // namespace deck::cli
