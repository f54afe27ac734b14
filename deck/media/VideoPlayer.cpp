#include "deck/media/VideoPlayer.h"

#include <mpv/client.h>
#include <mpv/render.h>

#include <algorithm>
#include <clocale>
#include <cmath>
#include <ctime>
#include <string_view>
#include <utility>

namespace deck {

namespace {

// Beyond this the picture jumps instead of being drawn in: nobody waits seconds for a picture.
constexpr double kJumpSeconds = 0.4;
// How fast an error is made good: by half in a third of a second, at most so much off speed.
constexpr double kPull = 2.0;
constexpr double kMaxPull = 0.25;
constexpr double kMaxPullWithSound = 0.05; // more is heard
// Of the time that drawing takes: it is believed slowly, and never beyond this.
constexpr std::int64_t kDrawShare = 16;
constexpr std::chrono::nanoseconds kLongestDraw = std::chrono::milliseconds(100);
// What is observed
constexpr std::uint64_t kTime = 0;
constexpr std::uint64_t kDropped = 1;
constexpr std::uint64_t kSoundTrack = 2;
constexpr double kWithoutEnd = -1;

std::chrono::nanoseconds Now()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

double Seconds(std::chrono::nanoseconds time)
{
    return std::chrono::duration<double>(time).count();
}

/// Where the deck is now, in seconds of media.
double DeckSeconds(const PlayHead& head)
{
    return Seconds(head.playing ? head.mediaTime + (Now() - head.hostTime) : head.mediaTime);
}

void Require(int result, const std::string& what)
{
    if (result < 0) {
        throw MediaError(what + ": " + mpv_error_string(result));
    }
}

} // namespace

void VideoPlayer::MpvDeleter::operator()(mpv_handle* handle) const
{
    mpv_terminate_destroy(handle);
}

void VideoPlayer::RenderDeleter::operator()(mpv_render_context* context) const
{
    mpv_render_context_free(context);
}

VideoPlayer::VideoPlayer(const std::string& path, const Options& options)
    : mOptions(options)
    , mInfo(ReadMediaInfo(path))
    , mDrift(FrameSeconds() * 1000)
{
    if (!mInfo.HasVideo()) {
        throw MediaError(path + ": has no video");
    }
    SetUp();
    Load(path);
    NoteSoundTrack();
    mThread = std::thread([this] { Run(); });
}

VideoPlayer::~VideoPlayer()
{
    mEnding = true;
    mpv_wakeup(mMpv.get());
    mThread.join();
    mpv_render_context_set_update_callback(mRender.get(), nullptr, nullptr);
}

void VideoPlayer::SetUp()
{
    mPlaysSound = mOptions.audio;
    std::setlocale(LC_NUMERIC, "C"); // mpv refuses to start otherwise
    mMpv.reset(mpv_create());
    if (!mMpv) {
        throw MediaError("mpv does not start");
    }
    const std::pair<const char*, const char*> settings[] = {
        {"config", "no"},
        {"vo", "libmpv"},
        {"pause", "yes"},
        {"keep-open", "always"},
        {"keep-open-pause", "no"}, // the deck may go back while it rolls
        {"hr-seek", "always"},
        {"hr-seek-framedrop", "no"},
        {"ao", mOptions.audioOutput.c_str()},
        {"aid", mOptions.audio ? "auto" : "no"},
        {"sub", "no"},
        {"osd-level", "0"},
        {"ytdl", "no"},
        {"load-scripts", "no"},
        {"input-default-bindings", "no"},
        {"video-timing-offset", "0"},
        {"hwdec", mOptions.hardwareDecoding.c_str()},
    };
    for (const auto& [name, value] : settings) {
        Require(mpv_set_option_string(mMpv.get(), name, value), std::string("mpv option ") + name);
    }
    Require(mpv_initialize(mMpv.get()), "mpv");
    Require(mpv_observe_property(mMpv.get(), kTime, "time-pos", MPV_FORMAT_DOUBLE), "mpv");
    Require(
        mpv_observe_property(mMpv.get(), kDropped, "frame-drop-count", MPV_FORMAT_INT64), "mpv");
    Require(mpv_observe_property(mMpv.get(), kSoundTrack, "aid", MPV_FORMAT_NONE), "mpv");
    MakeRenderer();
}

void VideoPlayer::MakeRenderer()
{
    char api[] = MPV_RENDER_API_TYPE_SW;
    mpv_render_param parameters[]
        = {{MPV_RENDER_PARAM_API_TYPE, api}, {MPV_RENDER_PARAM_INVALID, nullptr}};
    mpv_render_context* context = nullptr;
    Require(mpv_render_context_create(&context, mMpv.get(), parameters), "mpv's renderer");
    mRender.reset(context);
    mpv_render_context_set_update_callback(
        context,
        [](void* self) {
            auto* player = static_cast<VideoPlayer*>(self);
            player->mHasPicture = true;
            std::int64_t none = 0;
            player->mCameAt.compare_exchange_strong(none, Now().count());
            const std::lock_guard lock(player->mMutex);
            if (player->mPictureChanged) {
                player->mPictureChanged();
            }
        },
        this);
}

void VideoPlayer::Load(const std::string& path)
{
    const char* command[] = {"loadfile", path.c_str(), nullptr};
    Require(mpv_command(mMpv.get(), command), path);
    for (;;) {
        const mpv_event* event = mpv_wait_event(mMpv.get(), 20);
        if (event->event_id == MPV_EVENT_PLAYBACK_RESTART) {
            mStill = mStatus.shownFrame = 0;
            return;
        }
        if (event->event_id == MPV_EVENT_END_FILE) {
            const auto* end = static_cast<const mpv_event_end_file*>(event->data);
            throw MediaError(path + ": " + mpv_error_string(end->error));
        }
        if (event->event_id == MPV_EVENT_NONE) {
            throw MediaError(path + ": mpv shows nothing within 20 seconds");
        }
    }
}

void VideoPlayer::Follow(const PlayHead& head)
{
    {
        const std::lock_guard lock(mMutex);
        mHead = head;
    }
    mpv_wakeup(mMpv.get());
}

void VideoPlayer::PlaySound(bool isPlayed)
{
    mPlaysSound = isPlayed;
    const char* track = isPlayed ? "auto" : "no";
    mpv_set_property_async(mMpv.get(), 0, "aid", MPV_FORMAT_STRING, &track);
}

void VideoPlayer::SetPictureChanged(std::function<void()> changed)
{
    const std::lock_guard lock(mMutex);
    mPictureChanged = std::move(changed);
}

bool VideoPlayer::Render(std::uint8_t* pixels, int width, int height, std::size_t stride)
{
    if (!mHasPicture) {
        return false;
    }
    const bool isNew = (mpv_render_context_update(mRender.get()) & MPV_RENDER_UPDATE_FRAME) != 0;
    int size[] = {width, height};
    char format[] = "bgr0";
    int block = 0;
    mpv_render_param parameters[] = {
        {MPV_RENDER_PARAM_SW_SIZE, size},
        {MPV_RENDER_PARAM_SW_FORMAT, format},
        {MPV_RENDER_PARAM_SW_STRIDE, &stride},
        {MPV_RENDER_PARAM_SW_POINTER, pixels},
        {MPV_RENDER_PARAM_BLOCK_FOR_TARGET_TIME, &block},
        {MPV_RENDER_PARAM_INVALID, nullptr},
    };
    const bool isDrawn = mpv_render_context_render(mRender.get(), parameters) >= 0;
    if (mIsBlack) {
        std::fill_n(pixels, static_cast<std::size_t>(height) * stride, std::uint8_t{0});
    }
    NoteDrawn(isNew);
    return isDrawn;
}

/// What is slow to draw must be played earlier.
void VideoPlayer::NoteDrawn(bool isNew)
{
    const std::int64_t cameAt = mCameAt.exchange(0);
    if (isNew && cameAt != 0) {
        const auto took = std::min(Now() - std::chrono::nanoseconds(cameAt), kLongestDraw);
        const std::int64_t mean = mDrawNanos.load();
        mDrawNanos.store(mean + (took.count() - mean) / kDrawShare);
    }
}

VideoStatus VideoPlayer::Status() const
{
    const std::lock_guard lock(mMutex);
    return mStatus;
}

void VideoPlayer::Run()
{
    while (!mEnding) {
        HandleEvents();
        if (!mEnding) {
            Steer();
        }
    }
}

/// Waits for an event or a wake-up, then takes what else there is. A film that plays may end.
void VideoPlayer::HandleEvents()
{
    double timeout = mPaused ? kWithoutEnd : FrameSeconds();
    for (;;) {
        const mpv_event* event = mpv_wait_event(mMpv.get(), timeout);
        if (event->event_id == MPV_EVENT_NONE) {
            return;
        }
        timeout = 0;
        if (event->event_id == MPV_EVENT_PROPERTY_CHANGE) {
            NoteProperty(*event);
        }
        if (event->event_id == MPV_EVENT_PLAYBACK_RESTART && mSeeking) {
            mStill = std::exchange(mSeeking, std::nullopt);
            const std::lock_guard lock(mMutex);
            mStatus.shownFrame = mStill;
            ++mStatus.locates;
        }
    }
}

void VideoPlayer::Steer()
{
    if (mSeeking) {
        return; // the newest position is looked at again when this one has landed
    }
    PlayHead head;
    {
        const std::lock_guard lock(mMutex);
        head = mHead;
    }
    if (head.playing) {
        head.mediaTime += mOptions.delay;
        SteerPlaying(head);
    } else {
        ShowStill(head);
    }
}

void VideoPlayer::ShowStill(const PlayHead& head)
{
    SetPaused(true);
    ForgetDrift();
    const auto last = std::max<FrameNumber>(mInfo.frameCount - 1, 0);
    // A picture stands until the next one's moment: half a microsecond forgives rounding.
    const double position = (DeckSeconds(head) + 5e-7) / FrameSeconds();
    const auto wanted = static_cast<FrameNumber>(std::floor(position));
    const auto frame = std::clamp<FrameNumber>(wanted, 0, last);
    ShowBlack(mOptions.blackOutside && frame != wanted);
    if (mStill != frame) {
        StartSeek(frame);
    }
}

void VideoPlayer::ShowBlack(bool isBlack)
{
    if (mIsBlack.exchange(isBlack) != isBlack) {
        const std::lock_guard lock(mMutex);
        if (mPictureChanged) {
            mPictureChanged();
        }
    }
}

void VideoPlayer::SteerPlaying(const PlayHead& head)
{
    const double deck = DeckSeconds(head);
    if (deck < 0 || deck >= static_cast<double>(mInfo.frameCount) * FrameSeconds()) {
        PlayHead edge = head;
        edge.playing = false;
        edge.mediaTime = std::chrono::nanoseconds(std::llround(deck * 1e9));
        return ShowStill(edge);
    }
    LeaveStill();
    ShowBlack(false);
    SetPaused(false);
    if (!mPicture) {
        return;
    }
    // The moment that a frame appeared is the moment to compare: in between, its time stands still.
    PlayHead then = head;
    // It has appeared once it is drawn.
    then.mediaTime
        += mPicture->hostTime + std::chrono::nanoseconds(mDrawNanos.load()) - then.hostTime;
    const double behind = Seconds(then.mediaTime) - mPicture->seconds;
    mPicture.reset();
    if (std::abs(behind) > kJumpSeconds) {
        return Jump(static_cast<FrameNumber>(std::ceil(deck / FrameSeconds())));
    }
    const double most = mPlaysSound ? kMaxPullWithSound : kMaxPull;
    SetSpeed(1.0 + std::clamp(kPull * behind, -most, most));
    NoteDrift(-behind);
}

void VideoPlayer::LeaveStill()
{
    if (std::exchange(mStill, std::nullopt)) {
        const std::lock_guard lock(mMutex);
        mStatus.shownFrame.reset();
    }
}

void VideoPlayer::Jump(FrameNumber frame)
{
    StartSeek(frame);
    ForgetDrift();
    const std::lock_guard lock(mMutex);
    ++mStatus.jumps;
}

void VideoPlayer::NoteDrift(double ahead)
{
    mDrift.Note(ahead * 1000);
    if (mDrift.IsLocked()) {
        const std::lock_guard lock(mMutex);
        mStatus.drift = mDrift.Drift();
    }
}

void VideoPlayer::ForgetDrift()
{
    mDrift.Reset();
    const std::lock_guard lock(mMutex);
    mStatus.drift.reset();
}

/// While it locks on and while it seeks pictures are passed over on purpose.
void VideoPlayer::NoteDropped(const mpv_event_property& property)
{
    if (property.format == MPV_FORMAT_INT64) {
        const auto count
            = static_cast<std::uint64_t>(*static_cast<const std::int64_t*>(property.data));
        const std::uint64_t more = count > mDropCount ? count - mDropCount : 0;
        mDropCount = count;
        const std::lock_guard lock(mMutex);
        mStatus.dropped += mDrift.IsLocked() ? more : 0;
    }
}

void VideoPlayer::NoteProperty(const mpv_event& event)
{
    const auto& property = *static_cast<const mpv_event_property*>(event.data);
    if (event.reply_userdata == kTime) {
        NotePicture(property);
    } else if (event.reply_userdata == kDropped) {
        NoteDropped(property);
    } else {
        NoteSoundTrack();
    }
}

/// mpv gives the track up where no device takes it.
void VideoPlayer::NoteSoundTrack()
{
    char* track = nullptr;
    if (mpv_get_property(mMpv.get(), "aid", MPV_FORMAT_STRING, &track) < 0) {
        return;
    }
    const bool isGivenUp = mPlaysSound && std::string_view(track) == "no";
    mpv_free(track);
    if (isGivenUp) {
        mPlaysSound = false;
    }
    if (isGivenUp || mPlaysSound) {
        const std::lock_guard lock(mMutex);
        mStatus.isMute = isGivenUp;
    }
}

/// A frame has appeared while playing, or the position moved for another reason.
void VideoPlayer::NotePicture(const mpv_event_property& property)
{
    if (property.format == MPV_FORMAT_DOUBLE && !mSeeking) {
        mPicture = Picture{*static_cast<const double*>(property.data), Now()};
    }
}

void VideoPlayer::StartSeek(FrameNumber frame)
{
    // mpv shows the first frame at or after the target: a quarter of a frame early is never on the
    // edge to a neighbour.
    const double early = std::max(static_cast<double>(frame) - 0.25, 0.0);
    const std::string target = std::to_string(early * FrameSeconds());
    const char* command[] = {"seek", target.c_str(), "absolute+exact", nullptr};
    if (mpv_command_async(mMpv.get(), 0, command) >= 0) {
        mSeeking = frame;
    }
}

void VideoPlayer::SetPaused(bool paused)
{
    if (paused != mPaused) {
        int flag = paused ? 1 : 0;
        mpv_set_property_async(mMpv.get(), 0, "pause", MPV_FORMAT_FLAG, &flag);
        mPaused = paused;
        if (paused) {
            LeaveStill();
        }
    }
}

void VideoPlayer::SetSpeed(double speed)
{
    if (std::abs(speed - mSpeed) > 1e-4) {
        mpv_set_property_async(mMpv.get(), 0, "speed", MPV_FORMAT_DOUBLE, &speed);
        mSpeed = speed;
    }
}

double VideoPlayer::FrameSeconds() const
{
    return static_cast<double>(mInfo.fpsDenominator) / static_cast<double>(mInfo.fpsNumerator);
}

} // namespace deck
