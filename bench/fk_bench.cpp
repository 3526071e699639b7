// Forward kinematics and the universal chain, timed on 10,000 prepared joint
// vectors per model, beside Orocos KDL's ChainFkSolverPos_recursive on the same
// arms and vectors (when KDL is available), so the ratios come from one run.
#include <benchmark/benchmark.h>

#include <cstring>

#include "bench_common.hpp"

namespace {

using namespace tova_bench;

// forward_kinematics_e: the entry point with the model dispatch.
void BM_forward_kinematics_e(benchmark::State &state, uint32_t type) {
    Cycle samples(joint_samples(type));
    select_model(type);
    Matrix m;
    for (auto _ : state) {
        forward_kinematics_e(&m, samples.next());
        benchmark::DoNotOptimize(m);
    }
}

// The family's own closed-form routine.
void BM_family_e(benchmark::State &state, uint32_t type, Matrix *(*fn)(Matrix *, const float *)) {
    Cycle samples(joint_samples(type));
    select_model(type);
    Matrix m;
    for (auto _ : state) {
        fn(&m, samples.next());
        benchmark::DoNotOptimize(m);
    }
}

// forward_kinematics: flange, tool, install and work frames, pose conversion.
void BM_forward_kinematics_frames(benchmark::State &state, uint32_t type) {
    Cycle samples(joint_samples(type));
    select_model(type);
    set_frames();
    Pose p;
    for (auto _ : state) {
        forward_kinematics(&p, samples.next());
        benchmark::DoNotOptimize(p);
    }
}

// The Pose conversion alone (quaternion and Euler angles of a transform), on
// the flange transforms of the same vectors: the part of forward_kinematics
// that no frame setting removes. fk_e plus this is about the least the pose
// entry can cost.
void BM_pose_of_transform(benchmark::State &state, uint32_t type) {
    const auto &q = joint_samples(type);
    select_model(type);
    std::vector<Matrix> flanges(q.size());
    for (size_t n = 0; n < q.size(); ++n) forward_kinematics_e(&flanges[n], q[n].data());
    size_t i = 0;
    for (auto _ : state) {
        Pose p = transformation_matrix_to_pose(flanges[i]);
        benchmark::DoNotOptimize(p);
        if (++i == flanges.size()) i = 0;
    }
}

// Latency rather than throughput: each call's joint vector depends on the
// previous call's result (times zero), so calls cannot overlap. The gap between
// this and the throughput above shows how much of a call the processor hides
// behind the next one.
void BM_chained(benchmark::State &state, uint32_t type, bool pose) {
    Cycle samples(joint_samples(type));
    select_model(type);
    set_frames();
    float carry = 0.0f;
    for (auto _ : state) {
        float q[8];
        std::memcpy(q, samples.next(), sizeof q);
        q[0] += carry;
        if (pose) {
            Pose p;
            forward_kinematics(&p, q);
            carry = p.x * 0.0f;
        } else {
            Matrix m;
            forward_kinematics_e(&m, q);
            carry = m.data[0][3] * 0.0f;
        }
    }
    benchmark::DoNotOptimize(carry);
}

void BM_kin_universal_Twt(benchmark::State &state, uint32_t type) {
    Cycle samples(joint_samples(type));
    select_model(type);
    set_frames();
    for (auto _ : state) {
        Matrix m = kin_universal_kinematics_Tn(samples.next(), "machine", "Twt");
        benchmark::DoNotOptimize(m);
    }
}

#ifdef TOVA_HAVE_KDL
void BM_kdl_fk(benchmark::State &state, uint32_t type) {
    const KDL::Chain chain = kdl_chain_of(type);
    const std::vector<KDL::JntArray> samples = kdl_samples(type);
    KDL::ChainFkSolverPos_recursive solver(chain);
    KDL::Frame f;
    size_t i = 0;
    for (auto _ : state) {
        solver.JntToCart(samples[i], f);
        benchmark::DoNotOptimize(f);
        if (++i == samples.size()) i = 0;
    }
}

// Once at start-up, before any timing: KDL and our closed forms must agree.
const bool kdl_checked = [] {
    for (const Model &m : fk_models()) check_kdl_agreement(m.type);
    return true;
}();
#endif

const bool registered = [] {
    for (const Model &m : fk_models()) {
        const std::string name = m.name;
        benchmark::RegisterBenchmark(("fk_e/" + name).c_str(), BM_forward_kinematics_e, m.type);
#ifdef TOVA_HAVE_KDL
        benchmark::RegisterBenchmark(("kdl_fk/" + name).c_str(), BM_kdl_fk, m.type);
#endif
    }
    benchmark::RegisterBenchmark("forward_kinematics_e_vesk", BM_family_e, ROBOT_VESK,
                                 forward_kinematics_e_vesk);
    benchmark::RegisterBenchmark("forward_kinematics_e_quell", BM_family_e, ROBOT_QUELL,
                                 forward_kinematics_e_quell);
    benchmark::RegisterBenchmark("forward_kinematics_e_pirra_2", BM_family_e, ROBOT_PIRRA_2,
                                 forward_kinematics_e_pirra_2);
    benchmark::RegisterBenchmark("forward_kinematics_e_pirra_3", BM_family_e, ROBOT_PIRRA_3,
                                 forward_kinematics_e_pirra_3);
    benchmark::RegisterBenchmark("forward_kinematics_e_lumo", BM_family_e, ROBOT_LUMO_A,
                                 forward_kinematics_e_lumo);
    benchmark::RegisterBenchmark("forward_kinematics_e_taldo", BM_family_e, ROBOT_TALDO,
                                 forward_kinematics_e_taldo);
    for (const uint32_t type : {ROBOT_VESK, ROBOT_QUELL}) {
        const std::string name = type == ROBOT_VESK ? "vesk" : "quell";
        benchmark::RegisterBenchmark(("forward_kinematics_frames/" + name).c_str(),
                                     BM_forward_kinematics_frames, type);
        benchmark::RegisterBenchmark(("kin_universal_Twt/" + name).c_str(), BM_kin_universal_Twt,
                                     type);
    }
    benchmark::RegisterBenchmark("fk_floor/pose_of_transform", BM_pose_of_transform, ROBOT_VESK);
    benchmark::RegisterBenchmark("fk_latency/fk_e/vesk", BM_chained, ROBOT_VESK, false);
    benchmark::RegisterBenchmark("fk_latency/forward_kinematics_frames/vesk", BM_chained, ROBOT_VESK, true);
    return true;
}();

}  // namespace
