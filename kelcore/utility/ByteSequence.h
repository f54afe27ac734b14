// A growable run of bytes for data that arrives at one end and is used up at the
// other, a few bytes at a time: a buffer for a MIDI stream.

#pragma once

#include <cstddef>

namespace kelcore::utility {

/// Storage comes from the small-block allocator. `Capacity()` is exactly what was asked for, never
/// more; behind it the block may be larger, so that a sequence which grows, or slides, by a byte at
/// a time is moved so rarely that a byte costs a constant on average. Every operation that throws
/// leaves the sequence as it was. Not safe for use by two threads at once.
class ByteSequence {
public:
    ByteSequence() noexcept = default;
    /// Copies the bytes; the capacity of the copy is its size. Throws `std::bad_alloc`.
    ByteSequence(const ByteSequence& other);
    /// Leaves `other` empty, with capacity 0.
    ByteSequence(ByteSequence&& other) noexcept;
    ByteSequence& operator=(const ByteSequence& other);
    ByteSequence& operator=(ByteSequence&& other) noexcept;
    ~ByteSequence();

    void Swap(ByteSequence& other) noexcept;

    std::size_t Size() const noexcept { return mSize; }
    bool IsEmpty() const noexcept { return mSize == 0; }
    /// How many bytes the sequence was promised room for; erasing and clearing keep it.
    std::size_t Capacity() const noexcept { return mCapacity; }

    /// `Size()` bytes, one behind the other. Null where no byte was ever held or reserved. Valid
    /// until the next call of an operation that is not const.
    const unsigned char* Data() const noexcept { return mBlock + mHead; }
    unsigned char* Data() noexcept { return mBlock + mHead; }

    /// `index` is below `Size()`.
    unsigned char operator[](std::size_t index) const noexcept { return mBlock[mHead + index]; }
    unsigned char& operator[](std::size_t index) noexcept { return mBlock[mHead + index]; }

    /// Makes `capacity` bytes the capacity, exactly, where it is less now; never shrinks. Until
    /// bytes are erased, the sequence then grows to `capacity` bytes without taking memory. Throws
    /// `std::bad_alloc`.
    void Reserve(std::size_t capacity);

    /// Adds `count` bytes at the end, reserving exactly the room they need where it lacks. `bytes`
    /// lies outside the sequence and may be null where `count` is 0. Within the capacity it takes
    /// no memory unless bytes were erased in front since the last Reserve() or Clear(). Throws
    /// `std::bad_alloc`.
    void Append(const unsigned char* bytes, std::size_t count);
    void Append(unsigned char byte) { Append(&byte, 1); }

    /// Removes the first `count` bytes; `count` is at most `Size()`. Moves nothing.
    void EraseFront(std::size_t count) noexcept;

    /// Removes all bytes and keeps the capacity.
    void Clear() noexcept;

private:
    void MakeRoom(std::size_t count);
    void MoveToFront() noexcept;
    void MoveToNewBlock(std::size_t count);

    unsigned char* mBlock = nullptr;
    std::size_t mBlockSize = 0; // of the whole block; 0 where there is none
    std::size_t mHead = 0;      // bytes at the start of the block that were erased; 0 if empty
    std::size_t mSize = 0;
    std::size_t mCapacity = 0; // at least mSize, at most mBlockSize
};

} // namespace kelcore::utility
