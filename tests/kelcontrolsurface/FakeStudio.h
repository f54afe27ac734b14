// The MIDI layer's factories with a studio behind them that the test furnishes, linked into this
// test program in place of the back end.

#pragma once

#include "mediaio/kelmidi/src/MidiHost.h"
#include "mediaio/kelmidi/src/MidiPort.h"

#include <boost/function.hpp>

#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace kelcontrolsurface::tests {

using kelcore::utility::UTF16String;
using Bytes = std::vector<unsigned char>;

/// What is plugged in, and what was asked of it. One at a time. Safe for use by several threads.
class FakeStudio {
public:
    struct Sent {
        UTF16String portID;
        Bytes bytes;
        std::uint64_t timeStamp;
    };

    FakeStudio();
    ~FakeStudio();
    FakeStudio(const FakeStudio&) = delete;
    FakeStudio& operator=(const FakeStudio&) = delete;

    void PlugInput(const UTF16String& id, bool present = true);
    void PlugOutput(const UTF16String& id, bool present = true);

    /// What was asked, a line each, since the last call.
    std::vector<std::string> TakeLog();
    std::vector<Sent> TakeSent();

    /// The setup notice, as the service's notification thread gives it.
    void NotifySetupChanged();

    /// A message from the device behind the input port that is connected.
    void Receive(const Bytes& bytes);

    std::size_t LivePorts() const;

    bool hasHost = true; // set before the surface is made
    bool hasEnumerator = true;
    bool inputsConnect = true;
    UTF16String clientName;                          // of the last host
    boost::function<void()> onEnumerate;             // called by every enumeration
    boost::function<void(const std::string&)> onLog; // called with every line

    // What the fakes tell the studio.
    void Log(const std::string& line);
    void NoteSent(const UTF16String& id, const kelmidi::MidiMessage& message);
    void NotePort(int change);
    void NoteHost(kelmidi::MidiHost* host);
    void NoteConnectedInput(kelmidi::MidiInputPort* port);
    bool HasInput(const UTF16String& id) const;
    bool HasOutput(const UTF16String& id) const;
    std::set<UTF16String> Inputs() const;
    std::set<UTF16String> Outputs() const;

    static FakeStudio& Current();

private:
    mutable std::mutex mMutex; // guards what follows
    std::set<UTF16String> mInputs;
    std::set<UTF16String> mOutputs;
    std::vector<std::string> mLog;
    std::vector<Sent> mSent;
    std::size_t mLivePorts = 0;
    boost::intrusive_ptr<kelmidi::MidiHost> mHost; // keeps the last host alive
    boost::intrusive_ptr<kelmidi::MidiInputPort> mConnectedInput;
};

} // namespace kelcontrolsurface::tests
