#ifndef TOVA_IKINE_TOVA_IKINE_H
#define TOVA_IKINE_TOVA_IKINE_H
#include "math/tova_mathfuncs.h"
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

typedef enum IkineResult {       /* returned as int32_t */
    IKINE_OK              =  0,  /* solution within all limits */
    IKINE_NO_CANDIDATE    = -1,  /* no candidate inside the joint bounds */
    IKINE_OUT_OF_LIMIT    = -2,  /* chosen solution outside a modeling limit */
    IKINE_NO_SOLVER       = -4   /* robot type without solver (2, or above 8) */
} IkineResult;

#ifdef __cplusplus
}
#endif
#endif
