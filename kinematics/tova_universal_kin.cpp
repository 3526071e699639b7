// Link transforms from DH parameters and the frame products of the configured
// chain (any model), with the base-to-link products T02, T05, T06 kept for the
// singularity analysis.
#include "kinematics/tova_universal_kin.h"

#include <cstring>

#include "config/libalgo_interface.h"
#include "kinematics/fast_trig.hpp"
#include "kinematics/universal_kin_internal.hpp"
#include "kinematics/frame_product.hpp"
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
    // The frames are copied first; their rows are loaded only after the chain
    // (see frame_product.hpp). The products are matrix_m's, bit for bit.
    Matrix tool, work, inst;
    libalgo_get_tool_cs_matrix(&tool);
    libalgo_get_work_cs_to_base_matrix(&work);
    libalgo_get_robot_install_angle_matrix(&inst);
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

    Transform A = {{{1.0f, 0.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 1.0f, 0.0f},
                    {0.0f, 0.0f, 0.0f, 1.0f}}};
    for (int32_t i = 0; i < n; ++i) {
        const SinCos th{s[i], c[i]};
        const SinCos al = dh_twist_sincos(dh.alpha[i]);
        A = mul(A, modified ? mdh_link_rows(th, al, dh.d[i], dh.a[i])
                            : sdh_link_rows(th, al, dh.d[i], dh.a[i]));
        if (i == 1) store_transform(A, chain.T02);
        if (i == 4) store_transform(A, chain.T05);
        if (i == 5) store_transform(A, chain.T06);
    }

    auto is = [frame](const char *name) { return std::strcmp(frame, name) == 0; };
    Matrix out;
    if (is("T0n")) {
        store_transform(A, out);
    } else if (is("T02")) {
        out = chain.T02;
    } else if (is("T05")) {
        out = chain.T05;
    } else if (is("T06")) {
        out = chain.T06;
    } else {
        const Transform T = load_transform(tool), W = load_transform(work), I = load_transform(inst);
        Transform r;
        if (is("T0t")) r = mul(A, T);
        else if (is("Tbn")) r = mul(I, A);
        else if (is("Tbt")) r = mul(I, mul(A, T));
        else if (is("Twn")) r = mul(W, mul(I, A));
        else if (is("Twt")) r = mul(W, mul(I, mul(A, T)));
        else r = mul(W, I);
        store_transform(r, out);
    }
    return out;
}

}  // extern "C"
