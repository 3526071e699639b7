// Shared pieces of the kinematics benchmarks (bench_kinematics): model
// selection, 10,000 random joint vectors inside the limits prepared once per
// model, and, when Orocos KDL is available (TOVA_HAVE_KDL), the same arm as a
// KDL chain with a start-up agreement check against our forward kinematics.
//
// Every benchmark selects its model itself (the configuration is process-wide)
// and cycles through the prepared vectors: for (auto _ : state) { ...
// samples.next() ... }.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <vector>

#include "tova_algorithm.h"

#ifdef TOVA_HAVE_KDL
#include <kdl/chain.hpp>
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/frames.hpp>
#include <kdl/jntarray.hpp>
#endif

namespace tova_bench {

constexpr int kSampleCount = 10000;

using Joints = std::array<float, 8>;

struct Model {
    uint32_t type;
    const char *name;
};

// One model per closed-form family (lumo stands for lumo A, B and C).
inline const std::vector<Model> &fk_models() {
    static const std::vector<Model> models = {
        {ROBOT_VESK, "vesk"},       {ROBOT_QUELL, "quell"}, {ROBOT_PIRRA_2, "pirra_2"},
        {ROBOT_PIRRA_3, "pirra_3"}, {ROBOT_LUMO_A, "lumo"}, {ROBOT_TALDO, "taldo"},
    };
    return models;
}

[[noreturn]] inline void fail(const char *what, uint32_t type) {
    std::fprintf(stderr, "bench_kinematics: %s (robot type %u)\n", what, type);
    std::exit(1);
}

// Selects the model with sensor type 0 (resetting every frame) or aborts.
inline void select_model(uint32_t type) {
    if (libalgo_set_robot_and_sensor_type(type, 0) != 0) fail("model selection refused", type);
}

// Non-identity tool, work and install frames for the composed entry points.
inline void set_frames() {
    const float tool[6] = {0.01f, -0.02f, 0.15f, 0.1f, -0.2f, 0.3f};
    const float work[6] = {0.5f, -0.2f, 0.1f, 0.2f, 0.1f, -0.4f};
    const float inst[3] = {0.3f, -0.1f, 0.5f};
    libalgo_set_tool_cs_params(tool);
    libalgo_set_work_cs_params(work);
    libalgo_set_robot_install_angle(inst);
}

// Cycles through a prepared set of joint vectors.
class Cycle {
  public:
    explicit Cycle(const std::vector<Joints> &v) : v_(v) {}
    const float *next() {
        const float *q = v_[i_].data();
        if (++i_ == v_.size()) i_ = 0;
        return q;
    }

  private:
    const std::vector<Joints> &v_;
    size_t i_ = 0;
};

// kSampleCount joint vectors uniform inside the machine limits of the model,
// generated once per model with a fixed seed (selects the model).
inline const std::vector<Joints> &joint_samples(uint32_t type) {
    static std::map<uint32_t, std::vector<Joints>> cache;
    auto it = cache.find(type);
    if (it != cache.end()) return it->second;
    select_model(type);
    float lo[8], hi[8];
    libalgo_get_jointlim_min(lo);
    libalgo_get_jointlim_max(hi);
    const int dof = libalgo_get_rbt_dof();
    std::mt19937 rng(1234 + type);
    std::vector<Joints> v(kSampleCount);
    for (auto &q : v) {
        q.fill(0.0f);
        for (int i = 0; i < dof; ++i) q[i] = std::uniform_real_distribution<float>(lo[i], hi[i])(rng);
    }
    return cache.emplace(type, std::move(v)).first->second;
}

#ifdef TOVA_HAVE_KDL

// Modified DH (link i = Rx(alpha_i) Tx(a_i) Rz(theta_i) Tz(d_i)). KDL turns each
// joint at the start of its segment, so segment i carries joint i and the tip
// RotZ(offset_i) TransZ(d_i) DH_Craig1989(a_{i+1}, alpha_{i+1}, 0, 0); the first
// link's Rx(alpha_0) Tx(a_0) becomes a fixed segment when it is not the identity.
inline KDL::Chain kdl_chain_modified(const DhTable &dh, int dof) {
    KDL::Chain chain;
    if (dh.a[0] != 0.0f || dh.alpha[0] != 0.0f)
        chain.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::None),
                                      KDL::Frame::DH_Craig1989(dh.a[0], dh.alpha[0], 0.0, 0.0)));
    for (int i = 0; i < dof; ++i) {
        KDL::Frame tip = KDL::Frame(KDL::Rotation::RotZ(dh.offset[i])) *
                         KDL::Frame(KDL::Vector(0.0, 0.0, dh.d[i]));
        if (i + 1 < dof) tip = tip * KDL::Frame::DH_Craig1989(dh.a[i + 1], dh.alpha[i + 1], 0.0, 0.0);
        chain.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::RotZ), tip));
    }
    return chain;
}

// Standard DH (link i = Rz(theta_i) Tz(d_i) Tx(a_i) Rx(alpha_i)): the joint
// turns first, then Frame::DH with the offset as its fixed angle.
inline KDL::Chain kdl_chain_standard(const DhTable &dh, int dof) {
    KDL::Chain chain;
    for (int i = 0; i < dof; ++i)
        chain.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::RotZ),
                                      KDL::Frame::DH(dh.a[i], dh.alpha[i], dh.d[i], dh.offset[i])));
    return chain;
}

// The configured arm as a KDL chain in its own convention (selects the model).
inline KDL::Chain kdl_chain_of(uint32_t type) {
    select_model(type);
    DhTable dh;
    libalgo_get_dh_value(&dh);
    const int dof = libalgo_get_rbt_dof();
    return type == ROBOT_QUELL ? kdl_chain_standard(dh, dof) : kdl_chain_modified(dh, dof);
}

// The prepared joint vectors as KDL joint arrays (machine angles; the chains
// carry the offsets).
inline std::vector<KDL::JntArray> kdl_samples(uint32_t type) {
    const auto &v = joint_samples(type);
    const int dof = static_cast<int>(kdl_chain_of(type).getNrOfJoints());
    std::vector<KDL::JntArray> out;
    out.reserve(v.size());
    for (const auto &q : v) {
        KDL::JntArray a(dof);
        for (int i = 0; i < dof; ++i) a(i) = q[i];
        out.push_back(a);
    }
    return out;
}

// Aborts the run unless KDL and forward_kinematics_e agree to 1e-5 in every
// element on every prepared vector of the model.
inline void check_kdl_agreement(uint32_t type) {
    const KDL::Chain chain = kdl_chain_of(type);
    const auto samples = kdl_samples(type);
    const auto &q = joint_samples(type);
    select_model(type);
    KDL::ChainFkSolverPos_recursive solver(chain);
    for (size_t n = 0; n < q.size(); ++n) {
        KDL::Frame f;
        Matrix m;
        solver.JntToCart(samples[n], f);
        forward_kinematics_e(&m, q[n].data());
        for (int i = 0; i < 3; ++i) {
            double worst = std::fabs(f.p(i) - m.data[i][3]);
            for (int j = 0; j < 3; ++j) worst = std::fmax(worst, std::fabs(f.M(i, j) - m.data[i][j]));
            if (!(worst <= 1e-5)) {
                std::fprintf(stderr,
                             "bench_kinematics: KDL and forward_kinematics_e disagree by %g at "
                             "sample %zu\n",
                             worst, n);
                fail("KDL chain does not match the library", type);
            }
        }
    }
}

#endif  // TOVA_HAVE_KDL

}  // namespace tova_bench
