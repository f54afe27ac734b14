#include "mediaio/midiservice/src/UniqueID.h"

#include <string_view>
#include <tuple>

namespace midiservice {

namespace {

// FNV-1a, 64 bits. Stored IDs depend on it: it can never change.
class Hash {
public:
    void AddByte(unsigned char byte) noexcept
    {
        mValue ^= byte;
        mValue *= 0x100000001B3U;
    }

    // The length goes in first, so that "ab" + "c" differs from "a" + "bc".
    void AddText(std::string_view text) noexcept
    {
        AddNumber(static_cast<std::uint32_t>(text.size()));
        for (char character : text)
            AddByte(static_cast<unsigned char>(character));
    }

    void AddNumber(std::uint32_t number) noexcept
    {
        for (int shift = 0; shift < 32; shift += 8)
            AddByte(static_cast<unsigned char>(number >> shift));
    }

    // Stirred before it is folded, because the low bits of FNV depend on few input bits.
    std::uint32_t Folded() const noexcept
    {
        std::uint64_t value = mValue;
        value ^= value >> 33;
        value *= 0xFF51AFD7ED558CCDU;
        value ^= value >> 33;
        return static_cast<std::uint32_t>(value ^ (value >> 32));
    }

private:
    std::uint64_t mValue = 0xCBF29CE484222325U;
};

auto Counting(const IdentityFacts& facts)
{
    return std::tie(facts.driver, facts.direction, facts.owner, facts.port);
}

} // namespace

bool SameIdentity(const IdentityFacts& a, const IdentityFacts& b)
{
    return Counting(a) == Counting(b);
}

bool ComesBefore(const IdentityFacts& a, const IdentityFacts& b)
{
    return std::tuple_cat(Counting(a), std::tie(a.order))
        < std::tuple_cat(Counting(b), std::tie(b.order));
}

std::int32_t UniqueID(const IdentityFacts& facts, std::uint32_t ordinal)
{
    Hash hash;
    hash.AddText(facts.driver);
    hash.AddByte(facts.direction == Direction::Source ? 's' : 'd');
    hash.AddText(facts.owner);
    hash.AddText(facts.port);
    if (ordinal > 0)
        hash.AddNumber(ordinal);
    const auto id = static_cast<std::int32_t>(hash.Folded());
    return id != 0 ? id : 1;
}

} // namespace midiservice
