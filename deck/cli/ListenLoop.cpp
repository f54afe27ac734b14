#include "deck/cli/ListenLoop.h"

#include "deck/cli/ServiceStatus.h"
#include "deck/host/HostError.h"

#include <iostream>

namespace deck::cli {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

} // namespace

MIDIUniqueID ChooseSource(const std::string& wanted)
{
    const host::MidiClient client("korva-deck");
    RequireService();
    const auto sources = host::ListPorts(host::PortDirection::Source);
    return host::ChoosePort(sources, host::PortDirection::Source, wanted).id;
}

ListenLoop::ListenLoop(host::MidiListener& listener, const StopSignals& signals, Handler onHeard)
    : mListener(listener)
    , mSignals(signals)
    , mOnHeard(std::move(onHeard))
{
}

void ListenLoop::Run(
    std::optional<std::chrono::nanoseconds> duration, const std::function<bool()>& isDone)
{
    const auto end = Clock::now() + duration.value_or(0ns);
    Update();
    if (host::ListPorts(host::PortDirection::Source).empty()) {
        std::cerr << "no sources yet; each is heard when it comes" << std::endl;
    }
    for (bool isOver = false; !isOver;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        const auto wait = duration ? std::optional(std::max(left, 0ms)) : std::nullopt;
        const auto woken = mSignals.Wait({mListener.Descriptor()}, wait);
        isOver = woken == StopSignals::Woken::BySignal || (duration && left <= 0ms);
        mListener.Clear();
        Update();
        while (const auto heard = mListener.TryTake()) {
            mOnHeard(*heard, mListener.Source(heard->source));
            if (isDone()) {
                return;
            }
        }
    }
    if (mListener.Lost() > 0) {
        throw HostError(std::to_string(mListener.Lost())
                + " messages were lost: they came faster than they could be taken",
            kExitFailed);
    }
}

void ListenLoop::Update()
{
    for (const auto& change : mListener.Update()) {
        const std::string& name = mListener.Source(change.source).name;
        std::cerr << (change.isThere ? "listening to " + name
                                     : name + " has gone; it is heard again when it comes back")
                  << std::endl;
    }
}

} // namespace deck::cli
