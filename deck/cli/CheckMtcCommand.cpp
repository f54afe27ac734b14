#include "deck/cli/CheckMtcCommand.h"

#include "deck/cli/ListenLoop.h"
#include "deck/cli/ReadFile.h"
#include "deck/cli/SavedMtc.h"
#include "deck/host/HostError.h"

#include <iostream>
#include <sstream>

namespace deck::cli {
namespace {

MtcReport CheckSource(
    const CheckMtcOptions& options, const MtcCheckerOptions& limits, const StopSignals& signals)
{
    host::MidiListener listener(ChooseSource(*options.from));
    MtcChecker checker(limits);
    ListenLoop loop(
        listener, signals, [&checker](const host::HeardBytes& heard, const host::MidiPort&) {
            checker.Feed(heard.View(), heard.time);
        });
    loop.Run(options.duration, [] { return false; });
    return checker.Report();
}

MtcReport CheckFile(const CheckMtcOptions& options, const MtcCheckerOptions& limits)
{
    if (options.file == "-") {
        return CheckSavedMtc(std::cin, "standard input", options.from, limits);
    }
    const Parsed<std::string> text = ReadFile(*options.file);
    if (!text) {
        throw HostError("cannot read " + *options.file + " (" + text.error
            + "); name a file that `korva-deck monitor --json --save FILE` wrote");
    }
    std::istringstream file(*text);
    return CheckSavedMtc(file, *options.file, options.from, limits);
}

int StatusOf(MtcVerdict verdict)
{
    switch (verdict) {
    case MtcVerdict::kSound:
        return kExitDone;
    case MtcVerdict::kDefective:
        return kExitFailed;
    case MtcVerdict::kNothing:
        break;
    }
    return kExitNothingHeard;
}

} // namespace

int CheckMtc(const CheckMtcOptions& options, const StopSignals& signals)
{
    MtcCheckerOptions limits;
    limits.jitterLimit = options.jitterLimit;
    const MtcReport report
        = options.file ? CheckFile(options, limits) : CheckSource(options, limits, signals);
    std::cout << (options.json ? FormatMtcReportJson(report) + "\n" : FormatMtcReport(report))
              << std::flush;
    return StatusOf(report.verdict);
}

} // namespace deck::cli
