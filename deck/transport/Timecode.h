// SMPTE time code: frame rates as exact fractions, the counting of frames (drop
// frame included) and its conversion to real time, without rounding on the way.

#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace deck {

/// Frames since 00:00:00:00; negative and beyond a day where arithmetic leads there.
using FrameNumber = std::int64_t;

/// A value, or one line that says what was wrong and what would be right.
template <typename T> struct Parsed {
    std::optional<T> value;
    std::string error; // empty when there is a value

    explicit operator bool() const noexcept { return value.has_value(); }
    const T& operator*() const { return *value; }
    const T* operator->() const { return &*value; }
};

/// One of the seven rates that time code runs at. A value: copy it, compare it.
class FrameRate {
public:
    static const FrameRate k23976;
    static const FrameRate k24;
    static const FrameRate k25;
    static const FrameRate k2997Drop;
    static const FrameRate k2997NonDrop;
    static const FrameRate k30Drop;
    static const FrameRate k30NonDrop;

    /// 25 frames a second.
    constexpr FrameRate() noexcept = default;

    /// Every rate, slowest first.
    static std::span<const FrameRate> All() noexcept;
    /// Takes "23.976", "23.98", "24", "25", "29.97", "29.97df", "29.97 drop", "30", "30df",
    /// "30000/1001" and their like; in any case.
    static Parsed<FrameRate> Parse(std::string_view text);
    /// The rate for a code of korvasdk/suites/SMPTETimeFormat.h; 30 drop-frame code means 29.97.
    static std::optional<FrameRate> FromSMPTEFormat(std::uint32_t format) noexcept;
    /// The rate for the two rate bits of MTC and MMC (0 to 3; other bits are cut off); 2 means
    /// 29.97 drop-frame. The bits cannot tell 24 from 23.976, nor 30 from 29.97.
    static FrameRate FromMtcCode(unsigned code) noexcept;
    /// The rate whose frames last exactly or nearly (0.02 %) `numerator`/`denominator` of a second
    /// of frames, as a media file tells it; nothing when none does.
    static std::optional<FrameRate> FromFraction(
        std::int64_t numerator, std::int64_t denominator, bool drop) noexcept;

    /// "29.97df": what Parse takes and users read.
    std::string_view Name() const noexcept;
    /// Frames a second, exactly: Numerator() / Denominator().
    std::int64_t Numerator() const noexcept;
    std::int64_t Denominator() const noexcept;
    /// Frame numbers in a second of time code: 24, 25 or 30.
    int NominalFps() const noexcept;
    /// True when two frame numbers are left out each minute but every tenth.
    bool IsDrop() const noexcept;
    /// 2 to 5, as the suites want it.
    std::uint32_t SMPTEFormat() const noexcept;
    /// 0 to 3, the rate bits of MTC and of MMC's locate.
    std::uint8_t MtcCode() const noexcept;
    /// Frames from 00:00:00:00 to the next one.
    FrameNumber FramesPerDay() const noexcept;

    friend constexpr bool operator==(FrameRate, FrameRate) noexcept = default;

private:
    constexpr explicit FrameRate(std::uint8_t index) noexcept
        : mIndex(index)
    {
    }

    std::uint8_t mIndex = 2;
};

/// A frame's number as it is written. Whether it exists depends on the rate.
struct Timecode {
    std::uint8_t hours = 0;
    std::uint8_t minutes = 0;
    std::uint8_t seconds = 0;
    std::uint8_t frames = 0;
    bool drop = false; // written with ';' before the frames

    friend constexpr bool operator==(const Timecode&, const Timecode&) noexcept = default;
};

/// Empty when `timecode` exists at `rate`, else one line that names what is wrong and what would
/// be right. The `drop` field is not judged: the rate decides.
std::string DescribeProblem(const Timecode& timecode, FrameRate rate);
/// True when `timecode` exists at `rate`. [any thread, real-time]
bool IsValid(const Timecode& timecode, FrameRate rate) noexcept;

/// The frame that `timecode` names; a time code that does not exist at `rate` gives nothing.
/// [any thread, real-time]
std::optional<FrameNumber> ToFrame(const Timecode& timecode, FrameRate rate) noexcept;
/// The frame for whatever a machine sent: fields too large are cut to the largest, a dropped
/// number becomes the next frame that exists. [any thread, real-time]
FrameNumber ToNearestFrame(const Timecode& timecode, FrameRate rate) noexcept;
/// The number of `frame`, which wraps at 24 h in both directions. [any thread, real-time]
Timecode ToTimecode(FrameNumber frame, FrameRate rate) noexcept;
/// `frame` within the day: 0 to FramesPerDay() - 1. [any thread, real-time]
FrameNumber WrapToDay(FrameNumber frame, FrameRate rate) noexcept;
/// `timecode` moved by `frames`, wrapped at 24 h; nothing when it does not exist.
std::optional<Timecode> Offset(
    const Timecode& timecode, FrameNumber frames, FrameRate rate) noexcept;

/// The first whole nanosecond of `frame`, counted from frame 0. FrameAt(FrameStart(f)) is f, and
/// one nanosecond earlier is f - 1. Exact for +-290 years. [any thread, real-time]
std::chrono::nanoseconds FrameStart(FrameNumber frame, FrameRate rate) noexcept;
/// The frame that shows at `time` after the start of frame 0. [any thread, real-time]
FrameNumber FrameAt(std::chrono::nanoseconds time, FrameRate rate) noexcept;
/// The frame of rate `to` that shows when `frame` of rate `from` begins, both counted from the
/// same moment. Exact: it does not go through nanoseconds. [any thread, real-time]
FrameNumber ConvertFrame(FrameNumber frame, FrameRate from, FrameRate to) noexcept;

/// Takes "01:02:03:04", "01:02:03;04", "1:2:3.4", "01020304", with blanks around. At a drop-frame
/// rate either separator will do; ';' at another rate is refused, because it names a frame that
/// this rate counts differently.
Parsed<Timecode> ParseTimecode(std::string_view text, FrameRate rate);
/// Takes a signed time code ("-01:00:00:00", "+00:00:10:00") or a signed number of frames ("-12f").
Parsed<FrameNumber> ParseOffset(std::string_view text, FrameRate rate);
/// "01:02:03:04", or "01:02:03;04" when `drop`. Fields are written as they are.
std::string FormatTimecode(const Timecode& timecode);
/// As FormatTimecode, of a frame.
std::string FormatFrame(FrameNumber frame, FrameRate rate);

inline constexpr FrameRate FrameRate::k23976{0};
inline constexpr FrameRate FrameRate::k24{1};
inline constexpr FrameRate FrameRate::k25{2};
inline constexpr FrameRate FrameRate::k2997Drop{3};
inline constexpr FrameRate FrameRate::k2997NonDrop{4};
inline constexpr FrameRate FrameRate::k30Drop{5};
inline constexpr FrameRate FrameRate::k30NonDrop{6};

} // namespace deck
