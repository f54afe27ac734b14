#include "mediaio/midiservice/src/alsa/PortScan.h"

#include <algorithm>
#include <memory>

namespace midiservice::alsa {

namespace {

struct ClientInfoDeleter {
    void operator()(snd_seq_client_info_t* it) const { snd_seq_client_info_free(it); }
};
struct PortInfoDeleter {
    void operator()(snd_seq_port_info_t* it) const { snd_seq_port_info_free(it); }
};
using ClientInfo = std::unique_ptr<snd_seq_client_info_t, ClientInfoDeleter>;
using PortInfo = std::unique_ptr<snd_seq_port_info_t, PortInfoDeleter>;

ClientInfo MakeClientInfo()
{
    snd_seq_client_info_t* info = nullptr;
    return ClientInfo(snd_seq_client_info_malloc(&info) == 0 ? info : nullptr);
}

PortInfo MakePortInfo()
{
    snd_seq_port_info_t* info = nullptr;
    return PortInfo(snd_seq_port_info_malloc(&info) == 0 ? info : nullptr);
}

bool HasAll(unsigned bits, unsigned wanted)
{
    return (bits & wanted) == wanted;
}

ScannedPort Describe(const snd_seq_client_info_t& client, const snd_seq_port_info_t& port)
{
    ScannedPort result;
    result.address = {static_cast<std::uint8_t>(snd_seq_port_info_get_client(&port)),
        static_cast<std::uint8_t>(snd_seq_port_info_get_port(&port))};
    result.card = snd_seq_client_info_get_card(&client);
    result.clientName = snd_seq_client_info_get_name(const_cast<snd_seq_client_info_t*>(&client));
    result.portName = snd_seq_port_info_get_name(&port);
    const unsigned capabilities = snd_seq_port_info_get_capability(&port);
    const bool isEndpoint = !HasAll(capabilities, SND_SEQ_PORT_CAP_NO_EXPORT)
        && snd_seq_port_info_get_type(&port) != kPrivatePortType;
    result.isSource = isEndpoint && HasAll(capabilities, kSourceCapabilities);
    result.isDestination = isEndpoint && HasAll(capabilities, kDestinationCapabilities);
    return result;
}

void AddPortsOf(
    snd_seq_t* sequencer, const snd_seq_client_info_t& client, std::vector<ScannedPort>& ports)
{
    const PortInfo port = MakePortInfo();
    if (!port)
        return;
    snd_seq_port_info_set_client(port.get(), snd_seq_client_info_get_client(&client));
    snd_seq_port_info_set_port(port.get(), -1);
    while (snd_seq_query_next_port(sequencer, port.get()) >= 0) {
        ScannedPort found = Describe(client, *port);
        if (found.isSource || found.isDestination)
            ports.push_back(std::move(found));
    }
}

bool IsNumber(const std::string& text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char character) {
        return character >= '0' && character <= '9';
    });
}

} // namespace

std::vector<ScannedPort> ScanPorts(
    const Sequencer& observer, const std::function<bool(std::uint8_t client)>& isOwn)
{
    std::vector<ScannedPort> ports;
    const ClientInfo client = MakeClientInfo();
    if (!client)
        return ports;
    snd_seq_client_info_set_client(client.get(), -1);
    while (snd_seq_query_next_client(observer.Handle(), client.get()) >= 0) {
        const int number = snd_seq_client_info_get_client(client.get());
        if (number != SND_SEQ_CLIENT_SYSTEM && !isOwn(static_cast<std::uint8_t>(number)))
            AddPortsOf(observer.Handle(), *client, ports);
    }
    return ports;
}

std::string WithoutCardNumber(const std::string& name, int card)
{
    const std::string number = std::to_string(card) + "-";
    const std::size_t blank = name.rfind(' ');
    if (card < 0 || blank == std::string::npos
        || name.compare(blank + 1, number.size(), number) != 0)
        return name;
    const std::string device = name.substr(blank + 1 + number.size());
    return IsNumber(device) ? name.substr(0, blank + 1) + device : name;
}

} // namespace midiservice::alsa
