#include "kelui/utility/OS_ResourceManager.h"

#include "kelui/drawbot/SupplierInterface.h"
#include "tests/kelcore/TestFolder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

using kelui::utility::OS_ResourceManager;

namespace {

// A bundle whose resources lie in the folder of the test.
struct FakeBundle {
    std::string resources; // empty: the bundle has no such folder
    int released = 0;
};
FakeBundle sBundle;

CFBundleRef Bundle()
{
    return reinterpret_cast<CFBundleRef>(&sBundle);
}

struct OS_ResourceManagerTest : testing::Test {
    OS_ResourceManagerTest() { sBundle = {}; }

    kelcore::tests::TestFolder folder;
};

} // namespace

// These stand before the service's own: what is tested is what we ask of them.
extern "C" CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef)
{
    return sBundle.resources.empty() ? nullptr : reinterpret_cast<CFURLRef>(&sBundle);
}

extern "C" Boolean CFURLGetFileSystemRepresentation(
    CFURLRef, Boolean resolveAgainstBase, UInt8* buffer, CFIndex bufferLength)
{
    const auto length = static_cast<CFIndex>(sBundle.resources.size() + 1);
    if (length > bufferLength || resolveAgainstBase == 0) {
        return 0;
    }
    std::memcpy(buffer, sBundle.resources.c_str(), static_cast<std::size_t>(length));
    return 1;
}

extern "C" void CFRelease(CFTypeRef)
{
    ++sBundle.released;
}

namespace {

TEST_F(OS_ResourceManagerTest, FindsAFileOfTheBundle)
{
    const auto path = folder.Write("Layout.ui", "x");
    sBundle.resources = folder.Path("").string();

    EXPECT_EQ(OS_ResourceManager(Bundle()).FindResource("Layout.ui"), path);
}

TEST_F(OS_ResourceManagerTest, FindsNeitherFoldersNorWhatIsNotThere)
{
    folder.Write("folder/Layout.ui", "x");
    sBundle.resources = folder.Path("").string();
    const OS_ResourceManager resources(Bundle());

    EXPECT_FALSE(resources.FindResource("folder"));
    EXPECT_FALSE(resources.FindResource("Layout.ui"));
    EXPECT_TRUE(resources.FindResource("folder/Layout.ui"));
}

TEST_F(OS_ResourceManagerTest, FindsNothingInANullBundle)
{
    sBundle.resources = folder.Path("").string();
    folder.Write("Layout.ui", "x");

    EXPECT_FALSE(OS_ResourceManager(nullptr).FindResource("Layout.ui"));
}

TEST_F(OS_ResourceManagerTest, FindsNothingWithoutAResourcesFolder)
{
    EXPECT_FALSE(OS_ResourceManager(Bundle()).FindResource("Layout.ui"));
    EXPECT_EQ(sBundle.released, 0);
}

TEST_F(OS_ResourceManagerTest, FindsNothingWhereThePathIsTooLong)
{
    sBundle.resources.assign(5000, 'x');

    EXPECT_FALSE(OS_ResourceManager(Bundle()).FindResource("Layout.ui"));
}

TEST_F(OS_ResourceManagerTest, ReleasesWhatTheBundleGave)
{
    sBundle.resources = folder.Path("").string();

    const OS_ResourceManager resources(Bundle());

    EXPECT_EQ(sBundle.released, 1);
}

TEST(NewOSSupplier, MakesASupplierEachTime)
{
    const auto first = kelui::drawbot::NewOSSupplier();
    const auto second = kelui::drawbot::NewOSSupplier();

    EXPECT_NE(first, nullptr);
    EXPECT_NE(first, second);
}

} // namespace
