// Link transforms from DH parameters and the frame products of the configured
// chain (any model), with the base-to-link products T02, T05, T06 kept for the
// singularity analysis.
#include "kinematics/tova_universal_kin.h"

#include <cstring>

#include "config/libalgo_interface.h"
#include "kinematics/fast_trig.hpp"
#include "kinematics/universal_kin_internal.hpp"
#include "math/fixed_matrix.hpp"

namespace tova {
namespace {

// Base-to-link products of the last chain computation that reached them.
struct ChainStatics {
    Matrix T02;
    Matrix T05;
    Matrix T06;
};
ChainStatics chain{};

constexpr int32_t kTableJoints = 8;  // capacity of a DhTable

Matrix identity4() { return fm_identity<Matrix>(4); }

}  // namespace

bool universal_uses_modified_dh(uint32_t robot_type, int32_t dof) {
    return dof == 6 || robot_type == ROBOT_TALDO;
}

bool universal_is_modeling_mode(const char *mode) { return std::strcmp(mode, "modeling") == 0; }

const Matrix &universal_T02() { return chain.T02; }
const Matrix &universal_T05() { return chain.T05; }
const Matrix &universal_T06() { return chain.T06; }

}  // namespace tova

using namespace tova;

extern "C" {

Matrix kin_get_MDH_Ti(int32_t i, const DhTable *dh, const float *q) {
    if (i < 0 || i >= kTableJoints) return identity4();
    return mdh_link(dh_angle_sincos(q[i]), dh_twist_sincos(dh->alpha[i]), dh->d[i], dh->a[i]);
}

Matrix kin_get_SDH_Ti(int32_t i, const DhTable *dh, const float *q) {
    if (i < 0 || i >= kTableJoints) return identity4();
    return sdh_link(dh_angle_sincos(q[i]), dh_twist_sincos(dh->alpha[i]), dh->d[i], dh->a[i]);
}

Matrix kin_universal_kinematics_Tn(const float *q, const char *mode, const char *frame) {
    DhTable dh;
    libalgo_get_dh_value(&dh);
    int32_t n = libalgo_get_rbt_dof();
    const uint32_t type = libalgo_get_robot_type();
    if (n > kTableJoints) n = kTableJoints;
    const bool modified = universal_uses_modified_dh(type, n);

    // Model angles of the joints in use, then all sines and cosines at once
    // (same f32 values as the library's double sin/cos).
    float qm[kTableJoints] = {};
    universal_model_angles(q, dh, universal_is_modeling_mode(mode), n, qm);
    float s[kTableJoints], c[kTableJoints];
    sincos_rounded<kTableJoints>(qm, s, c);

    Matrix A = identity4();
    for (int32_t i = 0; i < n; ++i) {
        const SinCos th{s[i], c[i]};
        const SinCos al = dh_twist_sincos(dh.alpha[i]);
        const Matrix Ti = modified ? mdh_link(th, al, dh.d[i], dh.a[i])
                                   : sdh_link(th, al, dh.d[i], dh.a[i]);
        A = fm_mul(A, Ti);
        if (i == 1) chain.T02 = A;
        if (i == 4) chain.T05 = A;
        if (i == 5) chain.T06 = A;
    }

    auto is = [frame](const char *name) { return std::strcmp(frame, name) == 0; };
    if (is("T0n")) return A;
    if (is("T02")) return chain.T02;
    if (is("T05")) return chain.T05;
    if (is("T06")) return chain.T06;

    Matrix tool, work, inst;
    libalgo_get_tool_cs_matrix(&tool);
    libalgo_get_work_cs_to_base_matrix(&work);
    libalgo_get_robot_install_angle_matrix(&inst);
    if (is("T0t")) return fm_mul(A, tool);
    if (is("Tbn")) return fm_mul(inst, A);
    if (is("Tbt")) return fm_mul(inst, fm_mul(A, tool));
    if (is("Twn")) return fm_mul(work, fm_mul(inst, A));
    if (is("Twt")) return fm_mul(work, fm_mul(inst, fm_mul(A, tool)));
    return fm_mul(work, inst);
}

}  // extern "C"
