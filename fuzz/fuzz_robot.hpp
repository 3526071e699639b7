// Shared set-up of the kinematics targets: a model selection (sometimes a
// refused one), random frames and DH changes, joint vectors and selector texts,
// and the reset of every process-wide setting the targets touch, so that each
// input starts from the same state and a run can be replayed input by input.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz_input.hpp"
#include "process_state.hpp"
#include "tova_algorithm.h"

namespace tova_fuzz {

inline bool is_seven_axis(uint32_t type) { return type == ROBOT_QUELL || type == ROBOT_TALDO; }

// Joint count the model's arrays hold: what a caller sizes q_current and q_out
// by (6, or 7 for the seven-axis models), also after a refused selection.
inline int model_joints(uint32_t type) { return is_seven_axis(type) || type == ROBOT_GENERIC_7 ? 7 : 6; }

// Angles: mostly inside two turns, now and then a special value.
inline float joint_value(Input &in) {
    const uint8_t kind = in.byte();
    if (kind < 232) return 7.0f * static_cast<float>(static_cast<int32_t>(in.u32())) / 2147483648.0f;
    return in.real(100.0f);
}

// An exactly sized heap array, so AddressSanitizer flags any access past it.
inline std::vector<float> joints(Input &in, int n) {
    std::vector<float> q(static_cast<size_t>(n));
    for (float &v : q) v = joint_value(in);
    return q;
}

// A selector or mode text: one of the known ones, or a short random string.
inline const char *pick_text(Input &in, const char *const *known, int count, char *scratch, int scratch_size) {
    const uint8_t b = in.byte();
    if (b % 8 != 7) return known[b % count];
    const int n = in.range(0, scratch_size - 1);
    for (int i = 0; i < n; ++i) scratch[i] = static_cast<char>(in.byte());
    scratch[n] = '\0';
    return scratch;
}

inline void require(bool ok) {
    if (!ok) std::abort();
}

// A solution's joints are finite when what it was computed from is. Garbage
// in is garbage out by definition: the six-axis solvers subtract the offset
// and compare against limit minus offset, so an infinite offset yields an
// infinite joint that passes every check; they keep their first candidate when
// none scores (a NaN current joint makes every cost NaN), and a straight wrist
// keeps joint 6 at its current value. So a non-finite current joint excuses
// every output, a non-finite offset or limit its own joint.
inline bool finite_from_finite(const float *v, int n, const float *current) {
    for (int i = 0; i < n; ++i)
        if (!std::isfinite(current[i])) return true;
    DhTable dh;
    float mx[8], mn[8], mmx[8], mmn[8];
    libalgo_get_dh_value(&dh);
    libalgo_get_jointlim_max(mx);
    libalgo_get_jointlim_min(mn);
    libalgo_get_modeling_jointlim_max(mmx);
    libalgo_get_modeling_jointlim_min(mmn);
    for (int i = 0; i < n; ++i) {
        const bool configured_finite = std::isfinite(dh.offset[i]) && std::isfinite(mx[i]) && std::isfinite(mn[i]) &&
                                       std::isfinite(mmx[i]) && std::isfinite(mmn[i]);
        if (configured_finite && !std::isfinite(v[i])) return false;
    }
    return true;
}

using tova_test::reset_process_state;

// Selects a model (one in sixteen inputs a refused one) and changes a few
// settings at random. Returns the selected type.
inline uint32_t configure_robot(Input &in) {
    const uint8_t b = in.byte();
    static const uint32_t kTypes[] = {ROBOT_VESK,   ROBOT_QUELL, ROBOT_PIRRA_2, ROBOT_PIRRA_3, ROBOT_LUMO_A,
                                      ROBOT_LUMO_B, ROBOT_TALDO, ROBOT_LUMO_C,  ROBOT_GENERIC_7};
    uint32_t type = kTypes[b % 9];
    uint32_t sensor = (b >> 4) % 3;
    if ((b & 0xF0) == 0xF0) {  // refused: type 2, unknown types, unknown sensors
        type = static_cast<uint32_t>(in.range(0, 12));
        sensor = static_cast<uint32_t>(in.range(0, 4));
    }
    libalgo_set_robot_and_sensor_type(type, sensor);
    const uint8_t changes = in.byte();
    float buf[16];
    if (changes & 1) {  // tool frame
        for (int i = 0; i < 6; ++i) buf[i] = (changes & 64) ? in.real(1.0f) : 0.2f * joint_value(in);
        libalgo_set_tool_cs_params(buf);
    }
    if (changes & 2) {  // work frame
        for (int i = 0; i < 6; ++i) buf[i] = (changes & 64) ? in.real(1.0f) : 0.2f * joint_value(in);
        libalgo_set_work_cs_params(buf);
    }
    if (changes & 4) {  // installation
        for (int i = 0; i < 3; ++i) buf[i] = (changes & 64) ? in.real(4.0f) : joint_value(in);
        libalgo_set_robot_install_angle(buf);
    }
    if (changes & 8) {  // DH table: small changes of some entries, or garbage
        DhTable dh;
        libalgo_get_dh_value(&dh);
        float *v = &dh.d[0];
        const int n = in.range(1, 8);
        for (int k = 0; k < n; ++k) {
            const int at = in.range(0, 31);
            v[at] = (changes & 64) ? in.real(2.0f) : v[at] + 0.01f * joint_value(in);
        }
        libalgo_set_dh_params(&dh);
    }
    if (changes & 16) {  // joint limits, machine frame
        for (int i = 0; i < 16; ++i) buf[i] = (changes & 64) ? in.real(8.0f) : 1.3f * joint_value(in);
        libalgo_set_jointlim_max(buf);
        libalgo_set_jointlim_min(buf + 8);
    }
    if (changes & 32) {  // speed limits and period (the seven-axis narrow search reads them)
        for (int i = 0; i < 8; ++i) buf[i] = (changes & 64) ? in.real(8.0f) : std::fabs(joint_value(in));
        libalgo_set_joint_vel_maxlim(buf);
        libalgo_set_control_loop_period((changes & 64) ? in.real(0.01f) : 0.002f);
    }
    if (changes & 128) {  // joint directions and the singularity-avoidance flag
        for (int i = 0; i < 8; ++i) buf[i] = in.real(1.0f);
        libalgo_set_joint_direction(buf);
        libalgo_set_is_avoid_Singularity(in.byte() & 1);
    }
    return type;
}

}  // namespace tova_fuzz
