#include "deck/cli/DemoCommand.h"

#include "deck/cli/DemoCheck.h"
#include "deck/cli/DemoTable.h"
#include "deck/cli/ServiceStatus.h"
#include "deck/cli/TracePipe.h"
#include "deck/host/BundleLoader.h"
#include "deck/host/DeckSession.h"
#include "deck/host/HostError.h"
#include "deck/host/MidiPackets.h"
#include "deck/host/PortSettings.h"
#include "deck/protocol/MTC.h"
#include "deck/protocol/MidiStream.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <iostream>
#include <sstream>

namespace deck::cli {
namespace {

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

constexpr auto kStepDeadline = 5s;
constexpr std::size_t kShownMTC = 2;
constexpr char kTraceCategory[] = "MMC, HandleMMCCommands";
constexpr int kTraceLevel = 5;

// The MTC is to be seen as the plug-in sends it.
host::DeckSessionOptions MakeSessionOptions()
{
    host::DeckSessionOptions options;
    options.transport.rate = kDemoRate;
    options.transport.startFrame = ToFrame(kDemoStart, kDemoRate).value();
    options.pacing.enabled = false;
    return options;
}

std::string Milliseconds(std::uint64_t nanoseconds)
{
    std::ostringstream text;
    text << std::fixed << std::setprecision(2) << static_cast<double>(nanoseconds) / 1e6 << " ms";
    return text.str();
}

/// What the demo has seen, for its last lines.
struct DemoTally {
    int commands = 0;
    int failed = 0;
    int calls = 0;
    int mtcMessages = 0;
    std::vector<std::uint64_t> latencies; // from a command's bytes to its first call

    std::string Latency()
    {
        if (latencies.empty()) {
            return "no call was made";
        }
        std::sort(latencies.begin(), latencies.end());
        return Milliseconds(latencies[latencies.size() / 2]) + " in the middle, "
            + Milliseconds(latencies.back()) + " at most";
    }
};

/// The machines at the two ends: a controller that sends MMC, and a port that receives MTC.
class DemoMachines {
public:
    explicit DemoMachines(host::DeckEvents& events)
        : mEvents(events)
        , mClient("korva-deck demo")
        , mSource(mClient.MakeSource("Demo Controller"))
        , mDestination(mClient.MakeDestination("Demo Chaser", &DemoMachines::OnMTC, this))
        , mWatch(mClient,
              [this](const host::RawMMC& message) { mEvents.Push(host::MMCEvent{message}); })
    {
        mWatch.Follow(host::UniqueIDOf(mSource));
    }
    DemoMachines(const DemoMachines&) = delete;
    DemoMachines& operator=(const DemoMachines&) = delete;

    std::string Settings() const
    {
        return host::WithPortSettings(
            "", {host::UniqueIDOf(mSource), host::UniqueIDOf(mDestination), true});
    }

    void Send(const Bytes& bytes)
    {
        MIDIPacketList packets{};
        packets.numPackets = 1;
        packets.packet[0].length = static_cast<UInt16>(bytes.size());
        std::copy(bytes.begin(), bytes.end(), packets.packet[0].data);
        MIDIReceived(mSource, &packets);
    }

private:
    static void OnMTC(const MIDIPacketList* packets, void* self, void*)
    {
        host::ForEachPacket(*packets, [self](const MIDIPacket& packet) {
            host::MTCEvent event;
            event.length = static_cast<std::uint8_t>(
                std::min<std::size_t>(packet.length, event.bytes.size()));
            std::copy_n(packet.data, event.length, event.bytes.begin());
            static_cast<DemoMachines*>(self)->mEvents.Push(event);
        });
    }

    host::DeckEvents& mEvents;
    host::MidiClient mClient;
    MIDIEndpointRef mSource;
    MIDIEndpointRef mDestination;
    host::MMCWatch mWatch;
};

class Demo {
public:
    Demo(const DemoOptions& options, const StopSignals& signals)
        : mOptions(options)
        , mSignals(signals)
        , mTrace(kTraceCategory, kTraceLevel)
        , mBundle(options.bundle ? *options.bundle : host::FindBundle())
        , mSession(mBundle, MakeSessionOptions())
        , mMachines(mSession.Events())
        , mTable(std::cout, WantsColor())
    {
    }

    int Run()
    {
        mSession.Connect(mMachines.Settings());
        Introduce();
        for (const DemoStep& step : MakeDemoScript()) {
            if (!Play(step)) {
                std::cout << "\n  ended by a signal before all of it was shown" << std::endl;
                return kExitFailed;
            }
        }
        Conclude();
        return mTally.failed == 0 ? kExitDone : kExitFailed;
    }

private:
    void Introduce()
    {
        const ServiceStatus service = GetServiceStatus();
        std::cout
            << "\n  MIDI Machine Control in, MIDI Time Code out: a controller's port sends the"
               " bytes; the plug-in\n  \""
            << mSession.Instance().DisplayName()
            << "\" turns them into calls on the deck; the deck rolls at " << kDemoRate.Name()
            << " fps and tells\n  the plug-in where it is; the plug-in"
               " sends MTC, read back here from a port of its own.\n\n"
            << "  MIDI service: " << service.name
            << ". full: a full-frame message; 8 qf: a time code in eight quarter frames.\n\n";
        mTable.Begin();
    }

    // False where the user ended the demo.
    bool Play(const DemoStep& step)
    {
        DemoCheck check(step, mState);
        mCheck = &check;
        mShownMTC = 0;
        mHiddenMTC = 0;
        ++mTally.commands;
        mTable.BeginStep(step.name, FormatBytes(step.bytes));
        if (step.calls.empty()) {
            mTable.AddCall(step.remark);
        }
        mSentAt = kUnanswered;
        if (step.name != mOptions.lost) {
            mSentAt = HostTimeNow();
            mMachines.Send(step.bytes);
        }
        const bool goesOn = Watch(check);
        Finish(check);
        mCheck = nullptr;
        return goesOn;
    }

    bool Watch(const DemoCheck& check)
    {
        const auto deadline = SteadyClock::now() + kStepDeadline;
        while (!check.IsDone() && !check.IsWrong()) {
            const auto left
                = std::chrono::ceil<std::chrono::milliseconds>(deadline - SteadyClock::now());
            if (left <= 0ms) {
                return true;
            }
            const auto woken
                = mSignals.Wait({mSession.Events().Descriptor(), mTrace.Descriptor()}, left);
            if (woken == StopSignals::Woken::BySignal) {
                return false;
            }
            TakeAll();
        }
        return true;
    }

    void TakeAll()
    {
        mSession.Events().Clear();
        while (const auto event = mSession.Events().TryPop()) {
            std::visit([&](const auto& what) { On(what, event->time); }, event->what);
        }
        while (const auto line = mTrace.TryReadLine()) {
            mCheck->OnTrace(*line);
        }
    }

    void Finish(const DemoCheck& check)
    {
        const bool isDone = check.IsDone();
        if (mHiddenMTC > 0) {
            mTable.AddMTC("and " + std::to_string(mHiddenMTC) + " more");
        }
        mTally.failed += isDone ? 0 : 1;
        mTable.EndStep(isDone, isDone ? std::string() : check.Complaint());
    }

    void Conclude()
    {
        std::cout << "\n  " << mTally.commands << " commands sent, " << mTally.calls
                  << " calls on the deck, " << mTally.mtcMessages << " MTC messages read back.\n"
                  << "  From a command's bytes to its call: " << mTally.Latency() << ".\n";
        if (mTally.failed > 0) {
            std::cout << "  " << mTally.failed << " of them did not do what they should."
                      << std::endl;
            return;
        }
        std::cout << "  All of it happened as it should. Now with your own machines:\n"
                     "    korva-deck ports                     lists what is there\n"
                     "    korva-deck run --in PORT --out PORT  obeys the one and leads the other"
                  << std::endl;
    }

    void On(const host::CallEvent& event, std::uint64_t time)
    {
        const HostCallKind kind = event.call.kind;
        if (kind == HostCallKind::SetSMPTEActive) {
            return; // said once, when the surface was connected
        }
        ++mTally.calls;
        if (mSentAt != kUnanswered) {
            mTally.latencies.push_back(time - mSentAt);
            mSentAt = kUnanswered;
        }
        mTable.AddCall(std::string(NameOf(kind)));
        if (kind == HostCallKind::Locate) {
            mTable.AddCall("  " + TimeText(event.call.time));
        }
        mCheck->OnCall(kind);
    }

    void On(const host::StateEvent& event, std::uint64_t)
    {
        mState = event.state;
        mCheck->OnState(event.state);
        mSession.Notify(event.state, event.isRecording);
    }

    void On(const host::LocatedEvent& event, std::uint64_t) { mCheck->OnPosition(event.position); }
    void On(const host::PositionEvent& event, std::uint64_t) { mCheck->OnPosition(event.position); }
    void On(const host::OutcomeEvent&, std::uint64_t) {}
    void On(const host::TakeEvent&, std::uint64_t) {}

    void On(const host::MMCEvent& event, std::uint64_t)
    {
        mCheck->OnArrived(ByteView(event.message.bytes.data(), event.message.length));
    }

    void On(const host::MTCEvent& event, std::uint64_t time)
    {
        mStream.Feed(ByteView(event.bytes.data(), event.length), std::chrono::nanoseconds(time));
    }

    void OnMTCMessage(const MidiEvent& message)
    {
        ++mTally.mtcMessages;
        const std::optional<MtcReading> reading = mDecoder.Feed(message.bytes);
        if (!reading) {
            return;
        }
        const Timecode& timecode = reading->time.timecode;
        if (reading->isFullFrame) {
            mCheck->OnFullFrame(timecode);
        } else {
            mCheck->OnQuarterFrames(timecode);
        }
        ShowMTC((reading->isFullFrame ? "full " : "8 qf ") + FormatTimecode(timecode));
    }

    void ShowMTC(const std::string& text)
    {
        if (mShownMTC < kShownMTC) {
            ++mShownMTC;
            mTable.AddMTC(text);
        } else {
            ++mHiddenMTC;
        }
    }

    static std::string TimeText(const SenderTime& time)
    {
        const std::optional<FrameRate> rate = FrameRate::FromSMPTEFormat(time.timeFormat);
        const bool isDrop = rate && rate->IsDrop();
        const Timecode timecode{time.hours, time.minutes, time.seconds, time.frames, isDrop};
        return FormatTimecode(timecode) + (rate ? " " + std::to_string(rate->NominalFps()) : "");
    }

    static std::uint64_t HostTimeNow()
    {
        return static_cast<std::uint64_t>(SteadyClock::now().time_since_epoch().count());
    }

    static constexpr std::uint64_t kUnanswered = 0;

    const DemoOptions& mOptions;
    const StopSignals& mSignals;
    TracePipe mTrace;
    std::filesystem::path mBundle;
    host::DeckSession mSession;
    DemoMachines mMachines;
    DemoTable mTable;
    DemoTally mTally;
    MtcDecoder mDecoder;
    MidiStream mStream{[this](const MidiEvent& message) { OnMTCMessage(message); }};
    TransportState mState = TransportState::Stopped;
    DemoCheck* mCheck = nullptr; // of the step that is under way
    std::uint64_t mSentAt = kUnanswered;
    std::size_t mShownMTC = 0;
    std::size_t mHiddenMTC = 0;
};

} // namespace

int RunDemo(const DemoOptions& options, const StopSignals& signals)
{
    // Unless the user wants to see it on a service of their own
    setenv("KEL_MIDI_SERVICE", "builtin", 0);
    return Demo(options, signals).Run();
}

} // namespace deck::cli
