// mat library: the two SVDs on Jacobian-sized inputs (6 x 6 and 6 x 7), and
// the operations the numerical IK repeats every iteration. Inputs are prepared
// once and cycled through, so the timings do not include their generation.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "math/tova_matrix.h"
#include "math/ulapack_svd.h"

namespace {

const std::vector<mat> &inputs(int rows, int cols) {
    static std::vector<mat> cache[21][21];
    std::vector<mat> &v = cache[rows][cols];
    if (v.empty()) {
        std::mt19937 rng(42 + rows * 21 + cols);
        std::normal_distribution<float> g;
        for (int k = 0; k < 64; ++k) {
            mat A = mat_init(rows, cols);
            for (int i = 0; i < rows; ++i)
                for (int j = 0; j < cols; ++j) A.data[i][j] = g(rng);
            v.push_back(A);
        }
    }
    return v;
}

template <int (*Svd)(const mat *, mat *, mat *, mat *)>
void BM_Svd(benchmark::State &state) {
    const auto &in = inputs(int(state.range(0)), int(state.range(1)));
    mat U, S, V;
    size_t k = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(Svd(&in[k++ % in.size()], &U, &S, &V));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Svd<mat_svd>)->Name("mat_svd")->Args({6, 6})->Args({6, 7});
BENCHMARK(BM_Svd<mat_fast_svd>)->Name("mat_fast_svd")->Args({6, 6})->Args({6, 7});

void BM_PinvSvd(benchmark::State &state) {
    const auto &in = inputs(6, 7);
    size_t k = 0;
    for (auto _ : state) benchmark::DoNotOptimize(mat_pinv_svd(&in[k++ % in.size()]));
}
BENCHMARK(BM_PinvSvd)->Name("mat_pinv_svd/6x7");

void BM_Pinv(benchmark::State &state) {
    const auto &in = inputs(6, 7);
    size_t k = 0;
    for (auto _ : state) benchmark::DoNotOptimize(mat_pinv(&in[k++ % in.size()]));
}
BENCHMARK(BM_Pinv)->Name("mat_pinv/6x7");

// One damped least-squares step as the numerical IK forms it: J^T J + l I,
// its inverse, and J^T e.
void BM_DlsStep(benchmark::State &state) {
    const auto &in = inputs(6, 7);
    const mat e = inputs(6, 1)[0];
    const mat I = mat_eye(7, 7);
    size_t k = 0;
    for (auto _ : state) {
        const mat &J = in[k++ % in.size()];
        const mat Jt = mat_T(&J);
        const mat JtJ = mat_mult(&Jt, &J);
        const mat lI = mat_kM(0.01f, &I);
        const mat H = mat_add(&JtJ, &lI);
        const mat g = mat_mult(&Jt, &e);
        mat Hinv;
        mat_inv(H, &Hinv);
        benchmark::DoNotOptimize(mat_mult(&Hinv, &g));
    }
}
BENCHMARK(BM_DlsStep)->Name("dls_step/6x7");

void BM_Inv(benchmark::State &state) {
    const auto &in = inputs(6, 6);
    size_t k = 0;
    mat X;
    for (auto _ : state) {
        benchmark::DoNotOptimize(mat_inv(in[k++ % in.size()], &X));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Inv)->Name("mat_inv/6x6");

}  // namespace
