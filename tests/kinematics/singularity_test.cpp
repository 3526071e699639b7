// Singularity analysis: the shoulder distance against the geometry of an
// independent DH chain, every threshold probed exactly at and just beyond its
// value, and the documented cases.
#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <limits>
#include <random>

#include "tova_algorithm.h"
#include "universal_reference.hpp"

namespace {

using ref::M4;

constexpr float kPi = 3.1415927f;

float beyond(float threshold) { return std::nextafter(threshold, std::numeric_limits<float>::infinity()); }

class SingularityTest : public ::testing::TestWithParam<ref::ModelCase> {
  protected:
    void SetUp() override {
        kin_singularity_thresholds_init();
        ref::select(GetParam(), rng);
        n = libalgo_get_rbt_dof();
        elbow = n == 6 ? 2 : 3;
        wrist = n == 6 ? 4 : 5;
    }
    void TearDown() override { kin_singularity_thresholds_init(); }

    // Wrist-point distance from the plane of the base z axis and the shoulder axis.
    double reference_distance(const std::vector<float> &q) const {
        const ref::Arm arm = ref::current_arm(GetParam().modified);
        double qd[8];
        for (int i = 0; i < 8; ++i) qd[i] = q[i];
        const M4 W = ref::chain(arm, qd, n == 6 ? 5 : 6);
        const M4 S = ref::chain(arm, qd, 2);
        const int axis = GetParam().type == ROBOT_QUELL ? 1 : 2;
        const double s[3] = {S[0][axis], S[1][axis], S[2][axis]};
        const double c[3] = {-s[1], s[0], 0.0};
        return std::fabs(W[0][3] * c[0] + W[1][3] * c[1]) / std::hypot(c[0], c[1]);
    }

    // Result with only the given threshold active (the others disabled by 0).
    int32_t only(float q_elbow, float q_wrist, float d_shoulder, const std::vector<float> &q,
                 float *dist = nullptr) {
        kin_set_singularity_thresholds(q_elbow, q_wrist, d_shoulder);
        return kin_robot_singularity_analyse(q.data(), "machine", dist);
    }

    std::mt19937 rng{99};
    int n = 0, elbow = 0, wrist = 0;
};

TEST_P(SingularityTest, ShoulderDistanceIsTheWristPointsDistanceFromTheShoulderPlane) {
    for (int s = 0; s < 200; ++s) {
        const auto q = ref::random_q(rng);
        float dist = -1.0f;
        kin_robot_singularity_analyse(q.data(), "machine", &dist);
        ASSERT_NEAR(dist, reference_distance(q), 1e-5) << GetParam().name << " sample " << s;
    }
}

TEST_P(SingularityTest, ShoulderThresholdIsStrictAndTheDistanceIsAlwaysWritten) {
    const auto q = ref::random_q(rng);
    float dist = -7.0f;
    EXPECT_EQ(only(0, 0, 0, q, &dist), SINGULARITY_NONE);
    ASSERT_NEAR(dist, reference_distance(q), 1e-5);
    EXPECT_EQ(only(0, 0, dist, q), SINGULARITY_NONE);
    float written = -7.0f;
    EXPECT_EQ(only(0, 0, beyond(dist), q, &written), SINGULARITY_SHOULDER);
    EXPECT_EQ(written, dist);
}

TEST_P(SingularityTest, ElbowThresholdIsStrictOnBothSides) {
    // The two models whose elbow is singular away from 0 and pi.
    const double shift = GetParam().type == ROBOT_PIRRA_2 ? 0.1690176834538579
                         : GetParam().type == ROBOT_TALDO ? 0.21429501455835998
                                                           : 0.0;
    for (float angle : {0.4f, 2.9f}) {
        auto q = ref::random_q(rng);
        q[elbow] = angle;
        const float e = std::fabs(static_cast<float>(angle + shift));
        const float value = angle < 1.0f ? e : std::fabs(e - kPi);
        EXPECT_EQ(only(value, 0, 0, q), SINGULARITY_NONE) << angle;
        EXPECT_EQ(only(beyond(value), 0, 0, q), SINGULARITY_ELBOW) << angle;
    }
    // Exactly at the model's singular angle the elbow always fires.
    auto q = ref::random_q(rng);
    q[elbow] = static_cast<float>(-shift);
    EXPECT_EQ(only(1e-3f, 0, 0, q), SINGULARITY_ELBOW);
}

TEST_P(SingularityTest, WristThresholdIsStrictOnBothSides) {
    for (float angle : {-0.3f, 0.3f, 2.95f, -2.95f}) {
        auto q = ref::random_q(rng);
        q[wrist] = angle;
        const float w = std::fabs(angle);
        const float value = w < 1.0f ? w : std::fabs(w - kPi);
        EXPECT_EQ(only(0, value, 0, q), SINGULARITY_NONE) << angle;
        EXPECT_EQ(only(0, beyond(value), 0, q), SINGULARITY_WRIST) << angle;
        // The angle is read as passed, offsets never added, whatever the mode.
        EXPECT_EQ(kin_robot_singularity_analyse(q.data(), "modeling", nullptr), SINGULARITY_WRIST);
    }
}

INSTANTIATE_TEST_SUITE_P(AllModels, SingularityTest, ::testing::ValuesIn(ref::all_models()),
                         [](const auto &info) { return std::string(info.param.name); });

// The documented cases, on a vesk configuration whose shoulder test is clear.
class SingularityCases : public ::testing::Test {
  protected:
    void SetUp() override {
        kin_singularity_thresholds_init();
        libalgo_set_robot_and_sensor_type(ROBOT_VESK, 0);
    }
    void TearDown() override { kin_singularity_thresholds_init(); }
    int32_t analyse(float *dist = nullptr) { return kin_robot_singularity_analyse(q, "machine", dist); }
    float q[8] = {0.0f, 0.3f, 0.9f, 0.4f, 1.0f, 0.2f, 0, 0};
};

TEST_F(SingularityCases, BaseConfigurationIsClear) {
    float dist = 0;
    EXPECT_EQ(analyse(&dist), SINGULARITY_NONE);
    EXPECT_GT(dist, 0.1f);
}

TEST_F(SingularityCases, WristAtPointOneIsSingularAtPointTwoNot) {
    q[4] = 0.1f;
    EXPECT_EQ(analyse(), SINGULARITY_WRIST);
    q[4] = 0.2f;
    EXPECT_EQ(analyse(), SINGULARITY_NONE);
}

TEST_F(SingularityCases, ElbowNearHalfTurn) {
    q[1] = 1.0f;  // keeps the folded wrist off the shoulder plane
    q[2] = 3.0f;
    float dist = 0;
    EXPECT_EQ(analyse(&dist), SINGULARITY_ELBOW);
    EXPECT_GT(dist, 0.05f);
}

TEST_F(SingularityCases, Pirra2ElbowConstantAppliesOnlyToPirra2) {
    q[2] = -0.3f;
    EXPECT_EQ(analyse(), SINGULARITY_NONE);  // vesk: |-0.3| is clear
    libalgo_set_robot_and_sensor_type(ROBOT_PIRRA_2, 0);
    float dist = 0;
    const int32_t r = analyse(&dist);
    ASSERT_GT(dist, 0.05f);
    EXPECT_EQ(r, SINGULARITY_ELBOW);
}

TEST_F(SingularityCases, ShoulderWinsOverTheOthers) {
    q[2] = 3.0f;
    q[4] = 0.1f;
    kin_set_singularity_thresholds(0.17453292f, 0.17453292f, 100.0f);
    EXPECT_EQ(analyse(), SINGULARITY_SHOULDER);
    kin_set_singularity_thresholds(0.17453292f, 0.17453292f, 0.0f);
    EXPECT_EQ(analyse(), SINGULARITY_ELBOW);  // elbow before wrist
}

TEST_F(SingularityCases, SetterOrderIsElbowWristShoulder) {
    kin_set_singularity_thresholds(0.3f, 0.2f, 0.1f);
    float dist = 0;
    q[2] = 0.29f;
    EXPECT_EQ(analyse(&dist), SINGULARITY_ELBOW);
    ASSERT_GT(dist, 0.1f);
    q[2] = 0.31f;
    q[4] = 0.19f;
    EXPECT_EQ(analyse(&dist), SINGULARITY_WRIST);
    ASSERT_GT(dist, 0.1f);
    q[4] = 0.21f;
    EXPECT_EQ(analyse(&dist), SINGULARITY_NONE);
    kin_set_singularity_thresholds(0.3f, 0.2f, dist);
    EXPECT_EQ(analyse(), SINGULARITY_NONE);
    kin_set_singularity_thresholds(0.3f, 0.2f, beyond(dist));
    EXPECT_EQ(analyse(), SINGULARITY_SHOULDER);
}

TEST_F(SingularityCases, InitRestoresDefaults) {
    kin_set_singularity_thresholds(-1.0f, -1.0f, -1.0f);
    q[4] = 0.0f;
    EXPECT_EQ(analyse(), SINGULARITY_NONE);  // non-positive thresholds disable every test
    kin_singularity_thresholds_init();
    EXPECT_EQ(analyse(), SINGULARITY_WRIST);
    q[4] = 0.17453292f;  // exactly at the default: not singular
    EXPECT_EQ(analyse(), SINGULARITY_NONE);
}

TEST(SingularityNaN, VerticalShoulderAxisGivesNaNDistanceThatNeverFires) {
    kin_singularity_thresholds_init();
    libalgo_set_robot_and_sensor_type(ROBOT_GENERIC_7, 0);  // all-zero DH: every axis vertical
    kin_set_singularity_thresholds(0.17453292f, 0.17453292f, 1e9f);
    const float q[8] = {0.1f, 0.2f, 0.3f, 1.0f, 0.5f, 1.0f, 0.7f, 0};
    float dist = 0.0f;
    EXPECT_EQ(kin_robot_singularity_analyse(q, "machine", &dist), SINGULARITY_NONE);
    EXPECT_TRUE(std::isnan(dist));
    kin_singularity_thresholds_init();
}

}  // namespace
