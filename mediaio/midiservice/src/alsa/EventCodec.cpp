#include "mediaio/midiservice/src/alsa/EventCodec.h"

#include <new>

namespace midiservice::alsa {

namespace {

bool IsWholeShortMessage(const OutgoingMessage& message)
{
    return message.piece == Piece::Message && message.bytes[0] != 0xF0;
}

// The sequencer only reads it, but its interface says otherwise.
void* Lent(const std::uint8_t* bytes)
{
    return const_cast<std::uint8_t*>(bytes);
}

} // namespace

EventCodec::EventCodec()
{
    snd_midi_event_t* parser = nullptr;
    if (snd_midi_event_new(mBytes.size(), &parser) < 0)
        throw std::bad_alloc();
    mParser.reset(parser);
    snd_midi_event_no_status(parser, 1); // no running status
}

EventCodec::Bytes EventCodec::Decode(const snd_seq_event_t& event) noexcept
{
    if (event.type == SND_SEQ_EVENT_SYSEX)
        return {static_cast<const std::uint8_t*>(event.data.ext.ptr), event.data.ext.len};
    const long length = snd_midi_event_decode(
        mParser.get(), mBytes.data(), static_cast<long>(mBytes.size()), &event);
    return {mBytes.data(), length > 0 ? static_cast<std::size_t>(length) : 0};
}

void EventCodec::Encode(const OutgoingMessage& message, snd_seq_event_t& event) noexcept
{
    if (IsWholeShortMessage(message)) {
        snd_midi_event_reset_encode(mParser.get());
        const long used
            = snd_midi_event_encode(mParser.get(), message.bytes, message.length, &event);
        if (used == message.length && event.type != SND_SEQ_EVENT_NONE)
            return;
    }
    snd_seq_ev_set_sysex(&event, message.length, Lent(message.bytes));
}

} // namespace midiservice::alsa
