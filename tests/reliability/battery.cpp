#include "battery.hpp"

#include <cinttypes>
#include <cstdio>
#include <initializer_list>

#include "config_snapshot.hpp"
#include "process_state.hpp"

namespace tova_test {

namespace {

bool seven_axis(uint32_t type) { return type == ROBOT_QUELL || type == ROBOT_TALDO; }
int joint_count(uint32_t type) { return seven_axis(type) || type == ROBOT_GENERIC_7 ? 7 : 6; }

// Tool, work and installation frames of moderate size (or identity).
void random_frames(Rng &rng, bool identity) {
    float f[6] = {0, 0, 0, 0, 0, 0};
    if (!identity) rng.fill(f, 6, -0.15f, 0.15f);
    libalgo_set_tool_cs_params(f);
    if (!identity) rng.fill(f, 6, -0.3f, 0.3f);
    libalgo_set_work_cs_params(f);
    if (!identity) rng.fill(f, 3, -0.4f, 0.4f);
    libalgo_set_robot_install_angle(f);
}

// Joints `goal` in [-range, range] and current joints within `near` of them.
void near_pair(Rng &rng, float *goal, float *cur, int n, float range, float near) {
    rng.fill(goal, n, -range, range);
    for (int k = 0; k < n; ++k) cur[k] = goal[k] + rng.uniform(-near, near);
}

void config_part(Digest &d, Rng &rng) {
    ConfigSnapshot s;
    for (uint32_t type : kModels) {
        for (uint32_t sensor = 0; sensor < 3; ++sensor) {
            d.put(libalgo_set_robot_and_sensor_type(type, sensor));
            take_snapshot(s);
            d.put(s);
        }
        d.put(libalgo_set_robot_and_sensor_type(type, 0));
        random_frames(rng, false);
        float v[64];
        rng.fill(v, 64, -2.0f, 2.0f);
        libalgo_set_jointlim_max(v + 16);
        libalgo_set_joint_direction(v + 24);
        libalgo_set_drag_regulation_factor(v + 32);
        RobotFeedback fb;
        rng.fill(&fb.joint_vector_a[0], 71, -3.0f, 3.0f);
        libalgo_update_feedback_data(&fb);
        DhTable dh;
        libalgo_get_dh_value(&dh);
        dh.d[2] += 0.001f;
        libalgo_set_dh_params(&dh);
        d.put(libalgo_set_safety_level(static_cast<uint16_t>(rng.next() % 12)));
        d.put(libalgo_set_system_all_dof(static_cast<int32_t>(rng.next() % 10)));
        take_snapshot(s);
        d.put(s);
        Matrix m;
        lib_internal_pose_to_matrix(v + 40, &m);
        d.put(m);
    }
}

void pose_part(Digest &d, Rng &rng) {
    for (int i = 0; i < 50; ++i) {
        Pose p;
        rng.fill(&p.x, 10, -3.0f, 3.0f);
        const Matrix Te = pose_euler_to_transformation_matrix(p);
        const Matrix Tq = pose_quat_to_transformation_matrix(p);
        d.put(Te), d.put(Tq), d.put(transformation_matrix_to_pose(Te));
        d.put(matrix_to_euler(Tq)), d.put(matrix_to_quat(Te));
        d.put(euler_to_matrix(p.euler)), d.put(quat_to_matrix(p.quaternion));
        d.put(euler_to_quat(p.euler)), d.put(quat_to_euler(p.quaternion));
        d.put(quaternion_interpolation(1.1f, 0.4f, p.quaternion, euler_to_quat(p.euler)));
        d.put(rotx(p.x)), d.put(roty(p.y)), d.put(rotz(p.z)), d.put(cross(Te, Tq));
        d.put(my_atan2f(p.y, p.x)), d.put(tv_sign(p.z));

        const Matrix inv = matrix_inv_coordinate_system(&Te);
        const Matrix prod = matrix_m(&Te, &inv);
        d.put(inv), d.put(prod), d.put(matrix_inv_full_rank(&Tq)), d.put(matrix_t(&Te));
        d.put(matrix_a(&Te, &Tq, i & 1)), d.put(matrix_m_num(p.x, &Te)), d.put(matrix_T2R(&Tq));
        Matrix g = Te;
        d.put(matrix_inv(&g)), d.put(g);
        d.put(zero_matrix(3, 2)), d.put(unit_matrix(static_cast<int16_t>(i % 5)));

        MatrixMore M = unit_matrix_dim7(7);
        rng.fill(&M.data[0][0], 49, -1.0f, 1.0f);
        for (int k = 0; k < 7; ++k) M.data[k][k] += 4.0f;  // well conditioned
        const MatrixMore N = matrix_t_dim7(&M);
        d.put(matrix_m_dim7(&M, &N)), d.put(matrix_a_dim7(&M, &N, 0)), d.put(matrix_m_num_dim7(p.y, &M));
        d.put(simp_matrix_inv77(&M));
        d.put(matrix_inv_dim7(&M)), d.put(M);
    }
}

using MatrixFk = Matrix *(*)(Matrix *, const float *);
using PositionFk = float *(*)(float *, const float *);
// The entry points, then every family's closed form (run on whichever model's DH table is selected).
const MatrixFk kMatrixFk[] = {
    forward_kinematics_e,               forward_kinematics_world_to_flange, forward_kinematics_for_unity,
    forward_kinematics_rotate,          forward_kinematics_rotate_flange,   forward_kinematics_e_vesk,
    forward_kinematics_rotate_vesk,     forward_kinematics_e_quell,         forward_kinematics_rotate_quell,
    forward_kinematics_e_pirra_2,       forward_kinematics_rotate_pirra_2,  forward_kinematics_e_pirra_3,
    forward_kinematics_rotate_pirra_3,  forward_kinematics_e_lumo,          forward_kinematics_rotate_lumo,
    forward_kinematics_e_taldo,         forward_kinematics_rotate_taldo};
const PositionFk kPositionFk[] = {forward_kinematics_pos,         forward_kinematics_pos_calibration,
                                  forward_kinematics_pos_vesk,    forward_kinematics_pos_quell,
                                  forward_kinematics_pos_pirra_2, forward_kinematics_pos_pirra_3,
                                  forward_kinematics_pos_lumo,    forward_kinematics_pos_taldo};

void forward_part(Digest &d, Rng &rng) {
    for (uint32_t type : kModels) {
        libalgo_set_robot_and_sensor_type(type, 1);
        random_frames(rng, false);
        for (int i = 0; i < 10; ++i) {
            float q[7], v[3];
            rng.fill(q, 7, -3.0f, 3.0f);
            Matrix m;
            Pose p;
            d.put(*forward_kinematics(&p, q));
            for (MatrixFk fk : kMatrixFk) d.put(*fk(&m, q));
            for (PositionFk fk : kPositionFk) d.add(fk(v, q), sizeof v);
        }
    }
}

using Plugin = int32_t (*)(const Matrix *, const float *, float *);
// The stateless plug-in solver ikine picks, indexed by model type (none for
// the seven-axis models, the generic one and the unused type 2).
const Plugin kPluginOf[] = {plugin_inverse_kinematics_vesk,    nullptr,
                            nullptr,                           plugin_inverse_kinematics_pirra_2,
                            plugin_inverse_kinematics_pirra_3, plugin_inverse_kinematics_lumo,
                            plugin_inverse_kinematics_lumo,    nullptr,
                            plugin_inverse_kinematics_lumo,    nullptr};

// Targets: the tool pose of joints near the current ones, so most requests
// succeed and the choice among candidates matters; every eighth is far off.
// Each goes to the entry, to the model's plug-in solver (configured tool) and
// to ikine (its own selection, no frames). ikine's solve mode alternates, and
// the seven-axis settings it leaves behind hold for the next entry call, so
// both see the narrow and the wide seven-axis search.
void inverse_part(Digest &d, Rng &rng) {
    static int32_t (*const kSixAxis[])(const float *, float *) = {inverse_kinematics_vesk, inverse_kinematics_pirra_2,
                                                                  inverse_kinematics_pirra_3, inverse_kinematics_lumo};
    for (uint32_t type : kModels) {
        float max[8], min[8];  // ikine's joint limits: some targets fall outside them
        rng.fill(max, 8, 1.2f, 6.2f);
        for (int k = 0; k < 8; ++k) min[k] = -max[k];
        const size_t joints = sizeof(float) * static_cast<size_t>(joint_count(type));
        for (int i = 0; i < 12; ++i) {
            libalgo_set_robot_and_sensor_type(type, 0);
            random_frames(rng, type == ROBOT_LUMO_B);
            float goal[7], cur[7], out[7] = {0, 0, 0, 0, 0, 0, 0};
            // Narrow seven-axis search only moves as far as one control period allows.
            near_pair(rng, goal, cur, 7, 2.0f, seven_axis(type) ? 0.0005f : 0.05f);
            Pose p;
            Matrix T;
            forward_kinematics(&p, goal), forward_kinematics_e(&T, goal);
            if (i % 8 == 7) p.x += 5.0f, T.data[0][3] += 5.0f;
            const uint8_t odd = static_cast<uint8_t>(i & 1);
            d.put(inverse_kinematics(cur, &p, out, odd)), d.add(out, joints);
            d.put(joint_overspeed_judgment(cur, out, 1.0f + static_cast<float>(i)));
            if (kPluginOf[type]) d.put(kPluginOf[type](&T, cur, out)), d.add(out, joints);
            d.put(ikine(type, 0, odd, max, min, &T.data[0][0], cur, out)), d.add(out, joints);
        }
        // The helpers and six-axis solvers on the entry's working state.
        Pose p;
        const float q0[7] = {0.2f, -0.3f, 0.8f, 0.1f, 0.6f, -0.2f, 0.3f};
        forward_kinematics(&p, q0);
        inverse_data_init();
        d.put(T_Base_Tool(&p, 1));
        for (auto solve : kSixAxis) {
            float out[6];
            d.put(solve(q0, out)), d.put(out);
        }
        const Matrix m = pose_euler_to_transformation_matrix(p);
        pose_n_o_a(&m);
    }
}

// Link transforms, frame products, Jacobians, singularity analysis and the
// numerical inverse kinematics built on them.
void universal_part(Digest &d, Rng &rng) {
    static const char *const kFrames[] = {"T0n", "T02", "T05", "T06", "T0t", "Tbn", "Tbt", "Twn", "Twt", "other"};
    static const char *const kFormats[] = {"T", "Euler", "quaternion"};
    for (uint32_t type : kModels) {
        libalgo_set_robot_and_sensor_type(type, 0);
        random_frames(rng, false);
        DhTable dh;
        libalgo_get_dh_value(&dh);
        for (int i = 0; i < 6; ++i) {
            float q[8];
            rng.fill(q, 8, -3.0f, 3.0f);
            const char *mode = (i & 1) ? "modeling" : "machine";
            for (const char *frame : kFrames) d.put(kin_universal_kinematics_Tn(q, mode, frame));
            d.put(kin_calc_jacobe_Jn(q, mode)), d.put(kin_calc_jacobe_Jt(q, mode)), d.put(kin_calc_jacobe_J0(q, mode));
            float distance = 0;
            d.put(kin_robot_singularity_analyse(q, mode, &distance)), d.put(distance);
            kin_set_singularity_thresholds(0.5f, 0.5f, 0.3f);
            d.put(kin_robot_singularity_analyse(q, mode, nullptr));
            kin_singularity_thresholds_init();
            d.put(kin_get_MDH_Ti(i, &dh, q)), d.put(kin_get_SDH_Ti(i + 2, &dh, q));

            IkNumericalRequest req{};
            req.max_iterations = 20;
            req.tolerance = 1e-6f;
            float goal[7], out[7] = {0, 0, 0, 0, 0, 0, 0};
            near_pair(rng, goal, req.seed, 7, 1.5f, 0.2f);
            forward_kinematics(&req.pose, goal);
            req.target_matrix = pose_euler_to_transformation_matrix(req.pose);
            d.put(ikine_numerical_solution(&req, kFormats[i % 3], out)), d.put(out);
        }
    }
}

mat random_mat(Rng &rng, int rows, int cols) {
    mat m = mat_zeros(rows, cols);
    for (int i = 0; i < rows; ++i) rng.fill(m.data[i], cols, -2.0f, 2.0f);
    return m;
}

void mat_part(Digest &d, Rng &rng) {
    for (int n = 0; n <= 20; ++n) {
        const int m = 1 + static_cast<int>(rng.next() % 20);
        const mat A = random_mat(rng, n, n);
        const mat B = random_mat(rng, n, m);
        const mat W = random_mat(rng, m, n);
        const mat Wt = mat_T(&W);
        const mat gram = mat_mult(&Wt, &W);  // exactly symmetric: same products, same order
        d.put(mat_mult(&A, &B)), d.put(mat_T(&B)), d.put(mat_add(&A, &A)), d.put(mat_sub(&A, &gram));
        d.put(mat_kM(0.5f, &A)), d.put(mat_is_equal(&A, &gram)), d.put(mat_init(m, n));
        d.put(mat_find_abs_max(&B)), d.put(mat_find_abs_min(&B)), d.put(mat_trace(&A)), d.put(mat_diag(&A));
        d.put(mat_get_Mrow_i(&A, 1)), d.put(mat_get_Mcol_j(&B, m)), d.put(mat_is_hermitian(&gram));
        mat C = A;
        swap_row(&C, 1, n), swap_col(&C, 1, n);
        const mat r1 = mat_get_Mrow_i(&B, 1);
        mat_set_Mrow_i(&r1, 1, &C);
        const mat c1 = mat_get_Mcol_j(&W, 1);
        mat_set_Mcol_j(&c1, n, &C);
        d.put(C), d.put(mat_eye(n, m));
        const mat v = mat_get_Mcol_j(&B, 1);
        d.put(vec_norm2(&v)), d.put(vec_normInf(&v)), d.put(vec_dot(&v, &v)), d.put(vec_add(&v, &v));
        d.put(vec_sub(&v, &v)), d.put(vec_minus(&v)), d.put(vec_kV(2.0f, &v)), d.put(vec_add_scalar(1.0f, &v));
        d.put(vec_is_zeros(&v)), d.put(vec3x3_cross(&v, &v)), d.put(vec_to_skew(&v)), d.put(vec_vex(&A));
        d.put(skew_to_vec(&A)), d.put(mat_T2R(&A)), d.put(mat_T2p(&A)), d.put(mat_homogen_trans_inv(&A));
        float sorted[64];
        rng.fill(sorted, 64, -1.0f, 1.0f);
        merge_sort(static_cast<int>(n & 1), sorted, 64);
        d.put(sorted);

        mat inv{}, L, U, P, Q, R, S, V;  // inv: mat_inv leaves it alone when it fails
        d.put(mat_inv(A, &inv)), d.put(inv);
        d.put(mat_lu(&A, &L, &U, &P)), d.put(L), d.put(U), d.put(P);
        d.put(mat_det(&A)), d.put(mat_rank(&B)), d.put(mat_rank(&gram));
        d.put(mat_qr(&B, &Q, &R)), d.put(Q), d.put(R);
        d.put(mat_eig(&A)), d.put(mat_eig(&gram));
        d.put(mat_hermitian_eig(&gram, &S, &V)), d.put(S), d.put(V);
        d.put(mat_svd(&B, &U, &S, &V)), d.put(U), d.put(S), d.put(V);
        d.put(mat_fast_svd(&B, &U, &S, &V)), d.put(U), d.put(S), d.put(V);
        d.put(mat_pinv(&B)), d.put(mat_pinv_svd(&B)), d.put(mat_cond(&A));

        AlgoMatrix a{}, b;
        a.rows = a.cols = 1 + n % 9;
        for (int i = 0; i < a.rows; ++i) {
            rng.fill(a.data[i], a.cols, -1.0f, 1.0f);
            a.data[i][i] += 3.0f;
        }
        b = algo_matrix_tool_t(a);
        d.put(b), d.put(algo_matrix_tool_m(a, b)), d.put(algo_matrix_tool_inv(a)), d.put(algo_rank(&a)), d.put(a);

        float x[12], y[12], z[16];
        rng.fill(x, 12, -1.0f, 1.0f);
        rng.fill(y, 12, -1.0f, 1.0f);
        marr_m(x, y, z, 4, 3, 4);
        d.put(z), d.put(utils_is_zero_vec(x, 12));
        const mat T1 = mat_eye(4, 4);
        mat T2 = random_mat(rng, 4, 4);
        d.put(utils_angle_axis_diff(&T1, &T2));
        const Matrix small = mat_to_matrix(&T2);
        const MatrixMore more = mat_to_matrix_more(&gram);
        d.put(small), d.put(more), d.put(matrix_to_mat(&small)), d.put(matrix_more_to_mat(&more));
    }
}

// Fixed-size array operations with the number of floats each writes.
const struct {
    int (*f)(const float *, const float *, float *);
    size_t outputs;
} kBinaryArrayOps[] = {{sub_VEC3, 3},         {add_VEC3, 3},         {cross_VEC3, 3},
                       {mult_MAT3X3, 9},      {mult_MAT4X4, 16},     {mult_MAT6X6, 36},
                       {mult_MAT3X3_VEC3, 3}, {mult_MAT6X6_VEC6, 6}, {mult_MAT7X6_VEC6, 7},
                       {mult_MAT6X7_VEC7, 6}};
const struct {
    int (*f)(const float *, float *);
    size_t outputs;
} kUnaryArrayOps[] = {{unit_VEC3, 3}, {transpose_MAT3X3, 9}, {transpose_MAT6X6, 36}, {transpose_MAT6X7, 42}};

void arrays_part(Digest &d, Rng &rng) {
    for (int i = 0; i < 30; ++i) {
        float a[42], b[42], out[42];
        rng.fill(a, 42, -1.5f, 1.5f);
        rng.fill(b, 42, -1.5f, 1.5f);
        d.put(getSign(a[0]));
        for (const auto &op : kBinaryArrayOps) d.put(op.f(a, b, out)), d.add(out, sizeof(float) * op.outputs);
        for (const auto &op : kUnaryArrayOps) d.put(op.f(a, out)), d.add(out, sizeof(float) * op.outputs);
        float m6[36] = {};
        assign_MAT3X3_to_MAT6X6(m6, 3, 3, a, 0, 0, 3, 3), d.put(m6);
        mul_VEC3_scalar(a, 0.5f), mul_MAT3X3_scalar(b, 2.0f), d.add(a, 12), d.add(b, 36);
        initEyeMat_MAT3X3(out), d.add(out, 36);

        float R[9], T[16], Ti[16], Ad[36], w[3], V[6], q[4];
        roMatrixExp3(a, R), d.put(R);
        d.put(roMatrixLog3(R, w)), d.put(w);
        roVecToso3(w, out), d.add(out, 36);
        roRpToTrans(R, b, T), d.put(T);
        roTransToRp(T, R, w), d.put(R), d.put(w);
        roTransInv(T, Ti), d.put(Ti);
        roAdjointT(T, Ad), d.put(Ad);
        roMatrixExp6(a, T), d.put(T);
        roMatrixLog6(T, V), d.put(V);
        roMatrix2Quat(R, q), d.put(q);
        roQuat2Matrix(q, R), d.put(R);
    }
    Lpf3State f;
    Lpf3StateDouble g;
    set_LPF3(&f), set_LPF3_double(&g);
    const float b[4] = {0.0029f, 0.0087f, 0.0087f, 0.0029f}, a[4] = {1.0f, -2.37f, 1.93f, -0.53f};
    for (int k = 0; k < 4; ++k) f.coef_a[k] = a[k], f.coef_b[k] = b[k], g.coef_a[k] = a[k], g.coef_b[k] = b[k];
    for (int i = 0; i < 200; ++i) {
        const float x = rng.uniform(-1.0f, 1.0f);
        d.put(dataFilt_f_LPF3(x, &f)), d.put(dataFilt_f_LPF3_double(x, &g));
    }
    d.put(f), d.put(g);
}

void dynmatrix_part(Digest &d, Rng &rng) {
    for (int n = 1; n <= 8; ++n) {
        float a[64], b[64];
        rng.fill(a, n * n, -1.0f, 1.0f);
        for (int i = 0; i < n; ++i) a[i * n + i] += 3.0f;
        rng.fill(b, n * 2, -1.0f, 1.0f);
        DynMatrix *A = arrayToDynMatrix(a, n, n), *B = arrayToDynMatrix(b, n, 2);
        DynMatrix *Bt = transposeDynMatrix(B);
        DynMatrix *P = multDynMatrix(A, B), *S = addDynMatrix(A, A), *Dd = subDynMatrix(A, A);
        DynMatrix *K = scaleDynMatrix(A, 0.5f), *E = eyeDynMatrix(n), *X = mrdivide(Bt, A);
        DynMatrix *LU = copyDynMatrix(A);
        int perm[8];
        d.put(LUdecomposition(LU, perm));
        DynMatrix *Y = solverLU(LU, perm, B);
        d.put(normDynMatrix(A)), d.put(dotDynMatrix(A, A));
        DynMatrix *all[] = {Bt, P, S, Dd, K, E, X, LU, Y};
        for (DynMatrix *m : all) {
            d.put(m->rows), d.put(m->cols);
            d.add(m->data, sizeof(float) * static_cast<size_t>(m->rows * m->cols));
        }
        for (DynMatrix *m : {A, B, Bt, P, S, Dd, K, E, X, LU, Y}) freeDynMatrix(&m);
    }
}

}  // namespace

const char *part_name(Part p) {
    static const char *const kNames[kPartCount] = {"config",    "pose", "forward", "inverse",
                                                   "universal", "mat",  "arrays",  "dynmatrix"};
    return kNames[static_cast<int>(p)];
}

void run_part(Part p, Digest &d, int rounds) {
    static void (*const kRun[kPartCount])(Digest &, Rng &) = {config_part,    pose_part, forward_part, inverse_part,
                                                              universal_part, mat_part,  arrays_part,  dynmatrix_part};
    reset_process_state();
    Rng rng(0x9E3779B9u ^ static_cast<uint32_t>(p));
    for (int r = 0; r < rounds; ++r) kRun[static_cast<int>(p)](d, rng);
    reset_process_state();
}

std::string part_digest(Part p) {
    Digest d;
    run_part(p, d);
    char buf[17];
    std::snprintf(buf, sizeof buf, "%016" PRIx64, d.h);
    return buf;
}

std::map<std::string, std::string> read_digests(FILE *in) {
    std::map<std::string, std::string> out;
    char name[64], value[64];
    while (in && std::fscanf(in, "%63s %63s", name, value) == 2) out[name] = value;
    return out;
}

}  // namespace tova_test
