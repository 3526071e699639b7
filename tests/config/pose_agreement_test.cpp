// The store's own pose-to-matrix conversion and the geometry library's
// pose_euler_to_transformation_matrix are written independently; on random
// poses they agree to f32 rounding.
#include <gtest/gtest.h>

#include <random>

#include "config/libalgo_interface.h"
#include "math/tova_mathfuncs.h"

namespace {

TEST(PoseAgreement, StoreConversionMatchesGeometryLibrary) {
    std::mt19937 rng(4242);
    std::uniform_real_distribution<float> pos(-3.0f, 3.0f), ang(-3.3f, 3.3f);
    for (int n = 0; n < 5000; ++n) {
        const float p[6] = {pos(rng), pos(rng), pos(rng), ang(rng), ang(rng), ang(rng)};
        Pose pose{};
        pose.x = p[0];
        pose.y = p[1];
        pose.z = p[2];
        pose.euler = Euler{p[3], p[4], p[5]};
        const Matrix lib = pose_euler_to_transformation_matrix(pose);
        Matrix store;
        lib_internal_pose_to_matrix(p, &store);
        ASSERT_EQ(lib.rows, store.rows);
        ASSERT_EQ(lib.cols, store.cols);
        for (int r = 0; r < 4; ++r) {
            for (int c = 0; c < 4; ++c) {
                if (r == 3 || c == 3) {
                    EXPECT_EQ(lib.data[r][c], store.data[r][c]) << r << "," << c;
                } else {
                    EXPECT_NEAR(lib.data[r][c], store.data[r][c], 1e-6f) << r << "," << c;
                }
            }
        }
    }
}

}  // namespace
