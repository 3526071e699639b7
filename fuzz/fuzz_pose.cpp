// Pose conversions and the fixed 4x4 / 7x7 matrices on arbitrary values:
// nothing may crash, read uninitialised memory or touch memory outside a record.
#include "fuzz_input.hpp"
#include "tova_algorithm.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    tova_fuzz::Input in(data, size);
    Pose p{};
    in.reals(&p.x, 10);
    Matrix A{}, B{};
    A.rows = static_cast<int16_t>(in.range(-2, 6));
    A.cols = static_cast<int16_t>(in.range(-2, 6));
    B.rows = static_cast<int16_t>(in.range(-2, 6));
    B.cols = static_cast<int16_t>(in.range(-2, 6));
    in.reals(&A.data[0][0], 16);
    in.reals(&B.data[0][0], 16);
    MatrixMore M{}, N{};
    M.rows = static_cast<int16_t>(in.range(-2, 9));
    M.cols = static_cast<int16_t>(in.range(-2, 9));
    N.rows = M.cols;
    N.cols = static_cast<int16_t>(in.range(-2, 9));
    in.reals(&M.data[0][0], 49);
    in.reals(&N.data[0][0], 49);

    volatile float sink = 0;
    Matrix T = pose_euler_to_transformation_matrix(p);
    sink = sink + T.data[1][2];
    T = pose_quat_to_transformation_matrix(p);
    Pose back = transformation_matrix_to_pose(T);
    sink = sink + back.euler.rz + back.quaternion.w;
    sink = sink + matrix_to_euler(A).rx + matrix_to_quat(A).w;
    sink = sink + euler_to_matrix(p.euler).data[2][2] + quat_to_matrix(p.quaternion).data[0][1];
    sink = sink + euler_to_quat(p.euler).x + quat_to_euler(p.quaternion).ry;
    sink = sink + quaternion_interpolation(p.x, p.y, p.quaternion, euler_to_quat(p.euler)).z;
    sink = sink + rotx(p.x).data[1][1] + roty(p.y).data[0][2] + rotz(p.z).data[1][0];
    sink = sink + cross(A, B).data[2][0] + my_atan2f(p.x, p.y) + static_cast<float>(tv_sign(p.z));

    sink = sink + zero_matrix(A.rows, A.cols).data[0][0] + unit_matrix(A.rows).data[0][0];
    sink = sink + unit_matrix_dim7(M.rows).data[0][0];
    sink = sink + matrix_t(&A).data[0][1] + matrix_t_dim7(&M).data[0][1];
    sink = sink + matrix_m(&A, &B).data[0][0] + matrix_m_dim7(&M, &N).data[0][0];
    sink = sink + matrix_a(&A, &B, in.range(-1, 2)).data[1][1];
    sink = sink + matrix_a_dim7(&M, &N, in.range(-1, 2)).data[1][1];
    sink = sink + matrix_m_num(p.x, &A).data[0][0] + matrix_m_num_dim7(p.y, &M).data[0][0];
    sink = sink + matrix_T2R(&A).data[2][2];
    sink = sink + matrix_inv_full_rank(&A).data[0][0] + matrix_inv_coordinate_system(&A).data[0][3];
    sink = sink + simp_matrix_inv77(&M).data[3][3];
    Matrix Ai = A;
    sink = sink + matrix_inv(&Ai).data[0][0];
    MatrixMore Mi = M;
    sink = sink + matrix_inv_dim7(&Mi).data[0][0];
    (void)sink;
    return 0;
}
