#include "deck/host/MMCWatch.h"

#include "deck/host/MidiPackets.h"
#include "kelcore/utility/HighPrecisionTime.h"

namespace deck::host {
namespace {
constexpr std::uint8_t kSysExStart = 0xF0;
constexpr std::uint8_t kSysExEnd = 0xF7;
constexpr std::uint8_t kFirstRealTime = 0xF8;
constexpr std::uint8_t kFirstStatus = 0x80;
constexpr std::size_t kShortestMMC = 6;
constexpr std::uint8_t kUniversalRealTime = 0x7F;
constexpr std::uint8_t kMMCCommandSubID = 0x06;
constexpr std::uint8_t kMMCResponseSubID = 0x07;
} // namespace

bool MMCSplitter::Take(std::uint8_t byte) noexcept
{
    if (byte >= kFirstRealTime) {
        return false;
    }
    if (byte == kSysExStart) {
        mIsInside = true;
        mMessage.length = 0;
    } else if (byte >= kFirstStatus && byte != kSysExEnd) {
        mIsInside = false;
    }
    if (!mIsInside) {
        return false;
    }
    if (mMessage.length < RawMMC::kMaxLength) {
        mMessage.bytes[mMessage.length++] = byte;
    }
    mIsInside = byte != kSysExEnd;
    return !mIsInside && IsMMC();
}

bool MMCSplitter::IsMMC() const noexcept
{
    const auto& bytes = mMessage.bytes;
    return mMessage.length >= kShortestMMC && bytes[1] == kUniversalRealTime
        && (bytes[3] == kMMCCommandSubID || bytes[3] == kMMCResponseSubID);
}

MMCWatch::MMCWatch(MidiClient& client, std::function<void(const RawMMC&)> onMessage)
    : mOnMessage(std::move(onMessage))
    , mPort(client.MakeInputPort("Monitor", &MMCWatch::OnPackets, this))
    , mSource(mPort, nullptr)
{
}

MMCWatch::~MMCWatch()
{
    MIDIPortDispose(mPort);
}

void MMCWatch::Follow(MIDIUniqueID id)
{
    mSource.Follow(id, [this] { mSplitter = MMCSplitter{}; });
}

void MMCWatch::OnPackets(const MIDIPacketList* packets, void* self, void*)
{
    static_cast<MMCWatch*>(self)->Read(*packets);
}

void MMCWatch::Read(const MIDIPacketList& packets) noexcept
{
    ForEachPacket(packets, [this](const MIDIPacket& packet) {
        for (UInt16 i = 0; i < packet.length; ++i) {
            if (mSplitter.Take(packet.data[i])) {
                RawMMC message = mSplitter.Message();
                message.time = kelcore::utility::HighPrecisionTime::GetCurrentTime();
                mOnMessage(message);
            }
        }
    });
}

} // namespace deck::host
