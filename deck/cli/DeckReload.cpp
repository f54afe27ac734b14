#include "deck/cli/DeckReload.h"

namespace deck::cli {
namespace {

std::string Joined(const std::vector<std::string>& names)
{
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

bool IsSamePacing(const MtcPacerOptions& now, const MtcPacerOptions& next)
{
    return now.enabled == next.enabled && now.offset == next.offset;
}

} // namespace

Changes Compare(const RunOptions& now, const RunOptions& next)
{
    Changes changes;
    const auto note = [](std::vector<std::string>& list, bool isChanged, const char* name) {
        if (isChanged) {
            list.emplace_back(name);
        }
    };
    changes.ports = now.in != next.in || now.out != next.out || now.mtc != next.mtc;
    note(changes.done, now.in != next.in, "in");
    note(changes.done, now.out != next.out, "out");
    note(changes.done, now.mtc != next.mtc, "mtc");
    note(changes.done, now.windSpeed != next.windSpeed, "wind-speed");
    note(changes.done, now.locateRate != next.locateRate, "locate-rate");
    note(changes.done, now.revive != next.revive, "no-revive");
    note(changes.done, now.statusInterval != next.statusInterval, "status-interval");
    note(changes.later, now.rate != next.rate, "rate");
    note(changes.later, now.startFrame != next.startFrame, "start");
    note(changes.later, !IsSamePacing(now.pacing, next.pacing), "mtc-pacing and mtc-offset");
    note(changes.later, now.ownPorts != next.ownPorts, "no-own-ports");
    note(changes.later, now.bundle != next.bundle, "bundle");
    note(changes.later, now.settings != next.settings, "settings");
    note(changes.later, now.takes != next.takes, "takes");
    note(changes.later, now.json != next.json, "json");
    note(changes.later, now.noWait != next.noWait, "no-wait");
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

void TakeChanges(RunOptions& now, const RunOptions& next)
{
    now.in = next.in;
    now.out = next.out;
    now.mtc = next.mtc;
    now.windSpeed = next.windSpeed;
    now.locateRate = next.locateRate;
    now.revive = next.revive;
    now.statusInterval = next.statusInterval;
    now.portsMayCome = next.portsMayCome;
}

} // namespace deck::cli
