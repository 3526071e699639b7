// Forward kinematics: the closed-form flange transforms of the vesk, quell,
// pirra and lumo families and the entry points that dispatch by model and
// compose the install, tool and work frames.
//
// Every closed form is the model's chain of DH link transforms multiplied out by
// hand, evaluated in f32 from one sine/cosine pair per joint. Those pairs are
// the f32 roundings of the double sin/cos of each f32 angle; fast_trig.hpp
// evaluates all of them at once with results identical to the C library's.
#include "kinematics/tova_kinematics.h"

#include <cstdint>

#include "config/config_generation.hpp"
#include "config/libalgo_interface.h"
#include "kinematics/fast_trig.hpp"
#include "kinematics/frame_product.hpp"
#include "kinematics/forward_internal.hpp"
#include "kinematics/kine_taldo.h"
#include "math/pose_core.hpp"

namespace tova {
namespace {

// Working variables of the forward kinematics: the configuration copied by the
// last call and the last results of the entry points.
struct ForwardState {
    DhTable robot_dh;           // DH table read by the last call
    uint8_t robot_type;         // robot type of the last entry-point call, as a byte
    Matrix T_BE;                // last flange transform in the base frame
    Matrix T_BE_rotate_tool;    // last forward_kinematics_rotate result
    Matrix T_BE_rotate_flange;  // last forward_kinematics_rotate_flange result
    float position[3];          // last forward_kinematics_pos[_calibration] result
};
ForwardState fk;

template <int N>
struct JointTrig {
    float s[N];
    float c[N];
};

// sin/cos of q[i] + offset[i] (f32 sum), double precision rounded to f32.
template <int N>
inline JointTrig<N> trig_with_offsets(const float *q, const DhTable &dh) {
    float theta[N];
    for (int i = 0; i < N; ++i) theta[i] = q[i] + dh.offset[i];
    JointTrig<N> t;
    sincos_rounded<N>(theta, t.s, t.c);
    return t;
}

// sin/cos of the joint values themselves.
template <int N>
inline JointTrig<N> trig_plain(const float *q) {
    JointTrig<N> t;
    sincos_rounded<N>(q, t.s, t.c);
    return t;
}

// Rotates a column given in the arm plane (x', y', z) about the base z axis by
// joint 1: x = c1 x' - s1 y', y = s1 x' + c1 y'.
inline Vec3f about_base(float c1, float s1, float xp, float yp, float z) {
    return {c1 * xp - s1 * yp, s1 * xp + c1 * yp, z};
}

// ---- vesk: modified DH, twists (0, 90, 0, 90, -90, 90) deg ----
// Joints 2 and 3 are parallel (theta23 = theta2 + theta3); joints 4-6 form a
// spherical wrist whose rotation, written in the forearm frame, has the columns
// (u, v, w). The forearm turns (u, w) by theta23; joint 1 turns the arm plane.
Transform flange_vesk(const DhTable &dh, const float *q) {
    const JointTrig<6> t = trig_with_offsets<6>(q, dh);
    const float s1 = t.s[0], c1 = t.c[0], s2 = t.s[1], c2 = t.c[1], s3 = t.s[2], c3 = t.c[2];
    const float s4 = t.s[3], c4 = t.c[3], s5 = t.s[4], c5 = t.c[4], s6 = t.s[5], c6 = t.c[5];
    const float d1 = dh.d[0], d4 = dh.d[3], d6 = dh.d[5], a3 = dh.a[2];

    const float c23 = c2 * c3 - s2 * s3;
    const float s23 = s2 * c3 + c2 * s3;
    const float c5c6 = c5 * c6, c5s6 = c5 * s6;
    const float u0 = c4 * c5c6 - s4 * s6, v0 = s4 * c5c6 + c4 * s6, w0 = s5 * c6;
    const float u1 = -(c4 * c5s6) - s4 * c6, v1 = c4 * c6 - s4 * c5s6, w1 = -(s5 * s6);
    const float u2 = c4 * s5, v2 = s4 * s5, w2 = -c5;

    // In the arm plane the columns are (c23 u - s23 w, -v, s23 u + c23 w).
    const Vec3f x = about_base(c1, s1, c23 * u0 - s23 * w0, -v0, s23 * u0 + c23 * w0);
    const Vec3f y = about_base(c1, s1, c23 * u1 - s23 * w1, -v1, s23 * u1 + c23 * w1);
    const float ap2 = c23 * u2 - s23 * w2;
    const Vec3f z = about_base(c1, s1, ap2, -v2, s23 * u2 + c23 * w2);

    // The wrist's share of the height, d6 (s23 c4 s5 - c23 c5), is written as the
    // two half-sums -(1 + c4) cos(theta23 + theta5) / 2 - (1 - c4) cos(theta23 - theta5) / 2.
    const float cos_sum = c23 * c5 - s23 * s5;
    const float cos_diff = c23 * c5 + s23 * s5;
    const float half_sum = static_cast<float>(0.5 * static_cast<double>((1.0f + c4) * cos_sum));
    const float half_diff = static_cast<float>(0.5 * static_cast<double>((1.0f - c4) * cos_diff));
    const float reach = a3 * c2 + d4 * s23 + d6 * ap2;
    const Vec3f p = about_base(c1, s1, reach, -(d6 * v2),
                               d1 + a3 * s2 - d4 * c23 - d6 * (half_sum + half_diff));
    return make_transform(x, y, z, p);
}

// ---- pirra: modified DH, twists (0, -90, 0, 90, -90, -90) deg ----
// Same structure as vesk with the other twist signs. Lengths d1, d2, d4, d6,
// a2, a3, a4 as given (pirra_2 passes d2 = 0: it does not read it).
struct PirraLengths {
    float d1, d2, d4, d6, a2, a3, a4;
};

Transform flange_pirra(const JointTrig<6> &t, const PirraLengths &g) {
    const float s1 = t.s[0], c1 = t.c[0], s2 = t.s[1], c2 = t.c[1], s3 = t.s[2], c3 = t.c[2];
    const float s4 = t.s[3], c4 = t.c[3], s5 = t.s[4], c5 = t.c[4], s6 = t.s[5], c6 = t.c[5];

    const float c23 = c2 * c3 - s2 * s3;
    const float s23 = s2 * c3 + c2 * s3;
    const float c5c6 = c5 * c6, c5s6 = c5 * s6;
    const float u0 = c4 * c5c6 + s4 * s6, v0 = s4 * c5c6 - c4 * s6, w0 = s5 * c6;
    const float u1 = s4 * c6 - c4 * c5s6, v1 = -(c4 * c6 + s4 * c5s6), w1 = -(s5 * s6);
    const float u2 = -(c4 * s5), v2 = -(s4 * s5), w2 = c5;

    // In the arm plane the columns are (c23 u - s23 w, v, -(s23 u + c23 w)).
    const Vec3f x = about_base(c1, s1, c23 * u0 - s23 * w0, v0, -(s23 * u0 + c23 * w0));
    const Vec3f y = about_base(c1, s1, c23 * u1 - s23 * w1, v1, -(s23 * u1 + c23 * w1));
    const float ap2 = c23 * u2 - s23 * w2, az2 = -(s23 * u2 + c23 * w2);
    const Vec3f z = about_base(c1, s1, ap2, v2, az2);

    const float reach = g.a2 + g.a3 * c2 + g.a4 * c23 + g.d4 * s23 + g.d6 * ap2;
    const float side = g.d2 + g.d6 * v2;
    const float height = g.d1 - g.a3 * s2 - g.a4 * s23 + g.d4 * c23 + g.d6 * az2;
    return make_transform(x, y, z, about_base(c1, s1, reach, side, height));
}

// pirra_2 works on the joint vector itself: checked against the universal link
// transforms in "machine" mode, its default offsets (0, -90, 90, 0, 180, 180)
// deg must enter as constants, so they are built in through exact identities:
// sin(q - 90) = -cos q, cos(q - 90) = sin q, sin(q + 90) = cos q,
// cos(q + 90) = -sin q, sin(q + 180) = -sin q, cos(q + 180) = -cos q.
Transform flange_pirra_2(const DhTable &dh, const float *q) {
    const JointTrig<6> j = trig_plain<6>(q);
    JointTrig<6> t = j;
    t.s[1] = -j.c[1];
    t.c[1] = j.s[1];
    t.s[2] = j.c[2];
    t.c[2] = -j.s[2];
    t.s[4] = -j.s[4];
    t.c[4] = -j.c[4];
    t.s[5] = -j.s[5];
    t.c[5] = -j.c[5];
    return flange_pirra(t, {dh.d[0], 0.0f, dh.d[3], dh.d[5], dh.a[1], dh.a[2], dh.a[3]});
}

Transform flange_pirra_3(const DhTable &dh, const float *q) {
    return flange_pirra(trig_with_offsets<6>(q, dh),
                        {dh.d[0], dh.d[1], dh.d[3], dh.d[5], dh.a[1], dh.a[2], dh.a[3]});
}

// ---- lumo A, B, C: modified DH, twists (0, -90, 0, 0, 90, -90) deg ----
// Joints 2, 3 and 4 are parallel (theta234); the last two joints form the wrist.
Transform flange_lumo(const DhTable &dh, const float *q) {
    const JointTrig<6> t = trig_with_offsets<6>(q, dh);
    const float s1 = t.s[0], c1 = t.c[0], s2 = t.s[1], c2 = t.c[1], s3 = t.s[2], c3 = t.c[2];
    const float s4 = t.s[3], c4 = t.c[3], s5 = t.s[4], c5 = t.c[4], s6 = t.s[5], c6 = t.c[5];
    const float d1 = dh.d[0], d4 = dh.d[3], d5 = dh.d[4], d6 = dh.d[5];
    const float a2 = dh.a[1], a3 = dh.a[2], a4 = dh.a[3];

    const float c23 = c2 * c3 - s2 * s3;
    const float s23 = s2 * c3 + c2 * s3;
    const float c234 = c23 * c4 - s23 * s4;
    const float s234 = s23 * c4 + c23 * s4;
    const float c5c6 = c5 * c6, c5s6 = c5 * s6;

    // In the arm plane the columns are (c234 u - s234 w, v, -(s234 u + c234 w))
    // with (u, v, w) = (c5 c6, s5 c6, s6), (-c5 s6, -s5 s6, c6), (-s5, c5, 0).
    const Vec3f x = about_base(c1, s1, c234 * c5c6 - s234 * s6, s5 * c6, -(s234 * c5c6 + c234 * s6));
    const Vec3f y = about_base(c1, s1, -(c234 * c5s6) - s234 * c6, -(s5 * s6),
                               s234 * c5s6 - c234 * c6);
    const float ap2 = -(c234 * s5), az2 = s234 * s5;
    const Vec3f z = about_base(c1, s1, ap2, c5, az2);

    const float reach = a2 + a3 * c2 + a4 * c23 + d5 * s234 + d6 * ap2;
    const float side = d4 + d6 * c5;
    const float height = d1 - a3 * s2 - a4 * s23 + d5 * c234 + d6 * az2;
    return make_transform(x, y, z, about_base(c1, s1, reach, side, height));
}

// ---- quell: standard DH, 7 joints, twists (-90, 90, -90, 90, -90, 90, 0) deg ----
// Each link is Rz(theta) Tz(d) Rx(alpha) (all a are zero), so the chain is
// multiplied out column by column: with X, Y, Z the columns of the rotation so
// far, a twist of -90 gives (cX + sY, -Z, -sX + cY), +90 gives
// (cX + sY, Z, sX - cY), 0 gives (cX + sY, -sX + cY, Z); the position gains
// d_i along the Z of the frame before link i.
// quell never reads the offsets; its default offsets are all zero, so unlike
// pirra_2 no constants are built in.
Transform flange_quell(const DhTable &dh, const float *q) {
    const JointTrig<7> t = trig_plain<7>(q);
    // Link 1 (twist -90): (c1, s1, 0), (0, 0, -1), (-s1, c1, 0).
    Vec3f X{t.c[0], t.s[0], 0.0f};
    Vec3f Y{0.0f, 0.0f, -1.0f};
    Vec3f Z{-t.s[0], t.c[0], 0.0f};
    Vec3f p{0.0f, 0.0f, dh.d[0]};
    for (int i = 1; i < 6; ++i) {
        if (i == 2 || i == 4) p = add_scaled(p, dh.d[i], Z);
        const float s = t.s[i], c = t.c[i];
        const Vec3f Xn = lin2(c, X, s, Y);
        if (i % 2 == 1) {  // twist +90
            const Vec3f Zn = lin2(s, X, -c, Y);
            Y = Z;
            Z = Zn;
        } else {  // twist -90
            const Vec3f Zn = lin2(-s, X, c, Y);
            Y = neg(Z);
            Z = Zn;
        }
        X = Xn;
    }
    // Link 7 (twist 0).
    p = add_scaled(p, dh.d[6], Z);
    const Vec3f Xn = lin2(t.c[6], X, t.s[6], Y);
    Y = lin2(-t.s[6], X, t.c[6], Y);
    return make_transform(Xn, Y, Z, p);
}

// ---- dispatch ----
Transform flange(uint8_t type, const DhTable &dh, const float *q) {
    switch (type) {
    case ROBOT_QUELL: return flange_quell(dh, q);
    case ROBOT_PIRRA_2: return flange_pirra_2(dh, q);
    case ROBOT_PIRRA_3: return flange_pirra_3(dh, q);
    case ROBOT_LUMO_A:
    case ROBOT_LUMO_B:
    case ROBOT_LUMO_C: return flange_lumo(dh, q);
    case ROBOT_TALDO: return flange_taldo(dh, q);
    default: return flange_vesk(dh, q);  // 0, 2, 9 and any unknown type
    }
}

// Reads the robot type and the DH table, evaluates the model's flange and keeps
// it in T_BE.
Transform refresh_and_flange(const float *q) {
    fk.robot_type = static_cast<uint8_t>(libalgo_get_robot_type());
    libalgo_get_dh_value(&fk.robot_dh);
    const Transform F = flange(fk.robot_type, fk.robot_dh, q);
    store_transform(F, fk.T_BE);
    return F;
}

// f32 matrix-vector product A v with a 4-vector, summed left to right.
inline void mul4v(const Transform &A, const float v[4], float r[4]) {
    for (int i = 0; i < 4; ++i)
        r[i] = A.row[i][0] * v[0] + A.row[i][1] * v[1] + A.row[i][2] * v[2] + A.row[i][3] * v[3];
}

// The configured install, tool and work frames as rows, re-read only after the
// configuration changed: at control rate they are the same on every call, and
// three record copies per call cost more than the products that use them.
struct Frames {
    Transform inst, tool, work;
};

const Frames &frames() {
    static Frames cached;
    static uint64_t generation = kNoConfigGeneration;
    const uint64_t now = config_generation();
    if (generation != now) {
        Matrix m;
        libalgo_get_robot_install_angle_matrix(&m);
        cached.inst = load_transform(m);
        libalgo_get_tool_cs_matrix(&m);
        cached.tool = load_transform(m);
        libalgo_get_work_cs_to_base_matrix(&m);
        cached.work = load_transform(m);
        generation = now;
    }
    return cached;
}

// The pose of W * I * F * T.
inline void tool_pose(const Frames &f, const Transform &F, Pose *out) {
    *out = with_chain(f.work, f.inst, F, f.tool, [](const Transform &T) { return pose_from_rows(T); });
}

#if TOVA_BATCH_X86_KERNELS
// tool_pose again, compiled for AVX2 with everything it calls inlined: the
// products widen to double four lanes at a time and the arc tangents of the
// Euler angles run inline instead of behind a call. Used where the atan2f
// kernels are (batch_trig.hpp), so the bits are those of tool_pose; the
// frame tests compare them with matrix_m and the pose conversion.
__attribute__((target("avx2,fma"), flatten)) void tool_pose_wide(const Frames &f, const Transform &F, Pose *out) {
    tool_pose(f, F, out);
}
#endif

// Rotation of W * I * F, times the tool's rotation when with_tool is set; 3 x 3
// products of the rotation blocks.
Matrix rotation_chain(const float *q, bool with_tool) {
    const Frames &f = frames();
    const Matrix tool = rotation_of(f.tool), inst = rotation_of(f.inst), work = rotation_of(f.work);
    Matrix R = rotation_of(refresh_and_flange(q));
    if (with_tool) R = fm_mul(R, tool);
    R = fm_mul(inst, R);
    return fm_mul(work, R);
}

// F * (t, 1), then I, then (with_work) W: the tool origin, f32 products.
void tool_origin(const float *q, bool with_work, float out[3]) {
    const Frames &f = frames();
    const Transform F = refresh_and_flange(q);
    const float t[4] = {f.tool.row[0][3], f.tool.row[1][3], f.tool.row[2][3], 1.0f};
    float in_base[4], in_world[4], in_work[4];
    mul4v(F, t, in_base);
    mul4v(f.inst, in_base, in_world);
    const float *p = in_world;
    if (with_work) {
        mul4v(f.work, in_world, in_work);
        p = in_work;
    }
    for (int i = 0; i < 3; ++i) out[i] = fk.position[i] = p[i];
}

// The three routines of one family over its flange core.
using FlangeFn = Transform (*)(const DhTable &, const float *);

Matrix *family_transform(FlangeFn core, Matrix *out, const float *q) {
    libalgo_get_dh_value(&fk.robot_dh);
    store_transform(core(fk.robot_dh, q), *out);
    return out;
}

Matrix *family_rotation(FlangeFn core, Matrix *out, const float *q) {
    libalgo_get_dh_value(&fk.robot_dh);
    *out = rotation_of(core(fk.robot_dh, q));
    return out;
}

float *family_position(FlangeFn core, float out[3], const float *q) {
    libalgo_get_dh_value(&fk.robot_dh);
    const Transform T = core(fk.robot_dh, q);
    for (int i = 0; i < 3; ++i) out[i] = T.row[i][3];
    return out;
}

}  // namespace
}  // namespace tova

using namespace tova;

extern "C" {

Matrix *forward_kinematics_e(Matrix *out, const float *q) {
    store_transform(refresh_and_flange(q), *out);
    return out;
}

Matrix *forward_kinematics_world_to_flange(Matrix *out, const float *q) {
    const Transform F = refresh_and_flange(q);
    store_transform(mul(frames().inst, F), *out);
    return out;
}

Matrix *forward_kinematics_for_unity(Matrix *out, const float *q) {
    const Transform F = refresh_and_flange(q);
    const Frames &f = frames();
    store_transform(mul(f.inst, mul(F, f.tool)), *out);
    return out;
}

Pose *forward_kinematics(Pose *out, const float *q) {
    const Transform F = refresh_and_flange(q);
    const Frames &f = frames();
#if TOVA_BATCH_X86_KERNELS
    if (batch_detail::use_kernels()) {
        tool_pose_wide(f, F, out);
        return out;
    }
#endif
    tool_pose(f, F, out);
    return out;
}

Matrix *forward_kinematics_rotate(Matrix *out, const float *q) {
    fk.T_BE_rotate_tool = rotation_chain(q, true);
    *out = fk.T_BE_rotate_tool;
    return out;
}

Matrix *forward_kinematics_rotate_flange(Matrix *out, const float *q) {
    fk.T_BE_rotate_flange = rotation_chain(q, false);
    *out = fk.T_BE_rotate_flange;
    return out;
}

float *forward_kinematics_pos(float out[3], const float *q) {
    tool_origin(q, true, out);
    return out;
}

float *forward_kinematics_pos_calibration(float out[3], const float *q) {
    tool_origin(q, false, out);
    return out;
}

Matrix *forward_kinematics_e_vesk(Matrix *out, const float *q) {
    return family_transform(flange_vesk, out, q);
}
Matrix *forward_kinematics_rotate_vesk(Matrix *out, const float *q) {
    return family_rotation(flange_vesk, out, q);
}
float *forward_kinematics_pos_vesk(float out[3], const float *q) {
    return family_position(flange_vesk, out, q);
}

Matrix *forward_kinematics_e_quell(Matrix *out, const float *q) {
    return family_transform(flange_quell, out, q);
}
Matrix *forward_kinematics_rotate_quell(Matrix *out, const float *q) {
    return family_rotation(flange_quell, out, q);
}
float *forward_kinematics_pos_quell(float out[3], const float *q) {
    return family_position(flange_quell, out, q);
}

Matrix *forward_kinematics_e_pirra_2(Matrix *out, const float *q) {
    return family_transform(flange_pirra_2, out, q);
}
Matrix *forward_kinematics_rotate_pirra_2(Matrix *out, const float *q) {
    return family_rotation(flange_pirra_2, out, q);
}
float *forward_kinematics_pos_pirra_2(float out[3], const float *q) {
    return family_position(flange_pirra_2, out, q);
}

Matrix *forward_kinematics_e_pirra_3(Matrix *out, const float *q) {
    return family_transform(flange_pirra_3, out, q);
}
Matrix *forward_kinematics_rotate_pirra_3(Matrix *out, const float *q) {
    return family_rotation(flange_pirra_3, out, q);
}
float *forward_kinematics_pos_pirra_3(float out[3], const float *q) {
    return family_position(flange_pirra_3, out, q);
}

Matrix *forward_kinematics_e_lumo(Matrix *out, const float *q) {
    return family_transform(flange_lumo, out, q);
}
Matrix *forward_kinematics_rotate_lumo(Matrix *out, const float *q) {
    return family_rotation(flange_lumo, out, q);
}
float *forward_kinematics_pos_lumo(float out[3], const float *q) {
    return family_position(flange_lumo, out, q);
}

}  // extern "C"
