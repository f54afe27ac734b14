#include "deck/protocol/MMCDecoder.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace deck {
namespace {

constexpr std::size_t kHeaderSize = 4; // F0 7F id 06
constexpr std::size_t kTargetSize = 6; // 01 hr mn sc fr sf

bool HasCount(std::uint8_t code)
{
    return code >= 0x40 && code < 0x78;
}

std::string HexByte(std::uint8_t byte)
{
    const std::array<std::uint8_t, 1> bytes{byte};
    return "0x" + FormatBytes(bytes);
}

std::string NameOrCode(std::uint8_t code)
{
    const auto* command = FindMMCCommand(code);
    return command != nullptr ? std::string(command->name) : "command " + HexByte(code);
}

std::string FormatSpeed(double speed)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.4g", speed);
    return text.data();
}

/// Takes 12-byte locates too, which end before the sub-frames.
std::optional<MMCLocateTarget> ReadTarget(ByteView data)
{
    if (data.size() < kTargetSize - 1 || data[0] != 0x01)
        return std::nullopt;
    MMCLocateTarget target;
    target.rateBits = data[1] >> 5 & 3;
    target.timecode = {static_cast<std::uint8_t>(data[1] & 0x1F),
        static_cast<std::uint8_t>(data[2] & 0x3F), static_cast<std::uint8_t>(data[3] & 0x3F),
        static_cast<std::uint8_t>(data[4] & 0x1F), target.rateBits == 2};
    target.negative = (data[4] & 0x40) != 0;
    target.hasSubframes = data.size() >= kTargetSize;
    target.subframes = target.hasSubframes ? data[5] : std::uint8_t{0};
    return target;
}

std::string DescribeTarget(const MMCLocateTarget& target)
{
    std::string text = target.negative ? "-" : "";
    text += FormatTimecode(target.timecode);
    if (target.subframes != 0)
        text += "." + std::to_string(target.subframes);
    return text + " (" + std::string(NameOfRateBits(target.rateBits)) + ")";
}

std::string DescribeUnit(const MMCUnit& unit)
{
    const std::string name = NameOrCode(unit.code);
    if (unit.locate)
        return name + " " + DescribeTarget(*unit.locate);
    if (unit.code == kMMCLocate && unit.data.size() == 2 && unit.data[0] == 0)
        return name + " to field " + HexByte(unit.data[1]);
    const bool hasSpeed = unit.code >= 0x45 && unit.code <= 0x47;
    if ((hasSpeed || unit.code == 0x54 || unit.code == 0x55) && unit.data.size() == 3)
        return name + " " + FormatSpeed(DecodeSpeed(unit.data[0], unit.data[1], unit.data[2]));
    if (unit.code == kMMCStep && unit.data.size() == 1)
        return name + ((unit.data[0] & 0x40) != 0 ? " -" : " ") + std::to_string(unit.data[0] & 63);
    return unit.data.empty() ? name : name + " " + FormatBytes(unit.data);
}

class Reader {
public:
    Reader(MMCMessage& message, ByteView rest)
        : mMessage(message)
        , mRest(rest)
    {
    }

    void ReadUnits()
    {
        while (!mRest.empty() && ReadUnit()) {
        }
        if (mMessage.units.size() > 1)
            Warn(std::to_string(mMessage.units.size())
                + " commands in one message: only the first will be carried out");
    }

private:
    /// False when the length of the unit is not known, so that nothing can be found behind it.
    bool ReadUnit()
    {
        const std::uint8_t code = mRest[0];
        mRest = mRest.subspan(1);
        MMCUnit unit{code, {}, std::nullopt, {}};
        const bool known = code != 0 && code < 0x80;
        if (!known)
            Warn("command " + HexByte(code) + " has no known length; what follows it is not read");
        else if (FindMMCCommand(code) == nullptr)
            Warn("command " + HexByte(code) + " is not defined");
        const bool whole = !known || !HasCount(code) || ReadData(unit);
        unit.locate = code == kMMCLocate ? ReadTarget(unit.data) : std::nullopt;
        if (unit.locate)
            CheckTarget(*unit.locate);
        else if (code == kMMCLocate)
            CheckField(unit);
        unit.text = DescribeUnit(unit);
        mMessage.units.push_back(std::move(unit));
        return known && whole;
    }

    bool ReadData(MMCUnit& unit)
    {
        const std::string name = NameOrCode(unit.code);
        if (mRest.empty()) {
            Warn(name + " ends before its count byte");
            return false;
        }
        const std::size_t count = mRest[0];
        mRest = mRest.subspan(1);
        const std::size_t present = std::min(count, mRest.size());
        unit.data.assign(mRest.begin(), mRest.begin() + static_cast<std::ptrdiff_t>(present));
        mRest = mRest.subspan(present);
        if (present < count)
            Warn(name + " promises " + std::to_string(count) + " data bytes, but "
                + std::to_string(present) + " are there");
        return present == count;
    }

    void CheckTarget(const MMCLocateTarget& target)
    {
        if (!target.hasSubframes)
            Warn("LOCATE without the sub-frames byte: the sender's message is one byte short");
        if (target.negative)
            Warn("a negative time: its sign is not passed on");
        const FrameRate rate = FrameRate::FromMtcCode(target.rateBits);
        if (target.timecode.frames >= rate.NominalFps())
            Warn("frame " + std::to_string(target.timecode.frames) + " cannot be at "
                + std::string(NameOfRateBits(target.rateBits)) + ": the rate bits are wrong");
        else if (auto problem = DescribeProblem(target.timecode, rate); !problem.empty())
            Warn(std::move(problem));
    }

    void CheckField(const MMCUnit& unit)
    {
        if (unit.data.empty() || (unit.data[0] == 1 && unit.data.size() < kTargetSize - 1))
            Warn("LOCATE without a whole time code");
    }

    void Warn(std::string text) { mMessage.warnings.push_back(std::move(text)); }

    MMCMessage& mMessage;
    ByteView mRest;
};

void JoinTexts(MMCMessage& message)
{
    for (const auto& unit : message.units)
        message.text += (message.text.empty() ? "" : ", ") + unit.text;
}

} // namespace

std::string_view NameOfRateBits(unsigned bits) noexcept
{
    static constexpr std::array<std::string_view, 4> kNames{"24", "25", "30 drop", "30"};
    return kNames[bits & 3];
}

std::optional<MMCMessage> DecodeMMC(ByteView sysEx)
{
    const bool framed = sysEx.size() > kHeaderSize && sysEx.front() == 0xF0 && sysEx.back() == 0xF7;
    if (!framed || sysEx[1] != 0x7F || (sysEx[3] & 0xFE) != 0x06)
        return std::nullopt;
    MMCMessage message;
    message.deviceId = sysEx[2];
    message.isResponse = sysEx[3] == 0x07;
    const ByteView body = sysEx.subspan(kHeaderSize, sysEx.size() - kHeaderSize - 1);
    if (message.isResponse) {
        message.text = "response " + FormatBytes(body);
        message.warnings.emplace_back("a response (sub-ID 07), not a command");
        return message;
    }
    if (body.empty())
        message.warnings.emplace_back("no command in the message");
    Reader(message, body).ReadUnits();
    JoinTexts(message);
    return message;
}

} // namespace deck
