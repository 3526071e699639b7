// DH link transforms and the frame products of the universal chain.
#include "fk_fixture.hpp"
#include "kinematics/frame_product.hpp"
#include "kinematics/universal_kin_internal.hpp"

using namespace fk_test;

namespace {

// Independent double-precision link transforms: modified DH is
// Rx(alpha) Tx(a) Rz(theta) Tz(d), standard DH is Rz(theta) Tz(d) Tx(a) Rx(alpha).
Mat4d rot(double t, bool about_x) {
    const double c = std::cos(t), s = std::sin(t);
    if (about_x) return {{{1, 0, 0, 0}, {0, c, -s, 0}, {0, s, c, 0}, {0, 0, 0, 1}}};
    return {{{c, -s, 0, 0}, {s, c, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
}
Mat4d trans(double x, double z) { return {{{1, 0, 0, x}, {0, 1, 0, 0}, {0, 0, 1, z}, {0, 0, 0, 1}}}; }

TEST(LinkTransforms, MatchElementaryProducts) {
    std::mt19937 rng(9);
    std::uniform_real_distribution<float> ang(-3.0f, 3.0f), len(-0.5f, 0.5f);
    for (int n = 0; n < 2000; ++n) {
        DhTable dh{};
        float q[8];
        const int i = n % 8;
        dh.alpha[i] = ang(rng);
        dh.d[i] = len(rng);
        dh.a[i] = len(rng);
        q[i] = ang(rng);
        const double al = dh.alpha[i], th = q[i];
        const Mat4d mdh = rot(al, true) * trans(dh.a[i], 0) * rot(th, false) * trans(0, dh.d[i]);
        const Mat4d sdh = rot(th, false) * trans(0, dh.d[i]) * trans(dh.a[i], 0) * rot(al, true);
        EXPECT_LE(max_abs_diff(kin_get_MDH_Ti(i, &dh, q), mdh), 1e-6);
        EXPECT_LE(max_abs_diff(kin_get_SDH_Ti(i, &dh, q), sdh), 1e-6);
    }
}

// Within 1e-5 (strictly) of 0, +-pi/2, +-pi the twist's sine and cosine are
// exact; an index outside the table gives the identity.
TEST(LinkTransforms, TwistSnappingAndIndexRange) {
    const struct { float alpha, s, c; } cases[] = {
        {0.0f, 0.0f, 1.0f},          {9e-6f, 0.0f, 1.0f},         {-9e-6f, 0.0f, 1.0f},
        {1.5707964f, 1.0f, 0.0f},    {1.5708054f, 1.0f, 0.0f},    {1.5707874f, 1.0f, 0.0f},
        {-1.5707964f, -1.0f, 0.0f},  {-1.5708054f, -1.0f, 0.0f},  {3.1415927f, 0.0f, -1.0f},
        {3.1416016f, 0.0f, -1.0f},   {-3.1415927f, 0.0f, -1.0f},  {-3.1415837f, 0.0f, -1.0f}};
    const float q[8] = {0.7f};
    DhTable dh{};
    dh.d[0] = 0.3f;
    for (const auto &k : cases) {
        dh.alpha[0] = k.alpha;
        const Matrix m = kin_get_MDH_Ti(0, &dh, q), s = kin_get_SDH_Ti(0, &dh, q);
        EXPECT_TRUE(m.data[1][2] == -k.s && m.data[2][2] == k.c) << k.alpha;
        EXPECT_TRUE(s.data[2][1] == k.s && s.data[2][2] == k.c) << k.alpha;
    }
    dh.alpha[0] = 1.5708164f;  // 2e-5 away: evaluated
    EXPECT_EQ(kin_get_MDH_Ti(0, &dh, q).data[2][2], static_cast<float>(std::cos(1.5708164f)));
    for (int32_t i : {-1, 8, 1000}) {
        EXPECT_TRUE(same_bits(kin_get_MDH_Ti(i, &dh, q), unit_matrix(4)));
        EXPECT_TRUE(same_bits(kin_get_SDH_Ti(i, &dh, q), unit_matrix(4)));
    }
}

// The SIMD product must be matrix_m bit for bit, with or without the
// homogeneous shortcut: random transforms, spoiled last rows, +-0, inf, NaN.
TEST(FrameProduct, MatchesMatrixMulBitForBit) {
    std::mt19937 rng(12);
    std::uniform_real_distribution<float> u(-2.0f, 2.0f);
    const float special[] = {0.0f, -0.0f, 1.0f, -1.0f, INFINITY, -INFINITY, NAN, 1e30f};
    auto random_transform = [&](bool homogeneous) {
        Matrix m = unit_matrix(4);
        for (int i = 0; i < (homogeneous ? 3 : 4); ++i)
            for (int j = 0; j < 4; ++j) m.data[i][j] = u(rng);
        return m;
    };
    for (int n = 0; n < 20000; ++n) {
        Matrix a = random_transform(n % 5 != 0), b = random_transform(n % 7 != 0);
        for (int k = 0; k < n % 4; ++k) (rng() % 2 ? a : b).data[rng() % 4][rng() % 4] = special[rng() % 8];
        const Matrix expect = matrix_m(&a, &b), got = tova::mul_transforms(a, b);
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j) {
                const float e = expect.data[i][j], g = got.data[i][j];
                if (std::isnan(e) && std::isnan(g)) continue;
                ASSERT_EQ(std::memcmp(&e, &g, sizeof e), 0) << n << " (" << i << ", " << j << ")";
            }
    }
}

Matrix frame_of(const std::vector<float> &q, const char *frame, const char *mode = "machine") {
    return kin_universal_kinematics_Tn(q.data(), mode, frame);
}

// A := identity, A := A * T_i over the first `count` exported link transforms.
Matrix product_of_links(const std::vector<float> &q, int count, bool modified, bool add_offsets) {
    DhTable dh;
    libalgo_get_dh_value(&dh);
    float qm[8];
    for (int i = 0; i < 8; ++i) qm[i] = add_offsets ? q[i] + dh.offset[i] : q[i];
    Matrix A = unit_matrix(4);
    for (int i = 0; i < count; ++i) {
        const Matrix Ti = modified ? kin_get_MDH_Ti(i, &dh, qm) : kin_get_SDH_Ti(i, &dh, qm);
        A = matrix_m(&A, &Ti);
    }
    return A;
}

TEST(UniversalChain, ConventionFollowsJointCountAndTaldo) {
    EXPECT_TRUE(tova::universal_uses_modified_dh(ROBOT_QUELL, 6));
    EXPECT_TRUE(tova::universal_uses_modified_dh(ROBOT_TALDO, 7));
    EXPECT_FALSE(tova::universal_uses_modified_dh(ROBOT_QUELL, 7));
    EXPECT_FALSE(tova::universal_uses_modified_dh(ROBOT_VESK, 5));
    const struct { uint32_t type; bool modified; } cases[] = {
        {ROBOT_VESK, true}, {ROBOT_QUELL, false}, {ROBOT_TALDO, true}, {ROBOT_GENERIC_7, false}};
    for (const auto &k : cases) {
        select(k.type, 0);
        if (k.type == ROBOT_GENERIC_7) {  // give the blank arm a geometry
            DhTable dh{};
            for (int i = 0; i < 7; ++i) {
                dh.d[i] = 0.1f * i;
                dh.a[i] = 0.05f * (i % 3);
                dh.alpha[i] = 0.4f * (i - 3);
                dh.offset[i] = 0.1f;
            }
            libalgo_set_dh_params(&dh);
        }
        JointSampler sampler(k.type);
        for (int n = 0; n < 50; ++n) {
            const auto q = sampler.next();
            EXPECT_TRUE(same_bits(frame_of(q, "T0n"), product_of_links(q, sampler.dof(), k.modified, true)));
        }
    }
}

TEST(UniversalChain, ModelingModeIgnoresOffsets) {
    EXPECT_TRUE(tova::universal_is_modeling_mode("modeling"));
    for (const char *other : {"modeling ", "Modeling", "model", "machine"})
        EXPECT_FALSE(tova::universal_is_modeling_mode(other));
    select(ROBOT_PIRRA_2, 1);  // non-zero offsets
    DhTable dh;
    libalgo_get_dh_value(&dh);
    JointSampler sampler(4);
    for (int n = 0; n < 200; ++n) {
        const auto q = sampler.next();
        std::vector<float> qm(8);
        for (int i = 0; i < 8; ++i) qm[i] = q[i] + dh.offset[i];
        const Matrix machine = frame_of(q, "T0n");
        EXPECT_TRUE(same_bits(frame_of(qm, "T0n", "modeling"), machine));
        EXPECT_TRUE(same_bits(frame_of(q, "T0n", "anything"), machine));
        EXPECT_TRUE(same_bits(frame_of(q, "T0n", "modeling"), product_of_links(q, 6, true, false)));
    }
}

TEST(UniversalChain, SelectorsComposeFramesInOrder) {
    select(ROBOT_TALDO, 0);
    const float tool_p[6] = {0.02f, 0.0f, 0.12f, 0.0f, 0.3f, 0.1f};
    const float work_p[6] = {-0.3f, 0.4f, 0.05f, 0.1f, -0.2f, 0.6f};
    const float inst_p[3] = {0.0f, 0.4f, -0.2f};
    libalgo_set_tool_cs_params(tool_p);
    libalgo_set_work_cs_params(work_p);
    libalgo_set_robot_install_angle(inst_p);
    Matrix tool, work, inst;
    libalgo_get_tool_cs_matrix(&tool);
    libalgo_get_work_cs_to_base_matrix(&work);
    libalgo_get_robot_install_angle_matrix(&inst);
    const Matrix WI = matrix_m(&work, &inst);
    JointSampler sampler(6);
    for (int n = 0; n < 100; ++n) {
        const auto q = sampler.next();
        const Matrix A = frame_of(q, "T0n");
        const Matrix At = matrix_m(&A, &tool), IA = matrix_m(&inst, &A), IAt = matrix_m(&inst, &At);
        EXPECT_TRUE(same_bits(frame_of(q, "T0t"), At));
        EXPECT_TRUE(same_bits(frame_of(q, "Tbn"), IA));
        EXPECT_TRUE(same_bits(frame_of(q, "Tbt"), IAt));
        EXPECT_TRUE(same_bits(frame_of(q, "Twn"), matrix_m(&work, &IA)));
        EXPECT_TRUE(same_bits(frame_of(q, "Twt"), matrix_m(&work, &IAt)));
        for (const char *other : {"", "T0N", "t0n", "T0n ", "T07"})  // Work * Inst, whatever q
            EXPECT_TRUE(same_bits(frame_of(q, other), WI)) << other;
    }
}

TEST(UniversalChain, StaticsRefreshOnlyAsFarAsTheChainReaches) {
    select(ROBOT_QUELL, 2);
    const auto q7 = JointSampler(8).next();
    frame_of(q7, "Twt");  // any selector refreshes them
    EXPECT_TRUE(same_bits(frame_of(q7, "T02"), product_of_links(q7, 2, false, true)));
    EXPECT_TRUE(same_bits(frame_of(q7, "T05"), product_of_links(q7, 5, false, true)));
    EXPECT_TRUE(same_bits(frame_of(q7, "T06"), product_of_links(q7, 6, false, true)));
    EXPECT_TRUE(same_bits(tova::universal_T05(), product_of_links(q7, 5, false, true)));

    select(ROBOT_VESK, 0);
    const auto q6 = JointSampler(9).next();
    EXPECT_TRUE(same_bits(tova::universal_T06(), frame_of(q6, "T0n")));
    EXPECT_TRUE(same_bits(tova::universal_T02(), product_of_links(q6, 2, true, true)));
    const Matrix t02 = tova::universal_T02(), t05 = tova::universal_T05(), t06 = tova::universal_T06();
    // A refused selection leaves no joints: identity chain, statics untouched.
    ASSERT_EQ(libalgo_set_robot_and_sensor_type(2, 0), -1);
    EXPECT_TRUE(same_bits(frame_of(q6, "T0n"), unit_matrix(4)));
    EXPECT_TRUE(same_bits(frame_of(q6, "T02"), t02));
    EXPECT_TRUE(same_bits(frame_of(q6, "T05"), t05));
    EXPECT_TRUE(same_bits(frame_of(q6, "T06"), t06));
}

}  // namespace
