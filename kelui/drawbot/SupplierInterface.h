// Where a dialog's drawing comes from.

#pragma once

#include <memory>

namespace kelui::drawbot {

/// Qt's widgets draw themselves, so on this toolkit a supplier has no operation: dialogs take one
/// because the host hands them one, and a null supplier serves as well.
class SupplierInterface {
public:
    virtual ~SupplierInterface();
};

/// The supplier of the desktop's own look; never null. [any thread]
std::unique_ptr<SupplierInterface> NewOSSupplier();

} // namespace kelui::drawbot
