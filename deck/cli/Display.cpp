#include "deck/cli/Display.h"

#include <iostream>
#include <sys/ioctl.h>
#include <unistd.h>

namespace deck::cli {
namespace {

std::ostream& StreamFor(const std::string& event)
{
    return event == "warning" ? std::cerr : std::cout;
}

// A line for every change; what rolls by is no change.
class ChangeFilter {
public:
    bool IsNews(const DeckStatus& status, bool isDue)
    {
        const bool isNews = isDue || !mShown || IsChange(*mShown, status);
        if (isNews) {
            mShown = status;
        }
        return isNews;
    }

private:
    std::optional<DeckStatus> mShown;
};

class LineDisplay final : public Display {
public:
    void Tell(const std::string& event, const std::string& text) override
    {
        StreamFor(event) << event << ": " << text << std::endl;
    }
    void Show(const DeckStatus& status, bool isDue) override
    {
        if (mFilter.IsNews(status, isDue)) {
            std::cout << StatusText(status) << std::endl;
        }
    }

private:
    ChangeFilter mFilter;
};

class JSONDisplay final : public Display {
public:
    void Tell(const std::string& event, const std::string& text) override
    {
        std::cout << MessageJSON(event, text) << std::endl;
    }
    void Show(const DeckStatus& status, bool isDue) override
    {
        if (mFilter.IsNews(status, isDue)) {
            std::cout << StatusJSON(status) << std::endl;
        }
    }
    void ShowCall(const HostCall& call, CallOutcome outcome) override
    {
        std::cout << CallJSON(call, outcome) << std::endl;
    }
    void ShowMMC(const host::RawMMC& message, const PluginPrediction& prediction) override
    {
        std::cout << MMCJSON(message, prediction) << std::endl;
    }
    void ShowTake(const Take& take, FrameRate rate) override
    {
        std::cout << TakeJSON(take, rate) << std::endl;
    }

private:
    ChangeFilter mFilter;
};

class TerminalDisplay final : public Display {
public:
    ~TerminalDisplay() override { std::cout << std::endl; }

    void Tell(const std::string& event, const std::string& text) override
    {
        std::cout << kLineStart << std::flush;
        StreamFor(event) << event << ": " << text << std::endl;
    }
    void Show(const DeckStatus& status, bool) override
    {
        std::cout << kLineStart << StatusText(status, Width()) << std::flush;
    }

private:
    static constexpr char kLineStart[] = "\r\x1b[K";
    static constexpr std::size_t kUsualWidth = 80;

    static std::size_t Width()
    {
        winsize size{};
        const bool isKnown = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
        return isKnown ? size.ws_col - 1U : kUsualWidth - 1;
    }
};

} // namespace

std::unique_ptr<Display> MakeDisplay(bool json)
{
    if (json) {
        return std::make_unique<JSONDisplay>();
    }
    if (isatty(STDOUT_FILENO) != 0) {
        return std::make_unique<TerminalDisplay>();
    }
    return std::make_unique<LineDisplay>();
}

} // namespace deck::cli
