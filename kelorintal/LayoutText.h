// A dialog's layout: a Designer file, and the controls that it declares.

#pragma once

#include "kelui/controls/UI_ViewHolder.h"
#include "kelui/utility/ResourceManager.h"

#include <string>

namespace kelorintal {

/// What was read of a layout, or why there is none.
struct LayoutText {
    std::string text;   // UTF-8; empty: no layout
    std::string whyNot; // where `text` is empty
};

/// The layout resource "`name`.ui", else "`otherName`.ui". Null arguments find nothing.
/// [any thread, may block]
LayoutText ReadLayout(
    const kelui::utility::ResourceManager* resources, const char* name, const char* otherName);

/// Makes the controls that `layout` declares, in the state it gives them: a QComboBox is a popup,
/// a QCheckBox a checkbox. What is wrong with the layout, or an empty text. [any thread]
std::string MakeControls(const std::string& layout, kelui::controls::UI_ViewHolder& holder);

} // namespace kelorintal
