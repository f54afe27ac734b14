#include "deck/media/MediaInfo.h"

#include <cmath>
#include <memory>

extern "C" {
#include <libavformat/avformat.h>
}

namespace deck {

namespace {

struct CloseInput {
    void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
};
using Input = std::unique_ptr<AVFormatContext, CloseInput>;

void RequireSuccess(int result, const std::string& path)
{
    if (result < 0) {
        char words[AV_ERROR_MAX_STRING_SIZE] = {};
        av_strerror(result, words, sizeof words);
        throw MediaError(path + ": " + words);
    }
}

Input OpenInput(const std::string& path)
{
    av_log_set_level(AV_LOG_QUIET); // what matters comes back as a result
    AVFormatContext* input = nullptr;
    RequireSuccess(avformat_open_input(&input, path.c_str(), nullptr, nullptr), path);
    Input owned(input);
    RequireSuccess(avformat_find_stream_info(input, nullptr), path);
    return owned;
}

std::optional<std::string> FindTimecode(const AVFormatContext& input)
{
    const auto read = [](const AVDictionary* tags) -> std::optional<std::string> {
        const AVDictionaryEntry* entry = av_dict_get(tags, "timecode", nullptr, 0);
        return entry ? std::optional<std::string>(entry->value) : std::nullopt;
    };
    for (unsigned index = 0; index < input.nb_streams; ++index) {
        if (auto timecode = read(input.streams[index]->metadata)) {
            return timecode;
        }
    }
    return read(input.metadata);
}

void ReadVideo(MediaInfo& info, const AVStream& stream)
{
    const AVRational rate
        = stream.avg_frame_rate.num > 0 ? stream.avg_frame_rate : stream.r_frame_rate;
    info.fpsNumerator = rate.num;
    info.fpsDenominator = rate.den > 0 ? rate.den : 1;
    info.width = stream.codecpar->width;
    info.height = stream.codecpar->height;
    const double seconds = std::chrono::duration<double>(info.duration).count();
    info.frameCount = stream.nb_frames > 0
        ? stream.nb_frames
        : std::llround(seconds * static_cast<double>(rate.num) / static_cast<double>(rate.den));
}

} // namespace

std::optional<FrameRate> MediaInfo::Rate() const
{
    const bool drop = startTimecode && startTimecode->find(';') != std::string::npos;
    return HasVideo() ? FrameRate::FromFraction(fpsNumerator, fpsDenominator, drop) : std::nullopt;
}

MediaInfo ReadMediaInfo(const std::string& path)
{
    const Input input = OpenInput(path);

    MediaInfo info;
    if (input->duration > 0) {
        info.duration = std::chrono::microseconds(input->duration);
    }
    info.startTimecode = FindTimecode(*input);
    const int video = av_find_best_stream(input.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (video >= 0) {
        ReadVideo(info, *input->streams[video]);
    }
    info.hasAudio = av_find_best_stream(input.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0) >= 0;
    return info;
}

} // namespace deck
