// Size limits shared by every container constructor.
#ifndef TESSIVO_RADARSDK_CONTAINERSIZE_H
#define TESSIVO_RADARSDK_CONTAINERSIZE_H

#include <stdint.h>

#include "ifxBase/Types.h"

namespace radar_sdk {

// Number of elements of an a x b x c container, or 0 when it exceeds
// IFX_MAX_CONTAINER_ELEMENTS. The caller rejects zero sizes first; checking
// after each product keeps the arithmetic far from overflow (2^28 * 2^32 <
// 2^64).
inline uint64_t ContainerElements(uint32_t a, uint32_t b, uint32_t c = 1) {
    const uint64_t ab = static_cast<uint64_t>(a) * b;
    if (ab > IFX_MAX_CONTAINER_ELEMENTS) {
        return 0;
    }
    const uint64_t abc = ab * c;
    return abc > IFX_MAX_CONTAINER_ELEMENTS ? 0 : abc;
}

}  // namespace radar_sdk

#endif
