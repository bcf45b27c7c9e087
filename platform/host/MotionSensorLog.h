// Log lines of the simulated radar module go to the platform log under their
// own tag (the host platform cannot use the service's log macros: the
// runtime library links the platform).
#ifndef TESSIVO_PLATFORM_HOST_MOTIONSENSORLOG_H
#define TESSIVO_PLATFORM_HOST_MOTIONSENSORLOG_H

#include <dlog.h>

#define MOTION_SENSOR_LOG_TAG "MOTION_SENSOR"

#define MOTION_LOGE(fmt, ...) \
    __dlog_print(LOG_ID_MAIN, DLOG_ERROR, MOTION_SENSOR_LOG_TAG, fmt, ##__VA_ARGS__)
#define MOTION_LOGW(fmt, ...) \
    __dlog_print(LOG_ID_MAIN, DLOG_WARN, MOTION_SENSOR_LOG_TAG, fmt, ##__VA_ARGS__)
#define MOTION_LOGI(fmt, ...) \
    __dlog_print(LOG_ID_MAIN, DLOG_INFO, MOTION_SENSOR_LOG_TAG, fmt, ##__VA_ARGS__)
#define MOTION_LOGD(fmt, ...) \
    __dlog_print(LOG_ID_MAIN, DLOG_DEBUG, MOTION_SENSOR_LOG_TAG, fmt, ##__VA_ARGS__)

#endif
