// Jacobians against central differences of an independent double-precision
// DH chain, for every model, in the flange, tool and work frames. The
// reference chain takes its convention from the model (the quell and the
// generic arm standard DH, the taldo and every six-axis arm modified), so the
// finite-difference checks also pin the convention rule.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "tova_algorithm.h"
#include "universal_reference.hpp"

namespace {

using ref::M4;

constexpr int kSamples = 500;      // joint vectors per model and frame
constexpr double kStep = 1e-6;     // central-difference step, rad
constexpr double kTol = 4e-5;      // f32 chain of up to seven links, metres and radians

enum class Frame { Flange, Tool, Work };

// Column j of the finite-difference Jacobian in the requested frame.
std::array<double, 6> fd_column(const ref::Arm &arm, const float *qf, int j, Frame frame,
                                const M4 &tool, const M4 &work_inst) {
    double q[8];
    for (int i = 0; i < 8; ++i) q[i] = qf[i];
    auto pose = [&](const double *qq) {
        M4 T = ref::chain(arm, qq, arm.n);
        if (frame != Frame::Flange) T = ref::mul(T, tool);
        if (frame == Frame::Work) T = ref::mul(work_inst, T);
        return T;
    };
    const M4 T0 = pose(q);
    double qp[8], qm[8];
    std::memcpy(qp, q, sizeof q);
    std::memcpy(qm, q, sizeof q);
    qp[j] += kStep;
    qm[j] -= kStep;
    const auto t = ref::twist(pose(qp), pose(qm), kStep, T0);
    return frame == Frame::Work ? t : ref::into_frame(T0, t);
}

class JacobianTest : public ::testing::TestWithParam<ref::ModelCase> {
  protected:
    void SetUp() override { ref::select(GetParam(), rng); }

    void set_random_frames() {
        std::uniform_real_distribution<float> len(-0.2f, 0.2f), ang(-3.0f, 3.0f);
        const float tool[6] = {len(rng), len(rng), len(rng), ang(rng), ang(rng), ang(rng)};
        const float work[6] = {len(rng), len(rng), len(rng), ang(rng), ang(rng), ang(rng)};
        const float inst[3] = {ang(rng), ang(rng), ang(rng)};
        libalgo_set_tool_cs_params(tool);
        libalgo_set_work_cs_params(work);
        libalgo_set_robot_install_angle(inst);
    }

    void check_against_fd(Frame frame, int samples) {
        const ref::Arm arm = ref::current_arm(GetParam().modified);
        Matrix tool, work, inst;
        libalgo_get_tool_cs_matrix(&tool);
        libalgo_get_work_cs_to_base_matrix(&work);
        libalgo_get_robot_install_angle_matrix(&inst);
        const M4 work_inst = ref::mul(ref::from(work), ref::from(inst));
        for (int s = 0; s < samples; ++s) {
            const auto q = ref::random_q(rng);
            const MatrixMore J = frame == Frame::Flange ? kin_calc_jacobe_Jn(q.data(), "machine")
                                 : frame == Frame::Tool ? kin_calc_jacobe_Jt(q.data(), "machine")
                                                        : kin_calc_jacobe_J0(q.data(), "machine");
            ASSERT_EQ(J.rows, 6);
            ASSERT_EQ(J.cols, arm.n);
            for (int j = 0; j < arm.n; ++j) {
                const auto col = fd_column(arm, q.data(), j, frame, ref::from(tool), work_inst);
                for (int r = 0; r < 6; ++r)
                    ASSERT_NEAR(J.data[r][j], col[r], kTol)
                        << GetParam().name << " sample " << s << " row " << r << " column " << j;
            }
        }
    }

    std::mt19937 rng{20240611u};
};

TEST_P(JacobianTest, FlangeFrameMatchesFiniteDifferences) { check_against_fd(Frame::Flange, kSamples); }

TEST_P(JacobianTest, ToolFrameMatchesFiniteDifferences) {
    set_random_frames();
    check_against_fd(Frame::Tool, kSamples);
}

TEST_P(JacobianTest, WorkFrameMatchesFiniteDifferences) {
    set_random_frames();
    check_against_fd(Frame::Work, kSamples);
}

TEST_P(JacobianTest, IdentityToolGivesFlangeJacobianBitForBit) {
    for (int s = 0; s < 50; ++s) {
        const auto q = ref::random_q(rng);
        const MatrixMore Jn = kin_calc_jacobe_Jn(q.data(), "machine");
        const MatrixMore Jt = kin_calc_jacobe_Jt(q.data(), "");  // any text but "modeling" adds offsets
        EXPECT_EQ(std::memcmp(&Jn, &Jt, sizeof Jn), 0);
    }
}

TEST_P(JacobianTest, ModelingModeSkipsTheOffsets) {
    const ref::Arm arm = ref::current_arm(GetParam().modified);
    const auto q = ref::random_q(rng);
    std::vector<float> qm(8, 0.0f);
    for (int i = 0; i < arm.n; ++i) qm[i] = q[i] + arm.dh.offset[i];
    const MatrixMore a = kin_calc_jacobe_Jn(q.data(), "machine");
    const MatrixMore b = kin_calc_jacobe_Jn(qm.data(), "modeling");
    EXPECT_EQ(std::memcmp(&a, &b, sizeof a), 0);
    bool any_offset = false;
    for (int i = 0; i < arm.n; ++i) any_offset |= arm.dh.offset[i] != 0.0f;
    if (any_offset) {
        const MatrixMore c = kin_calc_jacobe_Jn(q.data(), "modeling");
        EXPECT_NE(std::memcmp(&a, &c, sizeof a), 0);
    }
}

INSTANTIATE_TEST_SUITE_P(AllModels, JacobianTest, ::testing::ValuesIn(ref::all_models()),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(JacobianExact, SixAxisLastFlangeColumnIsExactlyTheZAxis) {
    std::mt19937 rng(7);
    for (const auto &m : ref::all_models()) {
        ref::select(m, rng);
        if (libalgo_get_rbt_dof() != 6) continue;
        for (int s = 0; s < 100; ++s) {
            const auto q = ref::random_q(rng);
            const MatrixMore J = kin_calc_jacobe_Jn(q.data(), "machine");
            const float expected[6] = {0, 0, 0, 0, 0, 1};
            for (int r = 0; r < 6; ++r) ASSERT_EQ(J.data[r][5], expected[r]) << m.name;
        }
    }
}

TEST(JacobianExact, NoJointsGivesAnEmptySixRowRecord) {
    libalgo_set_robot_and_sensor_type(2, 0);  // refused: dof stays 0
    ASSERT_EQ(libalgo_get_rbt_dof(), 0);
    const float q[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    for (const MatrixMore &J : {kin_calc_jacobe_Jn(q, "machine"), kin_calc_jacobe_Jt(q, "machine"),
                                kin_calc_jacobe_J0(q, "machine")}) {
        EXPECT_EQ(J.rows, 6);
        EXPECT_EQ(J.cols, 0);
        for (int r = 0; r < 7; ++r)
            for (int c = 0; c < 7; ++c) EXPECT_EQ(J.data[r][c], 0.0f);
    }
}

}  // namespace
