// Writes down what a transport tells, one short line each.

#pragma once

#include "deck/transport/TransportSink.h"

#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace deck::test {

class RecordingSink final : public TransportSink {
public:
    explicit RecordingSink(FrameRate rate)
        : mRate(rate)
    {
    }

    void OnCall(const HostCall& call) override { Note("call " + std::string(NameOf(call.kind))); }
    void OnOutcome(const HostCall&, CallOutcome outcome) override { outcomes.push_back(outcome); }
    void OnState(TransportState state, bool isRecording) override
    {
        Note("state " + std::string(NameOf(state)) + (isRecording ? " rec" : ""));
    }
    void OnLocated(const Position& position) override
    {
        Note("located " + FormatFrame(position.frame, mRate));
    }
    void OnPosition(const Position& position) override
    {
        positions.push_back(position);
        Note("at " + FormatFrame(position.frame, mRate) + " x" + std::to_string(position.speed));
    }
    void OnTake(const Take& take) override
    {
        takes.push_back(take);
        Note(take.isOpen ? "take opens" : "take closes");
    }

    /// The lines since the last call.
    std::vector<std::string> TakeLines() { return std::exchange(lines, {}); }

    std::vector<std::string> lines;
    std::vector<Position> positions;
    std::vector<Take> takes;
    std::vector<CallOutcome> outcomes;

private:
    void Note(std::string line) { lines.push_back(std::move(line)); }

    FrameRate mRate;
};

} // namespace deck::test
