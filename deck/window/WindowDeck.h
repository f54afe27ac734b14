// A running deck as its window sees it.

#pragma once

#include "deck/cli/DeckRun.h"
#include "deck/cli/Display.h"
#include "deck/media/VideoPlayer.h"
#include "deck/window/WindowModel.h"

#include <deque>

namespace deck::window {

/// All of it on the window's thread.
class WindowDeck final : public WindowModel, public cli::Display {
public:
    /// Opens the video, if there is one. Throws HostError.
    explicit WindowDeck(const cli::PlayOptions& options);

    /// `run` outlives the window; it need not have started.
    void Attach(cli::DeckRun& run);

    // WindowModel
    WindowState Read() override;
    std::vector<MonitorRow> TakeRows() override;
    void Press(Button button) override;
    std::string Locate(const std::string& text) override;
    void Step(FrameNumber frames) override;
    void StepSeconds(int seconds) override;
    void GoTo(Edge edge) override;
    void Acknowledge() override { mTold.reset(); }
    void PlaySound(bool isPlayed) override;
    void ChoosePorts(std::optional<std::int32_t> input,
        std::optional<std::int32_t> output,
        bool transmitMTC) override;
    VideoPlayer* Video() override { return mVideo.get(); }

    // Display
    void Tell(const std::string& event, const std::string& text) override;
    void Show(const cli::DeckStatus& status, bool isDue) override;
    void ShowPorts(const cli::PortLists& ports) override;
    void ShowMMC(const host::RawMMC& message, const PluginPrediction& prediction) override;
    bool WantsMTC() const override { return true; }
    void ShowMTC(const host::MTCEvent& event) override;
    void ShowTake(const Take& take, FrameRate) override { mTake = take.number; }
    void ShowPosition(const Position& position) override;
    std::optional<VideoStatus> Picture() const override;

private:
    using Clock = std::chrono::steady_clock;

    void Post(HostCallKind kind);
    void PostLocate(FrameNumber frame);
    void LookAtMTC();
    void AddRow(MonitorKind kind,
        ByteView bytes,
        std::chrono::nanoseconds time,
        const std::optional<PluginPrediction>& prediction);
    void ReadPorts(WindowState& state, const cli::DeckStatus& status) const;
    void ReadRates(WindowState& state, const cli::DeckStatus& status) const;
    std::vector<Notice> Notices(const cli::DeckStatus& status) const;
    std::optional<std::string> PortNotice(const cli::DeckStatus& status) const;
    std::optional<std::string> FilmNotice(const cli::DeckStatus& status) const;
    void ReadFilm(WindowState& state, const cli::DeckStatus& status) const;
    FrameNumber FilmEnd() const;

    const cli::PlayOptions& mOptions;
    std::unique_ptr<VideoPlayer> mVideo;
    cli::DeckRun* mRun = nullptr;
    std::vector<PortChoice> mInputs;
    std::vector<PortChoice> mOutputs;
    std::vector<MonitorRow> mRows;
    int mTake = 0;
    std::string mWaiting;        // for what, as it was told last
    std::optional<Notice> mTold; // the last one
    std::array<std::optional<std::chrono::nanoseconds>, 2> mLastRow; // by MonitorKind
    std::optional<std::chrono::nanoseconds> mLastMMC;
    std::optional<Clock::time_point> mLastMTC;
    std::uint64_t mMTCSent = 0;
};

} // namespace deck::window
