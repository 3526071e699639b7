#include "cli.hpp"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace tova_cli {

std::map<std::string, Command> &registry() {
    static std::map<std::string, Command> commands;
    return commands;
}

Registrar::Registrar(const std::string &name, std::string summary, std::string usage,
                     CommandFn fn) {
    registry()[name] = Command{std::move(summary), std::move(usage), std::move(fn)};
}

const std::vector<ModelInfo> &model_names() {
    static const std::vector<ModelInfo> names = {
        {ROBOT_VESK, "vesk"},       {ROBOT_QUELL, "quell"},   {ROBOT_PIRRA_2, "pirra_2"},
        {ROBOT_PIRRA_3, "pirra_3"}, {ROBOT_LUMO_A, "lumo_a"}, {ROBOT_LUMO_B, "lumo_b"},
        {ROBOT_TALDO, "taldo"},     {ROBOT_LUMO_C, "lumo_c"}, {ROBOT_GENERIC_7, "generic_7"},
    };
    return names;
}

uint32_t parse_model(const std::string &name) {
    std::string key = name;
    std::transform(key.begin(), key.end(), key.begin(), [](unsigned char c) {
        return c == '-' ? '_' : static_cast<char>(std::tolower(c));
    });
    if (key.rfind("robot_", 0) == 0) key = key.substr(6);
    for (const auto &m : model_names())
        if (key == m.name) return m.type;
    char *end = nullptr;
    errno = 0;
    unsigned long v = std::strtoul(key.c_str(), &end, 10);
    if (!key.empty() && *end == '\0' && errno == 0) {
        for (const auto &m : model_names())
            if (m.type == v) return m.type;
    }
    throw CliError("unknown model '" + name + "' (see: tova-kin models)");
}

const char *model_name(uint32_t type) {
    for (const auto &m : model_names())
        if (m.type == type) return m.name;
    return "?";
}

float parse_float(const std::string &text, const std::string &what) {
    const char *s = text.c_str();
    char *end = nullptr;
    errno = 0;
    float v = std::strtof(s, &end);
    if (text.empty() || *end != '\0' || errno == ERANGE || !std::isfinite(v))
        throw CliError("invalid number '" + text + "' for " + what);
    return v;
}

long parse_int(const std::string &text, const std::string &what) {
    char *end = nullptr;
    errno = 0;
    long v = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno == ERANGE)
        throw CliError("invalid integer '" + text + "' for " + what);
    return v;
}

std::vector<float> parse_list(const std::string &text, const std::string &what) {
    std::vector<float> out;
    std::stringstream ss(text);
    std::string item;
    while (std::getline(ss, item, ',')) out.push_back(parse_float(item, what));
    if (out.empty()) throw CliError("empty list for " + what);
    return out;
}

std::vector<float> parse_floats(const Args &items, const std::string &what) {
    std::vector<float> out;
    for (const auto &s : items) {
        // accept "1,2,3" as well as separate words
        auto part = parse_list(s, what);
        out.insert(out.end(), part.begin(), part.end());
    }
    return out;
}

Options::Options(const Args &args, const std::vector<std::string> &flags,
                 const std::vector<std::string> &valued) {
    bool only_positional = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string &a = args[i];
        if (only_positional || a.size() < 2 || a[0] != '-' || a[1] != '-') {
            // negative numbers ("-0.5") are positional, as is a lone "-"
            positional_.push_back(a);
            continue;
        }
        if (a == "--") {
            only_positional = true;
            continue;
        }
        std::string name = a.substr(2), val;
        bool has_val = false;
        if (auto eq = name.find('='); eq != std::string::npos) {
            val = name.substr(eq + 1);
            name = name.substr(0, eq);
            has_val = true;
        }
        if (std::find(flags.begin(), flags.end(), name) != flags.end()) {
            if (has_val) throw CliError("option --" + name + " takes no value");
            flags_set_.push_back(name);
        } else if (std::find(valued.begin(), valued.end(), name) != valued.end()) {
            if (!has_val) {
                if (i + 1 >= args.size()) throw CliError("option --" + name + " needs a value");
                val = args[++i];
            }
            values_[name] = val;
        } else {
            throw CliError("unknown option --" + name);
        }
    }
}

bool Options::flag(const std::string &name) const {
    return std::find(flags_set_.begin(), flags_set_.end(), name) != flags_set_.end();
}

std::optional<std::string> Options::value(const std::string &name) const {
    auto it = values_.find(name);
    if (it == values_.end()) return std::nullopt;
    return it->second;
}

void select_model(uint32_t type, uint32_t sensor) {
    if (libalgo_set_robot_and_sensor_type(type, sensor) != 0)
        throw CliError(std::string("model ") + model_name(type) + " does not accept sensor type " +
                       std::to_string(sensor));
}

uint32_t setup_arm(const Options &opt) {
    const uint32_t type = parse_model(opt.value("model").value_or("vesk"));
    const long sensor = parse_int(opt.value("sensor").value_or("0"), "--sensor");
    if (sensor < 0) throw CliError("--sensor must not be negative");
    select_model(type, static_cast<uint32_t>(sensor));
    const bool deg = opt.flag("degrees");
    auto frame = [&](const char *name, size_t n) {
        auto v = parse_list(*opt.value(name), std::string("--") + name);
        if (v.size() != n)
            throw CliError(std::string("--") + name + " needs " + std::to_string(n) + " values");
        if (deg)
            for (size_t i = n - 3; i < n; ++i) v[i] = static_cast<float>(v[i] / kDeg);
        return v;
    };
    if (opt.value("tool")) libalgo_set_tool_cs_params(frame("tool", 6).data());
    if (opt.value("work")) libalgo_set_work_cs_params(frame("work", 6).data());
    if (opt.value("install")) libalgo_set_robot_install_angle(frame("install", 3).data());
    return type;
}

std::vector<float> parse_joints(const Args &words, bool degrees) {
    const int n = libalgo_get_rbt_dof();
    std::vector<float> q = parse_floats(words, "the joints");
    if (static_cast<int>(q.size()) != n)
        throw CliError("expected " + std::to_string(n) + " joint values, got " + std::to_string(q.size()));
    return degrees ? to_radians(q) : q;
}

std::string fmt(double v, int precision) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.*f", precision, v);
    std::string s = buf;
    if (s == "-0" || s.find_first_not_of("-0.") == std::string::npos) {
        // print negative zero as zero
        if (s[0] == '-') s = s.substr(1);
    }
    return s;
}

void print_matrix(const Matrix &m, int precision) {
    for (int r = 0; r < m.rows; ++r) {
        std::printf("  [");
        for (int c = 0; c < m.cols; ++c)
            std::printf("%s%12s", c ? " " : "", fmt(m.data[r][c], precision).c_str());
        std::printf(" ]\n");
    }
}

void print_pose(const Pose &p) {
    std::printf("position (m)        : %s %s %s\n", fmt(p.x).c_str(), fmt(p.y).c_str(),
                fmt(p.z).c_str());
    std::printf("quaternion (w x y z): %s %s %s %s\n", fmt(p.quaternion.w).c_str(),
                fmt(p.quaternion.x).c_str(), fmt(p.quaternion.y).c_str(),
                fmt(p.quaternion.z).c_str());
    std::printf("euler (rad)         : %s %s %s\n", fmt(p.euler.rx).c_str(),
                fmt(p.euler.ry).c_str(), fmt(p.euler.rz).c_str());
    std::printf("euler (deg)         : %s %s %s\n", fmt(p.euler.rx * kDeg, 4).c_str(),
                fmt(p.euler.ry * kDeg, 4).c_str(), fmt(p.euler.rz * kDeg, 4).c_str());
}

std::string json_array(const float *values, int n, double scale, int precision) {
    std::string s = "[";
    for (int i = 0; i < n; ++i) s += (i ? ", " : "") + fmt(values[i] * scale, precision);
    return s + "]";
}

std::string json_array(const std::vector<float> &values, double scale, int precision) {
    return json_array(values.data(), static_cast<int>(values.size()), scale, precision);
}

std::string json_pose(const Pose &p) {
    const float pos[3] = {p.x, p.y, p.z};
    const float quat[4] = {p.quaternion.w, p.quaternion.x, p.quaternion.y, p.quaternion.z};
    const float eul[3] = {p.euler.rx, p.euler.ry, p.euler.rz};
    return "{\"position\": " + json_array(pos, 3) + ", \"quaternion\": " + json_array(quat, 4) +
           ", \"euler\": " + json_array(eul, 3) + "}";
}

std::vector<float> to_radians(std::vector<float> values) {
    for (auto &v : values) v = static_cast<float>(v / kDeg);
    return values;
}

}  // namespace tova_cli
