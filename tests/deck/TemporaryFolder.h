// A folder that goes with the test.

#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace deck::test {

class TemporaryFolder {
public:
    TemporaryFolder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "deck-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        mPath = name;
    }
    ~TemporaryFolder() { std::filesystem::remove_all(mPath); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& Path() const noexcept { return mPath; }

    std::filesystem::path Write(const std::string& name, const std::string& text) const
    {
        std::ofstream(mPath / name, std::ios::binary) << text;
        return mPath / name;
    }
    std::string Read(const std::string& name) const
    {
        std::ostringstream text;
        text << std::ifstream(mPath / name, std::ios::binary).rdbuf();
        return text.str();
    }

private:
    std::filesystem::path mPath;
};

} // namespace deck::test
