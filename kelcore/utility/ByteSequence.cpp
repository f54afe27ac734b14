#include "kelcore/utility/ByteSequence.h"

#include "kelcore/utility/SmallBlockAllocator.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace kelcore::utility {

namespace {

constexpr std::size_t kLargestSize = std::numeric_limits<std::ptrdiff_t>::max();

// Null is a valid place for no bytes here, but not for the library's functions.
void CopyBytes(unsigned char* to, const unsigned char* from, std::size_t count) noexcept
{
    if (count != 0) {
        std::memcpy(to, from, count);
    }
}

} // namespace

ByteSequence::ByteSequence(const ByteSequence& other)
{
    Append(other.Data(), other.Size());
}

ByteSequence::ByteSequence(ByteSequence&& other) noexcept
{
    Swap(other);
}

ByteSequence& ByteSequence::operator=(const ByteSequence& other)
{
    ByteSequence copy(other);
    Swap(copy);
    return *this;
}

ByteSequence& ByteSequence::operator=(ByteSequence&& other) noexcept
{
    ByteSequence moved(std::move(other));
    Swap(moved);
    return *this;
}

ByteSequence::~ByteSequence()
{
    FreeSmallBlock(mBlock, mBlockSize);
}

void ByteSequence::Swap(ByteSequence& other) noexcept
{
    std::swap(mBlock, other.mBlock);
    std::swap(mBlockSize, other.mBlockSize);
    std::swap(mHead, other.mHead);
    std::swap(mSize, other.mSize);
    std::swap(mCapacity, other.mCapacity);
}

void ByteSequence::Reserve(std::size_t capacity)
{
    MakeRoom(capacity);
    mCapacity = std::max(mCapacity, capacity);
}

void ByteSequence::Append(const unsigned char* bytes, std::size_t count)
{
    if (count > kLargestSize - mSize) {
        throw std::bad_alloc();
    }
    MakeRoom(mSize + count);
    CopyBytes(mBlock + mHead + mSize, bytes, count);
    mSize += count;
    mCapacity = std::max(mCapacity, mSize);
}

void ByteSequence::EraseFront(std::size_t count) noexcept
{
    assert(count <= mSize);
    mSize -= count;
    mHead = mSize == 0 ? 0 : mHead + count;
}

void ByteSequence::Clear() noexcept
{
    mHead = 0;
    mSize = 0;
}

// Makes the block hold `count` bytes from Data() on.
void ByteSequence::MakeRoom(std::size_t count)
{
    if (count <= mBlockSize - mHead) {
        return;
    }
    // At least as many bytes were erased as are moved now, so erasing them has paid for it.
    if (count <= mBlockSize && mHead >= mSize) {
        MoveToFront();
    } else {
        MoveToNewBlock(count);
    }
}

void ByteSequence::MoveToFront() noexcept
{
    std::memmove(mBlock, mBlock + mHead, mSize);
    mHead = 0;
}

void ByteSequence::MoveToNewBlock(std::size_t count)
{
    if (count > kLargestSize / 2) {
        throw std::bad_alloc();
    }
    // Where bytes leave at the head while others come, a block of twice the size always has half of
    // itself erased when its end is reached, and MoveToFront does from then on.
    const std::size_t size = SmallBlockSize(mHead == 0 ? count : 2 * std::max(count, mCapacity));
    auto* block = static_cast<unsigned char*>(AllocateSmallBlock(size));
    CopyBytes(block, Data(), mSize);
    FreeSmallBlock(mBlock, mBlockSize);
    mBlock = block;
    mBlockSize = size;
    mHead = 0;
}

} // namespace kelcore::utility
