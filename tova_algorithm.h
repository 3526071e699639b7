#ifndef TOVA_TOVA_ALGORITHM_H
#define TOVA_TOVA_ALGORITHM_H
/* Umbrella header of libtova_algorithm: the whole exported C interface. */
#include "tova_version.h"
#include "math/tova_mathfuncs.h"
#include "math/tova_matrix.h"
#include "math/ulapack_svd.h"
#include "math/tova_static_matrix.h"
#include "config/libalgo_interface.h"
#include "config/tova_ikine_global.h"
#include "kinematics/tova_kinematics.h"
#include "kinematics/kine_taldo.h"
#include "kinematics/tova_universal_kin.h"
#include "kinematics/tova_universal_ikine.h"
#include "kinematics/matrix_tool.h"
#include "ikine/tova_ikine.h"
#include "ikine/libikine_plugin.h"
#include "ikine/ikine_quell.h"
#include "ikine/ikine_taldo.h"
#include "ikine/tova_ikine_utils.h"
#endif
