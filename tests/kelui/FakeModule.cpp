#include "tests/kelui/FakeModule.h"

#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCModule.h"
#include "kelui/drawbot/SupplierInterface.h"

namespace kelui::tests {

std::unique_ptr<kelui::utility::ResourceManager> sModuleResources;

} // namespace kelui::tests

namespace mmc::module {

kelui::utility::ResourceManager* GetResourceManager() noexcept
{
    return kelui::tests::sModuleResources.get();
}

kelui::drawbot::SupplierInterface* GetDrawSupplier()
{
    static const auto sSupplier = kelui::drawbot::NewOSSupplier();
    return sSupplier.get();
}

} // namespace mmc::module
