// Shared helpers of the forward-kinematics tests: models, random joint vectors
// inside the machine limits, matrix comparisons and a double-precision product.
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
    uint32_t type, sensor;
    std::string name;
};

// Every model with every sensor type it accepts.
inline std::vector<ModelCase> all_model_cases() {
    const struct { uint32_t type, sensors; const char *name; } models[] = {
        {ROBOT_VESK, 3, "vesk"},   {ROBOT_QUELL, 3, "quell"},  {ROBOT_PIRRA_2, 3, "pirra2"},
        {ROBOT_PIRRA_3, 3, "pirra3"}, {ROBOT_LUMO_A, 3, "lumoA"}, {ROBOT_LUMO_B, 1, "lumoB"},
        {ROBOT_TALDO, 1, "taldo"}, {ROBOT_LUMO_C, 3, "lumoC"}};
    std::vector<ModelCase> out;
    for (const auto &m : models)
        for (uint32_t s = 0; s < m.sensors; ++s)
            out.push_back({m.type, s, m.name + std::string("_s") + std::to_string(s)});
    return out;
}

inline void select(uint32_t type, uint32_t sensor) {
    ASSERT_EQ(libalgo_set_robot_and_sensor_type(type, sensor), 0) << type << "/" << sensor;
}

// Uniform joint vectors (8 slots) inside the configured machine limits.
class JointSampler {
  public:
    explicit JointSampler(uint32_t seed) : rng_(seed), dof_(libalgo_get_rbt_dof()) {
        libalgo_get_jointlim_max(max_);
        libalgo_get_jointlim_min(min_);
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
    int dof_;
    float max_[8], min_[8];
};

inline bool same_bits(const Matrix &a, const Matrix &b) {
    return std::memcmp(&a, &b, sizeof(Matrix)) == 0;
}

// Double-precision 4x4 matrices: the independent reference for frame products.
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
// Largest element difference over the leading rows x cols block.
inline double max_abs_diff(const Matrix &a, const Mat4d &b, int rows = 4, int cols = 4) {
    double m = 0.0;
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < cols; ++j) m = std::fmax(m, std::fabs(a.data[i][j] - b.m[i][j]));
    return m;
}
inline double max_abs_diff(const Matrix &a, const Matrix &b, int rows = 4, int cols = 4) {
    return max_abs_diff(a, to_d(b), rows, cols);
}

}  // namespace fk_test
