// Singularity analysis: the shoulder distance against the geometry of the
// reference chain, every threshold probed exactly at and just beyond its
// value on every model, and the documented cases.
#include <gtest/gtest.h>

#include <limits>

#include "universal_reference.hpp"

namespace {

constexpr float kPi = 3.1415927f;
constexpr float kTenDegrees = 0.17453292f;

float beyond(float threshold) { return std::nextafter(threshold, std::numeric_limits<float>::infinity()); }

class SingularityTest : public ::testing::TestWithParam<ref::ModelCase> {
  protected:
    void SetUp() override {
        kin_singularity_thresholds_init();
        ref::select(GetParam(), rng);
    }
    void TearDown() override { kin_singularity_thresholds_init(); }

    // Result with the given thresholds (0 disables a test).
    int32_t only(float q_elbow, float q_wrist, float d_shoulder, const std::vector<float> &q, float *dist = nullptr) {
        kin_set_singularity_thresholds(q_elbow, q_wrist, d_shoulder);
        return kin_robot_singularity_analyse(q.data(), "machine", dist);
    }

    std::mt19937 rng{99};
};

// The distance of the wrist point from the plane of the base z axis and the
// shoulder axis, written before any test; the shoulder test is strict.
TEST_P(SingularityTest, ShoulderDistanceAndThreshold) {
    const ref::Arm arm = ref::current_arm(GetParam().modified);
    const int axis = GetParam().type == ROBOT_QUELL ? 1 : 2;
    for (int s = 0; s < 200; ++s) {
        const auto q = ref::random_q(rng);
        const ref::M4 W = ref::chain(arm, q.data(), arm.n == 6 ? 5 : 6), S = ref::chain(arm, q.data(), 2);
        const double c[2] = {-S[1][axis], S[0][axis]};
        const double expected = std::fabs(W[0][3] * c[0] + W[1][3] * c[1]) / std::hypot(c[0], c[1]);
        float dist = -7.0f, written = -7.0f;
        ASSERT_EQ(only(0, 0, 0, q, &dist), SINGULARITY_NONE);
        ASSERT_NEAR(dist, expected, 1e-5) << GetParam().name << " sample " << s;
        EXPECT_EQ(only(0, 0, dist, q), SINGULARITY_NONE);
        EXPECT_EQ(only(kPi, kPi, beyond(dist), q, &written), SINGULARITY_SHOULDER);  // tested first
        EXPECT_EQ(written, dist);
    }
}

// Elbow (with the model constants of the pirra_2 and the taldo) and wrist,
// each at and just beyond its distance from 0 and from pi; the angles are
// read as passed, offsets never added, whatever the mode.
TEST_P(SingularityTest, ElbowAndWristThresholdsAreStrict) {
    const int n = libalgo_get_rbt_dof(), elbow = n == 6 ? 2 : 3, wrist = n == 6 ? 4 : 5;
    const double shift = GetParam().type == ROBOT_PIRRA_2 ? 0.1690176834538579
                         : GetParam().type == ROBOT_TALDO ? 0.21429501455835998
                                                           : 0.0;
    for (float angle : {0.4f, 2.9f, -0.3f, -2.95f}) {
        auto q = ref::random_q(rng);
        q[elbow] = angle;
        q[wrist] = -angle;
        const float e = std::fabs(static_cast<float>(angle + shift)), w = std::fabs(angle);
        const float e_value = std::fmin(e, std::fabs(e - kPi)), w_value = std::fmin(w, std::fabs(w - kPi));
        EXPECT_EQ(only(e_value, 0, 0, q), SINGULARITY_NONE) << angle;
        EXPECT_EQ(only(beyond(e_value), 0, 0, q), SINGULARITY_ELBOW) << angle;
        EXPECT_EQ(only(0, w_value, 0, q), SINGULARITY_NONE) << angle;
        EXPECT_EQ(only(0, beyond(w_value), 0, q), SINGULARITY_WRIST) << angle;
        EXPECT_EQ(only(beyond(e_value), beyond(w_value), 0, q), SINGULARITY_ELBOW) << "elbow before wrist";
        EXPECT_EQ(kin_robot_singularity_analyse(q.data(), "modeling", nullptr), SINGULARITY_ELBOW);
    }
    auto q = ref::random_q(rng);  // exactly at the model's singular angle the elbow fires
    q[elbow] = static_cast<float>(-shift);
    EXPECT_EQ(only(1e-3f, 0, 0, q), SINGULARITY_ELBOW);
}

INSTANTIATE_TEST_SUITE_P(AllModels, SingularityTest, ::testing::ValuesIn(ref::all_models()),
                         [](const auto &info) { return info.param.name; });

// The documented cases, on a vesk configuration (joints 2, 3, 5 varied)
// whose shoulder test is clear: the rows run in order, each with its
// thresholds (elbow, wrist, shoulder) or, without them, the defaults restored.
TEST(SingularityCases, DocumentedCasesInOrder) {
    constexpr float kDef = kTenDegrees;
    const struct { uint32_t type; float q1, q2, q4; bool init; float th[3]; int32_t expected; } cases[] = {
        {ROBOT_VESK, 0.3f, 0.9f, 1.0f, true, {}, SINGULARITY_NONE},
        {ROBOT_VESK, 0.3f, 0.9f, 0.1f, true, {}, SINGULARITY_WRIST},
        {ROBOT_VESK, 0.3f, 0.9f, kDef, true, {}, SINGULARITY_NONE},  // exactly at the default
        {ROBOT_VESK, 0.3f, 0.9f, 0.2f, true, {}, SINGULARITY_NONE},
        {ROBOT_VESK, 1.0f, 3.0f, 0.2f, true, {}, SINGULARITY_ELBOW},  // q1 keeps the folded wrist off the plane
        {ROBOT_VESK, 0.3f, -0.3f, 0.2f, true, {}, SINGULARITY_NONE},
        {ROBOT_PIRRA_2, 0.3f, -0.3f, 0.2f, true, {}, SINGULARITY_ELBOW},  // |-0.3 + 0.169| < 10 degrees
        {ROBOT_VESK, 0.3f, 3.0f, 0.1f, false, {kDef, kDef, 100.0f}, SINGULARITY_SHOULDER},  // shoulder wins
        {ROBOT_VESK, 0.3f, 0.29f, 1.0f, false, {0.3f, 0.2f, 0.1f}, SINGULARITY_ELBOW},
        {ROBOT_VESK, 0.3f, 0.31f, 0.19f, false, {0.3f, 0.2f, 0.1f}, SINGULARITY_WRIST},
        {ROBOT_VESK, 0.3f, 0.31f, 0.21f, false, {0.3f, 0.2f, 0.1f}, SINGULARITY_NONE},
        {ROBOT_VESK, 0.3f, 0.31f, 0.0f, false, {-1.0f, -1.0f, -1.0f}, SINGULARITY_NONE},  // all disabled
        {ROBOT_VESK, 0.3f, 0.31f, 0.0f, true, {}, SINGULARITY_WRIST}};
    for (const auto &k : cases) {
        libalgo_set_robot_and_sensor_type(k.type, 0);
        k.init ? kin_singularity_thresholds_init() : kin_set_singularity_thresholds(k.th[0], k.th[1], k.th[2]);
        const float q[8] = {0.0f, k.q1, k.q2, 0.4f, k.q4, 0.2f, 0, 0};
        float dist = 0.0f;
        EXPECT_EQ(kin_robot_singularity_analyse(q, "machine", &dist), k.expected) << k.q1 << " " << k.q2 << " " << k.q4;
        EXPECT_TRUE(k.expected == SINGULARITY_SHOULDER || dist > (k.init ? 0.05f : k.th[2])) << dist;  // clear
    }
    // An all-zero table makes every axis vertical: the distance is NaN, still
    // written, and never fires.
    libalgo_set_robot_and_sensor_type(ROBOT_GENERIC_7, 0);
    kin_set_singularity_thresholds(kTenDegrees, kTenDegrees, 1e9f);
    const float q7[8] = {0.1f, 0.2f, 0.3f, 1.0f, 0.5f, 1.0f, 0.7f, 0};
    float dist = 0.0f;
    EXPECT_EQ(kin_robot_singularity_analyse(q7, "machine", &dist), SINGULARITY_NONE);
    EXPECT_TRUE(std::isnan(dist));
    kin_singularity_thresholds_init();
}

}  // namespace
