#include "deck/cli/SavedMtc.h"

#include "deck/host/HostError.h"
#include "deck/host/MidiPorts.h"

#include <nlohmann/json.hpp>

#include <map>

namespace deck::cli {
namespace {

using Json = nlohmann::json;

struct SavedMessage {
    std::chrono::nanoseconds time{0};
    Bytes bytes;
    std::string source{};
    std::int32_t sourceID = 0;
};

std::optional<SavedMessage> ParseMessage(const std::string& line)
{
    const Json json = Json::parse(line, nullptr, false);
    if (!json.is_object() || !json.contains("time_ns") || !json["time_ns"].is_number_integer()
        || !json.contains("bytes") || !json["bytes"].is_string()) {
        return std::nullopt;
    }
    Parsed<Bytes> bytes = ParseBytes(json["bytes"].get<std::string>());
    if (!bytes) {
        return std::nullopt;
    }
    SavedMessage message{
        std::chrono::nanoseconds(json["time_ns"].get<std::int64_t>()), std::move(*bytes.value)};
    const auto source = json.find("source");
    const auto id = json.find("source_id");
    if (source != json.end() && source->is_string()) {
        message.source = source->get<std::string>();
    }
    if (id != json.end() && id->is_number_integer()) {
        message.sourceID = id->get<std::int32_t>();
    }
    return message;
}

/// Every source's stream by itself: two mixed into one would be judged for what neither is.
class SavedStreams {
public:
    SavedStreams(const std::string& name, const MtcCheckerOptions& options)
        : mName(name)
        , mOptions(options)
    {
    }

    void Read(std::istream& lines)
    {
        std::string line;
        for (int number = 1; std::getline(lines, line); ++number) {
            if (line.find_first_not_of(" \t\r") == std::string::npos) {
                continue;
            }
            const auto message = ParseMessage(line);
            if (!message) {
                throw At(number,
                    "it is not what `korva-deck monitor --json --save FILE` writes: a JSON object "
                    "with time_ns and bytes");
            }
            Feed(*message, number);
        }
    }

    MtcReport Report(const std::optional<std::string>& from) const
    {
        if (from) {
            return mStreams.at(host::ChoosePort(Ports(true), host::PortDirection::Source, *from).id)
                .checker.Report();
        }
        const auto heard = Ports(false);
        if (heard.size() > 1) {
            throw HostError(mName + " has MTC of " + heard[0].name + ", " + heard[1].name
                + (heard.size() > 2 ? " and more" : "") + "; say which one with --from");
        }
        return heard.empty() ? MtcReport{} : mStreams.at(heard.front().id).checker.Report();
    }

private:
    struct Stream {
        explicit Stream(const MtcCheckerOptions& options)
            : checker(options)
        {
        }

        std::string name;
        MtcChecker checker;
        std::chrono::nanoseconds last{0};
    };

    HostError At(int line, const std::string& what) const
    {
        return HostError(mName + ", line " + std::to_string(line) + ": " + what);
    }

    void Feed(const SavedMessage& message, int number)
    {
        const auto [found, isNew] = mStreams.try_emplace(message.sourceID, mOptions);
        Stream& stream = found->second;
        stream.name = message.source;
        if (!isNew && message.time < stream.last) {
            throw At(number, "its time is before that of the line above; the lines stay in order");
        }
        stream.last = message.time;
        stream.checker.Feed(message.bytes, message.time);
    }

    /// The sources, all of them or those with quarter frames.
    std::vector<host::MidiPort> Ports(bool all) const
    {
        std::vector<host::MidiPort> ports;
        for (const auto& [id, stream] : mStreams) {
            if (all || stream.checker.Report().quarterFrames > 0) {
                ports.push_back({id, stream.name, host::PortDirection::Source, false});
            }
        }
        return ports;
    }

    std::string mName;
    MtcCheckerOptions mOptions;
    std::map<std::int32_t, Stream> mStreams; // by the source's ID
};

} // namespace

MtcReport CheckSavedMtc(std::istream& lines,
    const std::string& name,
    const std::optional<std::string>& from,
    const MtcCheckerOptions& options)
{
    SavedStreams streams(name, options);
    streams.Read(lines);
    return streams.Report(from);
}

} // namespace deck::cli
