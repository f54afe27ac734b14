#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCReceiveBuffer.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

namespace mmc {

namespace {

constexpr unsigned char kEndOfExclusive = 0xF7;
constexpr unsigned char kUniversalRealTime = 0x7F;
constexpr std::size_t kIdentifierOffset = 1;
constexpr std::size_t kSubIdOffset = 3;
constexpr std::size_t kDataOffset = 4;

bool IsMMCSubId(unsigned char byte) noexcept
{
    constexpr unsigned char kCommand = 0x06;
    return (byte & 0xFEU) == kCommand; // 07 is a response
}

} // namespace

std::optional<std::size_t> FirstByteSearch::Find(
    const kelcore::utility::ByteSequence& bytes) noexcept
{
    if (!mFound && mSearched < bytes.Size()) {
        const unsigned char* begin = bytes.Data() + mSearched;
        const void* hit = std::memchr(begin, mWanted, bytes.Size() - mSearched);
        mFound = hit != nullptr;
        mSearched = mFound
            ? static_cast<std::size_t>(static_cast<const unsigned char*>(hit) - bytes.Data())
            : bytes.Size();
    }
    return mFound ? std::optional(mSearched) : std::nullopt;
}

void FirstByteSearch::EraseFront(std::size_t count) noexcept
{
    if (mFound && mSearched < count) {
        Restart(); // the bytes behind the found one were never searched
        return;
    }
    mSearched -= std::min(mSearched, count);
}

void FirstByteSearch::Restart() noexcept
{
    mFound = false;
    mSearched = 0;
}

bool ReceiveBuffer::TryAppend(const unsigned char* bytes, std::size_t count) noexcept
{
    try {
        Append(bytes, count);
        return true;
    } catch (const std::bad_alloc&) {
        Clear();
        return false;
    }
}

void ReceiveBuffer::Append(const unsigned char* bytes, std::size_t count)
{
    mBytes.Reserve(mBytes.Size() + count);
    mBytes.Append(bytes, count);
    if (mBytes.Size() > mMostIdleBytes) {
        DropIdleBytes();
    }
}

void ReceiveBuffer::Clear() noexcept
{
    mEndsBefore = 0;
    mBytes.Clear();
    mStart.Restart();
    mEnd.Restart();
}

// A first F7 anywhere, also before the F0, and a first F0 that is not the last byte.
bool ReceiveBuffer::HasMessage() noexcept
{
    if (mEndsBefore == 0 && !mEnd.Find(mBytes)) {
        return false;
    }
    const std::optional<std::size_t> start = mStart.Find(mBytes);
    return start && *start + 1 < mBytes.Size();
}

std::optional<MMCMessage> ReceiveBuffer::FrontMMCMessage() noexcept
{
    const std::optional<std::size_t> start = mStart.Find(mBytes);
    const std::optional<std::size_t> end = mEnd.Find(mBytes);
    if (mEndsBefore > 0 || !start || !end || *start + kDataOffset >= *end) {
        return std::nullopt;
    }
    const unsigned char* message = mBytes.Data() + *start;
    if (message[kIdentifierOffset] != kUniversalRealTime || !IsMMCSubId(message[kSubIdOffset])) {
        return std::nullopt;
    }
    return MMCMessage{message[kSubIdOffset], message + kDataOffset, *end - (*start + kDataOffset)};
}

// Everything to the first F7 goes, that one included.
void ReceiveBuffer::EraseFrontMessage() noexcept
{
    if (mEndsBefore > 0) {
        --mEndsBefore;
    } else if (const std::optional<std::size_t> end = mEnd.Find(mBytes)) {
        EraseFront(*end + 1);
    }
}

void ReceiveBuffer::DropIdleBytes() noexcept
{
    DropBytesBeforeStart();
    DropForeignData();
}

// Before the first F0 only F7 bytes matter, and of those only how many they are.
void ReceiveBuffer::DropBytesBeforeStart() noexcept
{
    const std::size_t length = mStart.Find(mBytes).value_or(mBytes.Size());
    mEndsBefore += CountEnds(length);
    EraseFront(length);
}

// A message that its first bytes show not to be MMC is thrown away with all its data when its F7
// comes; until then only those first bytes matter.
void ReceiveBuffer::DropForeignData() noexcept
{
    if (mBytes.Size() <= mMostIdleBytes || mEnd.Find(mBytes)) {
        return;
    }
    std::array<unsigned char, kDataOffset> head{};
    std::copy_n(mBytes.Data(), head.size(), head.begin());
    if (head[kIdentifierOffset] == kUniversalRealTime && IsMMCSubId(head[kSubIdOffset])) {
        return;
    }
    mBytes.Clear();
    mBytes.Append(head.data(), head.size()); // there is room: nothing is allocated
    mEnd.Restart();
}

std::size_t ReceiveBuffer::CountEnds(std::size_t length) noexcept
{
    const std::optional<std::size_t> first = mEnd.Find(mBytes);
    if (!first || *first >= length) {
        return 0;
    }
    const auto count = std::count(mBytes.Data() + *first, mBytes.Data() + length, kEndOfExclusive);
    return static_cast<std::size_t>(count);
}

void ReceiveBuffer::EraseFront(std::size_t count) noexcept
{
    mBytes.EraseFront(count);
    mStart.EraseFront(count);
    mEnd.EraseFront(count);
}

} // namespace mmc
