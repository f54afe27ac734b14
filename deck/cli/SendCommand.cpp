#include "deck/cli/SendCommand.h"

#include "deck/cli/LineReader.h"
#include "deck/cli/ReadFile.h"
#include "deck/cli/SendScript.h"
#include "deck/cli/ServiceStatus.h"
#include "deck/host/HostError.h"
#include "deck/host/MidiSender.h"

#include <iostream>
#include <thread>
#include <unistd.h>

namespace deck::cli {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kLeavingDeadline = 5s;

std::vector<SendStep> ParseFile(const SendOptions& options)
{
    const Parsed<std::string> text = ReadFile(*options.file);
    if (!text) {
        throw HostError("cannot read " + *options.file + " (" + text.error
            + "); name a file with a command a line, or - for standard input");
    }
    return ParseSendScript(*text, *options.file, options.mmc);
}

std::vector<SendStep> ParseCommands(const SendOptions& options)
{
    std::vector<SendStep> steps;
    for (const std::string& command : options.commands) {
        Parsed<SendStep> step = ParseSendLine(command, options.mmc);
        if (!step) {
            throw HostError(step.error);
        }
        steps.push_back(std::move(*step.value));
    }
    return steps;
}

/// Sends each step at its time and says what it sent.
class Sending {
public:
    Sending(const host::MidiPort& port, const SendOptions& options, const StopSignals& signals)
        : mSender(port)
        , mInterval(options.interval)
        , mSignals(signals)
    {
    }

    /// False where a signal came first.
    bool Do(const SendStep& step)
    {
        if (step.bytes.empty()) {
            mNext = std::max(mNext, Clock::now()) + step.wait;
            return WaitUntil(mNext);
        }
        if (!WaitUntil(mNext)) {
            return false;
        }
        mNext = Clock::now() + mInterval;
        mSender.Send(step.bytes);
        const MidiAnnotation sent = Annotate({step.bytes, {}, {}, {}});
        std::cout << FormatBytes(step.bytes) << "  " << sent.text << std::endl;
        return true;
    }

    /// Throws HostError where something did not leave.
    void Finish()
    {
        const auto deadline = Clock::now() + kLeavingDeadline;
        while (mSender.HasUnsent() && Clock::now() < deadline) {
            std::this_thread::sleep_for(1ms);
        }
        if (mSender.HasUnsent() || mSender.Lost() > 0) {
            throw HostError("the port did not take all of it; `korva-deck ports` shows whether it "
                            "is still there",
                kExitFailed);
        }
    }

private:
    bool WaitUntil(Clock::time_point time)
    {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(time - Clock::now());
        return mSignals.Wait({}, std::max(left, 0ms)) != StopSignals::Woken::BySignal;
    }

    host::MidiSender mSender;
    std::chrono::nanoseconds mInterval;
    const StopSignals& mSignals;
    Clock::time_point mNext = Clock::now();
};

int SendAll(Sending& sending, const std::vector<SendStep>& steps)
{
    for (const SendStep& step : steps) {
        if (!sending.Do(step)) {
            sending.Finish();
            throw HostError("ended by a signal before all of it was sent", kExitFailed);
        }
    }
    sending.Finish();
    return kExitDone;
}

/// Somebody may be typing: a line that is wrong is told and left out.
int SendInput(Sending& sending, const MMCSendOptions& options, const StopSignals& signals)
{
    int status = kExitDone;
    LineReader reader(STDIN_FILENO, signals);
    int number = 0;
    while (const auto line = reader.Next()) {
        ++number;
        const Parsed<SendStep> step = ParseSendLine(*line, options);
        if (!step) {
            std::cerr << "korva-deck: standard input, line " << number << ": " << step.error
                      << std::endl;
            status = kExitBadInput;
        } else if (!step->IsNothing() && !sending.Do(*step)) {
            break;
        }
    }
    sending.Finish();
    return status;
}

} // namespace

int SendCommands(const SendOptions& options, const StopSignals& signals)
{
    if (options.list) {
        std::cout << SendListText();
        return kExitDone;
    }
    // All of it is sound before the first byte leaves
    std::vector<SendStep> steps = ParseCommands(options);
    const bool isInput = options.file == "-";
    if (options.file && !isInput) {
        steps = ParseFile(options);
    }
    const host::MidiClient client("korva-deck");
    RequireService();
    const auto ports = host::ListPorts(host::PortDirection::Destination);
    const auto port = host::ChoosePort(ports, host::PortDirection::Destination, options.to);
    Sending sending(port, options, signals);
    return isInput ? SendInput(sending, options.mmc, signals) : SendAll(sending, steps);
}

} // namespace deck::cli
