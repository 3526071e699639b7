/* A minimal client of an installed tree: headers, library and version agree. */
#include <stdio.h>
#include <tova_algorithm.h>

int main(void) {
    if (libalgo_get_version() != TOVA_ALGORITHM_VERSION) {
        printf("header version %d, library version %u\n", TOVA_ALGORITHM_VERSION, libalgo_get_version());
        return 1;
    }
    if (libalgo_init() != 0 || libalgo_get_rbt_dof() != 6) return 1;
    Euler e = {0.1f, 0.2f, 0.3f};
    Matrix R = euler_to_matrix(e);
    printf("tova_algorithm %s: R(0,0) = %.6f\n", TOVA_ALGORITHM_VERSION_STRING, R.data[0][0]);
    return 0;
}
