#include "deck/cli/RunCommand.h"

#include "deck/cli/DeckRun.h"
#include "deck/cli/Display.h"
#include "deck/cli/ReloadSignal.h"
#include "deck/host/HostError.h"

#include <algorithm>

namespace deck::cli {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

milliseconds Until(Clock::time_point due)
{
    return std::max(std::chrono::ceil<milliseconds>(due - Clock::now()), milliseconds(0));
}

std::optional<milliseconds> Sooner(std::optional<milliseconds> a, std::optional<milliseconds> b)
{
    return a && b ? std::min(a, b) : (a ? a : b);
}

milliseconds StatusInterval(const DeckRun& deck)
{
    return std::chrono::ceil<milliseconds>(
        std::chrono::duration<double>(deck.Options().statusInterval));
}

void Loop(DeckRun& deck, const StopSignals& signals, const ReloadSignal& reload)
{
    auto due = Clock::now();
    auto woken = StopSignals::Woken::ByTime;
    while (woken != StopSignals::Woken::BySignal && !reload.HasLostTerminal()) {
        const milliseconds interval = StatusInterval(deck);
        const bool isDue = interval.count() > 0 && Clock::now() >= due;
        if (isDue) {
            due = Clock::now() + interval;
        }
        deck.Update(isDue);
        const auto status = interval.count() > 0 ? std::optional(Until(due)) : std::nullopt;
        woken = signals.Wait({deck.Session().Events().Descriptor(), reload.Descriptor()},
            Sooner(status, deck.Monitor().UntilRevival()));
    }
}

} // namespace

int RunDeck(const RunOptions& options, const StopSignals& signals)
{
    const std::unique_ptr<Display> display = MakeDisplay(options.json);
    ReloadSignal reload; // before there are other threads
    {
        DeckRun deck(WithoutAWindow(options), signals, reload, *display);
        NotifyServiceManager("READY=1"); // its machines may still be off
        if (!deck.Start()) {
            return kExitDone;
        }
        Loop(deck, signals, reload);
        NotifyServiceManager("STOPPING=1");
        deck.End();
    }
    display->Tell("ended", "by a signal, everything released");
    return kExitDone;
}

} // namespace deck::cli
