#include "tests/kelui/FakeMidi.h"

#include "mediaio/kelmidi/src/MidiPortEnumerator.h"

#include <thread>
#include <utility>

namespace kelui::tests {

namespace {

FakeMidi* sMidi = nullptr;

class FakeHost : public kelmidi::MidiHost {
protected:
    ~FakeHost() override
    {
        sMidi->SetHost(nullptr);
        sMidi->Tell("host gone");
    }
};

class FakeInputPort : public kelmidi::MidiInputPort {
public:
    explicit FakeInputPort(const FakeEndpoint& endpoint)
        : MidiInputPort(endpoint.name, endpoint.id, 0)
    {
    }
    bool Connect() override { return false; }
    void Disconnect() override {}
    bool IsConnected() const override { return false; }
};

class FakeOutputPort : public kelmidi::MidiOutputPort {
public:
    explicit FakeOutputPort(const FakeEndpoint& endpoint)
        : MidiOutputPort(endpoint.name, endpoint.id, 0)
    {
    }
    bool Connect() override { return false; }
    void Disconnect() override {}
    bool IsConnected() const override { return false; }
    bool SendMidiMessage(const kelmidi::MidiMessage&) override { return false; }
};

class FakeEnumerator : public kelmidi::MidiPortEnumerator {
public:
    explicit FakeEnumerator(const boost::intrusive_ptr<kelmidi::MidiHost>& host)
        : MidiPortEnumerator(host)
    {
    }

    kelmidi::MidiInputPortList EnumInputPorts() const override
    {
        sMidi->Tell("inputs");
        if (sMidi->onEnumInputs) {
            sMidi->onEnumInputs();
        }
        kelmidi::MidiInputPortList list;
        for (const FakeEndpoint& endpoint : sMidi->GetInputs()) {
            list.AddPort(new FakeInputPort(endpoint));
        }
        return list;
    }

    kelmidi::MidiOutputPortList EnumOutputPorts() const override
    {
        sMidi->Tell("outputs");
        if (sMidi->onEnumOutputs) {
            sMidi->onEnumOutputs();
        }
        kelmidi::MidiOutputPortList list;
        for (const FakeEndpoint& endpoint : sMidi->GetOutputs()) {
            list.AddPort(new FakeOutputPort(endpoint));
        }
        return list;
    }

protected:
    ~FakeEnumerator() override = default;
};

} // namespace

FakeMidi::FakeMidi()
{
    sMidi = this;
}

FakeMidi::~FakeMidi()
{
    sMidi = nullptr;
}

void FakeMidi::SetInputs(std::vector<FakeEndpoint> endpoints)
{
    const std::lock_guard lock(mMutex);
    mInputs = std::move(endpoints);
}

void FakeMidi::SetOutputs(std::vector<FakeEndpoint> endpoints)
{
    const std::lock_guard lock(mMutex);
    mOutputs = std::move(endpoints);
}

void FakeMidi::Notify()
{
    std::thread([this] { NotifyIfPresent(); }).join();
}

bool FakeMidi::NotifyIfPresent()
{
    const std::lock_guard lock(mNotices);
    if (host != nullptr) {
        host->NotifyMidiSetupChanged();
    }
    return host != nullptr;
}

void FakeMidi::SetHost(kelmidi::MidiHost* newHost)
{
    const std::lock_guard lock(mNotices);
    host = newHost;
}

std::vector<std::string> FakeMidi::TakeLog()
{
    const std::lock_guard lock(mMutex);
    return std::exchange(mLog, {});
}

void FakeMidi::Tell(const std::string& line)
{
    const std::lock_guard lock(mMutex);
    mLog.push_back(line);
}

std::vector<FakeEndpoint> FakeMidi::GetInputs() const
{
    const std::lock_guard lock(mMutex);
    return mInputs;
}

std::vector<FakeEndpoint> FakeMidi::GetOutputs() const
{
    const std::lock_guard lock(mMutex);
    return mOutputs;
}

} // namespace kelui::tests

// The layer's factories: found here, the linker does not look for them in the library.

namespace kelmidi {

using kelui::tests::sMidi;

boost::intrusive_ptr<MidiHost> MidiHostCreate(const kelcore::utility::UTF16String& clientName)
{
    sMidi->Tell("host " + kelcore::utility::UTF16to8(clientName));
    if (!sMidi->hasHost) {
        return nullptr;
    }
    boost::intrusive_ptr<MidiHost> host(new kelui::tests::FakeHost);
    sMidi->SetHost(host.get());
    return host;
}

boost::intrusive_ptr<MidiPortEnumerator> MidiPortEnumeratorCreate(
    const boost::intrusive_ptr<MidiHost>& host)
{
    sMidi->Tell(host.get() == sMidi->host ? "enumerator" : "enumerator on a strange host");
    return sMidi->hasEnumerator ? new kelui::tests::FakeEnumerator(host) : nullptr;
}

} // namespace kelmidi
