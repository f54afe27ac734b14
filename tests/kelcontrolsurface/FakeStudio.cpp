#include "FakeStudio.h"

#include "mediaio/kelmidi/src/MidiPortEnumerator.h"

#include <atomic>
#include <utility>

namespace kelcontrolsurface::tests {

using kelmidi::MidiHost;
using kelmidi::MidiInputPort;
using kelmidi::MidiMessage;
using kelmidi::MidiOutputPort;

namespace {

FakeStudio* sStudio = nullptr;

std::string Text(const UTF16String& text)
{
    return kelcore::utility::UTF16to8(text);
}

class FakeHost : public MidiHost {};

class FakeInputPort : public MidiInputPort {
public:
    FakeInputPort(const UTF16String& id, std::uint32_t tag)
        : MidiInputPort(u"In " + id, id, tag)
    {
        FakeStudio::Current().NotePort(1);
    }
    bool Connect() override
    {
        FakeStudio::Current().NoteConnectedInput(this);
        FakeStudio::Current().Log("connect input " + Text(GetUniqueID()));
        mConnected = FakeStudio::Current().inputsConnect;
        return mConnected;
    }
    void Disconnect() override
    {
        FakeStudio::Current().NoteConnectedInput(nullptr);
        FakeStudio::Current().Log("disconnect input " + Text(GetUniqueID()));
        mConnected = false;
    }
    bool IsConnected() const override { return mConnected; }

private:
    ~FakeInputPort() override { FakeStudio::Current().NotePort(-1); }

    std::atomic<bool> mConnected{false};
};

class FakeOutputPort : public MidiOutputPort {
public:
    FakeOutputPort(const UTF16String& id, std::uint32_t tag)
        : MidiOutputPort(u"Out " + id, id, tag)
    {
        FakeStudio::Current().NotePort(1);
    }
    bool Connect() override
    {
        FakeStudio::Current().Log("connect output " + Text(GetUniqueID()));
        mConnected = true;
        return true;
    }
    void Disconnect() override
    {
        FakeStudio::Current().Log("disconnect output " + Text(GetUniqueID()));
        mConnected = false;
    }
    bool IsConnected() const override { return mConnected; }
    bool SendMidiMessage(const MidiMessage& message) override
    {
        FakeStudio::Current().NoteSent(GetUniqueID(), message);
        return true;
    }

private:
    ~FakeOutputPort() override { FakeStudio::Current().NotePort(-1); }

    std::atomic<bool> mConnected{false};
};

class FakeEnumerator : public kelmidi::MidiPortEnumerator {
public:
    explicit FakeEnumerator(const boost::intrusive_ptr<MidiHost>& host)
        : MidiPortEnumerator(host)
    {
    }

    kelmidi::MidiInputPortList EnumInputPorts() const override
    {
        if (FakeStudio::Current().onEnumerate) {
            FakeStudio::Current().onEnumerate();
        }
        kelmidi::MidiInputPortList ports;
        for (const UTF16String& id : FakeStudio::Current().Inputs()) {
            ports.AddPort(new FakeInputPort(id, 0));
        }
        return ports;
    }
    kelmidi::MidiOutputPortList EnumOutputPorts() const override
    {
        kelmidi::MidiOutputPortList ports;
        for (const UTF16String& id : FakeStudio::Current().Outputs()) {
            ports.AddPort(new FakeOutputPort(id, 0));
        }
        return ports;
    }
};

} // namespace

FakeStudio::FakeStudio()
{
    sStudio = this;
}

FakeStudio::~FakeStudio()
{
    sStudio = nullptr;
}

FakeStudio& FakeStudio::Current()
{
    return *sStudio;
}

void FakeStudio::PlugInput(const UTF16String& id, bool present)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    present ? static_cast<void>(mInputs.insert(id)) : static_cast<void>(mInputs.erase(id));
}

void FakeStudio::PlugOutput(const UTF16String& id, bool present)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    present ? static_cast<void>(mOutputs.insert(id)) : static_cast<void>(mOutputs.erase(id));
}

std::vector<std::string> FakeStudio::TakeLog()
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return std::exchange(mLog, {});
}

std::vector<FakeStudio::Sent> FakeStudio::TakeSent()
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return std::exchange(mSent, {});
}

void FakeStudio::NotifySetupChanged()
{
    boost::intrusive_ptr<MidiHost> host;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        host = mHost;
    }
    host->NotifyMidiSetupChanged();
}

void FakeStudio::Receive(const Bytes& bytes)
{
    boost::intrusive_ptr<MidiInputPort> port;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        port = mConnectedInput;
    }
    if (port) {
        port->HandleMessage(MidiMessage(bytes.data(), bytes.size()));
    }
}

std::size_t FakeStudio::LivePorts() const
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return mLivePorts;
}

void FakeStudio::Log(const std::string& line)
{
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mLog.push_back(line);
    }
    if (onLog) {
        onLog(line);
    }
}

void FakeStudio::NoteSent(const UTF16String& id, const MidiMessage& message)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    const unsigned char* bytes = message.data.bytes;
    mSent.push_back({id, Bytes(bytes, bytes + message.data.length), message.timeStamp});
}

void FakeStudio::NotePort(int change)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    mLivePorts += static_cast<std::size_t>(change);
}

void FakeStudio::NoteHost(MidiHost* host)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    mHost = host;
}

void FakeStudio::NoteConnectedInput(MidiInputPort* port)
{
    boost::intrusive_ptr<MidiInputPort> before; // released without the lock
    const std::lock_guard<std::mutex> lock(mMutex);
    before.swap(mConnectedInput);
    mConnectedInput = port;
}

bool FakeStudio::HasInput(const UTF16String& id) const
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return mInputs.count(id) != 0;
}

bool FakeStudio::HasOutput(const UTF16String& id) const
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return mOutputs.count(id) != 0;
}

std::set<UTF16String> FakeStudio::Inputs() const
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return mInputs;
}

std::set<UTF16String> FakeStudio::Outputs() const
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return mOutputs;
}

} // namespace kelcontrolsurface::tests

namespace kelmidi {

using kelcontrolsurface::tests::FakeStudio;
using kelcore::utility::UTF16String;

boost::intrusive_ptr<MidiHost> MidiHostCreate(const UTF16String& clientName)
{
    FakeStudio& studio = FakeStudio::Current();
    studio.clientName = clientName;
    if (!studio.hasHost) {
        return nullptr;
    }
    boost::intrusive_ptr<MidiHost> host = new kelcontrolsurface::tests::FakeHost;
    studio.NoteHost(host.get());
    return host;
}

boost::intrusive_ptr<MidiInputPort> MidiInputPortCreate(
    const boost::intrusive_ptr<MidiHost>& host, const UTF16String& portID, std::uint32_t portTag)
{
    FakeStudio& studio = FakeStudio::Current();
    studio.Log("create input " + kelcore::utility::UTF16to8(portID) + " tag "
        + std::to_string(portTag) + (host ? "" : " without host"));
    if (!studio.HasInput(portID)) {
        return nullptr;
    }
    return new kelcontrolsurface::tests::FakeInputPort(portID, portTag);
}

boost::intrusive_ptr<MidiOutputPort> MidiOutputPortCreate(
    const boost::intrusive_ptr<MidiHost>& host,
    const UTF16String& portID,
    std::uint32_t portTag,
    bool flag)
{
    FakeStudio& studio = FakeStudio::Current();
    studio.Log("create output " + kelcore::utility::UTF16to8(portID) + " tag "
        + std::to_string(portTag) + (flag ? " true" : " false") + (host ? "" : " without host"));
    if (!studio.HasOutput(portID)) {
        return nullptr;
    }
    return new kelcontrolsurface::tests::FakeOutputPort(portID, portTag);
}

boost::intrusive_ptr<MidiPortEnumerator> MidiPortEnumeratorCreate(
    const boost::intrusive_ptr<MidiHost>& host)
{
    if (!FakeStudio::Current().hasEnumerator) {
        return nullptr;
    }
    return new kelcontrolsurface::tests::FakeEnumerator(host);
}

} // namespace kelmidi
