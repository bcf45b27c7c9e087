/* The SDK headers compiled as C: a C program can include them and use the
   element macros. The functions here are called by CApiFromCTest.cpp. */
#include <ifxRadarSDK.h>

#include "CApiFromC.h"

float ifx_test_c_cube_slice(void) {
    ifx_Cube_R_t* cube = ifx_cube_create_r(2, 3, 2);
    ifx_Matrix_R_t slice;
    float value;
    if (cube == NULL) {
        return -1.0f;
    }
    ifx_cube_get_slice_r(cube, 1, &slice);
    mAt(&slice, 1, 2) = 4.0f;
    value = cAt(cube, 1, 2, 1);
    ifx_cube_destroy_r(cube);
    return value;
}

ifx_Error_t ifx_test_c_zero_config_error(void) {
    ifx_Segmentation_Config_t config = {0};
    ifx_Segmentation_Handle_t handle;
    ifx_Error_t error;
    config.segment_widths_deg = ifx_vec_create_r(6);
    handle = ifx_segmentation_create(&config);
    error = ifx_error_get();
    ifx_segmentation_destroy(handle);
    ifx_vec_destroy_r(config.segment_widths_deg);
    return handle == NULL ? error : IFX_OK;
}
