// The surface of one connected instance: between the host's suites and the MIDI ports.

#pragma once

#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCReceiveBuffer.h"
#include "kelcontrolsurface/plugins/common/midi/src/MIDIBasedControlSurface.h"
#include "kelcore/utility/ByteSequence.h"
#include "korvasdk/controlsurface/plugin/wrapper/ControlSurfaceBase.h"
#include "korvasdk/controlsurface/plugin/wrapper/ControlSurfaceSMPTEBase.h"
#include "korvasdk/controlsurface/plugin/wrapper/ControlSurfaceTransportBase.h"
#include "korvasdk/suites/BasicSuite.h"
#include "korvasdk/suites/ControlSurfaceHostSuites.h"
#include "korvasdk/suites/StringSuite.h"
#include "korvasdk/suites/SuitesSuite.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace mmc {

/// Turns MIDI Machine Control that arrives (RP-013) into calls on the host's transport, and the
/// host's position into MIDI Time Code (RP-004/008) that leaves. Never answers an MMC sender.
///
/// The order of the bases and of the virtual operations is binding.
class ControlSurface : public kelcontrolsurface::MIDIBasedControlSurface,
                       public korvasdk::ControlSurfaceBase,
                       public korvasdk::ControlSurfaceSMPTEBase,
                       public korvasdk::ControlSurfaceTransportBase {
public:
    ControlSurface(unsigned int hostIdentifier, const QXBasicSuite* basicSuite);
    /// Deliberate: the host suites stay acquired; who wants them given back calls
    /// `SetControlSurfaceHost(nullptr)` before.
    ~ControlSurface() override;

    /// Takes every message; returns true, also for what it drops. Never throws: the thread is the
    /// executor's. Where memory lacks for a message, that one goes and what was waiting with it;
    /// where it lacks for a command, that is carried out with the next arrival.
    /// [delivery, one call at a time; allocates only to grow a buffer]
    bool HandleMidiMessage(const kelmidi::MidiMessage& message, unsigned int portTag) override;

    /// Binds the ports and reads the options. [host or notification, under LockBinding, may block]
    void Connect(const kelcontrolsurface::MIDIDeviceInfo& info) override;

    /// [host, may block]
    void Suspend() override;
    void Resume() override;

    /// "KorvaMIDI". Needs the string suite. [host]
    KORVASDK_Result GetConfigIdentifier(KORVASDK_String* out) const override;
    KORVASDK_Result GetTransportRef(KORVASDK_ControlSurfaceTransport** out) override;
    KORVASDK_Result Update() override;
    virtual KORVASDK_Result GetSMPTERef(KORVASDK_ControlSurfaceSMPTE** out);

    // There are no lamps to light: five notices are accepted silently; stop, pause and the time
    // display answer kErrorNotImplemented. The difference is deliberate.
    KORVASDK_Result SetPlayState(bool state) override;
    KORVASDK_Result SetRecordState(bool state) override;
    KORVASDK_Result SetRewindState(bool state) override;
    KORVASDK_Result SetForwardState(bool state) override;
    KORVASDK_Result SetCycleState(bool state) override;

    /// Sends one full frame; the subframes have no place in it. `rateCode` is a code of
    /// SMPTETimeFormat.h; one that it does not name is sent as 24 frames per second.
    /// [host, one thread at a time, never waits]
    KORVASDK_Result GotoSMPTETime(unsigned int rateCode,
        unsigned char hours,
        unsigned char minutes,
        unsigned char seconds,
        unsigned char frames,
        unsigned char subframes) override;

    /// At speed 1.0 sends four of the eight quarter frames that tell a position, else one full
    /// frame. The first quarter frame is due `offsetNanos` nanoseconds from now, read as signed.
    /// Sends nothing at speed 1.0 where `framesPerSecond` is 0 or less.
    /// [host, one thread at a time, never waits]
    KORVASDK_Result TransmitFullFrame(unsigned long long offsetNanos,
        float speed,
        int framesPerSecond,
        bool dropFrame,
        unsigned char hours,
        unsigned char minutes,
        unsigned char seconds,
        unsigned char frames) override;

    /// Drops the present host and takes `host`, unless that is null. Not while messages arrive.
    /// [host]
    void SetControlSurfaceHost(KORVASDK_ControlSurfaceHost* host);

    /// What the host passes to every function of "KORVASDK ControlSurface Suite". [host]
    KORVASDK_ControlSurface* GetControlSurfaceRef() noexcept;

    /// Adds the suites that surfaces serve to `suiteList`. [host]
    static void RegisterSuites(const QXSuitesSuite* suitesSuite, QXSuiteList* suiteList);

private:
    class CommandUnit;
    struct Command;
    struct TimePosition;
    static const Command kCommands[];

    void DropHost();
    void AcquireTransport(KORVASDK_ControlSurfaceHost* host);
    void AskForSMPTERef(KORVASDK_ControlSurfaceHost* host);
    void AcquireSMPTE();
    template <typename Suite> const Suite* Acquire(const char* name, int version) const;
    template <typename Suite>
    void Release(const char* name, int version, const Suite*& suite) const;

    void ProcessReceiveBuffer() noexcept;
    void HandleMMCMessages(unsigned char subId, const unsigned char* data, std::size_t length);
    std::size_t CarryOutCommands();
    void CarryOut(const CommandUnit& unit) noexcept;
    void DropUnreachableCommands() noexcept;
    void ReleaseWind();
    void Stop(const CommandUnit& unit);
    void Play(const CommandUnit& unit);
    void FastForward(const CommandUnit& unit);
    void Rewind(const CommandUnit& unit);
    void RecordStrobe(const CommandUnit& unit);
    void RecordExit(const CommandUnit& unit);
    void RecordPause(const CommandUnit& unit);
    void Pause(const CommandUnit& unit);
    void Reset(const CommandUnit& unit);
    void Locate(const CommandUnit& unit);
    void TraceOnly(const CommandUnit& unit);

    void SendFullFrame(unsigned char rateBits, const TimePosition& position);
    void StartQuarterFrameCycle(
        unsigned long long offsetNanos, unsigned char rateBits, const TimePosition& position);
    void SendQuarterFrames(std::uint8_t phase, int interval);

    unsigned int mHostIdentifier;
    const QXBasicSuite* mBasicSuite;
    const KORVASDK_ControlSurfaceHostSuite* mHostSuite = nullptr;
    const KORVASDK_ControlSurfaceHostSMPTESuite* mHostSMPTESuite = nullptr;
    const KORVASDK_ControlSurfaceHostTransportSuite* mHostTransportSuite = nullptr;
    const KORVASDK_StringSuite* mStringSuite = nullptr;
    // Written on the host's thread, and last: whoever reads it sees the suites it stands for.
    std::atomic<KORVASDK_ControlSurfaceHost*> mHostRef{nullptr};
    KORVASDK_ControlSurfaceHostSMPTE* mHostSMPTERef = nullptr;
    KORVASDK_ControlSurfaceHostTransport* mHostTransportRef = nullptr;

    // The four belong to the delivery thread.
    ReceiveBuffer mReceiveBuffer;
    bool mRewindEngaged = false;
    bool mFastForwardEngaged = false;
    kelcore::utility::ByteSequence mCommandBuffer;

    // Time code: the two atomics are also written by Connect, the others by the sender only.
    std::uint64_t mNextQuarterFrameTime = 0;
    std::atomic<std::uint8_t> mQuarterFramePhase{0}; // 0: pieces 0 to 3 go next; 1: 4 to 7
    std::array<std::uint8_t, 8> mQuarterFrames{};
    std::atomic<bool> mTransmitMTC{false};
};

} // namespace mmc
