// Shared plumbing of the tova-kin command-line tool: a command registry that
// each cmd_*.cpp joins with a static Registrar, argument parsing helpers and
// printers. Errors are thrown as CliError and reported by main as one line.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tova_algorithm.h"

namespace tova_cli {

struct CliError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

using Args = std::vector<std::string>;
using CommandFn = std::function<int(const Args &)>;

struct Command {
    std::string summary;  // one line for the command list
    std::string usage;    // full text for `tova-kin CMD --help`
    CommandFn run;
};

std::map<std::string, Command> &registry();

struct Registrar {
    Registrar(const std::string &name, std::string summary, std::string usage, CommandFn fn);
};

// ---- models ----
struct ModelInfo {
    uint32_t type;
    const char *name;
};
const std::vector<ModelInfo> &model_names();
uint32_t parse_model(const std::string &name);  // name or number; throws CliError
const char *model_name(uint32_t type);          // "?" for unknown

// ---- numbers ----
float parse_float(const std::string &text, const std::string &what);
long parse_int(const std::string &text, const std::string &what);
std::vector<float> parse_list(const std::string &text, const std::string &what);  // "1,2,3"
std::vector<float> parse_floats(const Args &items, const std::string &what);

// Simple option scanner: options may come anywhere; `--` ends options.
class Options {
  public:
    Options(const Args &args, const std::vector<std::string> &flags,
            const std::vector<std::string> &valued);
    bool flag(const std::string &name) const;
    std::optional<std::string> value(const std::string &name) const;
    const Args &positional() const { return positional_; }

  private:
    std::map<std::string, std::string> values_;
    std::vector<std::string> flags_set_;
    Args positional_;
};

// Selects the model (and sensor) or throws with the library's refusal.
void select_model(uint32_t type, uint32_t sensor);

// Valued options of every command that works on a configured arm.
inline const std::vector<std::string> kArmOptions = {"model", "sensor", "tool", "work", "install"};
// Selects --model (default vesk) and --sensor, then applies --tool x,y,z,rx,ry,rz,
// --work x,y,z,rx,ry,rz and --install rx,ry,rz (angles in degrees with --degrees).
// Returns the robot type.
uint32_t setup_arm(const Options &opt);
// Joint vector of the selected model from words ("0.1 0.2" or "0.1,0.2"), in
// radians, or degrees converted when `degrees`; exactly dof values.
std::vector<float> parse_joints(const Args &words, bool degrees);

// ---- printing ----
std::string fmt(double v, int precision = 6);
void print_matrix(const Matrix &m, int precision = 6);
void print_pose(const Pose &p);
// JSON array of values times scale, e.g. [1.000000, 2.000000]
std::string json_array(const std::vector<float> &values, double scale = 1.0, int precision = 6);
std::string json_array(const float *values, int n, double scale = 1.0, int precision = 6);
// Pose as a JSON object {"position": [...], "quaternion": [...], "euler": [...]}
std::string json_pose(const Pose &p);
// Reads "--degrees" style joint input: values in degrees become radians.
std::vector<float> to_radians(std::vector<float> values);

constexpr double kDeg = 57.29577951308232;  // degrees per radian, for display only

}  // namespace tova_cli
