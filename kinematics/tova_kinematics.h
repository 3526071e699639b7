#ifndef TOVA_KINEMATICS_TOVA_KINEMATICS_H
#define TOVA_KINEMATICS_TOVA_KINEMATICS_H
#include "math/tova_mathfuncs.h"
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif
#endif
