#include "tests/midiservice/Clients.h"

#include <filesystem>

#include <dlfcn.h>

namespace midiservice::test {

namespace {

namespace fs = std::filesystem;

/// A bundle's binary, loaded.
class Loaded {
public:
    explicit Loaded(const fs::path& bundle)
        : mLibrary(dlopen((bundle / "Contents/Linux/Sample").c_str(), RTLD_NOW | RTLD_LOCAL))
    {
        EXPECT_NE(mLibrary, nullptr) << dlerror();
    }
    ~Loaded()
    {
        if (mLibrary != nullptr)
            dlclose(mLibrary);
    }

private:
    void* mLibrary;
};

std::string ResourcesOf(CFBundleRef bundle)
{
    UInt8 path[4096] = {};
    const CFURLRef url = CFBundleCopyResourcesDirectoryURL(bundle);
    EXPECT_TRUE(CFURLGetFileSystemRepresentation(url, 1, path, sizeof path));
    CFRelease(url);
    return reinterpret_cast<const char*>(path);
}

TEST(CFBundle, IsFoundByTheIdentifierOfALoadedBinary)
{
    const Loaded loaded(KORVA_TEST_BUNDLE);

    const CFBundleRef bundle = CFBundleGetBundleWithIdentifier(CFSTR("org.example.sample"));

    ASSERT_NE(bundle, nullptr);
    EXPECT_EQ(CFBundleGetBundleWithIdentifier(CFSTR("org.example.sample")), bundle);
    EXPECT_EQ(
        ResourcesOf(bundle), (fs::canonical(KORVA_TEST_BUNDLE) / "Contents/Resources").string());
}

TEST(CFBundle, IsNotFoundByAnotherIdentifier)
{
    const Loaded loaded(KORVA_TEST_BUNDLE);

    EXPECT_EQ(CFBundleGetBundleWithIdentifier(CFSTR("org.example.samples")), nullptr);
    EXPECT_EQ(CFBundleGetBundleWithIdentifier(CFSTR("org.example.nested")), nullptr);
    EXPECT_EQ(CFBundleGetBundleWithIdentifier(CFSTR("")), nullptr);
    EXPECT_EQ(CFBundleGetBundleWithIdentifier(nullptr), nullptr);
}

TEST(CFBundle, IsNotFoundWhileItsBinaryIsNotLoaded)
{
    EXPECT_EQ(CFBundleGetBundleWithIdentifier(CFSTR("org.example.sample")), nullptr);
}

TEST(CFBundle, IsFoundInAPathWithSpacesAndUmlauts)
{
    const fs::path folder = fs::temp_directory_path() / "korva b\xC3\xBCndle test";
    fs::remove_all(folder);
    fs::create_directories(folder);
    fs::copy(KORVA_TEST_BUNDLE, folder / "A B.bundle", fs::copy_options::recursive);
    {
        const Loaded loaded(folder / "A B.bundle");
        const CFBundleRef bundle = CFBundleGetBundleWithIdentifier(CFSTR("org.example.sample"));
        ASSERT_NE(bundle, nullptr);
        EXPECT_EQ(ResourcesOf(bundle),
            (fs::canonical(folder) / "A B.bundle/Contents/Resources").string());
    }
    fs::remove_all(folder);
}

TEST(CFBundle, WithABrokenPropertyListIsPassedOver)
{
    const fs::path folder = fs::temp_directory_path() / "korva broken bundle test";
    fs::remove_all(folder);
    fs::create_directories(folder);
    fs::copy(KORVA_TEST_BUNDLE, folder / "Broken.bundle", fs::copy_options::recursive);
    fs::resize_file(folder / "Broken.bundle/Contents/Info.plist", 300);
    {
        const Loaded loaded(folder / "Broken.bundle");
        EXPECT_EQ(CFBundleGetBundleWithIdentifier(CFSTR("org.example.sample")), nullptr);
    }
    fs::remove_all(folder);
}

TEST(CFURL, SaysNoWhenThePathDoesNotFit)
{
    const Loaded loaded(KORVA_TEST_BUNDLE);
    const CFBundleRef bundle = CFBundleGetBundleWithIdentifier(CFSTR("org.example.sample"));
    const std::string path = ResourcesOf(bundle);
    const CFURLRef url = CFBundleCopyResourcesDirectoryURL(bundle);
    std::vector<UInt8> buffer(path.size() + 1);

    EXPECT_FALSE(CFURLGetFileSystemRepresentation(
        url, 1, buffer.data(), static_cast<CFIndex>(buffer.size() - 1)));
    EXPECT_TRUE(CFURLGetFileSystemRepresentation(
        url, 1, buffer.data(), static_cast<CFIndex>(buffer.size())));
    EXPECT_FALSE(CFURLGetFileSystemRepresentation(nullptr, 1, buffer.data(), 1));
    EXPECT_EQ(CFBundleCopyResourcesDirectoryURL(nullptr), nullptr);
    CFRelease(url);
}

} // namespace

} // namespace midiservice::test
