#include "mediaio/midiservice/src/jack/JackNames.h"

#include <algorithm>
#include <cctype>

namespace midiservice {

namespace {

// What every JACK takes: 64 with the ending 0 for a client, 320 for "client:port", less
// some for " 2" where a name is there already.
constexpr std::size_t kClientNameRoom = 63;
constexpr std::size_t kFullNameRoom = 300;

bool IsDigit(char character)
{
    return std::isdigit(static_cast<unsigned char>(character)) != 0;
}

/// "Keys [20] (capture): Keys MIDI 1" -> "Keys (capture): Keys MIDI 1"
std::string WithoutSequencerNumber(std::string name)
{
    const auto open = name.find(" [");
    const auto close = name.find("] (", open);
    if (open == std::string::npos || close == std::string::npos)
        return name;
    const bool isNumber = close > open + 2
        && std::all_of(name.begin() + static_cast<std::ptrdiff_t>(open) + 2,
            name.begin() + static_cast<std::ptrdiff_t>(close), IsDigit);
    return isNumber ? name.erase(open, close + 1 - open) : name;
}

/// "in-hw-2-0-0-Keys" -> "in-hw-0-0-Keys": the card's number depends on what was plugged in
/// before it.
std::string WithoutCardNumber(std::string name)
{
    const std::string marker = "-hw-";
    const auto found = name.find(marker);
    if (found == std::string::npos)
        return name;
    const auto number = found + marker.size();
    auto end = number;
    while (end < name.size() && IsDigit(name[end]))
        ++end;
    const bool isCard = end > number && end < name.size() && name[end] == '-';
    return isCard ? name.erase(number, end + 1 - number) : name;
}

std::string Acceptable(const std::string& name, std::size_t room)
{
    std::string acceptable = name.empty() ? "MIDI" : name;
    std::replace(acceptable.begin(), acceptable.end(), ':', '.');
    if (acceptable.size() > room) {
        // Not in the middle of a UTF-8 character.
        while (room > 0 && (acceptable[room] & 0xC0) == 0x80)
            --room;
        acceptable.resize(room);
    }
    return acceptable;
}

const std::string& TellingName(const JackPortNames& names)
{
    return names.isPhysical && !names.aliases.empty() ? names.aliases.front() : names.fullName;
}

} // namespace

std::string AcceptableClientName(const std::string& name)
{
    return Acceptable(name, kClientNameRoom);
}

std::string AcceptablePortName(const std::string& client, const std::string& name)
{
    return Acceptable(name, kFullNameRoom - client.size());
}

std::string JackFullName(const std::string& client, const std::string& port)
{
    const std::string owner = AcceptableClientName(client);
    return owner + ":" + AcceptablePortName(owner, port);
}

IdentityFacts JackIdentity(Direction direction, const JackPortNames& names)
{
    const std::string name = WithoutCardNumber(WithoutSequencerNumber(TellingName(names)));
    const auto colon = name.find(':');
    IdentityFacts facts;
    facts.driver = "jack";
    facts.direction = direction;
    facts.owner = name.substr(0, colon);
    facts.port = colon != std::string::npos ? name.substr(colon + 1) : "";
    facts.order = names.fullName;
    return facts;
}

std::string JackDisplayName(const JackPortNames& names)
{
    const std::string& name = TellingName(names);
    const std::string prefix = "alsa_pcm:";
    return name.compare(0, prefix.size(), prefix) == 0 ? name.substr(prefix.size()) : name;
}

} // namespace midiservice
