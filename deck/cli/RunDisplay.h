// What a running deck shows goes to its user and to whoever asks how it is, and its
// takes to the disk.

#pragma once

#include "deck/cli/StatusBoard.h"
#include "deck/cli/StatusSocket.h"
#include "deck/cli/TakeKeeper.h"

namespace deck::cli {

class RunDisplay final : public Display {
public:
    /// The arguments outlive it.
    RunDisplay(Display& inner, TakeKeeper& takes, StatusBoard& board)
        : mInner(inner)
        , mTakes(takes)
        , mBoard(board)
    {
    }

    void Tell(const std::string& event, const std::string& text) override
    {
        mBoard.Post(event, text);
        NotifyServiceManager("STATUS=" + event + ": " + text);
        mInner.Tell(event, text);
    }
    void Show(const DeckStatus& status, bool isDue) override
    {
        mBoard.Post(status);
        mInner.Show(status, isDue);
    }
    void ShowPorts(const PortLists& ports) override { mInner.ShowPorts(ports); }
    void ShowCall(const HostCall& call, CallOutcome outcome) override
    {
        mInner.ShowCall(call, outcome);
    }
    void ShowMMC(const host::RawMMC& message, const PluginPrediction& prediction) override
    {
        mInner.ShowMMC(message, prediction);
    }
    bool WantsMTC() const override { return mInner.WantsMTC(); }
    void ShowMTC(const host::MTCEvent& event) override { mInner.ShowMTC(event); }
    void ShowPosition(const Position& position) override { mInner.ShowPosition(position); }
    std::optional<VideoStatus> Picture() const override { return mInner.Picture(); }
    void ShowTake(const Take& take, FrameRate rate) override
    {
        mTakes.Keep(take, rate);
        Take counted = take;
        counted.number = mTakes.Takes().back().number; // as in the list, not in this run
        mInner.ShowTake(counted, rate);
    }

private:
    Display& mInner;
    TakeKeeper& mTakes;
    StatusBoard& mBoard;
};

} // namespace deck::cli
