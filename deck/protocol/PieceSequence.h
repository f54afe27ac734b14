// Finds out what happened to the eight pieces of MTC on their way: lost, doubled,
// swapped, or a sender that turned round.

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace deck {

struct MtcPiece {
    int number = 0; // 0 to 7
    std::uint8_t nibble = 0;
    std::chrono::nanoseconds time{0};
};

enum class PieceDisorder : std::uint8_t { kMissing, kRepeated, kOrder };

/// One unexpected piece is not judged before the next one has come.
class PieceSequence {
public:
    class Listener {
    public:
        virtual ~Listener() = default;
        /// In the order of their numbers. `follows`: nothing was lost before it; `onTime`: nor
        /// was anything unexpected, so that the distance in time means something.
        virtual void OnInOrder(const MtcPiece& piece, bool follows, bool onTime) = 0;
        virtual void OnTurned() = 0;
        virtual void OnDisorder(PieceDisorder disorder, const MtcPiece& at, std::string text) = 0;
    };

    explicit PieceSequence(Listener& listener);

    /// The next piece begins anew, whichever it is.
    void Begin();
    void Feed(const MtcPiece& piece);

    bool IsReverse() const noexcept { return mIsReverse; }
    /// The piece that is due now.
    int Expected() const noexcept { return After(mLast, 1); }

private:
    int After(int piece, int steps) const noexcept;
    int StepsTo(int piece) const noexcept;
    void Accept(const MtcPiece& piece, bool follows, bool onTime);
    void Judge();
    void JudgeStep(int steps);
    void JudgeOther(int first, int second);
    void Turn();

    Listener& mListener;
    bool mHasBegun = false;
    bool mIsReverse = false;
    int mLast = 0;
    std::vector<MtcPiece> mPending; // what was not expected, at most two
};

} // namespace deck
