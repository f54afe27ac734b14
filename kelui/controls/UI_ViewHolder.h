// The controls of one dialog, by ID.

#pragma once

#include "kelcore/utility/UTF16String.h"
#include "kelui/controls/UI_Control.h"

#include <boost/intrusive_ptr.hpp>

#include <memory>
#include <vector>

namespace kelui::controls {

/// Keeps the controls as long as it lives; the set never changes once the dialog is made.
class UI_ViewHolder {
public:
    UI_ViewHolder()
        : mGuard(std::make_shared<ControlGuard>())
    {
    }

    /// The control with that ID, or null. [any thread]
    boost::intrusive_ptr<UI_Control> GetControlForID(const kelcore::utility::UTF16String& id) const;

    void AddControl(boost::intrusive_ptr<UI_Control> control);
    const std::vector<boost::intrusive_ptr<UI_Control>>& GetControls() const { return mControls; }
    const std::shared_ptr<ControlGuard>& GetGuard() const { return mGuard; }

private:
    std::shared_ptr<ControlGuard> mGuard;
    std::vector<boost::intrusive_ptr<UI_Control>> mControls;
};

} // namespace kelui::controls
