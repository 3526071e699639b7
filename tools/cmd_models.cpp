// tova-kin models: the catalogue as the library holds it.
#include <cstdio>

#include "cli.hpp"

namespace tova_cli {
namespace {

struct ModelSummary {
    uint32_t type;
    const char *name;
    int dof;
    std::string sensors;
    std::vector<float> upper, lower;
};

std::vector<ModelSummary> collect() {
    std::vector<ModelSummary> out;
    for (const auto &m : model_names()) {
        ModelSummary s{m.type, m.name, 0, "", {}, {}};
        for (uint32_t sensor = 0; sensor < 3; ++sensor) {
            if (libalgo_set_robot_and_sensor_type(m.type, sensor) != 0) continue;
            s.sensors += (s.sensors.empty() ? "" : ",") + std::to_string(sensor);
        }
        if (m.type == ROBOT_GENERIC_7) s.sensors = "any";
        libalgo_set_robot_and_sensor_type(m.type, 0);
        s.dof = libalgo_get_rbt_dof();
        float hi[8], lo[8];
        libalgo_get_jointlim_max(hi);
        libalgo_get_jointlim_min(lo);
        s.upper.assign(hi, hi + s.dof);
        s.lower.assign(lo, lo + s.dof);
        out.push_back(s);
    }
    libalgo_init();
    return out;
}

// The link-transform convention: modified DH for six joints and for taldo.
const char *convention(const ModelSummary &s) {
    return (s.dof == 6 || s.type == ROBOT_TALDO) ? "modified" : "standard";
}

int run(const Args &args) {
    Options opt(args, {"json", "degrees"}, {});
    opt.no_positional();
    const double scale = angle_scale(opt.flag("degrees"));
    auto models = collect();
    if (opt.flag("json")) {
        std::printf("[");
        for (size_t i = 0; i < models.size(); ++i) {
            const auto &s = models[i];
            std::printf("%s\n  {\"type\": %u, \"name\": \"%s\", \"joints\": %d, \"dh\": \"%s\", "
                        "\"sensors\": \"%s\", \"upper\": %s, \"lower\": %s}",
                        i ? "," : "", s.type, s.name, s.dof, convention(s), s.sensors.c_str(),
                        json_array(s.upper, scale).c_str(), json_array(s.lower, scale).c_str());
        }
        std::printf("\n]\n");
        return kExitOk;
    }
    std::printf("%-4s %-10s %-6s %-9s %-8s %s\n", "type", "name", "joints", "DH", "sensors",
                "joint limits (deg, lower..upper)");
    for (const auto &s : models) {
        std::string limits;
        for (int j = 0; j < s.dof; ++j)
            limits += (j ? "  " : "") + fmt(s.lower[j] * kDeg, 1) + ".." + fmt(s.upper[j] * kDeg, 1);
        std::printf("%-4u %-10s %-6d %-9s %-8s %s\n", s.type, s.name, s.dof, convention(s),
                    s.sensors.c_str(), limits.c_str());
    }
    return kExitOk;
}

const Registrar reg("models", "list the arm models of the catalogue",
                    std::string("usage: tova-kin models [--json [--degrees]]\n\n"
                                "Lists every model: type number, name, joints, DH convention of the\n"
                                "link transforms, accepted sensor types and joint limits (degrees;\n"
                                "in JSON radians unless --degrees).\n") +
                        kJsonHelp,
                    run);

}  // namespace
}  // namespace tova_cli
