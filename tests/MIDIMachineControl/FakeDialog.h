// The configuration dialog with the test as its user.

#pragma once

#include "kelcore/proplist/PropList.h"

#include <functional>

namespace mmc::tests {

/// While one lives, opening the dialog calls `user`, whose answer is the dialog's.
class FakeDialog {
public:
    using User = std::function<bool(void* parentWindow, kelcore::proplist::PropList&)>;

    explicit FakeDialog(User user);
    ~FakeDialog();
    FakeDialog(const FakeDialog&) = delete;
    FakeDialog& operator=(const FakeDialog&) = delete;
};

} // namespace mmc::tests
