// Nearness of a joint configuration to the shoulder, elbow and wrist
// singularities of a wrist-partitioned arm, with caller-set thresholds.
#include <cmath>
#include <cstdint>

#include "kinematics/tova_universal_kin.h"
#include "kinematics/universal_kin_internal.hpp"

namespace {

struct SingularityThresholds {
    float d_shoulder;  // m, minimum distance of the wrist point from the shoulder plane
    float q_elbow;     // rad, minimum distance of the elbow angle from 0 and from pi
    float q_wrist;     // rad, minimum distance of the wrist-bend angle from 0 and from pi
};

constexpr SingularityThresholds kDefaultThresholds{0.05f, 0.17453292f, 0.17453292f};
SingularityThresholds thresholds = kDefaultThresholds;

// Elbow angles of pirra_2 and taldo are singular away from 0 and pi, at these
// values (and these plus or minus pi).
constexpr double kPirra2ElbowSingular = 0.1690176834538579;
constexpr double kTaldoElbowSingular = 0.21429501455835998;

float elbow_distance(uint32_t robot_type, float elbow) {
    switch (robot_type) {
    case ROBOT_PIRRA_2:
        return std::fabs(static_cast<float>(static_cast<double>(elbow) + kPirra2ElbowSingular));
    case ROBOT_TALDO:
        return std::fabs(static_cast<float>(static_cast<double>(elbow) + kTaldoElbowSingular));
    default:
        return std::fabs(elbow);
    }
}

// Distance of the wrist point from the plane through the base origin that
// holds the base z axis and the shoulder axis; NaN for a vertical shoulder axis.
float shoulder_distance(int32_t dof, uint32_t robot_type) {
    const Matrix &wrist_frame = dof == 6 ? tova::universal_T05() : tova::universal_T06();
    Matrix p = zero_matrix(3, 1);
    for (int r = 0; r < 3; ++r) p.data[r][0] = wrist_frame.data[r][3];

    const Matrix R = matrix_T2R(&tova::universal_T02());
    // The quell's shoulder turns about the second axis of its link-2 frame.
    const int axis = (dof == 7 && robot_type == ROBOT_QUELL) ? 1 : 2;
    Matrix s = zero_matrix(3, 1);
    for (int r = 0; r < 3; ++r) s.data[r][0] = R.data[r][axis];

    Matrix z = zero_matrix(3, 1);
    z.data[2][0] = 1.0f;
    const Matrix c = cross(z, s);
    const float dot = p.data[0][0] * c.data[0][0] + p.data[1][0] * c.data[1][0] +
                      p.data[2][0] * c.data[2][0];
    const float c2 = c.data[0][0] * c.data[0][0] + c.data[1][0] * c.data[1][0] +
                     c.data[2][0] * c.data[2][0];
    return static_cast<float>(static_cast<double>(std::fabs(dot)) /
                              std::sqrt(static_cast<double>(c2)));
}

// True when the angle lies strictly closer than the threshold to 0 or to pi.
bool near_zero_or_half_turn(float threshold, float value) {
    return threshold > value || threshold > std::fabs(value - 3.1415927f);
}

}  // namespace

extern "C" {

void kin_singularity_thresholds_init(void) { thresholds = kDefaultThresholds; }

void kin_set_singularity_thresholds(float q_elbow, float q_wrist, float d_shoulder) {
    thresholds.q_elbow = q_elbow;
    thresholds.q_wrist = q_wrist;
    thresholds.d_shoulder = d_shoulder;
}

int32_t kin_robot_singularity_analyse(const float *q, const char *mode, float *shoulder_distance_out) {
    const int32_t dof = libalgo_get_rbt_dof();
    const uint32_t robot_type = libalgo_get_robot_type();
    // Joint angles as passed, offsets never added.
    const float elbow = dof == 6 ? q[2] : q[3];
    const float wrist = dof == 6 ? q[4] : q[5];

    // Only refreshes the T02 / T05 / T06 chain products.
    (void)kin_universal_kinematics_Tn(q, mode, "T0n");

    const float dist = shoulder_distance(dof, robot_type);
    if (shoulder_distance_out != nullptr) *shoulder_distance_out = dist;

    if (thresholds.d_shoulder > dist) return SINGULARITY_SHOULDER;
    if (near_zero_or_half_turn(thresholds.q_elbow, elbow_distance(robot_type, elbow)))
        return SINGULARITY_ELBOW;
    if (near_zero_or_half_turn(thresholds.q_wrist, std::fabs(wrist))) return SINGULARITY_WRIST;
    return SINGULARITY_NONE;
}

}  // extern "C"
