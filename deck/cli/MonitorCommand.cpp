#include "deck/cli/MonitorCommand.h"

#include "deck/cli/ListenLoop.h"
#include "deck/cli/MonitorLines.h"
#include "deck/cli/ServiceStatus.h"
#include "deck/host/HostError.h"
#include "kelcore/utility/HighPrecisionTime.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

namespace deck::cli {
namespace {

std::chrono::nanoseconds Now()
{
    using kelcore::utility::HighPrecisionTime;
    return std::chrono::nanoseconds(HighPrecisionTime::ConvertToNanos(
        static_cast<std::int64_t>(HighPrecisionTime::GetCurrentTime())));
}

/// Where the lines go: the screen, and a file.
class MonitorOutput {
public:
    explicit MonitorOutput(const MonitorOptions& options)
        : mOptions(options)
    {
        if (options.save) {
            mFile.open(*options.save, std::ios::binary | std::ios::trunc);
            CheckFile(kExitBadInput);
        }
    }

    void Show(const MonitorLine& line)
    {
        if (IsFull()) {
            return;
        }
        ++mShown;
        const std::string text = mOptions.json ? FormatMonitorJson(line) : FormatMonitorLine(line);
        std::cout << text << std::endl;
        if (mOptions.save) {
            mFile << text << std::endl;
            CheckFile(kExitFailed);
        }
    }

    bool IsFull() const { return mOptions.count && mShown >= *mOptions.count; }

private:
    void CheckFile(ExitStatus status) const
    {
        if (!mFile) {
            throw HostError("cannot write " + mOptions.save->string() + " (" + std::strerror(errno)
                    + "); name a file of yours with --save",
                status);
        }
    }

    const MonitorOptions& mOptions;
    std::ofstream mFile;
    std::uint64_t mShown = 0;
};

} // namespace

int MonitorPorts(const MonitorOptions& options, const StopSignals& signals)
{
    MonitorOutput output(options);
    std::optional<MIDIUniqueID> only;
    if (options.from) {
        only = ChooseSource(*options.from);
    }
    host::MidiListener listener(only);
    RequireService();
    MonitorLines lines(options.groups, options.revive, Now(),
        [&output](const MonitorLine& line) { output.Show(line); });
    ListenLoop loop(
        listener, signals, [&lines](const host::HeardBytes& heard, const host::MidiPort& from) {
            lines.Feed({from.id, from.name}, heard.View(), heard.time);
        });
    loop.Run(options.duration, [&output] { return output.IsFull(); });
    lines.Flush();
    return kExitDone;
}

} // namespace deck::cli
