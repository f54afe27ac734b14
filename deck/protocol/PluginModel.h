// Predicts what the MIDIMachineControl plug-in makes of the MIDI that it gets, so
// that the deck can tell a message without effect from a surface gone deaf.

#pragma once

#include "deck/protocol/MMC.h"
#include "deck/transport/HostCall.h"

namespace deck {

/// What becomes of a packet; of several, the highest.
enum class PluginFate : std::uint8_t {
    kDropped,    // not MMC, or nothing that could become MMC
    kWaiting,    // kept: a message or a unit is not complete yet
    kIgnored,    // an MMC command that the plug-in does not know
    kTracedOnly, // appears in the plug-in's trace
    kHostCall,   // the host is called
    kDeaf        // nothing is interpreted, now and from here on
};

/// "dropped", "waiting", "ignored", "traced only", "host call", "deaf".
std::string_view NameOf(PluginFate fate) noexcept;

struct PluginPrediction {
    PluginFate fate = PluginFate::kDropped;
    std::vector<HostCall> calls; // in order
    std::string text;            // for people: "StopRewind, Play", "CHASE: traced only"
};

/// Follows one connected instance, byte by byte. [one thread at a time]
class PluginModel {
public:
    /// `packet` as the plug-in's port gets it: one message, or part of a long SysEx.
    PluginPrediction Feed(ByteView packet);

    /// True once nothing that arrives can have an effect any more.
    bool IsDeaf() const noexcept { return !mReason.empty(); }
    /// Why; empty while it hears.
    const std::string& DeafReason() const noexcept { return mReason; }
    /// True while bytes of an unfinished unit would swallow the beginning of the next command.
    bool IsUnitPending() const noexcept { return !IsDeaf() && !mCommands.empty(); }

    /// The instance was connected anew: its buffers are empty and its wind modes off.
    void Reset();

private:
    void Receive(ByteView packet);
    void ProcessReceived(PluginPrediction& out);
    bool TryCutMessage(PluginPrediction& out);
    void DropStrayBytes();
    void DescribeKept(ByteView packet, PluginPrediction& out) const;
    void Interpret(std::uint8_t subId, ByteView data, PluginPrediction& out);
    std::size_t Walk(PluginPrediction& out);
    void CarryOut(ByteView unit, PluginPrediction& out);
    void CallHost(std::uint8_t code, PluginPrediction& out);
    void Locate(ByteView unit, PluginPrediction& out);
    void Release(PluginPrediction& out);
    void JudgeHead(std::size_t oldSize, std::size_t consumed, PluginPrediction& out);

    Bytes mReceived;
    std::size_t mSearched = 0; // bytes of mReceived without an F7
    Bytes mCommands;
    bool mRewind = false;
    bool mFastForward = false;
    std::string mReason;
};

} // namespace deck
