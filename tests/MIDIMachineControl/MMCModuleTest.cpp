#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCModule.h"

#include "kelui/drawbot/SupplierInterface.h"
#include "kelui/utility/ResourceManager.h"

#include <gtest/gtest.h>

namespace mmc::tests {

// The test program is no bundle: the look-up yields nothing, and the manager is made all the same.
TEST(Module, HasAResourceManagerFromInitializeToTerminate)
{
    EXPECT_EQ(module::GetResourceManager(), nullptr);

    module::Initialize();
    ASSERT_NE(module::GetResourceManager(), nullptr);
    EXPECT_FALSE(module::GetResourceManager()->FindResource("MMCMIDIConfig.ui"));

    module::Initialize(); // replaces it
    EXPECT_NE(module::GetResourceManager(), nullptr);

    module::Terminate();
    EXPECT_EQ(module::GetResourceManager(), nullptr);
}

TEST(Module, MakesOneDrawSupplierWhenItIsAskedFor)
{
    auto* supplier = module::GetDrawSupplier();

    EXPECT_NE(supplier, nullptr);
    EXPECT_EQ(module::GetDrawSupplier(), supplier);
    module::Terminate();
    module::Terminate(); // nothing left to destroy
}

} // namespace mmc::tests
