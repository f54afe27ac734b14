#include "tests/acceptance/CommandWords.h"

#include <iomanip>
#include <regex>
#include <sstream>

namespace deck::acceptance {

std::vector<std::string> Words(const std::string& line)
{
    std::istringstream text(line);
    std::vector<std::string> words;
    for (std::string word; text >> std::quoted(word);) {
        words.push_back(word);
    }
    return words;
}

std::vector<std::string> ManExamples(const std::string& page)
{
    std::istringstream text(page);
    std::vector<std::string> examples;
    bool isExample = false;
    for (std::string line; std::getline(text, line);) {
        if (line.starts_with(".SH")) {
            isExample = line == ".SH EXAMPLES";
        } else if (isExample && !line.starts_with('.')) {
            examples.push_back(std::regex_replace(line, std::regex("\\\\-"), "-"));
        }
    }
    return examples;
}

bool RunsUntilEnded(const std::vector<std::string>& arguments)
{
    return !arguments.empty() && (arguments[0] == "run" || arguments[0] == "play")
        && arguments.back() != "--help";
}

} // namespace deck::acceptance
