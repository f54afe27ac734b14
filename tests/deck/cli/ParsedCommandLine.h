// What the deck makes of a command line: its options, or its one line of refusal.

#pragma once

#include "deck/cli/CommandLine.h"
#include "deck/host/HostError.h"

#include <gtest/gtest.h>

#include <regex>

namespace deck::cli::test {

using Arguments = std::vector<std::string>;

template <typename Options> Options Parse(const Arguments& arguments)
{
    return std::get<Options>(ParseCommandLine(arguments));
}

inline std::string Refusal(const Arguments& arguments)
{
    try {
        ParseCommandLine(arguments);
    } catch (const HostError& error) {
        EXPECT_EQ(error.Status(), kExitBadInput);
        EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos) << "one line";
        return error.what();
    }
    ADD_FAILURE() << "accepted";
    return "";
}

inline std::string Printed(const Arguments& arguments)
{
    return Parse<PrintOptions>(arguments).text;
}

inline std::vector<std::string> Matches(const std::string& text, const std::string& pattern)
{
    const std::regex regex(pattern);
    std::vector<std::string> found;
    for (std::sregex_iterator at(text.begin(), text.end(), regex); at != std::sregex_iterator();
         ++at) {
        found.push_back((*at)[1]);
    }
    return found;
}

/// As its help tells them, which is where users find them.
inline std::vector<std::string> OptionsOf(const std::string& command)
{
    return Matches(Printed({command, "--help"}), "\n  (?:-[a-z],)?(--[a-z-]+)");
}

} // namespace deck::cli::test
