// The takes of a session, kept on disk as they are made, and written as an edit
// list for whoever cuts them.

#pragma once

#include "deck/transport/Timecode.h"

#include <filesystem>
#include <vector>

namespace deck {

struct RecordedTake {
    int number = 0; // from 1, never used twice in a file
    FrameRate rate;
    FrameNumber in = 0;               // of the day
    std::optional<FrameNumber> out{}; // the first frame that is no longer part; none while it runs
    std::string reel;                 // where the picture comes from; may be empty
    std::string date;                 // of the punch in, as the caller writes it (ISO 8601)

    /// Frames from in to out, over midnight too; 0 while it runs.
    FrameNumber Duration() const noexcept;

    friend bool operator==(const RecordedTake&, const RecordedTake&) = default;
};

/// One line of JSON for each punch in and each punch out, each on the disk before the call
/// returns: a crash loses nothing that was written, and a take that was running stays open.
/// [one thread at a time, may block]
class TakeList {
public:
    enum class Access {
        Keep, // for one list at a time
        Look  // changes nothing
    };

    /// Opens `path`, or makes it to keep takes in, and reads those that are there. Nothing is
    /// thrown: see Error and Warnings.
    explicit TakeList(std::filesystem::path path, Access access = Access::Keep);
    ~TakeList();
    TakeList(const TakeList&) = delete;
    TakeList& operator=(const TakeList&) = delete;

    /// Empty, or why the file cannot be used or the last line was not written. The takes in memory
    /// are complete all the same.
    const std::string& Error() const noexcept { return mError; }
    /// What could not be read, each with the number of its line.
    const std::vector<std::string>& Warnings() const noexcept { return mWarnings; }
    const std::vector<RecordedTake>& Takes() const noexcept { return mTakes; }

    /// Begins a take and ends one that is still open at the same frame. One that was found open
    /// stays so: nobody knows where it ended. False when it was not written.
    bool PunchIn(FrameNumber in, FrameRate rate, std::string reel, std::string date);
    /// Ends the take that is open. False when none is, or it was not written.
    bool PunchOut(FrameNumber out);

private:
    void Open(Access access);
    void Read();
    void ReadLine(std::string_view line, std::size_t number);
    bool Append(const std::string& line);
    RecordedTake* OpenTake() noexcept;

    std::filesystem::path mPath;
    int mFile = -1;
    std::vector<RecordedTake> mTakes;
    bool mWasFoundOpen = false; // the last one, when the file was read
    std::vector<std::string> mWarnings;
    std::string mError;
};

/// CMX 3600 edit lists: one event for each finished take that lasts, at most 999 in a list, so
/// that more takes give more lists. Source and record times are both the take's place. Takes
/// that are open or empty are named in comments.
std::vector<std::string> ExportEdl(const std::vector<RecordedTake>& takes, std::string_view title);
/// A heading and a line for each take, RFC 4180; an open take has no out and no duration.
std::string ExportCsv(const std::vector<RecordedTake>& takes);

} // namespace deck
