// The radar SDK: version, errors, real containers, frames, device
// configuration and segmentation. Include this one header.
#ifndef IFX_RADAR_SDK_H
#define IFX_RADAR_SDK_H

#include "ifxBase/Cube.h"
#include "ifxBase/Error.h"
#include "ifxBase/Matrix.h"
#include "ifxBase/Types.h"
#include "ifxBase/Vector.h"
#include "ifxBase/Version.h"
#include "ifxRadar/DeviceConfig.h"
#include "ifxRadar/Frame.h"
#include "ifxRadar/Segmentation.h"

#endif
