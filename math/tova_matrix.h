#ifndef TOVA_MATH_TOVA_MATRIX_H
#define TOVA_MATH_TOVA_MATRIX_H
#include "math/tova_mathfuncs.h"
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

typedef struct mat {             /* general float matrix, capacity 20 x 20 */
    int32_t rows;                /* 1..20 in valid use */
    int32_t cols;                /* 1..20 in valid use */
    float   data[20][20];        /* row-major, row stride 20 */
} mat;

#ifdef __cplusplus
}
#endif
#endif
