#include "tova_version.h"

extern "C" uint32_t libalgo_get_version(void) { return TOVA_ALGORITHM_VERSION; }
