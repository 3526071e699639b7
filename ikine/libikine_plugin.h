#ifndef TOVA_IKINE_LIBIKINE_PLUGIN_H
#define TOVA_IKINE_LIBIKINE_PLUGIN_H
#include "math/tova_mathfuncs.h"
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif
#endif
