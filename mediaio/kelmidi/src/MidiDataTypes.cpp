#include "mediaio/kelmidi/src/MidiDataTypes.h"

#include "kelcore/utility/HighPrecisionTime.h"

#include <cstring>

namespace kelmidi {

using kelcore::utility::HighPrecisionTime;

MidiData& MidiData::operator=(const MidiData& other) noexcept
{
    if (this != &other) {
        Assign(other.bytes, other.length);
    }
    return *this;
}

void MidiData::Assign(const unsigned char* source, std::uint64_t sourceLength) noexcept
{
    length = sourceLength <= kMaxMidiDataLength ? sourceLength : 0;
    if (length > 0) {
        std::memcpy(bytes, source, length);
    }
}

MidiMessage::MidiMessage(const unsigned char* bytes, unsigned long length) noexcept
    : data(bytes, length)
{
}

MidiMessage::MidiMessage(
    const unsigned char* bytes, unsigned long length, unsigned long long messageTimeStamp) noexcept
    : timeStamp(messageTimeStamp)
    , data(bytes, length)
{
}

unsigned long long GetCurrentHostTime() noexcept
{
    return HighPrecisionTime::GetCurrentTime();
}

unsigned long long AddNanoSeconds(unsigned long long time, long long nanoseconds) noexcept
{
    return time + static_cast<unsigned long long>(HighPrecisionTime::ConvertFromNanos(nanoseconds));
}

} // namespace kelmidi
