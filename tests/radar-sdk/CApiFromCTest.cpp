// The SDK is a C API: the same headers work from C.
#include <gtest/gtest.h>

#include "CApiFromC.h"

TEST(RadarSdkFromC, MacrosAndViewsWorkInC) {
    EXPECT_FLOAT_EQ(ifx_test_c_cube_slice(), 4.0f);
    EXPECT_EQ(ifx_test_c_zero_config_error(), IFX_ERROR_ARGUMENT_INVALID);
}
