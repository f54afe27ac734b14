#include "korvasdk/controlsurface/plugin/wrapper/SuiteGuard.h"

#include <gtest/gtest.h>

#include <new>

namespace korvasdk::tests {

TEST(Guarded, PassesTheResultOn)
{
    EXPECT_EQ(Guarded([] { return kErrorNotImplemented; }), kErrorNotImplemented);
}

TEST(Guarded, AnswersAnyExceptionWithTheGeneralRefusal)
{
    EXPECT_EQ(Guarded([]() -> KORVASDK_Result { throw std::bad_alloc(); }), kErrorBadParameter);
    EXPECT_EQ(Guarded([]() -> KORVASDK_Result { throw 1; }), kErrorBadParameter);
}

} // namespace korvasdk::tests
