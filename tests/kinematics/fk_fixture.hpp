// Shared helpers of the forward-kinematics tests: model selection, random joint
// vectors inside the machine limits, and matrix comparisons.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "tova_algorithm.h"

namespace fk_test {

struct ModelCase {
    uint32_t type;
    uint32_t sensor;
    const char *name;
};

// Every model with every sensor type it accepts.
inline std::vector<ModelCase> all_model_cases() {
    return {
        {ROBOT_VESK, 0, "vesk_s0"},       {ROBOT_VESK, 1, "vesk_s1"},
        {ROBOT_VESK, 2, "vesk_s2"},       {ROBOT_QUELL, 0, "quell_s0"},
        {ROBOT_QUELL, 1, "quell_s1"},     {ROBOT_QUELL, 2, "quell_s2"},
        {ROBOT_PIRRA_2, 0, "pirra2_s0"},  {ROBOT_PIRRA_2, 1, "pirra2_s1"},
        {ROBOT_PIRRA_2, 2, "pirra2_s2"},  {ROBOT_PIRRA_3, 0, "pirra3_s0"},
        {ROBOT_PIRRA_3, 1, "pirra3_s1"},  {ROBOT_PIRRA_3, 2, "pirra3_s2"},
        {ROBOT_LUMO_A, 0, "lumoA_s0"},    {ROBOT_LUMO_A, 1, "lumoA_s1"},
        {ROBOT_LUMO_A, 2, "lumoA_s2"},    {ROBOT_LUMO_B, 0, "lumoB_s0"},
        {ROBOT_TALDO, 0, "taldo_s0"},     {ROBOT_LUMO_C, 0, "lumoC_s0"},
        {ROBOT_LUMO_C, 1, "lumoC_s1"},    {ROBOT_LUMO_C, 2, "lumoC_s2"},
    };
}

inline void select(uint32_t type, uint32_t sensor) {
    ASSERT_EQ(libalgo_set_robot_and_sensor_type(type, sensor), 0) << type << "/" << sensor;
}

// Uniform joint vectors inside the configured machine limits.
class JointSampler {
  public:
    explicit JointSampler(uint32_t seed) : rng_(seed) {
        libalgo_get_jointlim_max(max_);
        libalgo_get_jointlim_min(min_);
        dof_ = libalgo_get_rbt_dof();
    }
    std::vector<float> next() {
        std::vector<float> q(8, 0.0f);
        for (int i = 0; i < dof_; ++i)
            q[i] = std::uniform_real_distribution<float>(min_[i], max_[i])(rng_);
        return q;
    }
    int dof() const { return dof_; }

  private:
    std::mt19937 rng_;
    float max_[8], min_[8];
    int dof_;
};

inline double max_abs_diff(const Matrix &a, const Matrix &b, int rows = 4, int cols = 4) {
    double m = 0.0;
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < cols; ++j)
            m = std::fmax(m, std::fabs(static_cast<double>(a.data[i][j]) - b.data[i][j]));
    return m;
}

inline bool same_bits(const Matrix &a, const Matrix &b) {
    return std::memcmp(&a, &b, sizeof(Matrix)) == 0;
}

// Double-precision 4x4 product, the independent reference for frame checks.
struct Mat4d {
    double m[4][4];
};
inline Mat4d to_d(const Matrix &a) {
    Mat4d r{};
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) r.m[i][j] = a.data[i][j];
    return r;
}
inline Mat4d operator*(const Mat4d &a, const Mat4d &b) {
    Mat4d r{};
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            for (int k = 0; k < 4; ++k) r.m[i][j] += a.m[i][k] * b.m[k][j];
    return r;
}
inline double max_abs_diff(const Matrix &a, const Mat4d &b, int rows = 4, int cols = 4) {
    double m = 0.0;
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < cols; ++j) m = std::fmax(m, std::fabs(a.data[i][j] - b.m[i][j]));
    return m;
}

}  // namespace fk_test
