// tova-kin workspace: reachable tool positions from seeded joint-space samples,
// with the configurations the singularity analysis flags marked.
#include <algorithm>
#include <cstdio>
#include <random>

#include "cli.hpp"
#include "svg.hpp"

namespace tova_cli {
namespace {

const char *kUsage =
    "usage: tova-kin workspace [--model NAME] [--sensor N] [--tool ...] [--work ...]\n"
    "                          [--install ...] [--samples N] [--seed S] --out ws.svg\n\n"
    "Samples joint space uniformly inside the joint limits (N samples, default 4000, at\n"
    "most 200000; seed S, default 1) and plots the tool positions in the work frame in the\n"
    "x-z and x-y planes. Samples the singularity analysis flags are drawn in red.";

int run(const Args &args) {
    auto valued = kArmOptions;
    valued.insert(valued.end(), {"out", "samples", "seed"});
    Options opt(args, {"degrees"}, valued);
    const auto out = opt.value("out");
    if (!out) throw CliError("--out FILE.svg is required");
    if (!opt.positional().empty()) throw CliError("unexpected argument '" + opt.positional()[0] + "'");
    const long samples = parse_int(opt.value("samples").value_or("4000"), "--samples");
    if (samples < 1 || samples > 200000) throw CliError("--samples must be 1..200000");
    const long seed = parse_int(opt.value("seed").value_or("1"), "--seed");
    const uint32_t type = setup_arm(opt);
    const int n = libalgo_get_rbt_dof();
    float hi[8], lo[8];
    libalgo_get_jointlim_max(hi);
    libalgo_get_jointlim_min(lo);

    std::mt19937 rng(static_cast<uint32_t>(seed));
    std::vector<Vec3> pts;
    std::vector<bool> singular;
    long flagged = 0;
    for (long s = 0; s < samples; ++s) {
        float q[8] = {};
        for (int j = 0; j < n; ++j) q[j] = std::uniform_real_distribution<float>(lo[j], hi[j])(rng);
        float p[3];
        forward_kinematics_pos(p, q);
        pts.push_back({p[0], p[1], p[2]});
        const bool sing = kin_robot_singularity_analyse(q, "machine", nullptr) != SINGULARITY_NONE;
        singular.push_back(sing);
        flagged += sing;
    }
    Vec3 lo3 = pts[0], hi3 = pts[0];
    for (const auto &p : pts)
        for (int k = 0; k < 3; ++k) {
            lo3[k] = std::min(lo3[k], p[k]);
            hi3[k] = std::max(hi3[k], p[k]);
        }
    Vec3 centre;
    double extent = 0.1;
    for (int k = 0; k < 3; ++k) {
        centre[k] = 0.5 * (lo3[k] + hi3[k]);
        extent = std::max(extent, 0.5 * (hi3[k] - lo3[k]));
    }
    extent *= 1.1;
    SvgCanvas svg(420, {{"x-z plane", 0, 2}, {"x-y plane", 0, 1}}, extent, centre);
    for (size_t i = 0; i < pts.size(); ++i)
        if (!singular[i]) svg.dot(pts[i], 1.2, "#1f77b4", 0.35);
    for (size_t i = 0; i < pts.size(); ++i)
        if (singular[i]) svg.dot(pts[i], 1.6, "#d62728", 0.8);
    svg.triad({0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, 0.1 * extent, "work origin");
    svg.caption({std::string("model ") + model_name(type) + ": " + std::to_string(samples) +
                     " samples inside the joint limits (seed " + std::to_string(seed) + ")",
                 "tool positions in the work frame, blue; flagged singular (" +
                     std::to_string(flagged) + "), red"});
    if (!write_file(*out, svg.str())) throw CliError("cannot write " + *out);
    std::printf("wrote %s (%ld samples, %ld singular)\n", out->c_str(), samples, flagged);
    return 0;
}

const Registrar reg("workspace", "plot reachable tool positions as an SVG", kUsage, run);

}  // namespace
}  // namespace tova_cli
