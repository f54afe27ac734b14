#include "deck/cli/OptionsReader.h"

#include <utility>

namespace deck::cli {

OptionsReader::OptionsReader(std::vector<std::string> arguments, std::function<void()> onRead)
    : mArguments(std::move(arguments))
    , mOnRead(std::move(onRead))
{
}

OptionsReader::~OptionsReader()
{
    if (mThread.joinable()) {
        mThread.join();
    }
}

void OptionsReader::Begin()
{
    if (mReading.valid()) {
        mReadsOnceMore = true; // the file may have changed since it was read
        return;
    }
    Start();
}

void OptionsReader::Start()
{
    std::packaged_task<PlayOptions()> task([this] { return ParseDeck(mArguments); });
    mReading = task.get_future();
    mThread = std::thread([this, task = std::move(task)]() mutable {
        task();
        mOnRead();
    });
}

std::optional<PlayOptions> OptionsReader::TryTake()
{
    if (!mReading.valid()
        || mReading.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        return std::nullopt;
    }
    mThread.join(); // it has only its last call left
    std::future<PlayOptions> read = std::move(mReading);
    if (std::exchange(mReadsOnceMore, false)) {
        Start();
        return std::nullopt;
    }
    return read.get();
}

} // namespace deck::cli
