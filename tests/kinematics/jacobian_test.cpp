// Jacobians against central differences of the reference DH chain, for every
// model, in the flange, tool and work frames. The reference takes its
// convention from the model (the quell and the generic arm standard DH, the
// taldo and every six-axis arm modified), so this also pins the convention
// rule. With identity frames: Jt is Jn bit for bit, the modeling mode skips
// exactly the offsets, and a six-axis arm's last column is exactly (0,0,0,0,0,1).
#include <gtest/gtest.h>

#include "universal_reference.hpp"

namespace {

using ref::M4;

constexpr int kSamples = 500;   // joint vectors per model and frame
constexpr double kStep = 1e-6;  // central-difference step, rad
constexpr double kTol = 4e-5;   // f32 chain of up to seven links, metres and radians

enum class Frame { Flange, Tool, Work };

class JacobianTest : public ::testing::TestWithParam<ref::ModelCase> {
  protected:
    void SetUp() override { ref::select(GetParam(), rng); }
    std::mt19937 rng{20240611u};
};

TEST_P(JacobianTest, ColumnsMatchFiniteDifferencesInEveryFrame) {
    for (Frame frame : {Frame::Flange, Frame::Tool, Frame::Work}) {
        if (frame == Frame::Tool) ref::random_frames(rng);
        const ref::Arm arm = ref::current_arm(GetParam().modified);
        bool any_offset = false;
        for (int i = 0; i < arm.n; ++i) any_offset |= arm.dh.offset[i] != 0.0f;
        Matrix tool, work, inst;
        libalgo_get_tool_cs_matrix(&tool);
        libalgo_get_work_cs_to_base_matrix(&work);
        libalgo_get_robot_install_angle_matrix(&inst);
        const M4 work_inst = ref::mul(ref::from(work), ref::from(inst));
        auto pose = [&](const double *q) {  // flange, tool in base, or tool in work frame
            M4 T = ref::chain(arm, q, arm.n);
            if (frame != Frame::Flange) T = ref::mul(T, ref::from(tool));
            return frame == Frame::Work ? ref::mul(work_inst, T) : T;
        };
        for (int s = 0; s < kSamples; ++s) {
            const auto qf = ref::random_q(rng);
            const MatrixMore J = frame == Frame::Flange ? kin_calc_jacobe_Jn(qf.data(), "machine")
                                 : frame == Frame::Tool ? kin_calc_jacobe_Jt(qf.data(), "machine")
                                                        : kin_calc_jacobe_J0(qf.data(), "machine");
            ASSERT_EQ(J.rows, 6);
            ASSERT_EQ(J.cols, arm.n);
            if (frame == Frame::Flange) {  // identity frames; "modeling" takes offset-free angles
                std::vector<float> qm(qf);
                for (int i = 0; i < arm.n; ++i) qm[i] += arm.dh.offset[i];
                EXPECT_TRUE(ref::same_bits(J, kin_calc_jacobe_Jt(qf.data(), "")));  // any text but "modeling"
                EXPECT_TRUE(ref::same_bits(J, kin_calc_jacobe_Jn(qm.data(), "modeling")));
                EXPECT_EQ(ref::same_bits(J, kin_calc_jacobe_Jn(qf.data(), "modeling")), !any_offset);
                for (int r = 0; r < 6 && arm.n == 6; ++r) ASSERT_EQ(J.data[r][5], r == 5 ? 1.0f : 0.0f);
            }
            double q[8];
            std::copy(qf.begin(), qf.end(), q);
            const M4 T0 = pose(q);
            for (int j = 0; j < arm.n; ++j) {
                q[j] = qf[j] + kStep;
                const M4 Tp = pose(q);
                q[j] = qf[j] - kStep;
                const M4 Tm = pose(q);
                q[j] = qf[j];
                const auto t = ref::twist(Tp, Tm, kStep, T0);
                const auto col = frame == Frame::Work ? t : ref::into_frame(T0, t);
                for (int r = 0; r < 6; ++r)
                    ASSERT_NEAR(J.data[r][j], col[r], kTol)
                        << "frame " << int(frame) << " sample " << s << " row " << r << " column " << j;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(AllModels, JacobianTest, ::testing::ValuesIn(ref::all_models()),
                         [](const auto &info) { return info.param.name; });

}  // namespace
