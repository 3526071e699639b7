/* A plain C11 caller: the umbrella header compiles as C, the records have the
 * documented layout, and a few calls through the shared library work. */
#include "tova_algorithm.h"

#include <math.h>
#include <stddef.h>
#include <stdio.h>

_Static_assert(sizeof(Matrix) == 68, "Matrix layout");
_Static_assert(sizeof(MatrixMore) == 200, "MatrixMore layout");
_Static_assert(sizeof(Pose) == 40, "Pose layout");
_Static_assert(offsetof(Pose, euler) == 28, "Pose field order");
_Static_assert(sizeof(DhTable) == 256, "DhTable layout");
_Static_assert(sizeof(JointConfig) == 68, "JointConfig layout");
_Static_assert(sizeof(RobotFeedback) == 284, "RobotFeedback layout");
_Static_assert(sizeof(DynamicsParams) == 608, "DynamicsParams layout");
_Static_assert(sizeof(RobotConfig) == 2240, "RobotConfig layout");
_Static_assert(sizeof(mat) == 1608, "mat layout");
_Static_assert(sizeof(AlgoMatrix) == 332, "AlgoMatrix layout");
_Static_assert(sizeof(IkNumericalRequest) == 144, "IkNumericalRequest layout");
_Static_assert(sizeof(Lpf3State) == 64, "Lpf3State layout");
_Static_assert(sizeof(Lpf3StateDouble) == 128, "Lpf3StateDouble layout");
_Static_assert(sizeof(void *) != 8 || sizeof(DynMatrix) == 16, "DynMatrix layout");

static int failures = 0;
static int checks = 0;

static void check(int ok, const char *what) {
    ++checks;
    if (!ok) {
        ++failures;
        printf("FAILED: %s\n", what);
    }
}

int main(void) {
    check(libalgo_init() == 0, "libalgo_init returns 0");
    check(libalgo_get_rbt_dof() == 6, "vesk has six joints");
    check(libalgo_set_robot_and_sensor_type(ROBOT_QUELL, 2) == 0, "quell with sensor 2");
    check(libalgo_get_rbt_dof() == 7, "quell has seven joints");
    check(libalgo_set_robot_and_sensor_type(2, 0) == -1, "type 2 refused");

    Euler e = {0.3f, -0.2f, 1.1f};
    Matrix R = euler_to_matrix(e);
    Euler back = matrix_to_euler(R);
    check(fabsf(back.rx - e.rx) < 1e-5f && fabsf(back.ry - e.ry) < 1e-5f &&
              fabsf(back.rz - e.rz) < 1e-5f,
          "Euler round trip through a matrix");

    Matrix T = unit_matrix(4);
    T.data[0][3] = 1.0f;
    Matrix Ti = matrix_inv_coordinate_system(&T);
    check(Ti.rows == 4 && Ti.cols == 4 && Ti.data[0][3] == -1.0f, "inverse transform");

    printf("c_api: %d passed, %d failed\n", checks - failures, failures);
    return failures == 0 ? 0 : 1;
}
