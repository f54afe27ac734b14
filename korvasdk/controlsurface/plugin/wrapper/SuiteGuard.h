// The last line of defence at the host boundary: result codes cross it, exceptions never.

#pragma once

#include "korvasdk/suites/Result.h"

#include <utility>

namespace korvasdk {

/// The result of `call()`, or `kErrorBadParameter`, the plug-in's general refusal, where it
/// throws. Every function in a table that does more than answer runs inside one, unless it ends the
/// process where something throws. [as its caller]
template <typename Call> KORVASDK_Result Guarded(Call&& call) noexcept
{
    try {
        return std::forward<Call>(call)();
    } catch (...) {
        return kErrorBadParameter;
    }
}

} // namespace korvasdk
