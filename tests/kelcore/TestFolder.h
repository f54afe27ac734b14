// A folder for the files of one test, gone when the test ends.

#pragma once

#include <filesystem>
#include <string>

namespace kelcore::tests {

/// A death test's child process starts the test anew and gets the folder of its parent, which the
/// parent alone removes.
class TestFolder {
public:
    TestFolder();
    ~TestFolder();
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;

    std::filesystem::path Path(const std::string& name) const { return mPath / name; }

    /// Writes `text` to the file `name`, making the folders above it, and returns its path.
    std::filesystem::path Write(const std::string& name, const std::string& text) const;
    std::string Read(const std::string& name) const;

private:
    std::filesystem::path mPath;
    bool mIsOwner;
};

/// For this process and its children.
void SetEnvironment(const char* name, const std::filesystem::path& value);
void RemoveEnvironment(const char* name);

} // namespace kelcore::tests
