// Calibration: a measurement campaign identified small corrections of the
// nominal DH parameters. Store them as the compensation values, run the
// corrected geometry, see how far the tool point moves, then go back to the
// factory geometry.
#include <cmath>
#include <cstdio>

#include "tova_algorithm.h"

int main() {
    if (libalgo_set_robot_and_sensor_type(ROBOT_VESK, 1) != 0) return 1;
    const float tool[6] = {0.0f, 0.0f, 0.1f, 0.0f, 0.0f, 0.0f};
    libalgo_set_tool_cs_params(tool);
    const float q[6] = {0.3f, -0.4f, 0.8f, 0.2f, -0.6f, 1.0f};

    float nominal[3];
    forward_kinematics_pos_calibration(nominal, q);  // tool point, installation applied, no work frame

    // Identified corrections (metres and radians).
    DhTable dh{};
    libalgo_get_dh_value(&dh);
    DhTable comp = dh;
    const float dd[7] = {0.0004f, 0.0f, 0.0f, -0.0003f, 0.0f, 0.0002f, 0.0f};
    const float da[7] = {0.0f, 0.0f, 0.0005f, 0.0f, 0.0f, 0.0f, 0.0f};
    const float doff[7] = {0.0f, 0.0010f, -0.0007f, 0.0f, 0.0004f, 0.0f, 0.0f};
    for (int i = 0; i < 7; ++i) {
        comp.d_compensation[i] = dd[i];
        comp.a_compensation[i] = da[i];
        comp.offset_compensation[i] = doff[i];
        dh.d[i] += dd[i];
        dh.a[i] += da[i];
        dh.offset[i] += doff[i];
    }
    libalgo_set_dh_compensation_value(&comp);  // kept for the record
    libalgo_set_dh_params(&dh);                // the geometry the kinematics use
    std::printf("calibrated geometry in use: %s\n",
                libalgo_check_dh_params_is_default() ? "no" : "yes");

    float calibrated[3];
    forward_kinematics_pos_calibration(calibrated, q);
    const double dx = calibrated[0] - nominal[0], dy = calibrated[1] - nominal[1],
                 dz = calibrated[2] - nominal[2];
    std::printf("tool point nominal    (%.5f, %.5f, %.5f) m\n", nominal[0], nominal[1], nominal[2]);
    std::printf("tool point calibrated (%.5f, %.5f, %.5f) m\n", calibrated[0], calibrated[1],
                calibrated[2]);
    std::printf("the corrections move the tool point by %.3f mm\n",
                1000.0 * std::sqrt(dx * dx + dy * dy + dz * dz));

    libalgo_set_dh_params_default();  // factory geometry, compensation cleared too
    float back[3];
    forward_kinematics_pos_calibration(back, q);
    std::printf("factory geometry restored: %s\n",
                (libalgo_check_dh_params_is_default() && back[0] == nominal[0] &&
                 back[1] == nominal[1] && back[2] == nominal[2])
                    ? "yes"
                    : "no");
    return libalgo_check_dh_params_is_default() ? 0 : 1;
}
