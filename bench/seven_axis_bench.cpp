// Seven-axis inverse kinematics (quell, taldo): the closed-form redundancy
// searches in narrow mode (tracking: the current joints are a control step,
// up to 0.002 rad per joint, away from the target's) and in wide mode (the
// current joints are an unrelated sample), against KDL's Levenberg-Marquardt
// solver (ChainIkSolverPos_LMA) on the same chain, targets and seeds.
// Counters: success rate, and for ours the largest position error.
#include <benchmark/benchmark.h>

#include "bench_common.hpp"

#ifdef TOVA_HAVE_KDL
#include <kdl/chainiksolverpos_lma.hpp>
#endif

namespace {

using namespace tova_bench;

struct Case7 {
    mat target;     // flange pose from forward_kinematics_e
    Joints current; // solver seed
};

// Targets from the prepared samples; the seed is the same sample nudged
// (narrow) or the sample 5,000 places on (wide).
const std::vector<Case7> &cases7(uint32_t type, bool narrow) {
    static std::map<std::pair<uint32_t, bool>, std::vector<Case7>> cache;
    auto it = cache.find({type, narrow});
    if (it != cache.end()) return it->second;
    const auto &q = joint_samples(type);
    select_model(type);
    std::mt19937 rng(99);
    std::uniform_real_distribution<float> step(-0.002f, 0.002f);
    std::vector<Case7> v(q.size());
    for (size_t n = 0; n < q.size(); ++n) {
        Matrix m;
        forward_kinematics_e(&m, q[n].data());
        v[n].target = matrix_to_mat(&m);
        v[n].current = q[(n + (narrow ? 0 : kSampleCount / 2)) % q.size()];
        if (narrow)
            for (int i = 0; i < 7; ++i) v[n].current[i] += step(rng);
    }
    return cache.emplace(std::make_pair(type, narrow), std::move(v)).first->second;
}

void ik7(benchmark::State &state, uint32_t type, bool narrow) {
    const auto &cases = cases7(type, narrow);
    select_model(type);
    ikine_set_7dof_solver_search_strategy(narrow ? 1 : 0);
    ikine_set_solution_range_quell(narrow ? 0.013f : 3.14f);
    auto solve = type == ROBOT_TALDO ? inverse_kinematics_taldo : inverse_kinematics_quell;
    size_t i = 0, ok = 0, calls = 0;
    double worst = 0.0;
    float out[8];
    for (auto _ : state) {
        const Case7 &c = cases[i];
        if (++i == cases.size()) i = 0;
        const int32_t code = solve(c.target, c.current.data(), out);
        benchmark::DoNotOptimize(out);
        ++calls;
        if (code != 0) continue;
        ++ok;
        if (calls <= cases.size()) {  // pose check on the first pass, untimed
            state.PauseTiming();
            Matrix m;
            forward_kinematics_e(&m, out);
            for (int r = 0; r < 3; ++r)
                worst = std::fmax(worst, std::fabs(m.data[r][3] - c.target.data[r][3]));
            state.ResumeTiming();
        }
    }
    state.counters["success"] = static_cast<double>(ok) / static_cast<double>(calls);
    state.counters["max_pos_err"] = worst;
    ikine_set_7dof_solver_search_strategy(1);
    ikine_set_solution_range_quell(0.013f);
}

#ifdef TOVA_HAVE_KDL
void kdl_lma(benchmark::State &state, uint32_t type, bool narrow) {
    const auto &cases = cases7(type, narrow);
    const KDL::Chain chain = kdl_chain_of(type);
    std::vector<KDL::Frame> frames;
    std::vector<KDL::JntArray> seeds;
    for (const Case7 &c : cases) {
        KDL::Frame f;
        for (int r = 0; r < 3; ++r) {
            f.p(r) = c.target.data[r][3];
            for (int k = 0; k < 3; ++k) f.M(r, k) = c.target.data[r][k];
        }
        frames.push_back(f);
        KDL::JntArray s(7);
        for (int k = 0; k < 7; ++k) s(k) = c.current[k];
        seeds.push_back(s);
    }
    // KDL's defaults: 1e-5 tolerance, 500 iterations.
    KDL::ChainIkSolverPos_LMA lma(chain, 1e-5, 500, 1e-15);
    KDL::JntArray out(7);
    size_t i = 0, ok = 0, calls = 0;
    for (auto _ : state) {
        ok += lma.CartToJnt(seeds[i], frames[i], out) >= 0;
        benchmark::DoNotOptimize(out.data.data());
        if (++i == cases.size()) i = 0;
        ++calls;
    }
    state.counters["success"] = static_cast<double>(ok) / static_cast<double>(calls);
}
#endif

void register_seven_axis() {
    for (uint32_t type : {static_cast<uint32_t>(ROBOT_QUELL), static_cast<uint32_t>(ROBOT_TALDO)}) {
        const char *name = type == ROBOT_QUELL ? "quell" : "taldo";
        for (bool narrow : {true, false}) {
            const std::string mode = narrow ? "narrow" : "wide";
            benchmark::RegisterBenchmark(("ik7/" + std::string(name) + "/" + mode).c_str(),
                                         [type, narrow](benchmark::State &s) { ik7(s, type, narrow); })
                ->Unit(benchmark::kMicrosecond);
#ifdef TOVA_HAVE_KDL
            benchmark::RegisterBenchmark(("kdl_lma/" + std::string(name) + "/" + mode).c_str(),
                                         [type, narrow](benchmark::State &s) { kdl_lma(s, type, narrow); })
                ->Unit(benchmark::kMicrosecond);
#endif
        }
    }
}

const int registered = (register_seven_axis(), 0);

}  // namespace
