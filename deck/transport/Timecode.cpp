#include "deck/transport/Timecode.h"

#include "korvasdk/suites/SMPTETimeFormat.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>

namespace deck {
namespace {

constexpr std::int64_t kNanosPerSecond = 1'000'000'000;
constexpr FrameNumber kMinutesPerDay = 1440;
constexpr FrameNumber kDropFramesPerMinute = 30 * 60 - 2;
constexpr FrameNumber kDropFramesPerTenMinutes = 10 * kDropFramesPerMinute + 2;

struct RateFacts {
    std::string_view name;
    std::int64_t numerator;
    std::int64_t denominator;
    int nominal;
    bool drop;
    std::uint32_t format;
};

constexpr std::array<RateFacts, 7> kRates{{
    {"23.976", 24000, 1001, 24, false, kSMPTETimeFormat24},
    {"24", 24, 1, 24, false, kSMPTETimeFormat24},
    {"25", 25, 1, 25, false, kSMPTETimeFormat25},
    {"29.97df", 30000, 1001, 30, true, kSMPTETimeFormat30Drop},
    {"29.97", 30000, 1001, 30, false, kSMPTETimeFormat30NonDrop},
    {"30df", 30, 1, 30, true, kSMPTETimeFormat30Drop},
    {"30", 30, 1, 30, false, kSMPTETimeFormat30NonDrop},
}};

constexpr std::array<FrameRate, 7> kAllRates{FrameRate::k23976, FrameRate::k24, FrameRate::k25,
    FrameRate::k2997Drop, FrameRate::k2997NonDrop, FrameRate::k30Drop, FrameRate::k30NonDrop};

constexpr std::int64_t FloorDivide(std::int64_t dividend, std::int64_t divisor) noexcept
{
    const std::int64_t quotient = dividend / divisor;
    return dividend % divisor < 0 ? quotient - 1 : quotient;
}

constexpr std::int64_t FloorModulo(std::int64_t dividend, std::int64_t divisor) noexcept
{
    return dividend - FloorDivide(dividend, divisor) * divisor;
}

/// floor(value * multiplier / divisor) without a product that overflows: the quotient is taken
/// apart first, so only remainder * multiplier has to fit.
constexpr std::int64_t MultiplyDivideFloor(
    std::int64_t value, std::int64_t multiplier, std::int64_t divisor) noexcept
{
    const std::int64_t whole = FloorDivide(value, divisor);
    const std::int64_t rest = FloorModulo(value, divisor);
    return whole * multiplier + rest * multiplier / divisor;
}

/// The fields as text has them, before it is known whether they fit a byte.
struct Fields {
    std::array<int, 4> values{}; // hours, minutes, seconds, frames
    bool drop = false;
};

Fields FieldsOf(const Timecode& timecode)
{
    return {{timecode.hours, timecode.minutes, timecode.seconds, timecode.frames}, timecode.drop};
}

std::string FormatFields(const Fields& fields)
{
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%02d:%02d:%02d%c%02d", fields.values[0],
        fields.values[1], fields.values[2], fields.drop ? ';' : ':', fields.values[3]);
    return text.data();
}

std::array<int, 4> Limits(FrameRate rate)
{
    return {23, 59, 59, rate.NominalFps() - 1};
}

/// True for the two numbers that drop-frame counting leaves out each minute but every tenth.
bool IsDroppedNumber(const std::array<int, 4>& values, FrameRate rate)
{
    return rate.IsDrop() && values[3] < 2 && values[2] == 0 && values[1] % 10 != 0;
}

bool IsInRange(const std::array<int, 4>& values, FrameRate rate)
{
    const auto limits = Limits(rate);
    return std::equal(values.begin(), values.end(), limits.begin(), std::less_equal<>());
}

std::string DescribeRange(const Fields& fields, FrameRate rate)
{
    static constexpr std::array<std::string_view, 4> kNames{
        "hours", "minutes", "seconds", "frames"};
    const auto limits = Limits(rate);
    std::string text;
    for (std::size_t i = 0; i < kNames.size(); ++i) {
        if (fields.values[i] <= limits[i])
            continue;
        text += text.empty() ? FormatFields(fields) + ": " : " and ";
        text += std::string(kNames[i]) + " go from 00 to " + std::to_string(limits[i]);
    }
    if (fields.values[3] > limits[3])
        text += " at " + std::string(rate.Name());
    return text;
}

std::string DescribeFields(Fields fields, FrameRate rate)
{
    if (!IsInRange(fields.values, rate))
        return DescribeRange(fields, rate);
    if (!IsDroppedNumber(fields.values, rate))
        return {};
    fields.drop = true;
    Fields next = fields;
    next.values[3] = 2;
    return FormatFields(fields) + " does not exist in drop-frame; the next frame is "
        + FormatFields(next);
}

Timecode ToTimecode(const Fields& fields, FrameRate rate)
{
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(fields.values[i]); };
    return {byte(0), byte(1), byte(2), byte(3), rate.IsDrop()};
}

std::string_view Trim(std::string_view text)
{
    constexpr std::string_view kBlanks = " \t\r\n";
    const auto first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

std::string Quoted(std::string_view text)
{
    return '"' + std::string(text) + '"';
}

std::string_view ExampleTimecode(FrameRate rate)
{
    return rate.IsDrop() ? "01:02:03;04" : "01:02:03:04";
}

/// Eight digits are four fields without separators.
std::optional<Fields> SplitDigits(std::string_view text)
{
    if (text.size() != 8 || !std::all_of(text.begin(), text.end(), IsDigit))
        return std::nullopt;
    Fields fields;
    for (std::size_t i = 0; i < 4; ++i)
        fields.values[i] = (text[2 * i] - '0') * 10 + (text[2 * i + 1] - '0');
    return fields;
}

/// Reads a field of one to three digits and cuts it off `text`.
std::optional<int> TakeField(std::string_view& text)
{
    const auto end = std::find_if_not(text.begin(), text.end(), IsDigit);
    const auto length = static_cast<std::size_t>(end - text.begin());
    if (length < 1 || length > 3)
        return std::nullopt;
    int value = 0;
    std::from_chars(text.data(), text.data() + length, value);
    text.remove_prefix(length);
    return value;
}

/// How many fields were read; `fields` is complete when it is four and nothing is left.
struct Split {
    Fields fields;
    std::size_t count = 0;
    bool clean = false;
};

Split SplitFields(std::string_view text)
{
    Split split;
    while (split.count < 4) {
        const auto value = TakeField(text);
        if (!value)
            return split;
        split.fields.values[split.count++] = *value;
        if (text.empty())
            break;
        const bool last = split.count == 3;
        if (split.count == 4 || std::string_view(last ? ":;.," : ":").find(text[0]) == text.npos)
            return split;
        split.fields.drop = text[0] == ';';
        text.remove_prefix(1);
    }
    split.clean = true;
    return split;
}

Parsed<Timecode> CheckFields(Fields fields, FrameRate rate)
{
    const bool saysDrop = fields.drop;
    fields.drop = rate.IsDrop() || saysDrop;
    if (saysDrop && !rate.IsDrop()) {
        Fields plain = fields;
        plain.drop = false;
        return {std::nullopt,
            FormatFields(fields) + " is a drop-frame time code, but " + std::string(rate.Name())
                + " counts every frame; write " + FormatFields(plain)
                + " or choose a drop-frame rate"};
    }
    if (auto problem = DescribeFields(fields, rate); !problem.empty())
        return {std::nullopt, std::move(problem)};
    return {ToTimecode(fields, rate), {}};
}

std::string NotATimecode(std::string_view text, FrameRate rate)
{
    return Quoted(text) + " is not a time code; write hours, minutes, seconds and frames as "
        + std::string(ExampleTimecode(rate));
}

std::string RateNames()
{
    std::string names;
    for (const auto& rate : kRates)
        names += (names.empty() ? "" : ", ") + std::string(rate.name);
    return names;
}

std::string Squeeze(std::string_view text)
{
    std::string squeezed;
    for (const char c : text) {
        if (c != ' ' && c != '-' && c != '_' && c != '\t')
            squeezed += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return squeezed;
}

struct RateAlias {
    std::string_view text;
    FrameRate plain;
    std::optional<FrameRate> drop;
};

std::optional<RateAlias> FindRateAlias(std::string_view text)
{
    static constexpr std::array<RateAlias, 9> kAliases{{
        {"23.976", FrameRate::k23976, std::nullopt},
        {"23.98", FrameRate::k23976, std::nullopt},
        {"24000/1001", FrameRate::k23976, std::nullopt},
        {"24", FrameRate::k24, std::nullopt},
        {"25", FrameRate::k25, std::nullopt},
        {"29.97", FrameRate::k2997NonDrop, FrameRate::k2997Drop},
        {"30000/1001", FrameRate::k2997NonDrop, FrameRate::k2997Drop},
        {"30", FrameRate::k30NonDrop, FrameRate::k30Drop},
        {"30.00", FrameRate::k30NonDrop, FrameRate::k30Drop},
    }};
    const auto* found = std::find_if(kAliases.begin(), kAliases.end(),
        [&](const RateAlias& alias) { return alias.text == text; });
    return found == kAliases.end() ? std::nullopt : std::optional(*found);
}

enum class Counting { kUnsaid, kDrop, kNonDrop };

/// Cuts "df", "nondrop" and their like off the end of `text`.
Counting TakeCounting(std::string& text)
{
    struct Suffix {
        std::string_view text;
        Counting counting;
    };
    static constexpr std::array<Suffix, 9> kSuffixes{{
        {"nondropframe", Counting::kNonDrop},
        {"nondrop", Counting::kNonDrop},
        {"ndf", Counting::kNonDrop},
        {"nd", Counting::kNonDrop},
        {"dropframe", Counting::kDrop},
        {"drop", Counting::kDrop},
        {"df", Counting::kDrop},
        {"d", Counting::kDrop},
        {"fps", Counting::kUnsaid},
    }};
    for (const auto& suffix : kSuffixes) {
        if (!text.ends_with(suffix.text))
            continue;
        text.resize(text.size() - suffix.text.size());
        return suffix.counting;
    }
    return Counting::kUnsaid;
}

const RateFacts& Facts(std::uint8_t index) noexcept
{
    return kRates[index];
}

FrameNumber DropToFrame(const std::array<int, 4>& values)
{
    const FrameNumber minutes = values[0] * 60 + values[1];
    const FrameNumber number = (minutes * 60 + values[2]) * 30 + values[3];
    return number - 2 * (minutes - minutes / 10);
}

/// The count that drop-frame numbering gives to `frame`, as if no number were left out.
FrameNumber DropNumber(FrameNumber frame)
{
    const FrameNumber tens = frame / kDropFramesPerTenMinutes;
    const FrameNumber rest = frame % kDropFramesPerTenMinutes;
    const FrameNumber minutes = rest < 1800 ? 0 : 1 + (rest - 1800) / kDropFramesPerMinute;
    return frame + 2 * (9 * tens + minutes);
}

FrameNumber FieldsToFrame(const std::array<int, 4>& values, FrameRate rate)
{
    if (rate.IsDrop())
        return DropToFrame(values);
    const FrameNumber seconds = FrameNumber{values[0] * 60 + values[1]} * 60 + values[2];
    return seconds * rate.NominalFps() + values[3];
}

} // namespace

std::span<const FrameRate> FrameRate::All() noexcept
{
    return kAllRates;
}

Parsed<FrameRate> FrameRate::Parse(std::string_view text)
{
    std::string squeezed = Squeeze(Trim(text));
    const Counting counting = TakeCounting(squeezed);
    const auto alias = FindRateAlias(squeezed);
    if (!alias)
        return {std::nullopt, Quoted(text) + " is not a frame rate; the rates are " + RateNames()};
    if (counting != Counting::kDrop)
        return {alias->plain, {}};
    if (!alias->drop)
        return {std::nullopt,
            Quoted(text) + ": only 29.97 and 30 have drop-frame counting; the rates are "
                + RateNames()};
    return {*alias->drop, {}};
}

std::optional<FrameRate> FrameRate::FromSMPTEFormat(std::uint32_t format) noexcept
{
    if (format < kSMPTETimeFormat24 || format > kSMPTETimeFormat30NonDrop)
        return std::nullopt;
    return FromMtcCode(format - kSMPTETimeFormat24);
}

FrameRate FrameRate::FromMtcCode(unsigned code) noexcept
{
    static constexpr std::array<FrameRate, 4> kByCode{k24, k25, k2997Drop, k30NonDrop};
    return kByCode[code & 3];
}

std::optional<FrameRate> FrameRate::FromFraction(
    std::int64_t numerator, std::int64_t denominator, bool drop) noexcept
{
    if (numerator <= 0 || denominator <= 0)
        return std::nullopt;
    while (std::max(numerator, denominator) > kNanosPerSecond) {
        numerator /= 2;
        denominator /= 2;
    }
    for (const FrameRate rate : kAllRates) {
        const std::int64_t wanted = rate.Numerator() * denominator;
        const std::int64_t given = numerator * rate.Denominator();
        const bool counts = rate.NominalFps() != 30 || rate.IsDrop() == drop;
        if (counts && std::abs(wanted - given) * 5000 <= wanted)
            return rate;
    }
    return std::nullopt;
}

std::string_view FrameRate::Name() const noexcept
{
    return Facts(mIndex).name;
}
std::int64_t FrameRate::Numerator() const noexcept
{
    return Facts(mIndex).numerator;
}
std::int64_t FrameRate::Denominator() const noexcept
{
    return Facts(mIndex).denominator;
}
int FrameRate::NominalFps() const noexcept
{
    return Facts(mIndex).nominal;
}
bool FrameRate::IsDrop() const noexcept
{
    return Facts(mIndex).drop;
}
std::uint32_t FrameRate::SMPTEFormat() const noexcept
{
    return Facts(mIndex).format;
}

std::uint8_t FrameRate::MtcCode() const noexcept
{
    return static_cast<std::uint8_t>(SMPTEFormat() - kSMPTETimeFormat24);
}

FrameNumber FrameRate::FramesPerDay() const noexcept
{
    const FrameNumber all = kMinutesPerDay * 60 * NominalFps();
    return IsDrop() ? all - 2 * (kMinutesPerDay - kMinutesPerDay / 10) : all;
}

std::string DescribeProblem(const Timecode& timecode, FrameRate rate)
{
    return DescribeFields(FieldsOf(timecode), rate);
}

bool IsValid(const Timecode& timecode, FrameRate rate) noexcept
{
    const auto values = FieldsOf(timecode).values;
    return IsInRange(values, rate) && !IsDroppedNumber(values, rate);
}

std::optional<FrameNumber> ToFrame(const Timecode& timecode, FrameRate rate) noexcept
{
    if (!IsValid(timecode, rate))
        return std::nullopt;
    return FieldsToFrame(FieldsOf(timecode).values, rate);
}

FrameNumber ToNearestFrame(const Timecode& timecode, FrameRate rate) noexcept
{
    auto values = FieldsOf(timecode).values;
    const auto limits = Limits(rate);
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = std::min(values[i], limits[i]);
    if (IsDroppedNumber(values, rate))
        values[3] = 2;
    return FieldsToFrame(values, rate);
}

Timecode ToTimecode(FrameNumber frame, FrameRate rate) noexcept
{
    const FrameNumber wrapped = WrapToDay(frame, rate);
    const FrameNumber number = rate.IsDrop() ? DropNumber(wrapped) : wrapped;
    const FrameNumber seconds = number / rate.NominalFps();
    const auto byte = [](FrameNumber value) { return static_cast<std::uint8_t>(value); };
    return {byte(seconds / 3600), byte(seconds / 60 % 60), byte(seconds % 60),
        byte(number % rate.NominalFps()), rate.IsDrop()};
}

FrameNumber WrapToDay(FrameNumber frame, FrameRate rate) noexcept
{
    return FloorModulo(frame, rate.FramesPerDay());
}

std::optional<Timecode> Offset(
    const Timecode& timecode, FrameNumber frames, FrameRate rate) noexcept
{
    const auto frame = ToFrame(timecode, rate);
    return frame ? std::optional(ToTimecode(*frame + frames, rate)) : std::nullopt;
}

std::chrono::nanoseconds FrameStart(FrameNumber frame, FrameRate rate) noexcept
{
    // Rounded up, so that the frame has begun: -floor(-x) is ceil(x)
    const std::int64_t nanosPerUnit = rate.Denominator() * kNanosPerSecond;
    return std::chrono::nanoseconds(-MultiplyDivideFloor(-frame, nanosPerUnit, rate.Numerator()));
}

FrameNumber FrameAt(std::chrono::nanoseconds time, FrameRate rate) noexcept
{
    return MultiplyDivideFloor(
        time.count(), rate.Numerator(), rate.Denominator() * kNanosPerSecond);
}

FrameNumber ConvertFrame(FrameNumber frame, FrameRate from, FrameRate to) noexcept
{
    return MultiplyDivideFloor(
        frame, from.Denominator() * to.Numerator(), from.Numerator() * to.Denominator());
}

Parsed<Timecode> ParseTimecode(std::string_view text, FrameRate rate)
{
    const std::string_view trimmed = Trim(text);
    if (const auto digits = SplitDigits(trimmed))
        return CheckFields(*digits, rate);
    const Split split = SplitFields(trimmed);
    if (!split.clean)
        return {std::nullopt, NotATimecode(trimmed, rate)};
    if (split.count != 4)
        return {std::nullopt,
            Quoted(trimmed) + " has " + std::to_string(split.count)
                + (split.count == 1 ? " field" : " fields")
                + "; write hours, minutes, seconds and frames as "
                + std::string(ExampleTimecode(rate))};
    return CheckFields(split.fields, rate);
}

Parsed<FrameNumber> ParseOffset(std::string_view text, FrameRate rate)
{
    std::string_view rest = Trim(text);
    const bool negative = rest.starts_with('-');
    if (negative || rest.starts_with('+'))
        rest.remove_prefix(1);
    if (rest.ends_with('f')) {
        FrameNumber frames = 0;
        const auto* end = rest.data() + rest.size() - 1;
        const auto result = std::from_chars(rest.data(), end, frames);
        const bool isNumber = result.ptr == end && IsDigit(rest.front());
        if (isNumber && (result.ec != std::errc() || frames >= rate.FramesPerDay()))
            return {std::nullopt, Quoted(text) + " is a day or more; an offset is less"};
        if (isNumber)
            return {negative ? -frames : frames, {}};
    }
    const auto timecode = ParseTimecode(rest, rate);
    if (timecode)
        return {negative ? -*ToFrame(*timecode, rate) : *ToFrame(*timecode, rate), {}};
    return {std::nullopt,
        timecode.error
            + " (an offset is a time code with or without a sign, or frames as \"-12f\")"};
}

std::string FormatTimecode(const Timecode& timecode)
{
    return FormatFields(FieldsOf(timecode));
}

std::string FormatFrame(FrameNumber frame, FrameRate rate)
{
    return FormatTimecode(ToTimecode(frame, rate));
}

} // namespace deck
