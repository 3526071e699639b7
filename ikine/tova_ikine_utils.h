#ifndef TOVA_IKINE_TOVA_IKINE_UTILS_H
#define TOVA_IKINE_TOVA_IKINE_UTILS_H
#include "math/tova_matrix.h"
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif
#endif
