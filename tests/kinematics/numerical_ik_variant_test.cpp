// The tool-frame variant of the numerical inverse kinematics: it
// converges from seeds near the solution wherever the frames are, and each
// success reproduces the target.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "tova_algorithm.h"
#include "universal_reference.hpp"

namespace {

TEST(NumericalIkToolFrame, ConvergesOnReachablePosesWithArbitraryFrames) {
    std::mt19937 rng(23);
    for (const auto &m : ref::all_models()) {
        if (m.type == ROBOT_GENERIC_7) continue;
        ref::select(m, rng);
        std::uniform_real_distribution<float> len(-0.1f, 0.1f), ang(-3.0f, 3.0f);
        const float tool[6] = {len(rng), len(rng), len(rng), ang(rng), ang(rng), ang(rng)};
        const float work[6] = {len(rng), len(rng), len(rng), ang(rng), ang(rng), ang(rng)};
        libalgo_set_tool_cs_params(tool);
        libalgo_set_work_cs_params(work);
        const int n = libalgo_get_rbt_dof();
        int solved = 0;
        const int samples = 40;
        for (int s = 0; s < samples; ++s) {
            const auto q = ref::random_q(rng, 0.35f);
            IkNumericalRequest r{};
            r.max_iterations = 50;
            r.tolerance = 1e-5f;
            std::uniform_real_distribution<float> near(-0.3f, 0.3f);
            for (int i = 0; i < n; ++i) r.seed[i] = q[i] + near(rng);
            r.target_matrix = kin_universal_kinematics_Tn(q.data(), "machine", "Twt");
            float out[7] = {};
            if (ikine_numerical_solution_tool_frame(&r, "T", out) != 0) continue;
            ++solved;
            const Matrix T = kin_universal_kinematics_Tn(out, "machine", "Twt");
            for (int i = 0; i < 3; ++i)
                for (int j = 0; j < 4; ++j) EXPECT_NEAR(T.data[i][j], r.target_matrix.data[i][j], 5e-3) << m.name;
        }
        EXPECT_GE(solved, samples * 9 / 10) << m.name;
    }
}

}  // namespace
