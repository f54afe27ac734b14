// Keeps the pieces that come out of what is under test.

#pragma once

#include "mediaio/midiservice/src/SysExAssembler.h"

#include "tests/midiservice/Clients.h"

namespace midiservice::test {

struct PieceRecord {
    Piece piece;
    Bytes bytes;
    HostTime time;
    friend bool operator==(const PieceRecord&, const PieceRecord&) = default;
};

class PieceList final : public PieceSink {
public:
    void OnPiece(
        Piece piece, HostTime time, const std::uint8_t* bytes, std::size_t length) noexcept override
    {
        records.push_back({piece, Bytes(bytes, bytes + length), time});
    }

    std::vector<PieceRecord> records;
};

} // namespace midiservice::test
