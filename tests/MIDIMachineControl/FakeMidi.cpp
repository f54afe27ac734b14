#include "tests/MIDIMachineControl/FakeMidi.h"

#include "mediaio/kelmidi/src/MidiHost.h"
#include "mediaio/kelmidi/src/MidiPort.h"
#include "mediaio/kelmidi/src/MidiPortEnumerator.h"

#include <algorithm>
#include <vector>

namespace {

using kelcore::utility::UTF16String;
using kelmidi::MidiMessage;

class FakeInputPort;
class FakeHost;

struct State {
    std::vector<UTF16String> inputs;
    std::vector<UTF16String> outputs;
    std::vector<FakeHost*> hosts;
    std::vector<FakeInputPort*> connectedInputs;
    std::function<void(const MidiMessage&)> onSend;
    std::function<void()> onDisconnect;
    UTF16String lastClientName;
    int enumerations = 0;
    bool refuseHosts = false;
    int livePorts = 0;
    int connectedOutputs = 0;
};
State sState;

template <typename T> void Remove(std::vector<T>& from, const T& value)
{
    from.erase(std::remove(from.begin(), from.end(), value), from.end());
}

class FakeHost : public kelmidi::MidiHost {
public:
    FakeHost() { sState.hosts.push_back(this); }

private:
    ~FakeHost() override { Remove(sState.hosts, this); }
};

class FakeInputPort : public kelmidi::MidiInputPort {
public:
    FakeInputPort(const UTF16String& id, std::uint32_t tag)
        : MidiInputPort(id, id, tag)
    {
        ++sState.livePorts;
    }
    bool Connect() override
    {
        sState.connectedInputs.push_back(this);
        mConnected = true;
        return true;
    }
    void Disconnect() override
    {
        Remove(sState.connectedInputs, this);
        mConnected = false;
        if (sState.onDisconnect) {
            sState.onDisconnect();
        }
    }
    bool IsConnected() const override { return mConnected; }

private:
    ~FakeInputPort() override
    {
        Remove(sState.connectedInputs, this);
        --sState.livePorts;
    }

    bool mConnected = false;
};

class FakeOutputPort : public kelmidi::MidiOutputPort {
public:
    FakeOutputPort(const UTF16String& id, std::uint32_t tag)
        : MidiOutputPort(id, id, tag)
    {
        ++sState.livePorts;
    }
    bool Connect() override
    {
        sState.connectedOutputs += mConnected ? 0 : 1;
        mConnected = true;
        return true;
    }
    void Disconnect() override
    {
        sState.connectedOutputs -= mConnected ? 1 : 0;
        mConnected = false;
    }
    bool IsConnected() const override { return mConnected; }
    bool SendMidiMessage(const MidiMessage& message) override
    {
        if (mConnected && sState.onSend) {
            sState.onSend(message);
        }
        return mConnected;
    }

private:
    ~FakeOutputPort() override
    {
        FakeOutputPort::Disconnect();
        --sState.livePorts;
    }

    bool mConnected = false;
};

class FakeEnumerator : public kelmidi::MidiPortEnumerator {
public:
    explicit FakeEnumerator(const boost::intrusive_ptr<kelmidi::MidiHost>& host)
        : MidiPortEnumerator(host)
    {
    }

    kelmidi::MidiInputPortList EnumInputPorts() const override
    {
        ++sState.enumerations;
        kelmidi::MidiInputPortList list;
        for (const UTF16String& id : sState.inputs) {
            list.AddPort(new FakeInputPort(id, 0));
        }
        return list;
    }
    kelmidi::MidiOutputPortList EnumOutputPorts() const override
    {
        ++sState.enumerations;
        kelmidi::MidiOutputPortList list;
        for (const UTF16String& id : sState.outputs) {
            list.AddPort(new FakeOutputPort(id, 0));
        }
        return list;
    }
};

bool Contains(const std::vector<UTF16String>& ids, const UTF16String& id)
{
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

} // namespace

namespace kelmidi {

boost::intrusive_ptr<MidiHost> MidiHostCreate(const UTF16String& clientName)
{
    if (sState.refuseHosts) {
        return nullptr;
    }
    sState.lastClientName = clientName;
    return new FakeHost;
}

boost::intrusive_ptr<MidiInputPort> MidiInputPortCreate(
    const boost::intrusive_ptr<MidiHost>&, const UTF16String& portID, std::uint32_t portTag)
{
    if (!Contains(sState.inputs, portID)) {
        return nullptr;
    }
    return new FakeInputPort(portID, portTag);
}

boost::intrusive_ptr<MidiOutputPort> MidiOutputPortCreate(
    const boost::intrusive_ptr<MidiHost>&, const UTF16String& portID, std::uint32_t portTag, bool)
{
    if (!Contains(sState.outputs, portID)) {
        return nullptr;
    }
    return new FakeOutputPort(portID, portTag);
}

boost::intrusive_ptr<MidiPortEnumerator> MidiPortEnumeratorCreate(
    const boost::intrusive_ptr<MidiHost>& host)
{
    if (!host) {
        return nullptr;
    }
    return new FakeEnumerator(host);
}

} // namespace kelmidi

namespace mmc::tests {

FakeMidi::FakeMidi()
{
    // Room enough that no later step allocates: tests count and refuse what the plug-in asks for.
    sState = State{};
    sState.hosts.reserve(8);
    sState.connectedInputs.reserve(8);
    sState.lastClientName.reserve(64);
}

FakeMidi::~FakeMidi()
{
    sState.onSend = nullptr;
    sState.onDisconnect = nullptr;
}

void FakeMidi::PlugIn(const std::u16string& inputID, const std::u16string& outputID)
{
    sState.inputs.emplace_back(inputID.begin(), inputID.end());
    sState.outputs.emplace_back(outputID.begin(), outputID.end());
}

void FakeMidi::UnplugAll()
{
    sState.inputs.clear();
    sState.outputs.clear();
}

void FakeMidi::NotifySetupChanged()
{
    for (FakeHost* host : std::vector<FakeHost*>(sState.hosts)) {
        host->NotifyMidiSetupChanged();
    }
}

void FakeMidi::Receive(const MidiMessage& message)
{
    for (FakeInputPort* port : sState.connectedInputs) {
        port->HandleMessage(message);
    }
}

void FakeMidi::OnSend(std::function<void(const MidiMessage&)> function)
{
    sState.onSend = std::move(function);
}

void FakeMidi::OnDisconnect(std::function<void()> function)
{
    sState.onDisconnect = std::move(function);
}

int FakeMidi::Enumerations() const
{
    return sState.enumerations;
}

void FakeMidi::RefuseHosts()
{
    sState.refuseHosts = true;
}

boost::intrusive_ptr<kelmidi::MidiHost> FakeMidi::AnyHost() const
{
    return sState.hosts.back();
}

std::u16string FakeMidi::LastClientName() const
{
    return {sState.lastClientName.begin(), sState.lastClientName.end()};
}

int FakeMidi::LiveHosts() const
{
    return static_cast<int>(sState.hosts.size());
}

int FakeMidi::LivePorts() const
{
    return sState.livePorts;
}

int FakeMidi::ConnectedPorts() const
{
    return static_cast<int>(sState.connectedInputs.size()) + sState.connectedOutputs;
}

} // namespace mmc::tests
