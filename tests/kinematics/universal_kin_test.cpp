// DH link transforms and the frame products of the universal chain.
#include <gtest/gtest.h>

#include "kinematics/frame_product.hpp"
#include "kinematics/universal_kin_internal.hpp"
#include "universal_reference.hpp"

namespace {

using ref::frame_of;
using ref::max_abs_diff;
using ref::same_bits;

TEST(LinkTransforms, MatchTheTextbookMatrices) {
    std::mt19937 rng(9);
    std::uniform_real_distribution<float> ang(-3.0f, 3.0f), len(-0.5f, 0.5f);
    for (int n = 0; n < 2000; ++n) {
        DhTable dh{};
        float q[8];
        const int i = n % 8;
        dh.alpha[i] = ang(rng), dh.d[i] = len(rng), dh.a[i] = len(rng), q[i] = ang(rng);
        EXPECT_LE(max_abs_diff(kin_get_MDH_Ti(i, &dh, q), ref::link(true, q[i], dh.d[i], dh.a[i], dh.alpha[i])), 1e-6);
        EXPECT_LE(max_abs_diff(kin_get_SDH_Ti(i, &dh, q), ref::link(false, q[i], dh.d[i], dh.a[i], dh.alpha[i])), 1e-6);
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

// The SIMD product, and the chain of three, must be matrix_m bit for bit, with
// or without the homogeneous shortcut: random transforms, spoiled last rows,
// rows of signed zeros, +-0, inf, NaN.
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
        if (n % 3 == 0)  // a row of signed zeros: sums of -0 terms, the sign of a zero result
            for (float &v : a.data[rng() % 3]) v = rng() % 2 ? 0.0f : -0.0f;
        auto expect_same = [n](const Matrix &expect, const Matrix &got) {
            for (int i = 0; i < 4; ++i)
                for (int j = 0; j < 4; ++j) {
                    const float e = expect.data[i][j], g = got.data[i][j];
                    ASSERT_TRUE((std::isnan(e) && std::isnan(g)) || same_bits(e, g))
                        << n << " (" << i << ", " << j << ")";
                }
        };
        expect_same(matrix_m(&a, &b), tova::mul_transforms(a, b));
        // the chain of three products, with its single finiteness test
        const Matrix c = random_transform(n % 11 != 0), d = random_transform(true);
        const Matrix cd = matrix_m(&c, &d), bcd = matrix_m(&b, &cd);
        Matrix chain;
        tova::with_chain(tova::load_transform(a), tova::load_transform(b), tova::load_transform(c),
                         tova::load_transform(d), [&chain](const tova::Transform &r) { tova::store_transform(r, chain); });
        expect_same(matrix_m(&a, &bcd), chain);
    }
}

// The memoised frame inverse and its products are inv_transform and matrix_m
// bit for bit, through frame changes, unset (identity) frames and the same
// special values.
TEST(FrameProduct, InverseMemoMatchesInverseAndProduct) {
    std::mt19937 rng(13);
    std::uniform_real_distribution<float> u(-2.0f, 2.0f);
    const float special[] = {0.0f, -0.0f, 1.0f, -1.0f, INFINITY, -INFINITY, NAN, 1e30f};
    auto same = [](const Matrix &e, const Matrix &g) {
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j)
                if (!((std::isnan(e.data[i][j]) && std::isnan(g.data[i][j])) || same_bits(e.data[i][j], g.data[i][j])))
                    return false;
        return true;
    };
    tova::InverseMemo memo;
    for (int n = 0; n < 20000; ++n) {
        Matrix frame = unit_matrix(4), x = unit_matrix(4);
        if (n % 3 != 0)  // every third frame unset; runs of repeats exercise the memo
            frame = pose_euler_to_transformation_matrix(Pose{u(rng), u(rng), u(rng), {}, {u(rng), u(rng), u(rng)}});
        if (n % 6 == 5) frame.data[1][3] = -0.0f;
        for (int i = 0; i < (n % 5 ? 3 : 4); ++i)
            for (int j = 0; j < 4; ++j) x.data[i][j] = u(rng);
        for (int k = 0; k < n % 4; ++k) x.data[rng() % 4][rng() % 4] = special[rng() % 8];
        const Matrix inverse = tova::inv_transform(frame);
        Matrix got;
        tova::store_transform(memo.of(frame), got);
        ASSERT_TRUE(same_bits(got, inverse)) << n;
        tova::store_transform(memo.before(frame, tova::load_transform(x)), got);
        ASSERT_TRUE(same(matrix_m(&inverse, &x), got)) << n;
        tova::store_transform(memo.after(tova::load_transform(x), frame), got);
        ASSERT_TRUE(same(matrix_m(&x, &inverse), got)) << n;
    }
}

// Modified DH for six joints or the taldo, standard otherwise: the chain of
// every model (the generic arm with a random table) against the reference,
// which takes its convention from the model. Only the exact text "modeling"
// takes model angles (offsets not added).
TEST(UniversalChain, ConventionRuleAndModelingMode) {
    std::mt19937 rng(4);
    for (const auto &m : ref::all_models()) {
        ref::select(m, rng);
        const ref::Arm arm = ref::current_arm(m.modified);
        for (int n = 0; n < 200; ++n) {
            const auto q = ref::random_q(rng);
            const Matrix machine = frame_of(q, "T0n");
            EXPECT_LE(max_abs_diff(machine, ref::chain(arm, q.data(), arm.n)), 2e-5) << m.name;
            std::vector<float> qm(q);
            for (int i = 0; i < arm.n; ++i) qm[i] += arm.dh.offset[i];
            EXPECT_TRUE(same_bits(frame_of(qm, "T0n", "modeling"), machine)) << m.name;
            for (const char *other : {"modeling ", "Modeling", "model", "anything"})
                EXPECT_TRUE(same_bits(frame_of(q, "T0n", other), machine)) << other;
        }
    }
}

// Every selector refreshes the statics T02, T05, T06 from the chain. A refused
// selection leaves no joints: the identity chain, empty six-row Jacobians, and
// the statics as the last chain set them.
TEST(UniversalChain, StaticsRefreshOnlyAsFarAsTheChainReaches) {
    std::mt19937 rng(8);
    const char *selector[3] = {"T02", "T05", "T06"};
    auto statics = [] {
        return std::array<Matrix, 3>{tova::universal_T02(), tova::universal_T05(), tova::universal_T06()};
    };
    for (const auto &m : {ref::all_models()[1], ref::all_models()[0]}) {  // quell, then vesk
        ref::select(m, rng);
        const ref::Arm arm = ref::current_arm(m.modified);
        const auto q = ref::random_q(rng);
        frame_of(q, "Twt");  // any selector refreshes them
        const auto refreshed = statics();
        for (int k = 0; k < 3; ++k) {
            EXPECT_TRUE(same_bits(frame_of(q, selector[k]), refreshed[k])) << m.name << " " << selector[k];
            EXPECT_LE(max_abs_diff(refreshed[k], ref::chain(arm, q.data(), k == 0 ? 2 : 4 + k)), 2e-5) << m.name;
        }
    }
    const auto last = statics();
    ASSERT_EQ(libalgo_set_robot_and_sensor_type(2, 0), -1);
    const std::vector<float> q(8, 0.3f);
    EXPECT_TRUE(same_bits(frame_of(q, "T0n"), unit_matrix(4)));
    for (int k = 0; k < 3; ++k) EXPECT_TRUE(same_bits(frame_of(q, selector[k]), last[k])) << selector[k];
    for (auto jacobian : {kin_calc_jacobe_Jn, kin_calc_jacobe_Jt, kin_calc_jacobe_J0})
        EXPECT_TRUE(same_bits(jacobian(q.data(), "machine"), MatrixMore{6, 0, {}}));
}

}  // namespace
