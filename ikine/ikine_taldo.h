#ifndef TOVA_IKINE_IKINE_TALDO_H
#define TOVA_IKINE_IKINE_TALDO_H
#include "math/tova_matrix.h"
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif
#endif
