// Forward kinematics: every closed form against the universal DH chain, the
// entries each family reads, the model dispatch and the frame composition.
#include <algorithm>

#include "fk_fixture.hpp"

using namespace fk_test;

namespace {

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

bool reads(const std::vector<int> &v, int i) { return std::find(v.begin(), v.end(), i) != v.end(); }

Matrix fk_e(const std::vector<float> &q) {
    Matrix m;
    forward_kinematics_e(&m, q.data());
    return m;
}

Matrix chain(const std::vector<float> &q) { return kin_universal_kinematics_Tn(q.data(), "machine", "T0n"); }

class EveryModel : public ::testing::TestWithParam<ModelCase> {
  protected:
    void SetUp() override { select(GetParam().type, GetParam().sensor); }
    uint32_t seed() const { return GetParam().type * 7 + GetParam().sensor; }
};

TEST_P(EveryModel, ClosedFormMatchesUniversalChain) {
    JointSampler sampler(seed());
    double worst = 0.0;
    for (int n = 0; n < 2000; ++n) {
        const auto q = sampler.next();
        const Matrix F = fk_e(q);
        ASSERT_TRUE(F.rows == 4 && F.cols == 4);
        ASSERT_TRUE(F.data[3][0] == 0.0f && F.data[3][1] == 0.0f && F.data[3][2] == 0.0f && F.data[3][3] == 1.0f);
        worst = std::fmax(worst, max_abs_diff(F, chain(q)));
    }
    EXPECT_LE(worst, 2e-5);
}

TEST_P(EveryModel, RotationAndPositionRoutinesAgreeWithTransform) {
    const Family fam = family_of(GetParam().type);
    JointSampler sampler(seed() + 1);
    for (int n = 0; n < 500; ++n) {
        const auto q = sampler.next();
        Matrix T, E, R, Rf, U, WF;
        float p[3], pe[3];
        fam.transform(&T, q.data());
        forward_kinematics_e(&E, q.data());
        ASSERT_TRUE(same_bits(T, E)) << "the dispatch reaches the family's closed form";
        forward_kinematics_for_unity(&U, q.data());  // identity frames: the flange itself
        forward_kinematics_world_to_flange(&WF, q.data());
        EXPECT_TRUE(max_abs_diff(U, T) == 0.0 && max_abs_diff(WF, T) == 0.0);
        fam.rotation(&R, q.data());
        forward_kinematics_rotate_flange(&Rf, q.data());  // identity install and work frames
        fam.position(p, q.data());
        forward_kinematics_pos(pe, q.data());
        ASSERT_TRUE(R.rows == 3 && R.cols == 3);
        for (int i = 0; i < 4; ++i) EXPECT_TRUE(R.data[i][3] == 0.0f && R.data[3][i] == 0.0f);
        EXPECT_LE(max_abs_diff(R, T, 3, 3), 1e-6);
        EXPECT_LE(max_abs_diff(Rf, T, 3, 3), 1e-6);
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR(p[i], T.data[i][3], 1e-6);
            EXPECT_NEAR(pe[i], T.data[i][3], 1e-6);
        }
    }
}

// Edits of the listed DH entries keep the closed form on the chain; edits of
// anything else (twists included) leave it bit for bit unchanged.
TEST_P(EveryModel, ReadsExactlyItsListedEntries) {
    const Family fam = family_of(GetParam().type);
    DhTable base;
    libalgo_get_dh_value(&base);
    std::mt19937 rng(seed());
    std::uniform_real_distribution<float> len(-0.04f, 0.04f), ang(-0.3f, 0.3f);
    DhTable listed = base, unlisted = base;
    for (int i = 0; i < libalgo_get_rbt_dof(); ++i) {
        (reads(fam.d_read, i) ? listed : unlisted).d[i] += len(rng);
        (reads(fam.a_read, i) ? listed : unlisted).a[i] += len(rng);
        (fam.reads_offset ? listed : unlisted).offset[i] += ang(rng);
        unlisted.alpha[i] += ang(rng);
    }
    JointSampler sampler(seed() + 2);
    for (int n = 0; n < 200; ++n) {
        const auto q = sampler.next();
        libalgo_set_dh_params(&base);
        const Matrix before = fk_e(q);
        libalgo_set_dh_params(&unlisted);
        EXPECT_TRUE(same_bits(fk_e(q), before));
        libalgo_set_dh_params(&listed);
        EXPECT_LE(max_abs_diff(fk_e(q), chain(q)), 2e-5);
    }
}

INSTANTIATE_TEST_SUITE_P(Models, EveryModel, ::testing::ValuesIn(all_model_cases()),
                         [](const ::testing::TestParamInfo<ModelCase> &info) { return info.param.name; });

// ---- quirks of the dispatch ----

TEST(ForwardDispatch, VeskMovesWithOffsetButIgnoresAlpha) {
    select(ROBOT_VESK, 0);
    const std::vector<float> q(8, 0.0f);
    DhTable dh;
    libalgo_get_dh_value(&dh);
    const Matrix at_zero = fk_e(q);
    // The offsets (0, 90, 90, 0, 0, 0) deg stretch the arm straight up.
    EXPECT_NEAR(at_zero.data[0][3], 0.0f, 1e-6);
    EXPECT_NEAR(at_zero.data[2][3], dh.d[0] + dh.a[2] + dh.d[3] + dh.d[5], 1e-6);
    DhTable edited = dh;
    edited.alpha[1] = 0.3f;
    libalgo_set_dh_params(&edited);
    EXPECT_TRUE(same_bits(fk_e(q), at_zero));
    edited.offset[1] += 0.2f;
    libalgo_set_dh_params(&edited);
    EXPECT_GT(max_abs_diff(fk_e(q), at_zero), 0.01);
    Matrix direct;  // a direct family call reads the current table too
    forward_kinematics_e_vesk(&direct, q.data());
    EXPECT_TRUE(same_bits(direct, fk_e(q)));
}

TEST(ForwardDispatch, GenericSevenAxisAndRefusedTypesEvaluateVesk) {
    select(ROBOT_GENERIC_7, 0);
    DhTable dh{};
    for (int i = 0; i < 7; ++i) dh.d[i] = dh.a[i] = dh.offset[i] = 0.1f * (i + 1);
    libalgo_set_dh_params(&dh);
    JointSampler sampler(3);
    Matrix vesk;
    for (int n = 0; n < 100; ++n) {
        const auto q = sampler.next();
        forward_kinematics_e_vesk(&vesk, q.data());
        EXPECT_TRUE(same_bits(fk_e(q), vesk));
    }
    EXPECT_EQ(libalgo_set_robot_and_sensor_type(2, 0), -1);  // type stays 2, DH cleared
    const std::vector<float> q = {0.1f, 0.2f, 0.3f, 0.4f, 0.5f, 0.6f, 0.0f, 0.0f};
    forward_kinematics_e_vesk(&vesk, q.data());
    EXPECT_TRUE(same_bits(fk_e(q), vesk));
}

// ---- frame composition ----

class FrameComposition : public ::testing::TestWithParam<uint32_t> {
  protected:
    void SetUp() override { select(GetParam(), 0); }
    void set_frames() {
        const float tool[6] = {0.01f, -0.02f, 0.15f, 0.1f, -0.2f, 0.3f};
        const float work[6] = {0.5f, -0.2f, 0.1f, 0.2f, 0.1f, -0.4f};
        const float inst[3] = {0.3f, -0.1f, 0.5f};
        libalgo_set_tool_cs_params(tool);
        libalgo_set_work_cs_params(work);
        libalgo_set_robot_install_angle(inst);
        libalgo_get_tool_cs_matrix(&T);
        libalgo_get_work_cs_to_base_matrix(&W);
        libalgo_get_robot_install_angle_matrix(&I);
    }
    Matrix T, W, I;
};

TEST_P(FrameComposition, EntryPointsMatchDoubleProducts) {
    set_frames();
    JointSampler sampler(77);
    for (int n = 0; n < 300; ++n) {
        const auto q = sampler.next();
        const Matrix F = fk_e(q);
        const Mat4d IF = to_d(I) * to_d(F), IFT = IF * to_d(T);
        const Mat4d WIF = to_d(W) * IF, WIFT = to_d(W) * IFT;
        Matrix m;
        forward_kinematics_world_to_flange(&m, q.data());
        EXPECT_LE(max_abs_diff(m, IF), 1e-5);
        forward_kinematics_for_unity(&m, q.data());
        EXPECT_LE(max_abs_diff(m, IFT), 1e-5);
        const Matrix FT = matrix_m(&F, &T);  // the library's product, nested right to left
        EXPECT_TRUE(same_bits(m, matrix_m(&I, &FT)));
        forward_kinematics_rotate(&m, q.data());
        EXPECT_TRUE(m.rows == 3 && m.data[0][3] == 0.0f);
        EXPECT_LE(max_abs_diff(m, WIFT, 3, 3), 1e-5);
        forward_kinematics_rotate_flange(&m, q.data());
        EXPECT_LE(max_abs_diff(m, WIF, 3, 3), 1e-5);
        float p[3], pc[3];
        forward_kinematics_pos(p, q.data());
        forward_kinematics_pos_calibration(pc, q.data());
        Pose pose;
        forward_kinematics(&pose, q.data());
        const float pose_p[3] = {pose.x, pose.y, pose.z};
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR(p[i], WIFT.m[i][3], 1e-5);
            EXPECT_NEAR(pc[i], IFT.m[i][3], 1e-5);
            EXPECT_NEAR(pose_p[i], WIFT.m[i][3], 1e-5);
        }
        EXPECT_LE(max_abs_diff(quat_to_matrix(pose.quaternion), WIFT, 3, 3), 2e-5);
        EXPECT_LE(max_abs_diff(euler_to_matrix(pose.euler), WIFT, 3, 3), 2e-5);
    }
}

TEST_P(FrameComposition, ToolOffsetMovesAlongFlangeZ) {
    const auto q = JointSampler(79).next();
    float p0[3], p1[3];
    Matrix r0, r1;
    forward_kinematics_pos(p0, q.data());
    forward_kinematics_rotate_flange(&r0, q.data());
    const float tool[6] = {0.0f, 0.0f, 0.1f, 0.0f, 0.0f, 0.0f};
    libalgo_set_tool_cs_params(tool);
    forward_kinematics_pos(p1, q.data());
    forward_kinematics_rotate_flange(&r1, q.data());
    const Matrix F = fk_e(q);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(p1[i] - p0[i], 0.1f * F.data[i][2], 1e-6);
    EXPECT_TRUE(same_bits(r0, r1));
}

INSTANTIATE_TEST_SUITE_P(Models, FrameComposition,
                         ::testing::Values(ROBOT_VESK, ROBOT_QUELL, ROBOT_LUMO_B, ROBOT_TALDO));

}  // namespace
