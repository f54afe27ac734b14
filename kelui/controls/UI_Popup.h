// A list from which the user picks one item.

#pragma once

#include "kelui/controls/UI_Control.h"

#include <cstdint>
#include <vector>

namespace kelui::controls {

/// A popup with items always has one of them selected, the first one to begin with.
class UI_Popup : public UI_Control {
public:
    static constexpr std::int32_t kNothingSelected = -1;

    UI_Popup(std::shared_ptr<ControlGuard> guard, kelcore::utility::UTF16String id);
    ~UI_Popup() override;

    /// Leaves nothing selected. [any thread, may block]
    void DeleteAllItems();
    /// The index of the new item; items may have equal labels. [any thread, may block]
    std::int32_t AddItem(const kelcore::utility::UTF16String& label);
    /// Selects an item; an index that no item has changes nothing. [any thread, may block]
    void SetValue(std::int32_t index);

    /// The selected item's index, or `kNothingSelected`. [any thread, may block]
    std::int32_t GetValue() const;
    std::int32_t GetItemCount() const;

    /// What a window shows of the popup. A copy: the lock is free while the window works.
    struct State {
        std::vector<kelcore::utility::UTF16String> labels;
        std::int32_t value = kNothingSelected;
        std::uint64_t version = 0;
    };
    /// The state, where it is no longer that of `version`; otherwise an empty one of version 0.
    /// [GUI, may block]
    State GetStateAfter(std::uint64_t version) const;

    /// The user's pick in a window that showed `version`: refused, with false, where the items
    /// have changed since, for then the index means another item. [GUI, may block]
    bool TryPick(std::int32_t index, std::uint64_t version);

private:
    bool HasItem(std::int32_t index) const;

    std::vector<kelcore::utility::UTF16String> mLabels; // guarded
    std::int32_t mValue = kNothingSelected;             // guarded
};

} // namespace kelui::controls
