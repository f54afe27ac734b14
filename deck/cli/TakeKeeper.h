// Keeps the takes of a running deck on disk, and says once where that fails.

#pragma once

#include "deck/cli/Display.h"
#include "deck/protocol/TakeList.h"

namespace deck::cli {

/// Where the takes of a deck with that settings file are kept unless somebody says otherwise:
/// `$XDG_DATA_HOME/korva/deck-takes.jsonl` for the default settings, else beside the settings.
std::filesystem::path DefaultTakesPath(const std::filesystem::path& settings);

/// [host, may block], each of its methods.
class TakeKeeper {
public:
    /// Opens `path`, making its folder. What cannot be read or written `display` gets as warnings;
    /// the deck goes on. `reel` names the picture; it may be empty.
    TakeKeeper(const std::filesystem::path& path, std::string reel, Display& display);

    /// At punch in and at punch out: on the disk when it returns, or told.
    void Keep(const Take& take, FrameRate rate);

    const std::vector<RecordedTake>& Takes() const noexcept { return mList.Takes(); }

private:
    void TellTrouble();

    std::string mReel;
    Display& mDisplay;
    TakeList mList;
    std::string mTold; // the trouble that the user knows of
};

} // namespace deck::cli
