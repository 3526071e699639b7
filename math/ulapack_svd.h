#ifndef TOVA_MATH_ULAPACK_SVD_H
#define TOVA_MATH_ULAPACK_SVD_H
#include "math/tova_matrix.h"
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif
#endif
