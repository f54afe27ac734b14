#include "deck/protocol/TakeList.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace deck {
namespace {

constexpr std::size_t kMaxEvents = 999;
constexpr std::size_t kReelWidth = 8;

using Json = nlohmann::ordered_json;

std::string InLine(const RecordedTake& take)
{
    const Json json{{"event", "in"}, {"take", take.number},
        {"timecode", FormatFrame(take.in, take.rate)}, {"rate", take.rate.Name()},
        {"reel", take.reel}, {"date", take.date}};
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string OutLine(const RecordedTake& take)
{
    const Json json{
        {"event", "out"}, {"take", take.number}, {"timecode", FormatFrame(*take.out, take.rate)}};
    return json.dump();
}

bool WriteAll(int file, std::string_view text)
{
    while (!text.empty()) {
        const auto written = ::write(file, text.data(), text.size());
        if (written < 0 && errno != EINTR)
            return false;
        if (written > 0)
            text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

/// The file's name is on the disk only when its folder is.
void SyncFolder(const std::filesystem::path& path)
{
    const auto folder = path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
    const int file = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (file < 0)
        return;
    ::fsync(file);
    ::close(file);
}

std::string ReadFile(const std::filesystem::path& path)
{
    if (!std::filesystem::is_regular_file(path))
        return {}; // a device may never end
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string StringOf(const Json& json, const char* key)
{
    const auto found = json.find(key);
    return found != json.end() && found->is_string() ? found->get<std::string>() : std::string();
}

int NumberOf(const Json& json)
{
    const auto found = json.find("take");
    if (found == json.end() || !found->is_number_integer())
        return 0;
    const auto number = found->get<std::int64_t>();
    return number > 0 && number < 1'000'000'000 ? static_cast<int>(number) : 0;
}

/// Letters and digits in capitals, at most eight, "AX" for none: what every reader of edit lists
/// takes.
std::string ReelName(std::string_view reel)
{
    std::string name;
    for (const char c : reel) {
        const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        const bool isTaken = isLetter || (c >= '0' && c <= '9') || c == '_';
        if (isTaken && name.size() < kReelWidth)
            name += c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return name.empty() ? "AX" : name;
}

/// One line of it: a line end would begin an event.
std::string OneLine(std::string_view text)
{
    std::string line(text);
    std::replace_if(
        line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < 32; }, ' ');
    return line;
}

std::string_view CountingMode(FrameRate rate)
{
    return rate.IsDrop() ? "FCM: DROP FRAME\n" : "FCM: NON-DROP FRAME\n";
}

/// With ':' in drop-frame too: the format has no other, its FCM line tells.
std::string EdlTimecode(FrameNumber frame, FrameRate rate)
{
    Timecode timecode = ToTimecode(frame, rate);
    timecode.drop = false;
    return FormatTimecode(timecode);
}

std::string EventLine(std::size_t event, const RecordedTake& take)
{
    const std::string in = EdlTimecode(take.in, take.rate);
    const std::string out = EdlTimecode(*take.out, take.rate);
    std::array<char, 128> line{};
    std::snprintf(line.data(), line.size(), "%03zu  %-8s V     C        %s %s %s %s\n", event,
        ReelName(take.reel).c_str(), in.c_str(), out.c_str(), in.c_str(), out.c_str());
    return line.data();
}

class EdlWriter {
public:
    explicit EdlWriter(std::string_view title)
        : mTitle(OneLine(title).substr(0, 70))
    {
    }

    void Add(const RecordedTake& take)
    {
        if (mLists.empty() || (take.Duration() > 0 && mEvents == kMaxEvents))
            BeginList(take.rate);
        if (take.Duration() == 0)
            return Comment(take);
        if (mDrop != take.rate.IsDrop())
            mLists.back() += CountingMode(take.rate);
        mDrop = take.rate.IsDrop();
        mLists.back() += EventLine(++mEvents, take);
        mLists.back()
            += "* TAKE " + std::to_string(take.number) + " AT " + std::string(take.rate.Name());
        if (!take.reel.empty())
            mLists.back() += "\n* FROM CLIP NAME: " + OneLine(take.reel);
        mLists.back() += '\n';
    }

    std::vector<std::string> Finish()
    {
        if (mLists.empty())
            BeginList(FrameRate::k25);
        return std::move(mLists);
    }

private:
    void BeginList(FrameRate rate)
    {
        std::string title = "TITLE: " + mTitle;
        if (!mLists.empty())
            title += " " + std::to_string(mLists.size() + 1);
        mLists.push_back(title + "\n" + std::string(CountingMode(rate)) + "\n");
        mEvents = 0;
        mDrop = rate.IsDrop();
    }

    void Comment(const RecordedTake& take)
    {
        mLists.back() += "* TAKE " + std::to_string(take.number) + " AT "
            + FormatFrame(take.in, take.rate) + (take.out ? " IS EMPTY\n" : " WAS NOT ENDED\n");
    }

    std::string mTitle;
    std::vector<std::string> mLists;
    std::size_t mEvents = 0;
    bool mDrop = false;
};

std::string CsvField(std::string_view text)
{
    if (text.find_first_of(",\"\r\n") == text.npos)
        return std::string(text);
    std::string field = "\"";
    for (const char c : text)
        field += c == '"' ? "\"\"" : std::string(1, c);
    return field + '"';
}

} // namespace

FrameNumber RecordedTake::Duration() const noexcept
{
    return out ? WrapToDay(*out - in, rate) : 0;
}

TakeList::TakeList(std::filesystem::path path, Access access)
    : mPath(std::move(path))
{
    Open(access);
    Read();
    mWasFoundOpen = OpenTake() != nullptr;
}

void TakeList::Open(Access access)
{
    const bool keeps = access == Access::Keep;
    const int file
        = ::open(mPath.c_str(), (keeps ? O_RDWR | O_APPEND | O_CREAT : O_RDONLY) | O_CLOEXEC, 0644);
    if (file < 0) {
        mError
            = mPath.string() + ": " + std::strerror(errno) + (keeps ? "; takes are not kept" : "");
        return;
    }
    struct stat status {};
    if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode))
        mError = mPath.string() + ": not a file that can be read again; takes are not kept";
    // Two that count from the same take on would use a number twice
    else if (keeps && ::flock(file, LOCK_EX | LOCK_NB) != 0)
        mError = mPath.string() + ": another deck keeps its takes there; takes are not kept";
    if (!keeps || !mError.empty()) {
        ::close(file);
        return;
    }
    mFile = file;
    SyncFolder(mPath);
}

TakeList::~TakeList()
{
    if (mFile >= 0)
        ::close(mFile);
}

bool TakeList::PunchIn(FrameNumber in, FrameRate rate, std::string reel, std::string date)
{
    const bool hasEnded = OpenTake() == nullptr || mWasFoundOpen || PunchOut(in);
    mWasFoundOpen = false;
    const int number = mTakes.empty() ? 1 : mTakes.back().number + 1;
    mTakes.push_back({number, rate, WrapToDay(in, rate), {}, std::move(reel), std::move(date)});
    return Append(InLine(mTakes.back())) && hasEnded;
}

bool TakeList::PunchOut(FrameNumber out)
{
    auto* take = OpenTake();
    if (take == nullptr)
        return false;
    take->out = WrapToDay(out, take->rate);
    return Append(OutLine(*take));
}

RecordedTake* TakeList::OpenTake() noexcept
{
    return mTakes.empty() || mTakes.back().out ? nullptr : &mTakes.back();
}

bool TakeList::Append(const std::string& line)
{
    if (mFile < 0)
        return false;
    // What a failed write left behind must not swallow this line
    const bool wasTorn = !mError.empty();
    mError.clear();
    if (!WriteAll(mFile, (wasTorn ? "\n" : "") + line + '\n') || ::fsync(mFile) != 0)
        mError = mPath.string() + ": " + std::strerror(errno) + "; the take is not kept";
    return mError.empty();
}

void TakeList::Read()
{
    const std::string text = ReadFile(mPath);
    std::size_t number = 0;
    for (std::string_view rest(text); !rest.empty();) {
        const auto end = std::min(rest.find('\n'), rest.size());
        ReadLine(rest.substr(0, end), ++number);
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    // A torn last line must not swallow the next one
    if (mFile >= 0 && !text.empty() && text.back() != '\n')
        WriteAll(mFile, "\n");
}

void TakeList::ReadLine(std::string_view line, std::size_t number)
{
    const auto warn = [&](const std::string& what) {
        mWarnings.push_back(mPath.string() + ", line " + std::to_string(number) + ": " + what);
    };
    if (line.empty())
        return;
    const Json json = Json::parse(line, nullptr, false);
    if (!json.is_object())
        return warn("not a whole take, left out: it was torn when it was written");
    const int take = NumberOf(json);
    const std::string event = StringOf(json, "event");
    auto* open = OpenTake();
    const bool isNext = mTakes.empty() || take > mTakes.back().number;
    if (event == "out" && open != nullptr && open->number == take) {
        const auto out = ParseTimecode(StringOf(json, "timecode"), open->rate);
        if (!out)
            return warn(out.error);
        open->out = ToFrame(*out, open->rate);
    } else if (event == "in" && take > 0 && isNext) {
        const auto rate = FrameRate::Parse(StringOf(json, "rate"));
        if (!rate)
            return warn(rate.error);
        const auto in = ParseTimecode(StringOf(json, "timecode"), *rate);
        if (!in)
            return warn(in.error);
        mTakes.push_back({take, *rate, *ToFrame(*in, *rate), {}, StringOf(json, "reel"),
            StringOf(json, "date")});
    } else
        warn("does not follow from the lines before it, left out");
}

std::vector<std::string> ExportEdl(const std::vector<RecordedTake>& takes, std::string_view title)
{
    EdlWriter writer(title);
    for (const auto& take : takes)
        writer.Add(take);
    return writer.Finish();
}

std::string ExportCsv(const std::vector<RecordedTake>& takes)
{
    std::string text = "take,rate,in,out,duration,frames,reel,date\r\n";
    for (const auto& take : takes) {
        text += std::to_string(take.number) + ',' + std::string(take.rate.Name()) + ','
            + FormatFrame(take.in, take.rate) + ',';
        if (take.out)
            text += FormatFrame(*take.out, take.rate) + ','
                + FormatFrame(take.Duration(), take.rate) + ',' + std::to_string(take.Duration());
        else
            text += ",,";
        text += ',' + CsvField(take.reel) + ',' + CsvField(take.date) + "\r\n";
    }
    return text;
}

} // namespace deck
