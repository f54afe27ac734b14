// The command lines of the tools: their options, and what they mean together.

#pragma once

#include "deck/cli/ToolOptions.h"

#include <optional>
#include <string>
#include <variant>

namespace CLI {
class App;
}

namespace deck::cli {

using ToolCommand = std::variant<SendOptions, MonitorOptions, CheckMtcOptions, DoctorOptions>;

class ToolsCommandLine {
public:
    /// Adds a subcommand for each tool. The object outlives `app`.
    void AddTo(CLI::App& app);

    /// The tool of that name as the command line asks for it; nothing for any other name. Throws
    /// HostError, whose line says what was wrong and what would be right.
    std::optional<ToolCommand> Finish(const std::string& name) const;

private:
    // As CLI11 reads them: texts that have a meaning only together stay texts until all are known.
    struct RawSend {
        SendOptions options;
        std::string device = "all";
        std::string rate = "25";
        std::string rateBits;
        std::string interval = "0";
    };

    struct RawMonitor {
        MonitorOptions options;
        std::vector<std::string> only;
        std::string count;
        std::string duration;
        bool noRevive = false;
    };

    struct RawCheckMtc {
        CheckMtcOptions options;
        std::string duration;
        std::string jitterLimit = "4";
    };

    struct RawDoctor {
        DoctorOptions options;
        std::string rate;
        std::string listen;
    };

    void AddSend(CLI::App& app);
    void AddMonitor(CLI::App& app);
    void AddCheckMtc(CLI::App& app);
    void AddDoctor(CLI::App& app);
    SendOptions FinishSend() const;
    MonitorOptions FinishMonitor() const;
    CheckMtcOptions FinishCheckMtc() const;
    DoctorOptions FinishDoctor() const;

    RawSend mSend;
    RawMonitor mMonitor;
    RawCheckMtc mCheckMtc;
    RawDoctor mDoctor;
};

} // namespace deck::cli
