#ifndef TOVA_KINEMATICS_MATRIX_TOOL_H
#define TOVA_KINEMATICS_MATRIX_TOOL_H
#include <stdint.h>
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

typedef struct AlgoMatrix {
    int32_t rows;                /* 1..9 in use */
    int32_t cols;                /* 1..9 in use */
    float   data[9][9];          /* row-major, row stride 9; zero outside rows x cols */
} AlgoMatrix;

#ifdef __cplusplus
}
#endif
#endif
