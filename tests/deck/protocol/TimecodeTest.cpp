#include "deck/transport/Timecode.h"

#include <gtest/gtest.h>

namespace deck {
namespace {

using namespace std::chrono_literals;

constexpr Timecode kZero{};

class TimecodeAtEveryRate : public testing::TestWithParam<FrameRate> {};

INSTANTIATE_TEST_SUITE_P(Rates,
    TimecodeAtEveryRate,
    testing::ValuesIn(FrameRate::All().begin(), FrameRate::All().end()),
    [](const auto& rate) {
        std::string name(rate.param.Name());
        std::erase(name, '.');
        return name;
    });

/// The next time code by the rule as the standard words it: numbers ;00 and ;01 do not exist in
/// the first second of a minute, unless the minute is divisible by ten.
Timecode NextByRule(Timecode timecode, FrameRate rate)
{
    if (++timecode.frames < rate.NominalFps())
        return timecode;
    timecode.frames = 0;
    if (++timecode.seconds < 60)
        return timecode;
    timecode.seconds = 0;
    if (++timecode.minutes == 60) {
        timecode.minutes = 0;
        timecode.hours = static_cast<std::uint8_t>((timecode.hours + 1) % 24);
    }
    if (rate.IsDrop() && timecode.minutes % 10 != 0)
        timecode.frames = 2;
    return timecode;
}

TEST_P(TimecodeAtEveryRate, NumbersEveryFrameOfADayByTheRule)
{
    const FrameRate rate = GetParam();
    Timecode expected{0, 0, 0, 0, rate.IsDrop()};
    FrameNumber wrong = 0;

    for (FrameNumber frame = 0; frame < rate.FramesPerDay(); ++frame) {
        wrong += ToTimecode(frame, rate) != expected;
        wrong += ToFrame(expected, rate) != frame;
        expected = NextByRule(expected, rate);
    }

    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(expected, ToTimecode(0, rate)) << "a day ends where the next begins";
}

TEST_P(TimecodeAtEveryRate, FindsEveryFrameOfADayAgainFromItsFirstNanosecond)
{
    const FrameRate rate = GetParam();
    FrameNumber wrong = 0;

    for (FrameNumber frame = 0; frame < rate.FramesPerDay(); ++frame) {
        const auto start = FrameStart(frame, rate);
        wrong += FrameAt(start, rate) != frame;
        wrong += FrameAt(start - 1ns, rate) != frame - 1;
    }

    EXPECT_EQ(wrong, 0);
}

TEST_P(TimecodeAtEveryRate, FindsFramesAgainAYearAwayInBothDirections)
{
    const FrameRate rate = GetParam();
    const FrameNumber year = 366 * rate.FramesPerDay();

    for (FrameNumber offset = -1000; offset < 1000; ++offset) {
        ASSERT_EQ(FrameAt(FrameStart(year + offset, rate), rate), year + offset);
        ASSERT_EQ(FrameAt(FrameStart(-year + offset, rate), rate), -year + offset);
        ASSERT_EQ(FrameAt(FrameStart(offset, rate) - 1ns, rate), offset - 1);
    }
}

TEST_P(TimecodeAtEveryRate, KeepsAFrameThroughItsOwnRate)
{
    const FrameRate rate = GetParam();
    for (FrameNumber frame = -5000; frame < 5000; ++frame)
        ASSERT_EQ(ConvertFrame(frame, rate, rate), frame);
}

TEST_P(TimecodeAtEveryRate, ConvertsToTheFrameThatShowsAtThatMomentOfTheDay)
{
    const FrameRate from = GetParam();
    for (const FrameRate to : FrameRate::All()) {
        const std::int64_t den = from.Numerator() * to.Denominator();
        const std::int64_t num = from.Denominator() * to.Numerator();
        FrameNumber wrong = 0;

        for (FrameNumber frame = 0; frame < from.FramesPerDay(); frame += 7) {
            const FrameNumber got = ConvertFrame(frame, from, to);
            // got begins no later than frame, got + 1 begins later: both in exact fractions
            wrong += got * den > frame * num || (got + 1) * den <= frame * num;
        }

        EXPECT_EQ(wrong, 0) << from.Name() << " to " << to.Name();
    }
}

TEST_P(TimecodeAtEveryRate, WrapsAtMidnightInBothDirections)
{
    const FrameRate rate = GetParam();
    const auto last = static_cast<std::uint8_t>(rate.NominalFps() - 1);

    EXPECT_EQ(ToTimecode(-1, rate), (Timecode{23, 59, 59, last, rate.IsDrop()}));
    EXPECT_EQ(ToTimecode(rate.FramesPerDay(), rate), (Timecode{0, 0, 0, 0, rate.IsDrop()}));
    EXPECT_EQ(WrapToDay(-3 * rate.FramesPerDay() + 5, rate), 5);
    EXPECT_EQ(
        Offset({23, 59, 59, last, rate.IsDrop()}, 1, rate), (Timecode{0, 0, 0, 0, rate.IsDrop()}));
    EXPECT_EQ(
        Offset({0, 0, 0, 0, rate.IsDrop()}, -1, rate), (Timecode{23, 59, 59, last, rate.IsDrop()}));
}

TEST_P(TimecodeAtEveryRate, ReadsBackWhatItWrites)
{
    const FrameRate rate = GetParam();
    for (FrameNumber frame = 0; frame < rate.FramesPerDay(); frame += 997) {
        const auto parsed = ParseTimecode(FormatFrame(frame, rate), rate);
        ASSERT_TRUE(parsed) << parsed.error;
        ASSERT_EQ(ToFrame(*parsed, rate), frame);
    }
}

TEST_P(TimecodeAtEveryRate, ReadsItsOwnName)
{
    const auto parsed = FrameRate::Parse(GetParam().Name());
    ASSERT_TRUE(parsed) << parsed.error;
    EXPECT_EQ(*parsed, GetParam());
}

TEST_P(TimecodeAtEveryRate, IsFoundAgainFromItsFraction)
{
    const FrameRate rate = GetParam();
    EXPECT_EQ(FrameRate::FromFraction(rate.Numerator(), rate.Denominator(), rate.IsDrop()), rate);
    EXPECT_EQ(FrameRate::FromFraction(
                  rate.Numerator() * 100'000'000, rate.Denominator() * 100'000'000, rate.IsDrop()),
        rate);
}

TEST(FrameRate, HasTheFactsOfItsStandard)
{
    EXPECT_EQ(FrameRate::k2997Drop.FramesPerDay(), 2589408);
    EXPECT_EQ(FrameRate::k30Drop.FramesPerDay(), 2589408);
    EXPECT_EQ(FrameRate::k2997NonDrop.FramesPerDay(), 2592000);
    EXPECT_EQ(FrameRate::k25.FramesPerDay(), 2160000);
    EXPECT_EQ(FrameRate::k23976.FramesPerDay(), 2073600);
    EXPECT_EQ(FrameRate::k23976.MtcCode(), 0);
    EXPECT_EQ(FrameRate::k25.MtcCode(), 1);
    EXPECT_EQ(FrameRate::k30Drop.MtcCode(), 2);
    EXPECT_EQ(FrameRate::k2997NonDrop.MtcCode(), 3);
    EXPECT_EQ(FrameRate::k24.SMPTEFormat(), 2u);
    EXPECT_EQ(FrameRate::k2997Drop.SMPTEFormat(), 4u);
}

TEST(FrameRate, ComesFromTheCodesOfSuitesAndWire)
{
    EXPECT_EQ(FrameRate::FromSMPTEFormat(2), FrameRate::k24);
    EXPECT_EQ(FrameRate::FromSMPTEFormat(3), FrameRate::k25);
    EXPECT_EQ(FrameRate::FromSMPTEFormat(4), FrameRate::k2997Drop);
    EXPECT_EQ(FrameRate::FromSMPTEFormat(5), FrameRate::k30NonDrop);
    EXPECT_FALSE(FrameRate::FromSMPTEFormat(1));
    EXPECT_FALSE(FrameRate::FromSMPTEFormat(6));
    EXPECT_EQ(FrameRate::FromMtcCode(6), FrameRate::k2997Drop);
}

TEST(FrameRate, TellsNeighboursApartInWhatAFileSays)
{
    EXPECT_EQ(FrameRate::FromFraction(2997, 100, false), FrameRate::k2997NonDrop);
    EXPECT_EQ(FrameRate::FromFraction(2997, 100, true), FrameRate::k2997Drop);
    EXPECT_EQ(FrameRate::FromFraction(23976, 1000, false), FrameRate::k23976);
    EXPECT_EQ(FrameRate::FromFraction(24, 1, true), FrameRate::k24);
    EXPECT_FALSE(FrameRate::FromFraction(50, 1, false));
    EXPECT_FALSE(FrameRate::FromFraction(15, 1, false));
    EXPECT_FALSE(FrameRate::FromFraction(0, 0, false));
}

TEST(FrameRate, IsReadInTheWaysPeopleWriteIt)
{
    EXPECT_EQ(*FrameRate::Parse(" 29.97 drop "), FrameRate::k2997Drop);
    EXPECT_EQ(*FrameRate::Parse("29.97DF"), FrameRate::k2997Drop);
    EXPECT_EQ(*FrameRate::Parse("29.97-ndf"), FrameRate::k2997NonDrop);
    EXPECT_EQ(*FrameRate::Parse("30 non-drop"), FrameRate::k30NonDrop);
    EXPECT_EQ(*FrameRate::Parse("30d"), FrameRate::k30Drop);
    EXPECT_EQ(*FrameRate::Parse("25 fps"), FrameRate::k25);
    EXPECT_EQ(*FrameRate::Parse("24000/1001"), FrameRate::k23976);
    EXPECT_EQ(*FrameRate::Parse("23.98"), FrameRate::k23976);
}

TEST(FrameRate, NamesTheRatesWhenItCannotReadOne)
{
    EXPECT_EQ(FrameRate::Parse("26").error,
        "\"26\" is not a frame rate; the rates are 23.976, 24, 25, 29.97df, 29.97, 30df, 30");
    EXPECT_EQ(FrameRate::Parse("25 drop").error,
        "\"25 drop\": only 29.97 and 30 have drop-frame counting; "
        "the rates are 23.976, 24, 25, 29.97df, 29.97, 30df, 30");
    EXPECT_FALSE(FrameRate::Parse(""));
    EXPECT_FALSE(FrameRate::Parse("df"));
}

TEST(Timecode, IsReadWithAnySeparatorThatIsUnambiguous)
{
    const Timecode plain{1, 2, 3, 4, false};
    const Timecode drop{1, 2, 3, 4, true};
    EXPECT_EQ(*ParseTimecode("01:02:03:04", FrameRate::k25), plain);
    EXPECT_EQ(*ParseTimecode("  1:2:3.4\n", FrameRate::k25), plain);
    EXPECT_EQ(*ParseTimecode("01020304", FrameRate::k25), plain);
    EXPECT_EQ(*ParseTimecode("01:02:03,04", FrameRate::k24), plain);
    EXPECT_EQ(*ParseTimecode("01:02:03;04", FrameRate::k2997Drop), drop);
    EXPECT_EQ(*ParseTimecode("01:02:03:04", FrameRate::k2997Drop), drop);
}

TEST(Timecode, NamesEachFieldThatIsOutOfRange)
{
    EXPECT_EQ(ParseTimecode("25:61:00:00", FrameRate::k25).error,
        "25:61:00:00: hours go from 00 to 23 and minutes go from 00 to 59");
    EXPECT_EQ(ParseTimecode("01:00:60:25", FrameRate::k25).error,
        "01:00:60:25: seconds go from 00 to 59 and frames go from 00 to 24 at 25");
    EXPECT_EQ(ParseTimecode("01:00:00;30", FrameRate::k2997Drop).error,
        "01:00:00;30: frames go from 00 to 29 at 29.97df");
    EXPECT_EQ(ParseTimecode("999:00:00:00", FrameRate::k25).error,
        "999:00:00:00: hours go from 00 to 23");
    EXPECT_EQ(DescribeProblem({0, 0, 0, 24, false}, FrameRate::k23976),
        "00:00:00:24: frames go from 00 to 23 at 23.976");
}

TEST(Timecode, NamesTheFrameAfterADroppedNumber)
{
    EXPECT_EQ(ParseTimecode("00:01:00;00", FrameRate::k2997Drop).error,
        "00:01:00;00 does not exist in drop-frame; the next frame is 00:01:00;02");
    EXPECT_EQ(ParseTimecode("23:59:00:01", FrameRate::k30Drop).error,
        "23:59:00;01 does not exist in drop-frame; the next frame is 23:59:00;02");
    EXPECT_TRUE(ParseTimecode("00:10:00;00", FrameRate::k2997Drop));
    EXPECT_TRUE(ParseTimecode("00:01:00:00", FrameRate::k2997NonDrop));
    EXPECT_FALSE(ToFrame({0, 1, 0, 1, true}, FrameRate::k2997Drop));
}

TEST(Timecode, RefusesADropFrameTimeWhereEveryFrameCounts)
{
    EXPECT_EQ(ParseTimecode("01:02:03;04", FrameRate::k25).error,
        "01:02:03;04 is a drop-frame time code, but 25 counts every frame; "
        "write 01:02:03:04 or choose a drop-frame rate");
}

TEST(Timecode, SaysHowToWriteOneWhenTheTextIsNone)
{
    EXPECT_EQ(ParseTimecode("01:02:03", FrameRate::k25).error,
        "\"01:02:03\" has 3 fields; write hours, minutes, seconds and frames as 01:02:03:04");
    EXPECT_EQ(ParseTimecode("soon", FrameRate::k2997Drop).error,
        "\"soon\" is not a time code; write hours, minutes, seconds and frames as 01:02:03;04");
    for (const char* text : {"", ":", "1:2:3:", "1:2:3:4:5", "1:2:3:4x", "-1:2:3:4", "1;2:3:4",
             "1:2;3:4", "0001:2:3:4", "1:2:3:+4", "1.2.3.4", "0102030", "010203045"})
        EXPECT_FALSE(ParseTimecode(text, FrameRate::k25)) << text;
}

TEST(Timecode, FindsTheNearestFrameForWhatAMachineSends)
{
    EXPECT_EQ(ToNearestFrame({1, 0, 0, 29, false}, FrameRate::k25),
        *ToFrame({1, 0, 0, 24, false}, FrameRate::k25));
    EXPECT_EQ(ToNearestFrame({0, 1, 0, 0, true}, FrameRate::k2997Drop), 1800);
    EXPECT_EQ(ToNearestFrame({31, 63, 63, 31, false}, FrameRate::k24), 2073599);
}

TEST(Timecode, ReadsOffsetsWithASign)
{
    EXPECT_EQ(*ParseOffset("-01:00:00:00", FrameRate::k25), -90000);
    EXPECT_EQ(*ParseOffset("+00:00:01:05", FrameRate::k25), 30);
    EXPECT_EQ(*ParseOffset("-12f", FrameRate::k25), -12);
    EXPECT_EQ(*ParseOffset("-01:00:00;00", FrameRate::k2997Drop), -107892);
    EXPECT_EQ(ParseOffset("2160000f", FrameRate::k25).error,
        "\"2160000f\" is a day or more; an offset is less");
    for (const char* text : {"", "f", "-f", "--1f", "+-1f", "12", "1h", "99999999999999999999f"})
        EXPECT_FALSE(ParseOffset(text, FrameRate::k25)) << text;
}

TEST(Timecode, ConvertsByRealPosition)
{
    const auto hour = *ToFrame({1, 0, 0, 0, false}, FrameRate::k2997NonDrop);
    EXPECT_EQ(FormatFrame(ConvertFrame(hour, FrameRate::k2997NonDrop, FrameRate::k2997Drop),
                  FrameRate::k2997Drop),
        "01:00:03;18");
    EXPECT_EQ(ConvertFrame(-1, FrameRate::k25, FrameRate::k24), -1);
    EXPECT_EQ(ConvertFrame(25, FrameRate::k25, FrameRate::k24), 24);
}

TEST(Timecode, HasADropFrameHourThatLastsAnHour)
{
    const auto hour = *ToFrame({1, 0, 0, 0, true}, FrameRate::k2997Drop);
    EXPECT_EQ(FrameStart(hour, FrameRate::k2997Drop), 3599996400000ns);
    EXPECT_EQ(FrameStart(1, FrameRate::k2997Drop), 33366667ns);
    EXPECT_EQ(FrameStart(-1, FrameRate::k2997Drop), -33366666ns);
    EXPECT_EQ(ToTimecode(0, FrameRate::k25), kZero);
}

} // namespace
} // namespace deck
