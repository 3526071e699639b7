#include "cli.hpp"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iostream>
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

std::string &current_command() {
    static std::string name;
    return name;
}

const char *const kArmHelp =
    "arm options:\n"
    "  --model NAME           model name or type number (default vesk; see tova-kin models)\n"
    "  --sensor N             sensor type (default 0)\n"
    "  --tool x,y,z,rx,ry,rz  tool frame relative to the flange (m and angles)\n"
    "  --work x,y,z,rx,ry,rz  work frame relative to the world frame (the base with its\n"
    "                         installation angle applied)\n"
    "  --install rx,ry,rz     installation angles of the base\n"
    "  --degrees              every angle read or printed is in degrees instead of radians:\n"
    "                         joints, Euler angles, frame and installation angles\n";

const char *const kJsonHelp =
    "\noutput:\n"
    "  --json                 print the result as one JSON object (numbers exact to float\n"
    "                         precision, angles per --degrees)\n";

const char *const kTargetHelp =
    "target pose (in the work frame):\n"
    "  x y z rx ry rz         position (m) and Euler angles, R = Rz(rz) * Ry(ry) * Rx(rx)\n"
    "  --quat x y z qw qx qy qz    position and quaternion (scalar first)\n"
    "  --matrix m00 ... m33   homogeneous transform, 16 numbers row-major\n"
    "  x y z qw qx qy qz rx ry rz  a pose line as fk prints it (its quaternion is used)\n";

std::string stream_help(const std::string &item, const std::string &output, const std::string &extra) {
    return "streaming: give '-' instead of the " + item + " to read one " + item + " per line\n"
           "from standard input (numbers separated by spaces or commas; blank lines and\n"
           "lines starting with '#' are skipped). Each input line gets one output line,\n"
           "flushed at once:\n  " + output + "\n" + extra +
           "A line that cannot be read is reported on standard error with its line number\n"
           "and answered with a line of nan (--json: {\"line\": N, \"error\": \"...\"}); the\n"
           "stream goes on and the exit status is 2.\n";
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

Args split_words(const std::string &line) {
    Args words;
    std::string word;
    for (char ch : line) {
        if (ch == ' ' || ch == '\t' || ch == '\r' || ch == ',') {
            if (!word.empty()) words.push_back(word);
            word.clear();
        } else {
            word += ch;
        }
    }
    if (!word.empty()) words.push_back(word);
    return words;
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

void Options::no_positional() const {
    if (!positional_.empty()) throw CliError("unexpected argument '" + positional_[0] + "'");
}

void select_model(uint32_t type, uint32_t sensor) {
    if (libalgo_set_robot_and_sensor_type(type, sensor) != 0)
        throw CliError(std::string("model ") + model_name(type) + " does not accept sensor type " +
                       std::to_string(sensor));
}

std::vector<std::string> arm_options(std::initializer_list<const char *> extra) {
    std::vector<std::string> v = {"model", "sensor", "tool", "work", "install"};
    v.insert(v.end(), extra.begin(), extra.end());
    return v;
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

double angle_scale(bool degrees) { return degrees ? kDeg : 1.0; }

PoseForm pose_form(const Options &opt) {
    if (opt.flag("quat") && opt.flag("matrix")) throw CliError("give at most one of --quat, --matrix");
    return opt.flag("quat") ? PoseForm::quaternion : opt.flag("matrix") ? PoseForm::matrix : PoseForm::euler;
}

Target parse_target(const std::vector<float> &v, PoseForm form, bool degrees) {
    Target t;
    t.is_euler = 0;
    if (v.size() == 10 || (form == PoseForm::quaternion && v.size() == 7)) {
        t.pose.x = v[0], t.pose.y = v[1], t.pose.z = v[2];
        t.pose.quaternion = Quaternion{v[3], v[4], v[5], v[6]};
        if (v.size() == 10) {
            const double k = 1.0 / angle_scale(degrees);
            t.pose.euler = Euler{static_cast<float>(v[7] * k), static_cast<float>(v[8] * k),
                                 static_cast<float>(v[9] * k)};
        }
        t.matrix = pose_quat_to_transformation_matrix(t.pose);
    } else if (form == PoseForm::matrix && v.size() == 16) {
        t.matrix = zero_matrix(4, 4);
        for (int i = 0; i < 16; ++i) t.matrix.data[i / 4][i % 4] = v[i];
        t.pose = transformation_matrix_to_pose(t.matrix);
    } else if (form == PoseForm::euler && v.size() == 6) {
        const double k = 1.0 / angle_scale(degrees);
        t.pose.x = v[0], t.pose.y = v[1], t.pose.z = v[2];
        t.pose.euler = Euler{static_cast<float>(v[3] * k), static_cast<float>(v[4] * k),
                             static_cast<float>(v[5] * k)};
        t.matrix = pose_euler_to_transformation_matrix(t.pose);
        t.pose.quaternion = euler_to_quat(t.pose.euler);
        t.is_euler = 1;
    } else {
        static const char *need[] = {"x y z rx ry rz", "x y z qw qx qy qz", "16 matrix numbers"};
        throw CliError("the pose needs " + std::string(need[static_cast<int>(form)]) +
                       " (or a 10-number pose line), got " + std::to_string(v.size()) + " numbers");
    }
    return t;
}

std::string fmt(double v, int precision) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.*f", precision, v);
    std::string s = buf;
    // print negative zero (also after rounding) as zero
    if (s[0] == '-' && s.find_first_not_of("-0.") == std::string::npos) s = s.substr(1);
    return s;
}

std::string fmt_exact(float v) {
    if (v == 0.0f) return "0";  // no negative zero
    char buf[32];
    for (int p = 6; p <= 9; ++p) {
        std::snprintf(buf, sizeof buf, "%.*g", p, static_cast<double>(v));
        if (std::strtof(buf, nullptr) == v) break;
    }
    return buf;
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

std::string number_line(const float *values, int n, double scale) {
    std::string s;
    for (int i = 0; i < n; ++i)
        s += (i ? " " : "") + fmt_exact(static_cast<float>(values[i] * scale));
    return s;
}

namespace {
struct PoseNumbers {
    float v[10];
    explicit PoseNumbers(const Pose &p, bool degrees) {
        const double k = angle_scale(degrees);
        const float all[10] = {p.x, p.y, p.z, p.quaternion.w, p.quaternion.x, p.quaternion.y,
                               p.quaternion.z, static_cast<float>(p.euler.rx * k),
                               static_cast<float>(p.euler.ry * k), static_cast<float>(p.euler.rz * k)};
        std::copy(all, all + 10, v);
    }
};
}  // namespace

std::string pose_line(const Pose &p, bool degrees) {
    return number_line(PoseNumbers(p, degrees).v, 10);
}

std::string json_number(float v) { return std::isfinite(v) ? fmt_exact(v) : "null"; }

std::string json_array(const float *values, int n, double scale) {
    std::string s = "[";
    for (int i = 0; i < n; ++i) s += (i ? ", " : "") + json_number(static_cast<float>(values[i] * scale));
    return s + "]";
}

std::string json_array(const std::vector<float> &values, double scale) {
    return json_array(values.data(), static_cast<int>(values.size()), scale);
}

std::string json_pose(const Pose &p, bool degrees) {
    const PoseNumbers n(p, degrees);
    return "{\"position\": " + json_array(n.v, 3) + ", \"quaternion\": " + json_array(n.v + 3, 4) +
           ", \"euler\": " + json_array(n.v + 7, 3) + "}";
}

std::string json_string(const std::string &s) {
    std::string out = "\"";
    for (char c : s) {
        if (c == '"' || c == '\\') out += '\\';
        if (static_cast<unsigned char>(c) < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", c);
            out += buf;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

std::vector<float> to_radians(std::vector<float> values) {
    for (auto &v : values) v = static_cast<float>(v / kDeg);
    return values;
}

std::string nan_line(int n) {
    std::string s;
    for (int i = 0; i < n; ++i) s += i ? " nan" : "nan";
    return s;
}

int stream_lines(const std::function<LineResult(const Args &words)> &answer,
                 const std::string &error_line, bool json) {
    std::string line;
    long line_no = 0;
    bool bad = false, unsolved = false;
    while (std::getline(std::cin, line)) {
        ++line_no;
        const auto first = line.find_first_not_of(" \t\r");
        if (first == std::string::npos || line[first] == '#') continue;
        std::string out;
        try {
            LineResult r = answer(split_words(line));
            out = std::move(r.output);
            if (!r.note.empty()) {
                unsolved = true;
                std::fprintf(stderr, "tova-kin %s: line %ld: %s\n", current_command().c_str(),
                             line_no, r.note.c_str());
            }
        } catch (const CliError &e) {
            bad = true;
            std::fprintf(stderr, "tova-kin %s: line %ld: %s\n", current_command().c_str(), line_no,
                         e.what());
            out = json ? "{\"line\": " + std::to_string(line_no) + ", \"error\": " +
                             json_string(e.what()) + "}"
                       : error_line;
        }
        // one flushed line per input line, so a pipeline can follow along
        std::printf("%s\n", out.c_str());
        std::fflush(stdout);
    }
    return bad ? kExitBadInput : unsolved ? kExitUnsolved : kExitOk;
}

}  // namespace tova_cli
