#include "deck/cli/DemoTable.h"

#include <cstdlib>
#include <unistd.h>

namespace deck::cli {
namespace {

constexpr int kNameColumn = 2;
constexpr int kBytesColumn = 17;
constexpr int kCallColumn = 57;
constexpr int kMTCColumn = 77;
constexpr int kMarkColumn = 97;
constexpr char kPlain[] = "";
constexpr char kBold[] = "\x1b[1m";
constexpr char kDim[] = "\x1b[2m";
constexpr char kGreen[] = "\x1b[32m";
constexpr char kYellow[] = "\x1b[33m";
constexpr char kCyan[] = "\x1b[36m";
constexpr char kRed[] = "\x1b[31m";
constexpr char kReset[] = "\x1b[0m";

int Columns(const std::string& text)
{
    int columns = 0;
    for (const char byte : text) {
        columns += (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U ? 1 : 0;
    }
    return columns;
}

} // namespace

bool WantsColor()
{
    const char* const noColor = std::getenv("NO_COLOR");
    return isatty(STDOUT_FILENO) != 0 && (noColor == nullptr || *noColor == '\0');
}

DemoTable::DemoTable(std::ostream& out, bool color)
    : mOut(out)
    , mColor(color)
{
}

void DemoTable::Begin()
{
    Write(kNameColumn, "the controller", kBold);
    Write(kBytesColumn, "its bytes", kBold);
    Write(kCallColumn, "call on the deck", kBold);
    Write(kMTCColumn, "MTC that came out", kBold);
    EndLine();
    std::string rule;
    for (int column = kNameColumn; column <= kMarkColumn; ++column) {
        rule += "─";
    }
    Write(kNameColumn, rule, kDim);
    EndLine();
}

void DemoTable::BeginStep(const std::string& name, const std::string& bytes)
{
    Write(kNameColumn, name, kBold);
    Write(kBytesColumn, bytes, kDim);
}

void DemoTable::AddCall(const std::string& text)
{
    Write(kCallColumn, text, kCyan);
}

void DemoTable::AddMTC(const std::string& text)
{
    Write(kMTCColumn, text, kYellow);
}

void DemoTable::EndStep(bool isDone, const std::string& complaint)
{
    Write(kMarkColumn, isDone ? "✓" : "✗", isDone ? kGreen : kRed);
    EndLine();
    if (!isDone) {
        Write(kBytesColumn, complaint, kRed);
        EndLine();
    }
}

void DemoTable::Write(int column, const std::string& text, const char* color)
{
    if (mColumn > column) {
        EndLine();
    }
    mOut << std::string(static_cast<std::size_t>(column - mColumn), ' ');
    mOut << (mColor ? color : kPlain) << text << (mColor ? kReset : kPlain) << std::flush;
    mColumn = column + Columns(text);
}

void DemoTable::EndLine()
{
    mOut << std::endl;
    mColumn = 0;
}

} // namespace deck::cli
