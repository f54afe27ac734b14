#include "deck/cli/DeckReload.h"

namespace deck::cli {
namespace {

enum class Holds {
    WithThePorts, // which are bound anew
    AtOnce,
    AfterARestart
};

struct Option {
    const char* name;
    Holds holds;
    bool (*differs)(const PlayOptions& now, const PlayOptions& next);
    void (*take)(PlayOptions& now, const PlayOptions& next);
};

/// `Path` leads from PlayOptions to the option's value, member by member.
template <auto... Path> constexpr Option MakeOption(const char* name, Holds holds)
{
    return {name, holds,
        [](const PlayOptions& now, const PlayOptions& next) {
            return (now.*....*Path) != (next.*....*Path);
        },
        [](PlayOptions& now, const PlayOptions& next) { (now.*....*Path) = (next.*....*Path); }};
}

constexpr auto kRun = &PlayOptions::run;
constexpr auto kTransport = &RunOptions::transport;
constexpr auto kPacing = &RunOptions::pacing;

/// Every option of `run` and `play`: DeckReload.KnowsEveryOption.
constexpr Option kOptions[] = {
    MakeOption<kRun, &RunOptions::in>("in", Holds::WithThePorts),
    MakeOption<kRun, &RunOptions::out>("out", Holds::WithThePorts),
    MakeOption<kRun, &RunOptions::mtc>("mtc", Holds::WithThePorts),
    MakeOption<kRun, kPacing, &MtcPacerOptions::enabled>("mtc-pacing", Holds::AtOnce),
    MakeOption<kRun, kPacing, &MtcPacerOptions::offset>("mtc-offset", Holds::AtOnce),
    MakeOption<kRun, kTransport, &TransportSettings::windSpeed>("wind-speed", Holds::AtOnce),
    MakeOption<kRun, kTransport, &TransportSettings::locateRate>("locate-rate", Holds::AtOnce),
    MakeOption<kRun, &RunOptions::revive>("no-revive", Holds::AtOnce),
    MakeOption<kRun, &RunOptions::statusInterval>("status-interval", Holds::AtOnce),
    MakeOption<&PlayOptions::file>("file", Holds::AfterARestart),
    MakeOption<&PlayOptions::mediaStart>("offset", Holds::AfterARestart),
    MakeOption<&PlayOptions::audio>("audio", Holds::AfterARestart),
    MakeOption<&PlayOptions::burnIn>("burn-in", Holds::AfterARestart),
    MakeOption<&PlayOptions::fullScreen>("full-screen", Holds::AfterARestart),
    MakeOption<&PlayOptions::screen>("screen", Holds::AfterARestart),
    MakeOption<&PlayOptions::pictureDelay>("picture-delay", Holds::AfterARestart),
    MakeOption<&PlayOptions::blackOutside>("outside", Holds::AfterARestart),
    MakeOption<kRun, kTransport, &TransportSettings::rate>("rate", Holds::AfterARestart),
    MakeOption<kRun, kTransport, &TransportSettings::startFrame>("start", Holds::AfterARestart),
    MakeOption<kRun, &RunOptions::ownPorts>("no-own-ports", Holds::AfterARestart),
    MakeOption<kRun, &RunOptions::bundle>("bundle", Holds::AfterARestart),
    MakeOption<kRun, &RunOptions::settings>("settings", Holds::AfterARestart),
    MakeOption<kRun, &RunOptions::takes>("takes", Holds::AfterARestart),
    MakeOption<kRun, &RunOptions::json>("json", Holds::AfterARestart),
    MakeOption<kRun, &RunOptions::noWait>("no-wait", Holds::AfterARestart),
};

std::string Joined(const std::vector<std::string>& names)
{
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

} // namespace

Changes Compare(const PlayOptions& now, const PlayOptions& next)
{
    Changes changes;
    for (const Option& option : kOptions) {
        if (option.differs(now, next)) {
            changes.ports = changes.ports || option.holds == Holds::WithThePorts;
            const bool isLater = option.holds == Holds::AfterARestart;
            (isLater ? changes.later : changes.done).emplace_back(option.name);
        }
    }
    return changes;
}

std::string Describe(const Changes& changes)
{
    std::string text = changes.done.empty() ? "" : "changed: " + Joined(changes.done);
    if (!changes.later.empty()) {
        text += std::string(text.empty() ? "" : "; ") + "needs a restart: " + Joined(changes.later);
    }
    return text.empty() ? "nothing has changed" : text;
}

void TakeChanges(PlayOptions& now, const PlayOptions& next)
{
    for (const Option& option : kOptions) {
        if (option.holds != Holds::AfterARestart) {
            option.take(now, next);
        }
    }
    now.run.portsMayCome = next.run.portsMayCome; // goes with in and out
}

} // namespace deck::cli
