// Makes lines for the monitor of what sources say, each source by itself.

#pragma once

#include "deck/cli/ToolOptions.h"

#include <functional>
#include <map>
#include <memory>

namespace deck::cli {

/// What a message counts as: a SysEx that is no MMC and no MTC is SysEx, broken ones included.
MonitorGroup GroupOf(const MidiEvent& event, const MidiAnnotation& annotation) noexcept;

/// [one thread at a time]
class MonitorLines {
public:
    using Receiver = std::function<void(const MonitorLine&)>;

    /// Only what is in `groups` (MonitorGroup, joined) comes out; the first line counts from
    /// `begin`. With `revives` a plug-in gone deaf is one that hears again.
    MonitorLines(
        std::uint8_t groups, bool revives, std::chrono::nanoseconds begin, Receiver receiver);
    MonitorLines(const MonitorLines&) = delete;
    MonitorLines& operator=(const MonitorLines&) = delete;

    struct Source {
        std::int32_t id = 0;
        std::string name;
    };
    /// `bytes` as the plug-in's port gets them.
    void Feed(const Source& source, ByteView bytes, std::chrono::nanoseconds time);
    /// It ends: messages that were begun come out as not whole.
    void Flush();

private:
    struct Listening {
        explicit Listening(MidiStream::Receiver receiver)
            : stream(std::move(receiver))
        {
        }

        Source source;
        MidiStream stream;
        PluginModel plugin;
        std::optional<PluginPrediction> prediction; // of the bytes being fed
    };

    Listening& ListeningTo(const Source& source);
    void Take(const Listening& listening, const MidiEvent& event);

    std::uint8_t mGroups;
    bool mRevives;
    std::chrono::nanoseconds mLast;
    Receiver mReceiver;
    std::map<std::int32_t, std::unique_ptr<Listening>> mListening; // by the source's ID
};

} // namespace deck::cli
