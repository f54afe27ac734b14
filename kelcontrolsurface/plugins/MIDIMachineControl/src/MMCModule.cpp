#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCModule.h"

#include "kelui/drawbot/SupplierInterface.h"
#include "kelui/utility/OS_ResourceManager.h"

#include <CoreFoundation/CoreFoundation.h>

#include <memory>

namespace mmc::module {

namespace {

// As in the bundle's Info.plist.
#define MMC_BUNDLE_IDENTIFIER "Korva.MIDIMachineControl"

std::unique_ptr<kelui::utility::ResourceManager> sResourceManager;
std::unique_ptr<kelui::drawbot::SupplierInterface> sDrawSupplier;

} // namespace

void Initialize()
{
    CFBundleRef bundle = CFBundleGetBundleWithIdentifier(CFSTR(MMC_BUNDLE_IDENTIFIER));
    sResourceManager = std::make_unique<kelui::utility::OS_ResourceManager>(bundle);
}

void Terminate() noexcept
{
    sResourceManager.reset();
    sDrawSupplier.reset();
}

kelui::utility::ResourceManager* GetResourceManager() noexcept
{
    return sResourceManager.get();
}

kelui::drawbot::SupplierInterface* GetDrawSupplier()
{
    if (!sDrawSupplier) {
        sDrawSupplier = kelui::drawbot::NewOSSupplier();
    }
    return sDrawSupplier.get();
}

} // namespace mmc::module
