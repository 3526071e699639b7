// Fixed-size array helpers: sign dead band, products cross-checked through
// transposes, block assembly and DynMatrix, and the block copy rule.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "math/tova_static_matrix.h"

namespace {

template <int N> void fill(std::mt19937 &rng, float (&a)[N]) {
    std::uniform_real_distribution<float> u(-2.0f, 2.0f);
    for (float &x : a) x = u(rng);
}

TEST(StaticArray, SignDeadBandIsOpenAndVectorsAgree) {
    EXPECT_TRUE(getSign(1e-6f) == -1 && getSign(-1e-6f) == -1 && getSign(5e-7f) == 0 && getSign(2e-6f) == 1);
    VEC3 a = {1, 2, 3}, b = {-2, 0.5f, 4}, s, d, c, hb, u;
    MAT3X3 hat;  // the hat map and the cross product are one operation
    add_VEC3(a, b, s), sub_VEC3(s, b, d), cross_VEC3(a, b, c);
    roVecToso3(a, hat), mult_MAT3X3_VEC3(hat, b, hb);
    unit_VEC3(a, u), mul_VEC3_scalar(u, std::sqrt(14.0f));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(d[i], a[i]);
        EXPECT_FLOAT_EQ(hb[i], c[i]);
        EXPECT_FLOAT_EQ(u[i], a[i]);
    }
}

// <M^T y, x> = <y, M x> ties the 6x7 and 7x6 products to the transpose; a
// block-diagonal 6x6 made of 3x3 blocks multiplies block by block, bit for bit;
// the 4x4 product equals the DynMatrix one, also when out aliases A.
TEST(StaticArray, ProductsAgreeAcrossShapes) {
    std::mt19937 rng(9);
    for (int trial = 0; trial < 100; ++trial) {
        MAT6X7 M;
        MAT7X6 Mt;
        VEC7 x, Mty;
        VEC6 y, Mx;
        fill(rng, M), fill(rng, x), fill(rng, y);
        transpose_MAT6X7(M, Mt), mult_MAT6X7_VEC7(M, x, Mx), mult_MAT7X6_VEC6(Mt, y, Mty);
        double gap = 0;
        for (int i = 0; i < 7; ++i) gap += double(Mty[i]) * x[i] - (i < 6 ? double(y[i]) * Mx[i] : 0.0);
        EXPECT_NEAR(gap, 0.0, 1e-4);
    }
    MAT3X3 A, B, C, D, AC, BD, At;
    MAT6X6 X = {}, Y = {}, XY, Xt;
    fill(rng, A), fill(rng, B), fill(rng, C), fill(rng, D);
    assign_MAT3X3_to_MAT6X6(X, 0, 0, A, 0, 0, 3, 3), assign_MAT3X3_to_MAT6X6(X, 3, 3, B, 0, 0, 3, 3);
    assign_MAT3X3_to_MAT6X6(Y, 0, 0, C, 0, 0, 3, 3), assign_MAT3X3_to_MAT6X6(Y, 3, 3, D, 0, 0, 3, 3);
    mult_MAT6X6(X, Y, XY), mult_MAT3X3(A, C, AC), mult_MAT3X3(B, D, BD);
    transpose_MAT6X6(X, Xt), transpose_MAT3X3(A, At);
    for (int i = 0; i < 9; ++i) {
        const int r = i / 3, c = i % 3;
        EXPECT_TRUE(XY[r * 6 + c] == AC[i] && XY[(r + 3) * 6 + c + 3] == BD[i] && XY[r * 6 + c + 3] == 0.0f);
        EXPECT_EQ(Xt[r * 6 + c], At[i]);
    }
    MAT4X4 P, Q, PQ, back;
    fill(rng, P), fill(rng, Q);
    mult_MAT4X4(P, Q, PQ);
    DynMatrix *p = arrayToDynMatrix(P, 4, 4), *q = arrayToDynMatrix(Q, 4, 4), *pq = multDynMatrix(p, q);
    DynMatrixToMAT4X4(pq, back), mult_MAT4X4(P, Q, P);
    for (int i = 0; i < 16; ++i) EXPECT_TRUE(PQ[i] == back[i] && P[i] == PQ[i]) << i;
    freeDynMatrix(&p), freeDynMatrix(&q), freeDynMatrix(&pq);
}

// Parts of a block outside either array are skipped and counts < 1 copy
// nothing; guard cells around the destination stay untouched.
TEST(StaticArray, BlockCopyStaysInsideBothArrays) {
    MAT3X3 src;
    for (int i = 0; i < 9; ++i) src[i] = float(i + 1);
    float guarded[8 + 36 + 8] = {}, *dst = guarded + 8;
    assign_MAT3X3_to_MAT6X6(dst, 4, 5, src, 1, 1, 2, 2);                   // (4,5), (5,5) <- (1,1), (2,1)
    assign_MAT3X3_to_MAT6X6(dst, -1, -2, src, 0, 0, 1000000, 2147483647);  // (0,0), (1,0) <- (1,2), (2,2)
    assign_MAT3X3_to_MAT6X6(dst, 2, 2, src, -5, 0, 3, 3);                  // nothing exists
    assign_MAT3X3_to_MAT6X6(dst, 2, 2, src, 0, 0, 0, 3);                   // count < 1
    for (int i = -8; i < 44; ++i)
        EXPECT_EQ(dst[i], i == 29 ? 5.0f : i == 35 ? 8.0f : i == 0 ? 6.0f : i == 6 ? 9.0f : 0.0f) << i;
}

}  // namespace
