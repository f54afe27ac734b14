// The demo's table, written as things happen: cell by cell, never backwards.

#pragma once

#include <ostream>
#include <string>

namespace deck::cli {

class DemoTable {
public:
    /// `color` writes ANSI colours.
    DemoTable(std::ostream& out, bool color);

    void Begin();
    void BeginStep(const std::string& name, const std::string& bytes);
    void AddCall(const std::string& text);
    void AddMTC(const std::string& text);
    void EndStep(bool isDone, const std::string& complaint);

private:
    void Write(int column, const std::string& text, const char* color);
    void EndLine();

    std::ostream& mOut;
    bool mColor;
    int mColumn = 0; // where the next character would stand
};

/// True where standard output is a terminal and NO_COLOR is not set.
bool WantsColor();

} // namespace deck::cli
