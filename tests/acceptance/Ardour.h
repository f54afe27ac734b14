// A DAW that is not ours: Ardour without its window, on a JACK server, where it sends
// MMC from "ardour:MMC out" and reads MTC at "ardour:MTC in".

#pragma once

#include "tests/acceptance/Program.h"

#include <cstdint>
#include <filesystem>

namespace deck::acceptance {

class Ardour {
public:
    static constexpr int kSampleRate = 48000;
    static bool IsInstalled();

    /// Returns when it is ready. `folder` is for its session and its configuration.
    /// Where it `isChaser`, MTC is what it follows once it is told to "chase".
    Ardour(const std::filesystem::path& folder, Program::Environment environment, bool isChaser);
    ~Ardour();
    Ardour(const Ardour&) = delete;
    Ardour& operator=(const Ardour&) = delete;

    /// Does a command of ardour.lua; its answer, empty where it has ended.
    std::string Do(const std::string& command);
    /// The sample where it stands; waits until it does.
    std::int64_t Stand();

    std::string Output() const { return mProgram->Output(); }

private:
    bool TryStart(const std::filesystem::path& session, const Program::Environment& environment);

    std::unique_ptr<Program> mProgram;
};

} // namespace deck::acceptance
