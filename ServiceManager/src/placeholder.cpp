#include "PlatformStore.h"
