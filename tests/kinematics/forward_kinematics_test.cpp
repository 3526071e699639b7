// Forward kinematics: every closed form against the universal DH chain, the
// entries each family reads, the model dispatch and the frame composition.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "universal_reference.hpp"

namespace {

using ref::frame_of;
using ref::max_abs_diff;
using ref::same_bits;

// A family's three routines and the DH entries its closed form reads.
struct Family {
    Matrix *(*transform)(Matrix *, const float *);
    Matrix *(*rotation)(Matrix *, const float *);
    float *(*position)(float *, const float *);
    std::vector<int> d_read, a_read;
    bool reads_offset;
};

#define TOVA_FAMILY(name) forward_kinematics_e_##name, forward_kinematics_rotate_##name, forward_kinematics_pos_##name
Family family_of(uint32_t type) {
    switch (type) {
    case ROBOT_VESK: return {TOVA_FAMILY(vesk), {0, 3, 5}, {2}, true};
    case ROBOT_QUELL: return {TOVA_FAMILY(quell), {0, 2, 4, 6}, {}, false};
    case ROBOT_PIRRA_2: return {TOVA_FAMILY(pirra_2), {0, 3, 5}, {1, 2, 3}, false};
    case ROBOT_PIRRA_3: return {TOVA_FAMILY(pirra_3), {0, 1, 3, 5}, {1, 2, 3}, true};
    case ROBOT_TALDO: return {TOVA_FAMILY(taldo), {0, 1, 2, 3, 4, 5, 6}, {0, 1, 2, 3, 4, 5, 6}, true};
    default: return {TOVA_FAMILY(lumo), {0, 3, 4, 5}, {1, 2, 3}, true};  // lumo A, B, C
    }
}
#undef TOVA_FAMILY

Matrix fk_e(const std::vector<float> &q) {
    Matrix m;
    forward_kinematics_e(&m, q.data());
    return m;
}

class EveryModel : public ::testing::TestWithParam<ref::ModelCase> {
  protected:
    void SetUp() override { ASSERT_EQ(libalgo_set_robot_and_sensor_type(GetParam().type, GetParam().sensor), 0); }
    std::mt19937 rng{GetParam().type * 7 + GetParam().sensor};
};

// The closed form against the universal chain, its rotation and position
// twins against it, and every entry point against double products of the
// frames (work W, install I, flange F, tool T), composed in that order. The
// chain's frame selectors are the library's own products of the same frames;
// any other selector text gives W I whatever q.
TEST_P(EveryModel, ClosedFormChainAndFrames) {
    const Family fam = family_of(GetParam().type);
    ref::random_frames(rng);
    Matrix Tm, Wm, Im;
    libalgo_get_tool_cs_matrix(&Tm);
    libalgo_get_work_cs_to_base_matrix(&Wm);
    libalgo_get_robot_install_angle_matrix(&Im);
    const Matrix WI = matrix_m(&Wm, &Im);
    double worst = 0.0;
    for (int n = 0; n < 2000; ++n) {
        const auto q = ref::random_q(rng);
        const Matrix F = fk_e(q), A = frame_of(q, "T0n");
        worst = std::fmax(worst, max_abs_diff(F, A));
        Matrix T, R, m;
        float p[3], pc[3];
        fam.transform(&T, q.data());
        ASSERT_TRUE(same_bits(T, F)) << "the dispatch reaches the family's closed form";
        ASSERT_TRUE(F.rows == 4 && F.cols == 4 && F.data[3][0] == 0.0f && F.data[3][1] == 0.0f &&
                    F.data[3][2] == 0.0f && F.data[3][3] == 1.0f);
        fam.rotation(&R, q.data());
        ASSERT_TRUE(R.rows == 3 && R.cols == 3);
        for (int i = 0; i < 4; ++i) EXPECT_TRUE(R.data[i][3] == 0.0f && R.data[3][i] == 0.0f);
        EXPECT_LE(max_abs_diff(R, F, 3, 3), 1e-6);
        fam.position(p, q.data());
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(p[i], F.data[i][3], 1e-6);

        const ref::M4 IF = ref::mul(ref::from(Im), ref::from(F)), IFT = ref::mul(IF, ref::from(Tm));
        const ref::M4 WIF = ref::mul(ref::from(Wm), IF), WIFT = ref::mul(ref::from(Wm), IFT);
        forward_kinematics_world_to_flange(&m, q.data());
        EXPECT_LE(max_abs_diff(m, IF), 1e-5);
        forward_kinematics_for_unity(&m, q.data());
        EXPECT_LE(max_abs_diff(m, IFT), 1e-5);
        const Matrix FT = matrix_m(&F, &Tm);  // the library's product, nested right to left
        const Matrix IFT_m = matrix_m(&Im, &FT);
        EXPECT_TRUE(same_bits(m, IFT_m));
        forward_kinematics_rotate(&m, q.data());
        EXPECT_TRUE(m.rows == 3 && m.data[0][3] == 0.0f);
        EXPECT_LE(max_abs_diff(m, WIFT, 3, 3), 1e-5);
        forward_kinematics_rotate_flange(&m, q.data());
        EXPECT_LE(max_abs_diff(m, WIF, 3, 3), 1e-5);
        forward_kinematics_pos(p, q.data());
        forward_kinematics_pos_calibration(pc, q.data());
        Pose pose;
        forward_kinematics(&pose, q.data());
        EXPECT_TRUE(same_bits(pose, transformation_matrix_to_pose(matrix_m(&Wm, &IFT_m))));
        const float pose_p[3] = {pose.x, pose.y, pose.z};
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR(p[i], WIFT[i][3], 1e-5);
            EXPECT_NEAR(pc[i], IFT[i][3], 1e-5);
            EXPECT_NEAR(pose_p[i], WIFT[i][3], 1e-5);
        }
        EXPECT_LE(max_abs_diff(quat_to_matrix(pose.quaternion), WIFT, 3, 3), 2e-5);
        EXPECT_LE(max_abs_diff(euler_to_matrix(pose.euler), WIFT, 3, 3), 2e-5);

        const Matrix At = matrix_m(&A, &Tm), IA = matrix_m(&Im, &A), IAt = matrix_m(&Im, &At);
        const std::pair<const char *, Matrix> selectors[] = {
            {"T0t", At}, {"Tbn", IA}, {"Tbt", IAt}, {"Twn", matrix_m(&Wm, &IA)}, {"Twt", matrix_m(&Wm, &IAt)}};
        for (const auto &[sel, expected] : selectors) EXPECT_TRUE(same_bits(frame_of(q, sel), expected)) << sel;
        for (const char *other : {"", "T0N", "t0n", "T0n ", "T07"})
            EXPECT_TRUE(same_bits(frame_of(q, other), WI)) << other;
    }
    EXPECT_LE(worst, 2e-5);
}

// Edits of the listed DH entries move the closed form along with the chain;
// edits of anything else (twists included) leave it bit for bit unchanged.
TEST_P(EveryModel, ReadsExactlyItsListedEntries) {
    const Family fam = family_of(GetParam().type);
    auto reads = [](const std::vector<int> &v, int i) { return std::find(v.begin(), v.end(), i) != v.end(); };
    DhTable base;
    libalgo_get_dh_value(&base);
    std::uniform_real_distribution<float> len(-0.04f, 0.04f), ang(-0.3f, 0.3f);
    DhTable listed = base, unlisted = base;
    for (int i = 0; i < libalgo_get_rbt_dof(); ++i) {
        (reads(fam.d_read, i) ? listed : unlisted).d[i] += len(rng);
        (reads(fam.a_read, i) ? listed : unlisted).a[i] += len(rng);
        (fam.reads_offset ? listed : unlisted).offset[i] += ang(rng);
        unlisted.alpha[i] += ang(rng);
    }
    for (int n = 0; n < 200; ++n) {
        const auto q = ref::random_q(rng);
        libalgo_set_dh_params(&base);
        const Matrix before = fk_e(q);
        libalgo_set_dh_params(&unlisted);
        EXPECT_TRUE(same_bits(fk_e(q), before));
        libalgo_set_dh_params(&listed);
        EXPECT_LE(max_abs_diff(fk_e(q), frame_of(q, "T0n")), 2e-5);
        EXPECT_GT(max_abs_diff(fk_e(q), before), 1e-4);
    }
}

INSTANTIATE_TEST_SUITE_P(Models, EveryModel, ::testing::ValuesIn(ref::all_models(true)),
                         [](const auto &info) { return info.param.name; });

// The pose entry takes the homogeneous shortcut through all three products
// and checks only the result; frames that overflow or hold infinities, and NaN
// joints, must still give the step-by-step products' pose (any NaN equal to
// any NaN). The frames change between calls, so a stale copy of them fails too.
TEST(ForwardFrames, NonFiniteFramesAndJointsGiveTheStepwiseProducts) {
    std::mt19937 rng(11);
    ASSERT_EQ(libalgo_set_robot_and_sensor_type(ROBOT_VESK, 0), 0);
    const float inf = std::numeric_limits<float>::infinity(), nan = std::nanf("");
    const float big = 3e38f;
    const float tools[][6] = {{0.01f, 0.02f, 0.1f, 0.1f, 0.2f, 0.3f}, {big, -big, big, 0.1f, 0.2f, 0.3f},
                              {inf, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 0.0f, nan, 0.0f, 0.0f}};
    const float works[][6] = {{0.5f, -0.2f, 0.1f, 0.2f, 0.1f, -0.4f}, {0.0f, inf, 0.0f, 0.0f, 0.0f, 0.0f},
                              {big, big, big, 1.0f, 2.0f, 3.0f}};
    auto same = [](const Pose &a, const Pose &b) {
        const float *x = &a.x, *y = &b.x;
        for (int i = 0; i < 10; ++i)
            if (!(std::isnan(x[i]) && std::isnan(y[i])) && std::memcmp(&x[i], &y[i], sizeof x[i]) != 0) return false;
        return true;
    };
    int non_finite = 0;
    for (const auto &tool : tools)
        for (const auto &work : works)
            for (int n = 0; n < 20; ++n) {
                libalgo_set_tool_cs_params(tool);
                libalgo_set_work_cs_params(work);
                auto q = ref::random_q(rng);
                if (n == 0) q[2] = nan;
                Matrix Tm, Wm, Im, F;
                libalgo_get_tool_cs_matrix(&Tm);
                libalgo_get_work_cs_to_base_matrix(&Wm);
                libalgo_get_robot_install_angle_matrix(&Im);
                forward_kinematics_e(&F, q.data());
                const Matrix FT = matrix_m(&F, &Tm), IFT = matrix_m(&Im, &FT), WIFT = matrix_m(&Wm, &IFT);
                Pose pose;
                forward_kinematics(&pose, q.data());
                ASSERT_TRUE(same(pose, transformation_matrix_to_pose(WIFT))) << n;
                non_finite += !std::isfinite(WIFT.data[0][0] + WIFT.data[1][3] + WIFT.data[2][1]);
            }
    EXPECT_GT(non_finite, 100);
}

// Type 9 (with a table) and a refused type (which keeps its number, with a
// cleared table) evaluate the vesk closed form on the current table.
TEST(ForwardDispatch, GenericSevenAxisAndRefusedTypesEvaluateVesk) {
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> angle(-3.0f, 3.0f);
    for (uint32_t type : {uint32_t(ROBOT_GENERIC_7), 2u}) {
        ref::select({type, 0, false, ""}, rng);  // the generic arm gets a random table
        for (int n = 0; n < 100; ++n) {
            std::vector<float> q(8, 0.0f);
            for (int i = 0; i < 7; ++i) q[i] = angle(rng);
            Matrix vesk;
            forward_kinematics_e_vesk(&vesk, q.data());
            EXPECT_TRUE(same_bits(fk_e(q), vesk)) << type;
        }
    }
}

}  // namespace
