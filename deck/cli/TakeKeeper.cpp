#include "deck/cli/TakeKeeper.h"

#include "deck/host/SettingsFile.h"
#include "deck/host/UserFolders.h"

#include <ctime>
#include <utility>

namespace deck::cli {
namespace {

namespace fs = std::filesystem;

// What is wrong with the folder, opening the file tells.
const fs::path& WithFolder(const fs::path& path)
{
    std::error_code error;
    fs::create_directories(path.parent_path(), error);
    return path;
}

// ISO 8601, in UTC: 2024-05-01T10:00:00Z.
std::string Now()
{
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    char text[32];
    return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

} // namespace

fs::path DefaultTakesPath(const fs::path& settings)
{
    if (settings == host::SettingsFile::DefaultPath()) {
        return host::UserFolder("XDG_DATA_HOME", ".local/share") / "korva" / "deck-takes.jsonl";
    }
    return fs::path(settings).replace_extension(".takes.jsonl");
}

TakeKeeper::TakeKeeper(const fs::path& path, std::string reel, Display& display)
    : mReel(std::move(reel))
    , mDisplay(display)
    , mList(WithFolder(path))
{
    for (const std::string& warning : mList.Warnings()) {
        mDisplay.Tell("warning", warning);
    }
    TellTrouble();
    if (!mList.Takes().empty() && !mList.Takes().back().out) {
        const RecordedTake& open = mList.Takes().back();
        mDisplay.Tell("note",
            "take " + std::to_string(open.number) + " from " + FormatFrame(open.in, open.rate)
                + " was never ended: the deck ended before it; it stays in the list without an "
                  "end");
    }
}

void TakeKeeper::Keep(const Take& take, FrameRate rate)
{
    if (take.isOpen) {
        mList.PunchIn(take.inFrame, rate, mReel, Now());
    } else {
        mList.PunchOut(take.outFrame);
    }
    TellTrouble();
}

/// A full disk is told once, not with each take; and again after it was well between.
void TakeKeeper::TellTrouble()
{
    if (mList.Error() != std::exchange(mTold, mList.Error()) && !mTold.empty()) {
        mDisplay.Tell("warning", mTold + "; recording goes on");
    }
}

} // namespace deck::cli
