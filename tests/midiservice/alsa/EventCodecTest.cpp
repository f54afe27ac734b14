#include "mediaio/midiservice/src/alsa/EventCodec.h"

#include <gtest/gtest.h>

namespace midiservice::alsa {
namespace {

using Bytes = std::vector<std::uint8_t>;

OutgoingMessage Message(const Bytes& bytes, Piece piece = Piece::Message)
{
    OutgoingMessage message;
    message.bytes = bytes.data();
    message.length = static_cast<std::uint16_t>(bytes.size());
    message.piece = piece;
    return message;
}

snd_seq_event_t Encoded(EventCodec& codec, const Bytes& bytes, Piece piece = Piece::Message)
{
    snd_seq_event_t event;
    snd_seq_ev_clear(&event);
    codec.Encode(Message(bytes, piece), event);
    return event;
}

Bytes Decoded(EventCodec& codec, const snd_seq_event_t& event)
{
    const EventCodec::Bytes bytes = codec.Decode(event);
    return {bytes.data, bytes.data + bytes.length};
}

// Every message of MIDI 1.0, and the bytes that are none.
const Bytes kMessages[] = {
    {0x80, 0x3C, 0x40},
    {0x9F, 0x3C, 0x00},
    {0xA0, 0x3C, 0x7F},
    {0xB3, 0x07, 0x64},
    {0xC2, 0x05},
    {0xD2, 0x33},
    {0xE1, 0x00, 0x40},
    {0xE1, 0x7F, 0x7F},
    {0xF1, 0x35},
    {0xF2, 0x12, 0x34},
    {0xF3, 0x01},
    {0xF4},
    {0xF5},
    {0xF6},
    {0xF8},
    {0xF9},
    {0xFA},
    {0xFB},
    {0xFC},
    {0xFD},
    {0xFE},
    {0xFF},
    {0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7},
    {0xF0, 0xF7},
};

TEST(EventCodec, GivesBackEveryMessage)
{
    EventCodec codec;
    for (const Bytes& message : kMessages)
        EXPECT_EQ(Decoded(codec, Encoded(codec, message)), message) << int(message[0]);
}

TEST(EventCodec, NeverLeavesOutAStatusByte)
{
    EventCodec codec;
    const Bytes note{0x90, 0x3C, 0x40};

    const snd_seq_event_t first = Encoded(codec, note);
    const snd_seq_event_t second = Encoded(codec, note);

    EXPECT_EQ(Decoded(codec, first), note);
    EXPECT_EQ(Decoded(codec, second), note);
}

TEST(EventCodec, MakesEventsThatOtherProgramsUnderstand)
{
    EventCodec codec;

    EXPECT_EQ(Encoded(codec, {0x90, 0x3C, 0x40}).type, SND_SEQ_EVENT_NOTEON);
    EXPECT_EQ(Encoded(codec, {0xF1, 0x35}).type, SND_SEQ_EVENT_QFRAME);
    EXPECT_EQ(Encoded(codec, {0xF8}).type, SND_SEQ_EVENT_CLOCK);
    EXPECT_EQ(Encoded(codec, {0xF0, 0x7F, 0xF7}).type, SND_SEQ_EVENT_SYSEX);
}

TEST(EventCodec, CarriesPartsOfASysExAsTheyAre)
{
    EventCodec codec;
    const Bytes first{0xF0, 0x01, 0x02};
    const Bytes middle{0x03, 0x04};
    const Bytes last{0x05, 0xF7};

    EXPECT_EQ(Decoded(codec, Encoded(codec, first, Piece::SysExFirst)), first);
    EXPECT_EQ(Decoded(codec, Encoded(codec, middle, Piece::SysExMiddle)), middle);
    EXPECT_EQ(Decoded(codec, Encoded(codec, last, Piece::SysExLast)), last);
}

TEST(EventCodec, DoesNotCarryOneMessageIntoTheNext)
{
    EventCodec codec;
    Encoded(codec, {0x90, 0x3C}, Piece::Loose);

    EXPECT_EQ(Decoded(codec, Encoded(codec, {0xC1, 0x05})), (Bytes{0xC1, 0x05}));
}

TEST(EventCodec, FindsNoBytesInWhatIsNoMIDI)
{
    EventCodec codec;
    snd_seq_event_t event;
    snd_seq_ev_clear(&event);
    event.type = SND_SEQ_EVENT_PORT_SUBSCRIBED;

    EXPECT_TRUE(Decoded(codec, event).empty());
}

TEST(EventCodec, SpellsOutAFourteenBitController)
{
    EventCodec codec;
    snd_seq_event_t event;
    snd_seq_ev_clear(&event);
    event.type = SND_SEQ_EVENT_CONTROL14;
    event.data.control.channel = 2;
    event.data.control.param = 7;
    event.data.control.value = (5 << 7) | 9;

    EXPECT_EQ(Decoded(codec, event), (Bytes{0xB2, 0x07, 0x05, 0xB2, 0x27, 0x09}));
}

} // namespace
} // namespace midiservice::alsa
