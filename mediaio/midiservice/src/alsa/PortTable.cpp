#include "mediaio/midiservice/src/alsa/PortTable.h"

#include <algorithm>
#include <cstdio>

namespace midiservice::alsa {

namespace {

// Appearance, direction and address share an endpoint's key.
constexpr unsigned kDirectionBit = 16;
constexpr unsigned kAppearanceShift = 17;

EndpointKey MakeKey(std::uint32_t appearance, Direction direction, std::uint16_t address)
{
    const EndpointKey isDestination = direction == Direction::Destination ? 1 : 0;
    return EndpointKey{appearance} << kAppearanceShift | isDestination << kDirectionBit | address;
}

bool IsSamePort(const ScannedPort& a, const ScannedPort& b)
{
    return a.clientName == b.clientName && a.portName == b.portName && a.card == b.card
        && a.isSource == b.isSource && a.isDestination == b.isDestination;
}

// Among equals the sequencer's numbers decide, which are the same for every process.
std::string Order(const ScannedPort& port, const std::string& socket)
{
    std::array<char, 16> numbers{};
    std::snprintf(
        numbers.data(), numbers.size(), " %03u:%03u", port.address.client, port.address.port);
    return socket + numbers.data();
}

EndpointFacts MakeEndpoint(const ScannedPort& port,
    const HardwareFacts& hardware,
    std::uint32_t appearance,
    Direction direction)
{
    EndpointFacts facts;
    facts.key = MakeKey(appearance, direction, port.address.Packed());
    facts.name = port.portName;
    facts.displayName = DisplayName(port);
    facts.identity = PortIdentity(port, hardware, direction);
    return facts;
}

} // namespace

IdentityFacts PortIdentity(
    const ScannedPort& port, const HardwareFacts& hardware, Direction direction)
{
    IdentityFacts facts{"alsa", direction, port.clientName, port.portName, ""};
    // The number of a card's port counts the devices and sockets on that card.
    if (port.card >= 0)
        facts = HardwareIdentity(
            hardware, direction, port.address.port, WithoutCardNumber(port.portName, port.card));
    facts.order = Order(port, facts.order);
    return facts;
}

std::string DisplayName(const ScannedPort& port)
{
    if (port.portName.compare(0, port.clientName.size(), port.clientName) == 0)
        return port.portName;
    return port.clientName + ": " + port.portName;
}

PortTable::PortTable()
    : mCurrent(std::make_unique<std::array<std::atomic<std::uint32_t>, kAddresses>>())
{
}

void PortTable::OnPortGone(Address address)
{
    const auto entry = mEntries.find(address.Packed());
    if (entry != mEntries.end())
        Remove(entry);
}

void PortTable::OnClientGone(std::uint8_t client)
{
    const std::uint16_t first = Address{client, 0}.Packed();
    const auto begin = mEntries.lower_bound(first);
    const auto end = mEntries.upper_bound(static_cast<std::uint16_t>(first | 0xFF));
    for (auto entry = begin; entry != end;)
        Remove(entry++);
}

void PortTable::OnAnyGone()
{
    while (!mEntries.empty())
        Remove(mEntries.begin());
}

void PortTable::Remove(std::map<std::uint16_t, Entry>::iterator entry)
{
    (*mCurrent)[entry->first].store(0);
    mEntries.erase(entry);
}

std::vector<EndpointFacts> PortTable::Update(
    const std::vector<ScannedPort>& ports, const ReadCard& readCard, HostTime now)
{
    RemoveMissing(ports);
    // Once for all ports of a card, so that they appear together.
    std::map<int, CardFacts> cards;
    const auto readOnce = [&](int card) -> const CardFacts& {
        const auto found = cards.find(card);
        return found != cards.end() ? found->second
                                    : cards.emplace(card, readCard(card)).first->second;
    };
    std::vector<EndpointFacts> present;
    for (const ScannedPort& port : ports) {
        Entry& entry = mEntries[port.address.Packed()];
        if (entry.firstSeen == 0)
            entry = {port, now, 0, {}};
        if (entry.appearance == 0)
            Admit(entry, readOnce, now);
        if (entry.appearance == 0)
            continue;
        for (const Direction direction : {Direction::Source, Direction::Destination})
            if (direction == Direction::Source ? port.isSource : port.isDestination)
                present.push_back(MakeEndpoint(port, entry.hardware, entry.appearance, direction));
    }
    return present;
}

void PortTable::RemoveMissing(const std::vector<ScannedPort>& ports)
{
    for (auto entry = mEntries.begin(); entry != mEntries.end();) {
        const auto found = std::find_if(ports.begin(), ports.end(), [&](const ScannedPort& port) {
            return port.address.Packed() == entry->first && IsSamePort(port, entry->second.port);
        });
        const auto current = entry++;
        if (found == ports.end())
            Remove(current);
    }
}

void PortTable::Admit(
    Entry& entry, const std::function<const CardFacts&(int)>& readCard, HostTime now)
{
    if (entry.port.card >= 0) {
        const CardFacts& card = readCard(entry.port.card);
        if (!card.isComplete && now < entry.firstSeen + kLongestWait)
            return;
        entry.hardware = card.hardware;
        entry.hardware.device = WithoutCardNumber(entry.port.clientName, entry.port.card);
    }
    entry.appearance = ++mAppearances;
    (*mCurrent)[entry.port.address.Packed()].store(entry.appearance);
}

std::optional<HostTime> PortTable::Deadline() const
{
    std::optional<HostTime> deadline;
    for (const auto& [address, entry] : mEntries)
        if (entry.appearance == 0)
            deadline = std::min(deadline.value_or(~HostTime{0}), entry.firstSeen + kLongestWait);
    return deadline;
}

bool PortTable::IsPresent(EndpointKey key) const noexcept
{
    const auto appearance = static_cast<std::uint32_t>(key >> kAppearanceShift);
    return appearance != 0 && (*mCurrent)[AddressOf(key).Packed()].load() == appearance;
}

EndpointKey PortTable::KeyOfSource(Address address) const noexcept
{
    const std::uint32_t appearance = (*mCurrent)[address.Packed()].load();
    return appearance != 0 ? MakeKey(appearance, Direction::Source, address.Packed()) : 0;
}

} // namespace midiservice::alsa
