// Functions of CApiFromC.c, a C translation unit.
#ifndef TESSIVO_TESTS_RADARSDK_CAPIFROMC_H
#define TESSIVO_TESTS_RADARSDK_CAPIFROMC_H

#include <ifxBase/Error.h>

#ifdef __cplusplus
extern "C" {
#endif

// Writes 4.0 at (1, 2) through a view of slice 1 of a 2 x 3 x 2 cube and
// returns the cube's element (1, 2, 1).
float ifx_test_c_cube_slice(void);
// The error of ifx_segmentation_create for a zero-filled configuration
// with a 6-element width vector; IFX_OK if a handle was made.
ifx_Error_t ifx_test_c_zero_config_error(void);

#ifdef __cplusplus
}
#endif

#endif
