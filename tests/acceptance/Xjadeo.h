// A video player that is not ours and follows MTC: xjadeo on a virtual screen, its
// picture read back from there.

#pragma once

#include "tests/acceptance/Program.h"

#include <filesystem>

namespace deck::acceptance {

class Xjadeo {
public:
    static bool IsInstalled();

    /// Returns when it shows `film`, one that MakeFilm made, and reads MTC from the JACK port
    /// `source`. `folder` is for its files.
    Xjadeo(const std::string& film,
        const std::string& source,
        const std::filesystem::path& folder,
        const Program::Environment& environment);
    ~Xjadeo();
    Xjadeo(const Xjadeo&) = delete;
    Xjadeo& operator=(const Xjadeo&) = delete;

    /// The frame that it says it shows.
    int Position();
    /// The frame that the picture on the screen spells.
    int Picture() const;
    /// Whether it comes to show that frame, by its own word and by the picture.
    bool ComesTo(int frame, std::chrono::seconds deadline = kDeadline);

    /// From now on it tells each frame that it comes to show.
    void TellFrames();
    /// Waits until it tells a frame; the newest one that it has told.
    std::optional<int> NextFrame();

    std::string Output() const { return mPlayer->Output(); }

private:
    std::optional<std::string> Ask(const std::string& question, const std::string& answer);

    std::filesystem::path mFolder;
    Program mScreen;
    std::string mDisplay;
    std::unique_ptr<Program> mPlayer;
};

} // namespace deck::acceptance
