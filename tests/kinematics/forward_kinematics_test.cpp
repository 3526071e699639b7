// Forward kinematics: every closed form against the universal DH chain, the
// entries each family reads, the model dispatch and the frame composition.
#include <functional>

#include "fk_fixture.hpp"

using namespace fk_test;

namespace {

struct Family {
    Matrix *(*transform)(Matrix *, const float *);
    Matrix *(*rotation)(Matrix *, const float *);
    float *(*position)(float *, const float *);
    std::vector<int> d_read, a_read;
    bool reads_offset;
};

Family family_of(uint32_t type) {
    switch (type) {
    case ROBOT_QUELL:
        return {forward_kinematics_e_quell, forward_kinematics_rotate_quell,
                forward_kinematics_pos_quell, {0, 2, 4, 6}, {}, false};
    case ROBOT_PIRRA_2:
        return {forward_kinematics_e_pirra_2, forward_kinematics_rotate_pirra_2,
                forward_kinematics_pos_pirra_2, {0, 3, 5}, {1, 2, 3}, false};
    case ROBOT_PIRRA_3:
        return {forward_kinematics_e_pirra_3, forward_kinematics_rotate_pirra_3,
                forward_kinematics_pos_pirra_3, {0, 1, 3, 5}, {1, 2, 3}, true};
    case ROBOT_LUMO_A:
    case ROBOT_LUMO_B:
    case ROBOT_LUMO_C:
        return {forward_kinematics_e_lumo, forward_kinematics_rotate_lumo,
                forward_kinematics_pos_lumo, {0, 3, 4, 5}, {1, 2, 3}, true};
    case ROBOT_TALDO:
        return {forward_kinematics_e_taldo, forward_kinematics_rotate_taldo,
                forward_kinematics_pos_taldo, {0, 1, 2, 3, 4, 5, 6}, {0, 1, 2, 3, 4, 5, 6}, true};
    default:
        return {forward_kinematics_e_vesk, forward_kinematics_rotate_vesk,
                forward_kinematics_pos_vesk, {0, 3, 5}, {2}, true};
    }
}

bool contains(const std::vector<int> &v, int x) {
    for (int e : v)
        if (e == x) return true;
    return false;
}

Matrix fk_e(const std::vector<float> &q) {
    Matrix m;
    forward_kinematics_e(&m, q.data());
    return m;
}

Matrix chain(const std::vector<float> &q, const char *frame = "T0n", const char *mode = "machine") {
    return kin_universal_kinematics_Tn(q.data(), mode, frame);
}

class EveryModel : public ::testing::TestWithParam<ModelCase> {
  protected:
    void SetUp() override { select(GetParam().type, GetParam().sensor); }
    static constexpr int kSamples = 2000;
};

TEST_P(EveryModel, ClosedFormMatchesUniversalChain) {
    JointSampler sampler(11 + GetParam().type * 7 + GetParam().sensor);
    double worst = 0.0;
    for (int n = 0; n < kSamples; ++n) {
        const auto q = sampler.next();
        const Matrix F = fk_e(q);
        ASSERT_EQ(F.rows, 4);
        ASSERT_EQ(F.cols, 4);
        ASSERT_EQ(F.data[3][0], 0.0f);
        ASSERT_EQ(F.data[3][1], 0.0f);
        ASSERT_EQ(F.data[3][2], 0.0f);
        ASSERT_EQ(F.data[3][3], 1.0f);
        worst = std::fmax(worst, max_abs_diff(F, chain(q)));
    }
    EXPECT_LE(worst, 2e-5);
}

TEST_P(EveryModel, RotationAndPositionRoutinesAgreeWithTransform) {
    const Family fam = family_of(GetParam().type);
    JointSampler sampler(23 + GetParam().type);
    for (int n = 0; n < kSamples / 4; ++n) {
        const auto q = sampler.next();
        Matrix T, R, E, Rf;
        float p[3], pe[3];
        fam.transform(&T, q.data());
        fam.rotation(&R, q.data());
        forward_kinematics_e(&E, q.data());
        forward_kinematics_rotate_flange(&Rf, q.data());
        forward_kinematics_pos(pe, q.data());
        fam.position(p, q.data());
        ASSERT_TRUE(same_bits(T, E)) << "dispatch reaches the family's closed form";
        ASSERT_EQ(R.rows, 3);
        ASSERT_EQ(R.cols, 3);
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(R.data[i][3], 0.0f);
            EXPECT_EQ(R.data[3][i], 0.0f);
        }
        EXPECT_LE(max_abs_diff(R, T, 3, 3), 1e-6);
        EXPECT_LE(max_abs_diff(Rf, T, 3, 3), 1e-6);  // identity install and work frames
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR(p[i], T.data[i][3], 1e-6);
            EXPECT_NEAR(pe[i], T.data[i][3], 1e-6);
        }
    }
}

// Each family reads exactly its listed DH entries: edits of those keep the
// closed form on the chain, edits of anything else (twists included) leave it
// bit for bit unchanged.
TEST_P(EveryModel, ReadsExactlyItsListedEntries) {
    const Family fam = family_of(GetParam().type);
    const int dof = libalgo_get_rbt_dof();
    DhTable base;
    libalgo_get_dh_value(&base);
    JointSampler sampler(31 + GetParam().type);
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> len(-0.04f, 0.04f), ang(-0.3f, 0.3f);

    DhTable listed = base, unlisted = base;
    for (int i = 0; i < dof; ++i) {
        (contains(fam.d_read, i) ? listed : unlisted).d[i] += len(rng);
        (contains(fam.a_read, i) ? listed : unlisted).a[i] += len(rng);
        (fam.reads_offset ? listed : unlisted).offset[i] += ang(rng);
        unlisted.alpha[i] += ang(rng);
    }
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

std::string case_name(const ::testing::TestParamInfo<ModelCase> &info) { return info.param.name; }
INSTANTIATE_TEST_SUITE_P(Models, EveryModel, ::testing::ValuesIn(all_model_cases()), case_name);

// ---- quirks of the dispatch ----

TEST(ForwardDispatch, VeskMovesWithOffsetButIgnoresAlpha) {
    select(ROBOT_VESK, 0);
    const std::vector<float> q(8, 0.0f);
    DhTable dh;
    libalgo_get_dh_value(&dh);
    const Matrix at_zero = fk_e(q);
    // Offsets (0, 90, 90, 0, 0, 0) deg stretch the arm straight up.
    EXPECT_NEAR(at_zero.data[0][3], 0.0f, 1e-6);
    EXPECT_NEAR(at_zero.data[1][3], 0.0f, 1e-6);
    EXPECT_NEAR(at_zero.data[2][3], dh.d[0] + dh.a[2] + dh.d[3] + dh.d[5], 1e-6);

    DhTable twisted = dh;
    twisted.alpha[1] = 0.3f;
    libalgo_set_dh_params(&twisted);
    EXPECT_TRUE(same_bits(fk_e(q), at_zero));

    DhTable shifted = dh;
    shifted.offset[1] += 0.2f;
    libalgo_set_dh_params(&shifted);
    EXPECT_GT(max_abs_diff(fk_e(q), at_zero), 0.01);
    // The direct family call reads the current table as well.
    Matrix direct;
    forward_kinematics_e_vesk(&direct, q.data());
    EXPECT_TRUE(same_bits(direct, fk_e(q)));
}

TEST(ForwardDispatch, GenericSevenAxisEvaluatesVeskClosedForm) {
    select(ROBOT_GENERIC_7, 0);
    DhTable dh;
    libalgo_get_dh_value(&dh);
    dh.d[0] = 0.3f;
    dh.a[2] = 0.4f;
    dh.d[3] = 0.35f;
    dh.d[5] = 0.1f;
    dh.offset[1] = 0.5f;
    libalgo_set_dh_params(&dh);
    JointSampler sampler(3);
    for (int n = 0; n < 100; ++n) {
        const auto q = sampler.next();
        Matrix vesk;
        forward_kinematics_e_vesk(&vesk, q.data());
        EXPECT_TRUE(same_bits(fk_e(q), vesk));
    }
}

TEST(ForwardDispatch, RefusedTypeFallsBackToVesk) {
    EXPECT_EQ(libalgo_set_robot_and_sensor_type(2, 0), -1);  // type stays 2, DH zero
    const std::vector<float> q = {0.1f, 0.2f, 0.3f, 0.4f, 0.5f, 0.6f, 0.0f, 0.0f};
    Matrix vesk;
    forward_kinematics_e_vesk(&vesk, q.data());
    EXPECT_TRUE(same_bits(fk_e(q), vesk));
}

// ---- frame composition ----

class FrameComposition : public ::testing::TestWithParam<uint32_t> {
  protected:
    void SetUp() override {
        select(GetParam(), 0);
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
    JointSampler sampler(77);
    for (int n = 0; n < 300; ++n) {
        const auto q = sampler.next();
        const Matrix F = fk_e(q);
        const Mat4d IF = to_d(I) * to_d(F);
        const Mat4d IFT = IF * to_d(T);
        const Mat4d WIF = to_d(W) * IF;
        const Mat4d WIFT = to_d(W) * IFT;

        Matrix m;
        forward_kinematics_world_to_flange(&m, q.data());
        EXPECT_LE(max_abs_diff(m, IF), 1e-5);
        forward_kinematics_for_unity(&m, q.data());
        EXPECT_LE(max_abs_diff(m, IFT), 1e-5);
        // Same product as the library's matrix_m, nested right to left.
        const Matrix FT = matrix_m(&F, &T);
        EXPECT_TRUE(same_bits(m, matrix_m(&I, &FT)));

        forward_kinematics_rotate(&m, q.data());
        EXPECT_EQ(m.rows, 3);
        EXPECT_LE(max_abs_diff(m, WIFT, 3, 3), 1e-5);
        EXPECT_EQ(m.data[0][3], 0.0f);
        forward_kinematics_rotate_flange(&m, q.data());
        EXPECT_LE(max_abs_diff(m, WIF, 3, 3), 1e-5);

        float p[3], pc[3];
        forward_kinematics_pos(p, q.data());
        forward_kinematics_pos_calibration(pc, q.data());
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR(p[i], WIFT.m[i][3], 1e-5);
            EXPECT_NEAR(pc[i], IFT.m[i][3], 1e-5);
        }

        Pose pose;
        forward_kinematics(&pose, q.data());
        EXPECT_NEAR(pose.x, WIFT.m[0][3], 1e-5);
        EXPECT_NEAR(pose.y, WIFT.m[1][3], 1e-5);
        EXPECT_NEAR(pose.z, WIFT.m[2][3], 1e-5);
        EXPECT_LE(max_abs_diff(quat_to_matrix(pose.quaternion), WIFT, 3, 3), 2e-5);
        EXPECT_LE(max_abs_diff(euler_to_matrix(pose.euler), WIFT, 3, 3), 2e-5);
    }
}

TEST_P(FrameComposition, IdentityFramesReduceToFlange) {
    select(GetParam(), 0);  // resets every frame to identity
    JointSampler sampler(78);
    for (int n = 0; n < 100; ++n) {
        const auto q = sampler.next();
        const Matrix F = fk_e(q);
        Matrix a, b;
        forward_kinematics_for_unity(&a, q.data());
        forward_kinematics_world_to_flange(&b, q.data());
        float p[3];
        forward_kinematics_pos(p, q.data());
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j) {
                EXPECT_EQ(a.data[i][j], F.data[i][j]);
                EXPECT_EQ(b.data[i][j], F.data[i][j]);
            }
        for (int i = 0; i < 3; ++i) EXPECT_EQ(p[i], F.data[i][3]);
    }
}

TEST_P(FrameComposition, ToolOffsetMovesAlongFlangeZ) {
    select(GetParam(), 0);
    JointSampler sampler(79);
    const auto q = sampler.next();
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
