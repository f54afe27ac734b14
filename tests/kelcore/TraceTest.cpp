#include "kelcore/debug/Trace.h"

#include "TestFolder.h"

#include "kelcore/debug/DebugDatabase.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace kelcore::debug {
namespace {

using testing::ContainsRegex;
using testing::ExitedWithCode;
using tests::RemoveEnvironment;
using tests::SetEnvironment;
using tests::TestFolder;

const std::uint32_t sCountAtStart = TraceChangeCount();

constexpr const char* kCategory = "MMC, HandleMMCCommands";

const unsigned char* Text(const char* text)
{
    return reinterpret_cast<const unsigned char*>(text);
}

bool IsEnabled(int level)
{
    return TraceEnabled(Text(kCategory), level, true);
}

class TraceSwitch : public testing::Test {
protected:
    ~TraceSwitch() override
    {
        mDatabase.RemoveEntry("trace.*");
        mDatabase.RemoveEntry(mKey);
    }

    DebugDatabase& mDatabase = DebugDatabase::Instance(); // NOLINT(readability-identifier-naming)
    const std::string mKey
        = std::string("trace.") + kCategory; // NOLINT(readability-identifier-naming)
};

TEST_F(TraceSwitch, IsOffWithoutAnEntry)
{
    EXPECT_FALSE(IsEnabled(0));
    EXPECT_FALSE(IsEnabled(5));
}

TEST_F(TraceSwitch, HoldsTheHighestLevelWanted)
{
    mDatabase.SetEntry(mKey, "5");

    EXPECT_TRUE(IsEnabled(0));
    EXPECT_TRUE(IsEnabled(5));
    EXPECT_FALSE(IsEnabled(6));
}

TEST_F(TraceSwitch, IsOnForAllLevelsWhereItIsTrue)
{
    mDatabase.SetEntry(mKey, "true");

    EXPECT_TRUE(IsEnabled(std::numeric_limits<int>::max()));
}

TEST_F(TraceSwitch, IsOffWhereItIsNeitherANumberNorTrue)
{
    for (const char* const text : {"", "false", "True", "5x", " 5", "five"}) {
        mDatabase.SetEntry(mKey, text);
        EXPECT_FALSE(IsEnabled(0)) << text;
    }
}

TEST_F(TraceSwitch, OfAllCategoriesCountsWhereTheCategoryHasNone)
{
    mDatabase.SetEntry("trace.*", "5");
    EXPECT_TRUE(IsEnabled(5));
    EXPECT_TRUE(TraceEnabled(Text("another"), 5, false));

    mDatabase.SetEntry(mKey, "4");
    EXPECT_FALSE(IsEnabled(5));
    EXPECT_TRUE(IsEnabled(4));

    mDatabase.SetEntry(mKey, "false");
    EXPECT_FALSE(IsEnabled(0));
}

TEST_F(TraceSwitch, MovesTheChangeCountWhenItChanges)
{
    std::uint32_t last = TraceChangeCount();
    const auto moved = [&last] {
        const std::uint32_t before = last;
        last = TraceChangeCount();
        return last != before;
    };

    mDatabase.SetEntry(mKey, "5");
    EXPECT_TRUE(moved());
    mDatabase.SetEntry(mKey, "6");
    EXPECT_TRUE(moved());
    mDatabase.RemoveEntry(mKey);
    EXPECT_TRUE(moved());
    mDatabase.SetEntry("trace.*", "5");
    EXPECT_TRUE(moved());
}

TEST_F(TraceSwitch, LeavesTheChangeCountWhereNothingChanges)
{
    mDatabase.SetEntry(mKey, "5");
    const std::uint32_t count = TraceChangeCount();

    mDatabase.SetEntry(mKey, "5");
    mDatabase.RemoveEntry("trace.absent");
    mDatabase.SetEntry("tests.Switch", "5");
    mDatabase.RemoveEntry("tests.Switch");
    IsEnabled(5);

    EXPECT_EQ(TraceChangeCount(), count);
}

// A site that has never asked remembers the greatest number, and must then ask.
TEST_F(TraceSwitch, DoesNotStartItsCountWithWhatASiteStartsWith)
{
    EXPECT_NE(sCountAtStart, 0xFFFFFFFFU);
}

TEST_F(TraceSwitch, IsSeenByASiteThatSeesTheCountMove)
{
    const std::uint32_t before = TraceChangeCount();
    std::thread host([this] { mDatabase.SetEntry(mKey, "5"); });

    while (TraceChangeCount() == before) {
        std::this_thread::yield();
    }

    EXPECT_TRUE(IsEnabled(5));
    host.join();
}

// In a child process, because the file is opened once a process.
class TraceDeathTest : public testing::Test {
protected:
    TraceDeathTest()
    {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        RemoveEnvironment("KEL_TRACE_FILE");
    }
    ~TraceDeathTest() override { RemoveEnvironment("KEL_TRACE_FILE"); }

    [[noreturn]] static void TraceAndExit(const char* text)
    {
        Trace(Text(text));
        std::exit(0);
    }

    const TestFolder mFolder; // NOLINT(readability-identifier-naming)
};

TEST_F(TraceDeathTest, WritesToStandardErrorAsItIs)
{
    EXPECT_EXIT(TraceAndExit("<1> 100%s\n"), ExitedWithCode(0), "^<1> 100%s\n$");
}

TEST_F(TraceDeathTest, WritesToStandardErrorWhereTheFileNameIsEmpty)
{
    SetEnvironment("KEL_TRACE_FILE", "");

    EXPECT_EXIT(TraceAndExit("line\n"), ExitedWithCode(0), "^line\n$");
}

TEST_F(TraceDeathTest, AppendsToTheNamedFile)
{
    SetEnvironment("KEL_TRACE_FILE", mFolder.Write("trace.txt", "earlier\n"));

    EXPECT_EXIT(TraceAndExit("line\n"), ExitedWithCode(0), "^$");

    EXPECT_EQ(mFolder.Read("trace.txt"), "earlier\nline\n");
}

TEST_F(TraceDeathTest, MakesTheNamedFile)
{
    SetEnvironment("KEL_TRACE_FILE", mFolder.Path("trace.txt"));

    EXPECT_EXIT(TraceAndExit("line\n"), ExitedWithCode(0), "^$");

    EXPECT_EQ(mFolder.Read("trace.txt"), "line\n");
}

TEST_F(TraceDeathTest, SaysOnceThatTheFileCannotBeWrittenAndUsesStandardError)
{
    SetEnvironment("KEL_TRACE_FILE", mFolder.Path("absent/trace.txt"));

    EXPECT_EXIT(
        {
            Trace(Text("first\n"));
            TraceAndExit("second\n");
        },
        ExitedWithCode(0),
        ContainsRegex("^trace file [^\n]*absent/trace.txt is not used: [^\n]*\nfirst\nsecond\n$"));
}

// How often each line came through a pipe, which takes a long line in pieces.
using LineCounts = std::map<std::string, int>;

LineCounts ReadLines(const std::filesystem::path& pipe, int count)
{
    LineCounts lines;
    std::ifstream file(pipe);
    for (std::string line; count > 0 && std::getline(file, line); --count) {
        ++lines[line];
    }
    return lines;
}

void TraceManyTimes(const std::string& line, int count)
{
    for (int i = 0; i < count; ++i) {
        Trace(Text((line + "\n").c_str()));
    }
}

// Whether the long lines of several threads come through a pipe whole.
bool KeepsLinesWhole(const std::filesystem::path& pipe)
{
    constexpr int kLines = 50;
    constexpr std::size_t kLength = 100'000;
    LineCounts expected;
    std::vector<std::thread> threads;
    for (const char letter : {'a', 'b', 'c', 'd'}) {
        const std::string line(kLength, letter);
        expected[line] = kLines;
        threads.emplace_back(TraceManyTimes, line, kLines);
    }
    const LineCounts lines = ReadLines(pipe, 4 * kLines);
    for (std::thread& thread : threads) {
        thread.join();
    }
    return lines == expected;
}

TEST_F(TraceDeathTest, KeepsTheLinesOfManyThreadsWhole)
{
    const auto pipe = mFolder.Path("pipe");
    SetEnvironment("KEL_TRACE_FILE", pipe);

    EXPECT_EXIT(
        {
            mkfifo(pipe.c_str(), S_IRUSR | S_IWUSR);
            std::exit(KeepsLinesWhole(pipe) ? 0 : 1);
        },
        ExitedWithCode(0), "");
}

} // namespace
} // namespace kelcore::debug
