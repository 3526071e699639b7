// tova-kin workspace: reachable tool positions from seeded joint-space samples,
// with the configurations the singularity analysis flags marked by kind.
#include <cstdio>
#include <random>
#include <string>

#include "cli.hpp"
#include "svg.hpp"

namespace tova_cli {
namespace {

const std::string kUsage =
    "usage: tova-kin workspace [arm options] [--samples N] [--seed S] [--json] --out ws.svg\n\n"
    "Samples joint space uniformly inside the joint limits (N samples, default 4000, at\n"
    "most 200000; seed S, default 1: the same picture every time) and plots the tool\n"
    "positions in the work frame in the x-z and x-y planes. Samples the singularity\n"
    "analysis flags are drawn on top: shoulder red, elbow purple, wrist orange.\n"
    "Prints the file written and the counts (--json: as an object).\n\n" +
    std::string(kArmHelp) + kJsonHelp;

struct Kind {
    int32_t code;
    const char *name, *colour;
};
constexpr Kind kKinds[3] = {{SINGULARITY_SHOULDER, "shoulder", "#d62728"},
                            {SINGULARITY_ELBOW, "elbow", "#9467bd"},
                            {SINGULARITY_WRIST, "wrist", "#ff7f0e"}};

int run(const Args &args) {
    Options opt(args, {"degrees", "json"}, arm_options({"out", "samples", "seed"}));
    const auto out = opt.value("out");
    if (!out) throw CliError("--out FILE.svg is required");
    opt.no_positional();
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
    std::vector<int32_t> verdict;
    long counts[3] = {};
    for (long s = 0; s < samples; ++s) {
        float q[8] = {};
        for (int j = 0; j < n; ++j) q[j] = std::uniform_real_distribution<float>(lo[j], hi[j])(rng);
        float p[3];
        forward_kinematics_pos(p, q);
        pts.push_back({p[0], p[1], p[2]});
        verdict.push_back(kin_robot_singularity_analyse(q, "machine", nullptr));
        for (int k = 0; k < 3; ++k) counts[k] += verdict.back() == kKinds[k].code;
    }
    Vec3 centre;
    double extent;
    fit_view(pts, 1.1, 0.1, centre, extent);
    SvgCanvas svg(420, {{"x-z plane", 0, 2}, {"x-y plane", 0, 1}}, extent, centre);
    svg.begin_group("samples", "fill=\"#1f77b4\" fill-opacity=\"0.35\"");
    for (size_t i = 0; i < pts.size(); ++i)
        if (verdict[i] == SINGULARITY_NONE) svg.dot(pts[i], 1.2);
    svg.end_group();
    for (const Kind &k : kKinds) {
        svg.begin_group(std::string("singular ") + k.name,
                        "fill=\"" + std::string(k.colour) + "\" fill-opacity=\"0.8\"");
        for (size_t i = 0; i < pts.size(); ++i)
            if (verdict[i] == k.code) svg.dot(pts[i], 1.6);
        svg.end_group();
    }
    svg.triad({0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, 0.12 * extent, "work origin");
    svg.caption({std::string("model ") + model_name(type) + ": tool positions in the work frame of " +
                     std::to_string(samples) + " joint samples inside the limits (seed " +
                     std::to_string(seed) + ")"});
    svg.legend({{"#1f77b4", "regular"},
                {kKinds[0].colour, "shoulder singular (" + std::to_string(counts[0]) + ")"},
                {kKinds[1].colour, "elbow singular (" + std::to_string(counts[1]) + ")"},
                {kKinds[2].colour, "wrist singular (" + std::to_string(counts[2]) + ")"}});
    if (!write_file(*out, svg.str())) throw CliError("cannot write " + *out);
    if (opt.flag("json"))
        std::printf("{\"file\": %s, \"samples\": %ld, \"shoulder\": %ld, \"elbow\": %ld, \"wrist\": %ld}\n",
                    json_string(*out).c_str(), samples, counts[0], counts[1], counts[2]);
    else
        std::printf("wrote %s (%ld samples; singular: %ld shoulder, %ld elbow, %ld wrist)\n", out->c_str(),
                    samples, counts[0], counts[1], counts[2]);
    return kExitOk;
}

const Registrar reg("workspace", "plot reachable tool positions as an SVG", kUsage, run);

}  // namespace
}  // namespace tova_cli
