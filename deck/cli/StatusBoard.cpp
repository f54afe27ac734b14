#include "deck/cli/StatusBoard.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <unistd.h>
#include <utility>

namespace deck::cli {
namespace {

using Json = nlohmann::ordered_json;

} // namespace

StatusBoard::StatusBoard(DeckIdentity identity)
    : mIdentity(std::move(identity))
{
}

void StatusBoard::Post(const DeckStatus& status)
{
    const std::lock_guard lock(mMutex);
    mStatus = status;
}

void StatusBoard::Post(const std::string& event, const std::string& text)
{
    const std::lock_guard lock(mMutex);
    mEvent = event;
    mNotice = text;
}

std::string StatusBoard::Answer() const
{
    const std::lock_guard lock(mMutex);
    return JSONLine() + Lines();
}

std::string StatusBoard::JSONLine() const
{
    Json json = Json::parse(StatusJSON(mStatus));
    json["command"] = mIdentity.command;
    json["process"] = getpid();
    json["version"] = KORVA_VERSION;
    json["uptime"] = std::chrono::duration_cast<std::chrono::seconds>(
        std::chrono::steady_clock::now() - mBegin)
                         .count();
    json["settings"] = mIdentity.settings.string();
    json["takes_file"] = mIdentity.takes.string();
    json["notice"] = nullptr;
    if (!mEvent.empty()) {
        json["notice"] = {{"event", mEvent}, {"text", mNotice}};
    }
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string StatusBoard::Lines() const
{
    std::string text = StatusText(mStatus) + "\n" + mIdentity.command + ", process "
        + std::to_string(getpid()) + ", up " + UpTime() + ", settings "
        + mIdentity.settings.string() + ", takes " + mIdentity.takes.string() + "\n";
    if (!mEvent.empty()) {
        text += mEvent + ": " + mNotice + "\n";
    }
    return text;
}

std::string StatusBoard::UpTime() const
{
    const auto up = std::chrono::duration_cast<std::chrono::seconds>(
        std::chrono::steady_clock::now() - mBegin)
                        .count();
    char text[32];
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", static_cast<long long>(up / 3600),
        static_cast<long long>(up / 60 % 60), static_cast<long long>(up % 60));
    return text;
}

} // namespace deck::cli
