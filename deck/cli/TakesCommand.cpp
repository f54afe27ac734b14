#include "deck/cli/TakesCommand.h"

#include "deck/cli/TakeKeeper.h"
#include "deck/host/HostError.h"

#include <nlohmann/json.hpp>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <sys/file.h>
#include <unistd.h>

namespace deck::cli {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr int kNumberWidth = 4;
constexpr int kTimecodeWidth = 13;
constexpr int kRateWidth = 9;
constexpr int kDateWidth = 22;

std::string OutText(const RecordedTake& take)
{
    return take.out ? FormatFrame(*take.out, take.rate) : "not ended";
}

std::string DurationText(const RecordedTake& take)
{
    return take.out ? FormatFrame(take.Duration(), take.rate) : "";
}

void WriteRow(std::ostream& text, const RecordedTake& take)
{
    text << std::right << std::setw(kNumberWidth) << take.number << "  " << std::left
         << std::setw(kTimecodeWidth) << FormatFrame(take.in, take.rate)
         << std::setw(kTimecodeWidth) << OutText(take) << std::setw(kTimecodeWidth)
         << DurationText(take) << std::setw(kRateWidth) << take.rate.Name() << std::setw(kDateWidth)
         << take.date << take.reel << "\n";
}

Json ToJson(const RecordedTake& take)
{
    Json json = {{"take", take.number}, {"rate", take.rate.Name()},
        {"in", FormatFrame(take.in, take.rate)}, {"out", nullptr}, {"frames", nullptr},
        {"reel", take.reel}, {"date", take.date}};
    if (take.out) {
        json["out"] = FormatFrame(*take.out, take.rate);
        json["frames"] = take.Duration();
    }
    return json;
}

[[noreturn]] void Fail(const std::string& what, const fs::path& path)
{
    throw HostError("cannot " + what + " " + path.string() + " (" + std::strerror(errno)
        + "); the take list is as it was");
}

void WriteTo(const fs::path& file, const std::string& text)
{
    if (file == "-") {
        std::cout << text << std::flush;
        return;
    }
    std::ofstream stream(file, std::ios::binary);
    stream << text << std::flush;
    if (!stream) {
        Fail("write", file);
    }
    std::cout << "written: " << file.string() << std::endl;
}

void ExportLists(const std::string& file, const std::vector<RecordedTake>& takes)
{
    const std::string title = file == "-" ? "TAKES" : fs::path(file).stem().string();
    std::size_t number = 0;
    for (const std::string& list : ExportEdl(takes, title)) {
        WriteTo(file == "-" ? fs::path(file) : NumberedFile(file, ++number), list);
    }
}

// The list of before stays under another name, and a deck that runs keeps its own.
void Clear(const fs::path& path)
{
    const TakeList held(path);
    if (!held.Error().empty()) {
        throw HostError(held.Error() + "; end that deck before the list is cleared");
    }
    for (int number = 1;; ++number) {
        const fs::path kept = path.string() + ".cleared-" + std::to_string(number);
        if (link(path.c_str(), kept.c_str()) == 0) {
            unlink(path.c_str());
            std::cout << "cleared; what was there is kept as " << kept.string() << std::endl;
            return;
        }
        if (errno != EEXIST) {
            Fail("keep the list as", kept);
        }
    }
}

void Show(const TakesOptions& options, const std::vector<RecordedTake>& takes)
{
    if (options.edl) {
        ExportLists(*options.edl, takes);
    }
    if (options.csv) {
        WriteTo(*options.csv, ExportCsv(takes));
    }
    if (!options.edl && !options.csv && !options.clear) {
        std::cout << (options.json ? TakesJSON(takes) : TakesText(takes));
    }
}

} // namespace

int ShowTakes(const TakesOptions& options)
{
    const fs::path path = options.takes.value_or(DefaultTakesPath(options.settings));
    std::error_code unknown;
    if (!fs::exists(path, unknown)) {
        if (options.takes) {
            throw HostError("there is no take list " + path.string()
                + "; a deck with --takes of that name makes it");
        }
        Show(options, {}); // the deck has not run yet
        return kExitDone;
    }
    const TakeList list(path, TakeList::Access::Look);
    if (!list.Error().empty()) {
        throw HostError(list.Error() + "; name a take list with --takes");
    }
    for (const std::string& warning : list.Warnings()) {
        std::cerr << "warning: " << warning << std::endl;
    }
    Show(options, list.Takes());
    if (options.clear) {
        Clear(path);
    }
    return kExitDone;
}

std::string TakesText(const std::vector<RecordedTake>& takes)
{
    if (takes.empty()) {
        return "no takes yet; RECORD STROBE begins one\n";
    }
    std::ostringstream text;
    text << std::right << std::setw(kNumberWidth) << "take"
         << "  " << std::left << std::setw(kTimecodeWidth) << "in" << std::setw(kTimecodeWidth)
         << "out" << std::setw(kTimecodeWidth) << "duration" << std::setw(kRateWidth) << "rate"
         << std::setw(kDateWidth) << "recorded"
         << "reel\n";
    for (const RecordedTake& take : takes) {
        WriteRow(text, take);
    }
    return text.str();
}

std::string TakesJSON(const std::vector<RecordedTake>& takes)
{
    Json list = Json::array();
    for (const RecordedTake& take : takes) {
        list.push_back(ToJson(take));
    }
    return Json{{"takes", list}}.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

fs::path NumberedFile(const fs::path& file, std::size_t number)
{
    if (number < 2) {
        return file;
    }
    const std::string name
        = file.stem().string() + "-" + std::to_string(number) + file.extension().string();
    return file.parent_path() / name;
}

} // namespace deck::cli
