// tova-kin singularity: which singularity a joint vector is near, if any.
#include <cmath>
#include <cstdio>

#include "cli.hpp"

namespace tova_cli {
namespace {

const std::string kUsage =
    "usage: tova-kin singularity [arm options] [--thresholds elbow,wrist,shoulder] [--json]\n"
    "                            (q1 ... qn | -)\n\n"
    "Tests the machine joint angles q for the shoulder, elbow and wrist singularities\n"
    "(in that order; the first that holds is reported) and prints the verdict and the\n"
    "wrist point's distance from the shoulder plane (m). Default thresholds: elbow and\n"
    "wrist 10 degrees from 0 and from 180, shoulder 0.05 m; --thresholds takes the\n"
    "elbow and wrist angles (per --degrees) and the shoulder distance in metres.\n\n" +
    std::string(kArmHelp) + kJsonHelp + "\n" +
    stream_help("joint vector", "code name distance, e.g. \"-3 wrist 0.12\" (codes: 0 none,\n"
                                "  -1 shoulder, -2 elbow, -3 wrist)");

const char *verdict(int32_t code) {
    switch (code) {
    case SINGULARITY_NONE: return "none";
    case SINGULARITY_SHOULDER: return "shoulder";
    case SINGULARITY_ELBOW: return "elbow";
    case SINGULARITY_WRIST: return "wrist";
    default: return "?";
    }
}

struct Verdict {
    int32_t code;
    float distance;  // NaN when the shoulder axis is vertical
};

std::string to_json(const Verdict &v) {
    return "{\"result\": " + std::to_string(v.code) + ", \"singularity\": \"" + verdict(v.code) +
           "\", \"shoulder_distance\": " + json_number(v.distance) + "}";
}

int run(const Args &args) {
    Options opt(args, {"degrees", "json"}, arm_options({"thresholds"}));
    setup_arm(opt);
    const bool degrees = opt.flag("degrees"), json = opt.flag("json");
    kin_singularity_thresholds_init();
    if (auto t = opt.value("thresholds")) {
        std::vector<float> v = parse_list(*t, "--thresholds");
        if (v.size() != 3) throw CliError("--thresholds needs elbow,wrist,shoulder");
        const double k = 1.0 / angle_scale(degrees);
        kin_set_singularity_thresholds(static_cast<float>(v[0] * k), static_cast<float>(v[1] * k), v[2]);
    }
    auto analyse = [&](const std::vector<float> &q) {
        Verdict v{0, 0.0f};
        v.code = kin_robot_singularity_analyse(q.data(), "machine", &v.distance);
        return v;
    };
    if (opt.streaming())
        return stream_lines(
            [&](const Args &words) {
                const Verdict v = analyse(parse_joints(words, degrees));
                return LineResult{json ? to_json(v)
                                       : std::to_string(v.code) + " " + verdict(v.code) + " " +
                                             fmt_exact(v.distance),
                                  ""};
            },
            "nan nan nan", json);

    const Verdict v = analyse(parse_joints(opt.positional(), degrees));
    if (json) {
        std::printf("%s\n", to_json(v).c_str());
        return kExitOk;
    }
    std::printf("singularity        : %s (%d)\n", verdict(v.code), v.code);
    std::printf("shoulder distance  : %s m%s\n", std::isnan(v.distance) ? "nan" : fmt(v.distance).c_str(),
                std::isnan(v.distance) ? " (shoulder axis vertical)" : "");
    return kExitOk;
}

const Registrar reg("singularity", "shoulder, elbow or wrist singularity of a joint vector", kUsage,
                    run);

}  // namespace
}  // namespace tova_cli
