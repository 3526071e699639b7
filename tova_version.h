#ifndef TOVA_TOVA_VERSION_H
#define TOVA_TOVA_VERSION_H
/* Version of the headers; libalgo_get_version() reports the loaded library's,
 * so a caller can detect a header/library mismatch at run time. */
#include <stdint.h>
#include "tova_export.h"

#define TOVA_ALGORITHM_VERSION_MAJOR 1
#define TOVA_ALGORITHM_VERSION_MINOR 0
#define TOVA_ALGORITHM_VERSION_PATCH 0
#define TOVA_ALGORITHM_VERSION_STRING "1.0.0"
/* major * 10000 + minor * 100 + patch */
#define TOVA_ALGORITHM_VERSION                                                  \
    (TOVA_ALGORITHM_VERSION_MAJOR * 10000 + TOVA_ALGORITHM_VERSION_MINOR * 100 + \
     TOVA_ALGORITHM_VERSION_PATCH)

#ifdef __cplusplus
extern "C" {
#endif

/* Version of the loaded library as major * 10000 + minor * 100 + patch. */
TOVA_API uint32_t libalgo_get_version(void);

#ifdef __cplusplus
}
#endif
#endif
