// A mark that the user sets or clears.

#pragma once

#include "kelui/controls/UI_Control.h"

#include <cstdint>

namespace kelui::controls {

class UI_Checkbox : public UI_Control {
public:
    UI_Checkbox(std::shared_ptr<ControlGuard> guard, kelcore::utility::UTF16String id);
    ~UI_Checkbox() override;

    /// 1 is checked, every other value is not. [any thread, may block]
    void SetValue(std::int32_t value);
    /// 1 or 0. [any thread, may block]
    std::int32_t GetValue() const;

    /// What a window shows of the checkbox.
    struct State {
        std::int32_t value = 0;
        std::uint64_t version = 0;
    };
    /// [GUI, may block]
    State GetState() const;

    /// The user's mark in a window that showed `version`: refused, with false, where the mark was
    /// set from elsewhere since. [GUI, may block]
    bool TryMark(std::int32_t value, std::uint64_t version);

private:
    std::int32_t mValue = 0; // guarded
};

} // namespace kelui::controls
