// tova-kin singularity: which singularity a joint vector is near, if any.
#include <cmath>
#include <cstdio>

#include "cli.hpp"

namespace tova_cli {
namespace {

const char *kUsage =
    "usage: tova-kin singularity [--model NAME] [--sensor N] [--thresholds elbow,wrist,shoulder]\n"
    "                            [--degrees] [--json] q1 ... qn\n\n"
    "Tests the machine joint angles q for the shoulder, elbow and wrist singularities\n"
    "(in that order; the first that holds is reported) and prints the verdict and the\n"
    "wrist point's distance from the shoulder plane (m). Default thresholds: elbow and\n"
    "wrist 10 degrees from 0 and from 180, shoulder 0.05 m; --thresholds takes the\n"
    "elbow and wrist angles (radians, or degrees with --degrees) and the shoulder\n"
    "distance in metres. Angles in radians, or degrees with --degrees.";

const char *verdict(int32_t code) {
    switch (code) {
    case SINGULARITY_NONE: return "none";
    case SINGULARITY_SHOULDER: return "shoulder";
    case SINGULARITY_ELBOW: return "elbow";
    case SINGULARITY_WRIST: return "wrist";
    default: return "?";
    }
}

int run(const Args &args) {
    std::vector<std::string> valued = kArmOptions;
    valued.push_back("thresholds");
    Options opt(args, {"degrees", "json"}, valued);
    setup_arm(opt);
    const bool degrees = opt.flag("degrees");
    const std::vector<float> q = parse_joints(opt.positional(), degrees);
    kin_singularity_thresholds_init();
    if (auto t = opt.value("thresholds")) {
        std::vector<float> v = parse_list(*t, "--thresholds");
        if (v.size() != 3) throw CliError("--thresholds needs elbow,wrist,shoulder");
        const float scale = degrees ? static_cast<float>(1.0 / kDeg) : 1.0f;
        kin_set_singularity_thresholds(v[0] * scale, v[1] * scale, v[2]);
    }
    float dist = 0.0f;
    const int32_t code = kin_robot_singularity_analyse(q.data(), "machine", &dist);
    kin_singularity_thresholds_init();
    const std::string d = std::isnan(dist) ? "nan" : fmt(dist);
    if (opt.flag("json")) {
        std::printf("{\"result\": %d, \"singularity\": \"%s\", \"shoulder_distance\": %s}\n", code,
                    verdict(code), std::isnan(dist) ? "null" : d.c_str());
        return 0;
    }
    std::printf("singularity        : %s (%d)\n", verdict(code), code);
    std::printf("shoulder distance  : %s m%s\n", d.c_str(),
                std::isnan(dist) ? " (shoulder axis vertical)" : "");
    return 0;
}

const Registrar reg("singularity", "shoulder, elbow or wrist singularity of a joint vector", kUsage,
                    run);

}  // namespace
}  // namespace tova_cli
