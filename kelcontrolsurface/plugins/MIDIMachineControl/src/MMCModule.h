// What the plug-in's instances share: the resources in its bundle, and what its dialog draws with.

#pragma once

namespace kelui::utility {
class ResourceManager;
}
namespace kelui::drawbot {
class SupplierInterface;
}

namespace mmc::module {

/// Makes a new resource manager on the plug-in's bundle, also where the bundle is not found; one
/// from an earlier call goes. [host, may block]
void Initialize();

/// Destroys the resource manager, then the draw supplier. [host]
void Terminate() noexcept;

/// Null before `Initialize` and after `Terminate`. [host]
kelui::utility::ResourceManager* GetResourceManager() noexcept;

/// Made at the first call. [host]
kelui::drawbot::SupplierInterface* GetDrawSupplier();

} // namespace mmc::module
