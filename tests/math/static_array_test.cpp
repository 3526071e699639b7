// Fixed-size float array helpers: sign dead band, products cross-checked
// through transposes, block assembly and DynMatrix, and the block copy rule.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "math/tova_static_matrix.h"

namespace {

template <int N>
void fill(std::mt19937 &rng, float (&a)[N]) {
    std::uniform_real_distribution<float> u(-2.0f, 2.0f);
    for (float &x : a) x = u(rng);
}

TEST(StaticArray, SignDeadBandIsOpen) {
    EXPECT_EQ(getSign(1e-6f), -1);
    EXPECT_EQ(getSign(-1e-6f), -1);
    EXPECT_EQ(getSign(5e-7f), 0);
    EXPECT_EQ(getSign(-5e-7f), 0);
    EXPECT_EQ(getSign(2e-6f), 1);
    EXPECT_EQ(getSign(-3.0f), -1);
}

TEST(StaticArray, VectorOperations) {
    VEC3 a = {1, 2, 3}, b = {-2, 0.5f, 4}, s, d, c, u;
    add_VEC3(a, b, s);
    sub_VEC3(s, b, d);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(d[i], a[i]);
    cross_VEC3(a, b, c);
    EXPECT_FLOAT_EQ(c[0] * a[0] + c[1] * a[1] + c[2] * a[2], 0.0f);
    EXPECT_FLOAT_EQ(c[0] * b[0] + c[1] * b[1] + c[2] * b[2], 0.0f);
    MAT3X3 hat;  // the hat map gives the same cross product as a matrix
    roVecToso3(a, hat);
    VEC3 hb;
    mult_MAT3X3_VEC3(hat, b, hb);
    for (int i = 0; i < 3; ++i) EXPECT_FLOAT_EQ(hb[i], c[i]);
    unit_VEC3(a, u);
    EXPECT_FLOAT_EQ(u[0] * u[0] + u[1] * u[1] + u[2] * u[2], 1.0f);
    mul_VEC3_scalar(u, std::sqrt(14.0f));
    for (int i = 0; i < 3; ++i) EXPECT_FLOAT_EQ(u[i], a[i]);
    VEC3 zero = {0, 0, 0};
    unit_VEC3(zero, u);
    EXPECT_TRUE(std::isnan(u[0]));
}

// <M^T y, x> = <y, M x> ties the 6x7 and 7x6 products to the transpose.
TEST(StaticArray, RectangularProductsAgreeWithTranspose) {
    std::mt19937 rng(5);
    for (int trial = 0; trial < 100; ++trial) {
        MAT6X7 M;
        MAT7X6 Mt;
        VEC7 x, Mty;
        VEC6 y, Mx;
        fill(rng, M), fill(rng, x), fill(rng, y);
        transpose_MAT6X7(M, Mt);
        mult_MAT6X7_VEC7(M, x, Mx);
        mult_MAT7X6_VEC6(Mt, y, Mty);
        double lhs = 0, rhs = 0;
        for (int i = 0; i < 7; ++i) lhs += double(Mty[i]) * x[i];
        for (int i = 0; i < 6; ++i) rhs += double(y[i]) * Mx[i];
        EXPECT_NEAR(lhs, rhs, 1e-4);
    }
}

// A block-diagonal 6x6 built from 3x3 blocks multiplies block by block, and
// its transpose matches the blocks' transposes, bit for bit.
TEST(StaticArray, BlockDiagonalProducts) {
    std::mt19937 rng(9);
    MAT3X3 A, B, C, D, AC, BD, At;
    fill(rng, A), fill(rng, B), fill(rng, C), fill(rng, D);
    MAT6X6 X = {}, Y = {}, XY, Xt;
    assign_MAT3X3_to_MAT6X6(X, 0, 0, A, 0, 0, 3, 3);
    assign_MAT3X3_to_MAT6X6(X, 3, 3, B, 0, 0, 3, 3);
    assign_MAT3X3_to_MAT6X6(Y, 0, 0, C, 0, 0, 3, 3);
    assign_MAT3X3_to_MAT6X6(Y, 3, 3, D, 0, 0, 3, 3);
    mult_MAT6X6(X, Y, XY);
    mult_MAT3X3(A, C, AC);
    mult_MAT3X3(B, D, BD);
    transpose_MAT6X6(X, Xt);
    transpose_MAT3X3(A, At);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            EXPECT_EQ(XY[i * 6 + j], AC[i * 3 + j]);
            EXPECT_EQ(XY[(i + 3) * 6 + j + 3], BD[i * 3 + j]);
            EXPECT_EQ(XY[i * 6 + j + 3], 0.0f);
            EXPECT_EQ(Xt[i * 6 + j], At[i * 3 + j]);
        }
    VEC6 v, Xv;
    fill(rng, v);
    mult_MAT6X6_VEC6(X, v, Xv);
    VEC3 Av;
    mult_MAT3X3_VEC3(A, v, Av);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(Xv[i], Av[i]);
}

TEST(StaticArray, Mat4x4ProductMatchesDynMatrix) {
    std::mt19937 rng(1);
    MAT4X4 A, B, AB, back;
    fill(rng, A), fill(rng, B);
    mult_MAT4X4(A, B, AB);
    DynMatrix *a = arrayToDynMatrix(A, 4, 4), *b = arrayToDynMatrix(B, 4, 4), *ab = multDynMatrix(a, b);
    DynMatrixToMAT4X4(ab, back);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(AB[i], back[i]);
    mult_MAT4X4(A, B, A);  // output may alias an input
    for (int i = 0; i < 16; ++i) EXPECT_EQ(A[i], AB[i]);
    freeDynMatrix(&a), freeDynMatrix(&b), freeDynMatrix(&ab);
}

TEST(StaticArray, ScalarAndIdentity) {
    MAT3X3 M;
    initEyeMat_MAT3X3(M);
    mul_MAT3X3_scalar(M, -2.5f);
    for (int i = 0; i < 9; ++i) EXPECT_EQ(M[i], i % 4 == 0 ? -2.5f : 0.0f);
}

// Block copy: parts outside either array are skipped, counts < 1 copy nothing,
// and guard cells around the destination stay untouched.
TEST(StaticArray, BlockCopyStaysInsideBothArrays) {
    MAT3X3 src;
    for (int i = 0; i < 9; ++i) src[i] = float(i + 1);
    struct {
        float before[8];
        MAT6X6 dst;
        float after[8];
    } g;
    auto reset = [&g] {
        for (float &x : g.before) x = -7;
        for (float &x : g.after) x = -7;
        for (float &x : g.dst) x = 0;
    };
    auto untouched_guards = [&g] {
        for (int i = 0; i < 8; ++i) {
            EXPECT_EQ(g.before[i], -7.0f);
            EXPECT_EQ(g.after[i], -7.0f);
        }
    };
    reset();
    assign_MAT3X3_to_MAT6X6(g.dst, 4, 5, src, 1, 1, 2, 2);  // only (4,5) <- (1,1), (5,5) <- (2,1)
    untouched_guards();
    for (int i = 0; i < 36; ++i)
        EXPECT_EQ(g.dst[i], i == 29 ? 5.0f : i == 35 ? 8.0f : 0.0f);
    reset();
    assign_MAT3X3_to_MAT6X6(g.dst, -1, -2, src, 0, 0, 1000000, 2147483647);  // (0,0), (1,0) <- (1,2), (2,2)
    assign_MAT3X3_to_MAT6X6(g.dst, 2, 2, src, -5, 0, 3, 3);                   // nothing exists
    assign_MAT3X3_to_MAT6X6(g.dst, 0, 0, src, 0, 0, 0, 3);                    // count < 1
    untouched_guards();
    for (int i = 0; i < 36; ++i) EXPECT_EQ(g.dst[i], i == 0 ? 6.0f : i == 6 ? 9.0f : 0.0f);
}

}  // namespace
