// Six-axis inverse kinematics through inverse_kinematics, on the forward poses
// of the 10,000 prepared joint vectors of each model (bench_common.hpp), with
// the generating joints as current joints. Compare ik/vesk with kdl_fk/vesk of
// the same run (fk_bench.cpp). ik_frames/ adds tool, work and install frames.
#include <benchmark/benchmark.h>

#include "bench_common.hpp"
#include "math/lane_trig.hpp"

namespace {

using namespace tova_bench;

struct Case {
    std::vector<Pose> poses;
};

// The model selected, with the non-identity frames when `frames` is set.
void prepare(uint32_t type, bool frames) {
    select_model(type);
    if (frames) set_frames();
}

const Case &poses_of(uint32_t type, bool frames) {
    static std::map<std::pair<uint32_t, bool>, Case> cache;
    auto it = cache.find({type, frames});
    if (it != cache.end()) return it->second;
    const auto &q = joint_samples(type);
    prepare(type, frames);
    Case c;
    c.poses.resize(q.size());
    for (size_t i = 0; i < q.size(); ++i) forward_kinematics(&c.poses[i], q[i].data());
    return cache.emplace(std::make_pair(type, frames), std::move(c)).first->second;
}

void BM_inverse_kinematics(benchmark::State &state, uint32_t type, uint8_t is_euler, bool frames) {
    const auto &q = joint_samples(type);
    const auto &poses = poses_of(type, frames).poses;
    prepare(type, frames);
    float out[8];
    size_t i = 0, solved = 0, calls = 0;
    for (auto _ : state) {
        const int32_t rc = inverse_kinematics(q[i].data(), &poses[i], out, is_euler);
        benchmark::DoNotOptimize(out);
        solved += rc == 0;
        ++calls;
        if (++i == q.size()) i = 0;
    }
    state.counters["solved"] = calls ? static_cast<double>(solved) / calls : 0.0;
}

#if TOVA_BATCH_X86_KERNELS
// The nine dependent trigonometric stages of a vesk solve (shoulder heading,
// sincos of joint 1, elbow, sincos of joint 3, upper arm, sincos of joints
// 2 + 3, wrist, sincos of joint 4, joint 5) with the solver's own kernels and
// nothing else between them: the least a solve can take; compare it with
// ik/vesk and kdl_fk/vesk.
using tova::lane_trig::F4;
using tova::lane_trig::F8;
__attribute__((target("avx2,fma"))) float vesk_trig_chain(float px, float py) {
    using namespace tova::lane_trig::avx2;
    const float h = atan2_lanes(F4{} + px, F4{} + py)[0];
    F4 s, c;
    sincos_lanes(F4{h, h - 3.0f, h, h - 3.0f}, s, c);
    F8 a = atan2_lanes(F8(_mm256_set_m128(s, s)), F8(_mm256_set_m128(c, -c)));
    for (int stage = 0; stage < 3; ++stage) {
        sincos_lanes(F4(_mm256_castps256_ps128(a)), s, c);
        a = atan2_lanes(F8(_mm256_set_m128(c, s)), F8(_mm256_set_m128(s, c)));
    }
    return a[0];
}

void BM_vesk_trig_chain(benchmark::State &state) {
    if (!tova::lane_trig::wide_lanes()) {
        state.SkipWithError("this CPU has no AVX2 and FMA");
        return;
    }
    const auto &poses = poses_of(ROBOT_VESK, false).poses;
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(vesk_trig_chain(poses[i].x, poses[i].y));
        if (++i == poses.size()) i = 0;
    }
}
#endif

void BM_plugin_vesk(benchmark::State &state) {
    const auto &q = joint_samples(ROBOT_VESK);
    select_model(ROBOT_VESK);
    std::vector<Matrix> targets(q.size());
    for (size_t n = 0; n < q.size(); ++n) forward_kinematics_e(&targets[n], q[n].data());
    float out[8];
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(plugin_inverse_kinematics_vesk(&targets[i], q[i].data(), out));
        if (++i == q.size()) i = 0;
    }
}

const bool registered = [] {
    const Model models[] = {{ROBOT_VESK, "vesk"}, {ROBOT_PIRRA_2, "pirra_2"}, {ROBOT_PIRRA_3, "pirra_3"},
                            {ROBOT_LUMO_A, "lumo"}};
    for (const Model &m : models)
        benchmark::RegisterBenchmark((std::string("ik/") + m.name).c_str(), BM_inverse_kinematics, m.type,
                                     uint8_t{0}, false);
    benchmark::RegisterBenchmark("ik_euler/vesk", BM_inverse_kinematics, ROBOT_VESK, uint8_t{1}, false);
    // the same with tool, work and install frames set
    benchmark::RegisterBenchmark("ik_frames/vesk", BM_inverse_kinematics, ROBOT_VESK, uint8_t{0}, true);
    benchmark::RegisterBenchmark("ik_plugin/vesk", BM_plugin_vesk);
#if TOVA_BATCH_X86_KERNELS
    benchmark::RegisterBenchmark("ik_floor/vesk_trig_chain", BM_vesk_trig_chain);
#endif
    return true;
}();

}  // namespace
