// Shows the picture that belongs to the deck's position: frame-exact where the
// deck stands or winds, locked to the deck's clock where it plays.

#pragma once

#include "deck/media/MediaInfo.h"
#include "deck/media/PictureDrift.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

struct mpv_handle;
struct mpv_render_context;
struct mpv_event;
struct mpv_event_property;

namespace deck {

/// Where the deck is in the media: at `mediaTime` after the first frame, at `hostTime`
/// (CLOCK_MONOTONIC). Before the first frame it is negative.
struct PlayHead {
    std::chrono::nanoseconds mediaTime{0};
    std::chrono::nanoseconds hostTime{0};
    bool playing = false; // at normal speed; otherwise the picture stands at `mediaTime`
};

/// How well the picture follows, for status lines and measurements.
struct VideoStatus {
    std::optional<FrameNumber> shownFrame; // where the picture stands; nothing while it moves
    std::optional<PictureDrift> drift;     // while the picture plays and is locked on
    std::uint64_t locates = 0;             // frame-exact seeks that landed
    std::uint64_t jumps = 0;   // of those, into a film that plays: it was too far off to draw in
    bool isMute = false;       // sound was asked for, and no device takes it
    std::uint64_t dropped = 0; // pictures that came before the one before them was drawn

    bool operator==(const VideoStatus&) const = default;
};

class VideoPlayer {
public:
    struct Options {
        bool audio = false;
        std::string audioOutput;             // mpv's --ao; mpv's choice where empty
        std::string hardwareDecoding = "no"; // mpv's --hwdec
        std::chrono::nanoseconds delay{0};   // of the screen: what plays is shown so much earlier
        bool blackOutside = false; // before the first picture and after the last; else they stand
    };

    /// Opens `path` and shows its first frame. Throws `MediaError` with mpv's own words.
    /// [host, may block]
    VideoPlayer(const std::string& path, const Options& options);
    ~VideoPlayer();
    VideoPlayer(const VideoPlayer&) = delete;
    VideoPlayer& operator=(const VideoPlayer&) = delete;

    const MediaInfo& Info() const noexcept { return mInfo; }

    /// Sets where the deck is. The newest call counts; while one locate is under way later ones
    /// replace each other, and the last always lands. [transport]
    void Follow(const PlayHead& head);

    /// The film's, where it has any. [any thread]
    void PlaySound(bool isPlayed);
    bool PlaysSound() const noexcept { return mPlaysSound.load(); }

    /// `changed` is called, on a thread of the player's, whenever a new picture can be rendered; it
    /// must only note that. [host]
    void SetPictureChanged(std::function<void()> changed);

    /// Draws the newest picture, with borders where the shape differs, as `width` x `height`
    /// pixels of 4 bytes (blue, green, red, unused) in rows of `stride` bytes (a multiple of 64
    /// is fastest). Returns false where there is none yet. [one thread, may block]
    bool Render(std::uint8_t* pixels, int width, int height, std::size_t stride);

    /// [any thread, may block]
    VideoStatus Status() const;

private:
    struct MpvDeleter {
        void operator()(mpv_handle* handle) const;
    };
    struct RenderDeleter {
        void operator()(mpv_render_context* context) const;
    };

    void SetUp();
    void MakeRenderer();
    void Load(const std::string& path);
    void Run();
    void HandleEvents();
    void NotePicture(const mpv_event_property& property);
    void NoteProperty(const mpv_event& event);
    void NoteDropped(const mpv_event_property& property);
    void NoteSoundTrack();
    void NoteDrift(double ahead);
    void ForgetDrift();
    void NoteDrawn(bool isNew);
    void Steer();
    void SteerPlaying(const PlayHead& head);
    void ShowStill(const PlayHead& head);
    void ShowBlack(bool isBlack);
    void LeaveStill();
    void Jump(FrameNumber frame);
    void StartSeek(FrameNumber frame);
    void SetPaused(bool paused);
    void SetSpeed(double speed);
    double FrameSeconds() const;

    const Options mOptions;
    MediaInfo mInfo;
    std::unique_ptr<mpv_handle, MpvDeleter> mMpv;
    std::unique_ptr<mpv_render_context, RenderDeleter> mRender; // goes before mMpv

    mutable std::mutex mMutex;
    PlayHead mHead;                        // guarded by mMutex
    VideoStatus mStatus;                   // guarded by mMutex
    std::function<void()> mPictureChanged; // guarded by mMutex
    std::atomic<bool> mEnding{false};
    std::atomic<bool> mHasPicture{false};
    std::atomic<bool> mPlaysSound{false};
    std::atomic<bool> mIsBlack{false}; // written by the player's thread
    // When the picture came that is not drawn yet; 0 where there is none
    std::atomic<std::int64_t> mCameAt{0};
    std::atomic<std::int64_t> mDrawNanos{0}; // from there to drawn, on average

    /// The newest frame that has appeared while playing.
    struct Picture {
        double seconds;
        std::chrono::nanoseconds hostTime;
    };

    // The player's thread only.
    std::optional<Picture> mPicture;     // not compared with the deck yet
    std::optional<FrameNumber> mSeeking; // under way
    std::optional<FrameNumber> mStill;   // where the picture stands
    bool mPaused = true;
    DriftMeter mDrift;
    std::uint64_t mDropCount = 0; // mpv's
    double mSpeed = 1.0;

    std::thread mThread; // last: it uses all of the above
};

} // namespace deck
