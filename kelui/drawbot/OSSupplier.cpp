#include "kelui/drawbot/SupplierInterface.h"

namespace kelui::drawbot {

SupplierInterface::~SupplierInterface() = default;

std::unique_ptr<SupplierInterface> NewOSSupplier()
{
    return std::make_unique<SupplierInterface>();
}

} // namespace kelui::drawbot
