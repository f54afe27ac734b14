#include "TestFolder.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace kelcore::tests {

namespace {

constexpr const char* kParentFolder = "KELCORE_TESTS_FOLDER";

std::filesystem::path MakeFolder()
{
    std::string pattern
        = (std::filesystem::temp_directory_path() / "kelcore_tests.XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no folder for the test's files");
    }
    return pattern;
}

} // namespace

TestFolder::TestFolder()
    : mIsOwner(std::getenv(kParentFolder) == nullptr)
{
    if (mIsOwner) {
        mPath = MakeFolder();
        SetEnvironment(kParentFolder, mPath);
    } else {
        mPath = std::getenv(kParentFolder);
    }
}

TestFolder::~TestFolder()
{
    if (mIsOwner) {
        RemoveEnvironment(kParentFolder);
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
}

std::filesystem::path TestFolder::Write(const std::string& name, const std::string& text) const
{
    std::filesystem::create_directories(Path(name).parent_path());
    std::ofstream(Path(name), std::ios::binary) << text;
    return Path(name);
}

std::string TestFolder::Read(const std::string& name) const
{
    std::ifstream file(Path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void SetEnvironment(const char* name, const std::filesystem::path& value)
{
    setenv(name, value.c_str(), 1);
}

void RemoveEnvironment(const char* name)
{
    unsetenv(name);
}

} // namespace kelcore::tests
