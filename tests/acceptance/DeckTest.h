// What every test of the built korva-deck needs: the program, and a home of its
// own for what it writes.

#pragma once

#include "tests/acceptance/Program.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <memory>

namespace deck::acceptance {

class DeckTest : public testing::Test {
protected:
    DeckTest();
    ~DeckTest() override;

    /// korva-deck with these arguments, on the MIDI service that `mEnvironment` chooses.
    std::unique_ptr<Program> Start(const std::vector<std::string>& arguments) const;
    /// Runs it to its end: the exit status, and in `mOutput` what it wrote.
    int Run(const std::vector<std::string>& arguments);

    void Write(const std::filesystem::path& path, const std::string& text) const;
    std::string Read(const std::filesystem::path& path) const;
    /// The settings file that korva-deck uses where none is named.
    std::filesystem::path SettingsPath() const;
    /// The configuration file that it reads where none is named.
    std::filesystem::path ConfigPath() const;

    std::filesystem::path mHome;
    /// For `play`.
    void UseWindowsWithoutAScreen();

    Program::Environment mEnvironment;
    std::string mOutput;
};

} // namespace deck::acceptance
