#include "deck/host/PortSettings.h"

#include "kelcore/proplist/PropListText.h"
#include "kelcore/utility/StringToNumber.h"

namespace deck::host {
namespace {

using kelcore::proplist::PropList;
using kelcore::utility::UTF16String;

constexpr char kPortConfiguration[] = "PortConfiguration";
constexpr char kIn[] = "in";
constexpr char kOut[] = "out";
constexpr char kOptions[] = "options";
constexpr char kTransmitMTC[] = "transmit_mtc";

PropList Parse(const std::string& settings)
{
    PropList list;
    kelcore::proplist::utils::ReadPropList(list, settings);
    return list;
}

std::optional<MIDIUniqueID> ReadID(const PropList& ports, const char* key)
{
    UTF16String text;
    MIDIUniqueID id = 0;
    if (!ports.GetString(key, text) || !kelcore::utility::StringToNumber(text, id, 1)) {
        return std::nullopt;
    }
    return id;
}

void WriteID(PropList& ports, const char* key, std::optional<MIDIUniqueID> id)
{
    if (id) {
        ports.SetString(key, kelcore::utility::AsciiToUTF16(std::to_string(*id)));
    }
}

} // namespace

PortSettings ReadPortSettings(const std::string& settings)
{
    PortSettings result;
    const PropList root = Parse(settings);
    const PropList* const ports = root.FindList(kPortConfiguration);
    if (ports == nullptr) {
        return result;
    }
    result.in = ReadID(*ports, kIn);
    result.out = ReadID(*ports, kOut);
    bool transmit = false;
    const PropList* const options = ports->FindList(kOptions);
    if (options != nullptr && options->GetBool(kTransmitMTC, transmit)) {
        result.transmitMTC = transmit;
    }
    return result;
}

std::string WithPortSettings(const std::string& settings, const PortSettings& ports)
{
    PropList root = Parse(settings);
    PropList& list = root.GetOrCreateList(kPortConfiguration);
    WriteID(list, kIn, ports.in);
    WriteID(list, kOut, ports.out);
    if (ports.transmitMTC) {
        list.GetOrCreateList(kOptions).SetBool(kTransmitMTC, *ports.transmitMTC);
    }
    return kelcore::proplist::utils::WritePropList(root);
}

} // namespace deck::host
