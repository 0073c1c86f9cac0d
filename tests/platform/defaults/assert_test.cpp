// The assertion hook as the library brings it.
#include "platform/check.hpp"

#include <gtest/gtest.h>

namespace
{

TEST(Assertion, IsPassedOverInSilence)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    bool carriedOn = false;
    const auto check = [&](const void *record) {
        KMATH_ASSERT_LINE(329, record);
        KMATH_ASSERT(record);
        carriedOn = true;
    };
    check(nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(carriedOn);
}

} // namespace
