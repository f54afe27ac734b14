#include "deck/protocol/PieceSequence.h"

namespace deck {
namespace {

constexpr int kPieces = 8;

} // namespace

PieceSequence::PieceSequence(Listener& listener)
    : mListener(listener)
{
}

void PieceSequence::Begin()
{
    mHasBegun = false;
    mIsReverse = false;
    mPending.clear();
}

void PieceSequence::Feed(const MtcPiece& piece)
{
    if (!mHasBegun) {
        mHasBegun = true;
        Accept(piece, false, false);
    } else if (mPending.empty() && piece.number == Expected()) {
        Accept(piece, true, true);
    } else {
        mPending.push_back(piece);
        Judge();
    }
}

int PieceSequence::After(int piece, int steps) const noexcept
{
    return (piece + (mIsReverse ? kPieces - steps : steps)) % kPieces;
}

/// How far `piece` is ahead of the last one, 0 to 7.
int PieceSequence::StepsTo(int piece) const noexcept
{
    return (mIsReverse ? mLast - piece + kPieces : piece - mLast + kPieces) % kPieces;
}

void PieceSequence::Accept(const MtcPiece& piece, bool follows, bool onTime)
{
    mLast = piece.number;
    mListener.OnInOrder(piece, follows, onTime);
}

void PieceSequence::Judge()
{
    if (mPending.size() < 2)
        return;
    const int first = StepsTo(mPending[0].number);
    const int second = StepsTo(mPending[1].number);
    if (second == (first + 1) % kPieces && first != kPieces - 1)
        JudgeStep(first);
    else if (second == (first + kPieces - 1) % kPieces && (first == 0 || first == kPieces - 1))
        Turn();
    else
        JudgeOther(first, second);
}

/// The pieces go on from the first unexpected one, which is `steps` ahead of the last.
void PieceSequence::JudgeStep(int steps)
{
    const auto pieces = std::move(mPending);
    mPending.clear();
    if (steps == 0) {
        mListener.OnDisorder(
            PieceDisorder::kRepeated, pieces[0], "piece " + std::to_string(mLast) + " came twice");
        Accept(pieces[1], true, false);
        return;
    }
    const std::string lost = steps == 2 ? "piece " + std::to_string(Expected()) + " is missing"
                                        : std::to_string(steps - 1) + " pieces from "
            + std::to_string(Expected()) + " on are missing";
    mListener.OnDisorder(PieceDisorder::kMissing, pieces[0], lost);
    Accept(pieces[0], false, false);
    Accept(pieces[1], true, true);
}

void PieceSequence::JudgeOther(int first, int second)
{
    const auto pieces = std::move(mPending);
    mPending.clear();
    if (first == 0) {
        mListener.OnDisorder(
            PieceDisorder::kRepeated, pieces[0], "piece " + std::to_string(mLast) + " came twice");
        Feed(pieces[1]);
        return;
    }
    mListener.OnDisorder(PieceDisorder::kOrder, pieces[0],
        "piece " + std::to_string(pieces[0].number) + " came where piece "
            + std::to_string(Expected()) + " was due");
    const bool areSwapped = first == 2 && second == 1;
    Accept(pieces[1], areSwapped, false);
    if (areSwapped)
        Accept(pieces[0], true, false);
}

void PieceSequence::Turn()
{
    const auto pieces = std::move(mPending);
    mPending.clear();
    mIsReverse = !mIsReverse;
    mListener.OnTurned();
    Accept(pieces[0], false, false);
    Accept(pieces[1], true, true);
}

} // namespace deck
