// Shared plumbing of the tova-kin command-line tool: a command registry that
// each cmd_*.cpp joins with a static Registrar, argument parsing, the help
// texts every command shares, printers and the standard-input stream loop.
// Errors are thrown as CliError and reported by main as one line.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
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

// Exit statuses of every command.
constexpr int kExitOk = 0;
constexpr int kExitUnsolved = 1;  // ik / ik-numerical: no solution (the result code says why)
constexpr int kExitBadInput = 2;  // bad arguments or unreadable input

struct Command {
    std::string summary;  // one line for the command list
    std::string usage;    // full text for `tova-kin CMD --help`
    CommandFn run;
};

std::map<std::string, Command> &registry();

struct Registrar {
    Registrar(const std::string &name, std::string summary, std::string usage, CommandFn fn);
};

// Name of the running command, for messages ("tova-kin fk: ...").
std::string &current_command();

// ---- help texts shared by the commands ----
// "arm options" block: --model --sensor --tool --work --install --degrees.
extern const char *const kArmHelp;
// One line for --json.
extern const char *const kJsonHelp;
// The streaming paragraph: `item` is what one input line holds ("joint vector"),
// `output` what one output line holds, `extra` further lines (each ending in \n).
std::string stream_help(const std::string &item, const std::string &output,
                        const std::string &extra = "");

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
// Words of one input line; spaces, tabs and commas separate them.
Args split_words(const std::string &line);

// Simple option scanner: options may come anywhere; `--` ends options; a lone
// "-" and negative numbers are positional.
class Options {
  public:
    Options(const Args &args, const std::vector<std::string> &flags,
            const std::vector<std::string> &valued);
    bool flag(const std::string &name) const;
    std::optional<std::string> value(const std::string &name) const;
    const Args &positional() const { return positional_; }
    // True when the only positional argument is "-": read standard input.
    bool streaming() const { return positional_.size() == 1 && positional_[0] == "-"; }
    // Throws unless there are no positional arguments.
    void no_positional() const;

  private:
    std::map<std::string, std::string> values_;
    std::vector<std::string> flags_set_;
    Args positional_;
};

// Selects the model (and sensor) or throws with the library's refusal.
void select_model(uint32_t type, uint32_t sensor);

// Valued options of every command that works on a configured arm, plus `extra`.
std::vector<std::string> arm_options(std::initializer_list<const char *> extra = {});
// Selects --model (default vesk) and --sensor, then applies --tool x,y,z,rx,ry,rz,
// --work x,y,z,rx,ry,rz and --install rx,ry,rz (angles in degrees with --degrees).
// Returns the robot type.
uint32_t setup_arm(const Options &opt);
// Joint vector of the selected model from words ("0.1 0.2" or "0.1,0.2"), in
// radians, or degrees converted when `degrees`; exactly dof values.
std::vector<float> parse_joints(const Args &words, bool degrees);
// Radians -> the unit of the output: kDeg with --degrees, else 1.
double angle_scale(bool degrees);

// ---- poses entered by the user ----
enum class PoseForm { euler, quaternion, matrix };
// From the flags --quat and --matrix (at most one); Euler otherwise.
PoseForm pose_form(const Options &opt);
struct Target {
    Pose pose{};       // position and the orientation of the form (both for a pose line)
    Matrix matrix{};   // the homogeneous transform of the pose
    uint8_t is_euler;  // which orientation field inverse_kinematics should read
};
// Target pose from numbers: x y z rx ry rz (Euler, angles per `degrees`),
// x y z qw qx qy qz (quaternion), 16 numbers row-major (matrix), or, in every
// form, the 10 numbers of a pose line as fk prints it (its quaternion is used).
Target parse_target(const std::vector<float> &v, PoseForm form, bool degrees);
// Usage fragment describing the forms above.
extern const char *const kTargetHelp;

// ---- printing ----
std::string fmt(double v, int precision = 6);  // fixed decimals, no negative zero
// Shortest text that reads back as the same float (%.6g .. %.9g); for scripts.
std::string fmt_exact(float v);
void print_matrix(const Matrix &m, int precision = 6);
void print_pose(const Pose &p);
// Space-separated exact numbers (values times scale), for stream lines.
std::string number_line(const float *values, int n, double scale = 1.0);
// x y z qw qx qy qz rx ry rz, Euler angles in degrees when `degrees`.
std::string pose_line(const Pose &p, bool degrees);
// A JSON number exact to float precision; non-finite -> null.
std::string json_number(float v);
// JSON array of values times scale, exact to float precision; non-finite -> null.
std::string json_array(const float *values, int n, double scale = 1.0);
std::string json_array(const std::vector<float> &values, double scale = 1.0);
// {"position": [...], "quaternion": [w, x, y, z], "euler": [rx, ry, rz]}
std::string json_pose(const Pose &p, bool degrees = false);
// Rows of a Matrix or MatrixMore as a JSON array of arrays.
template <class M>
std::string json_matrix(const M &m) {
    std::string s = "[";
    for (int r = 0; r < m.rows; ++r) s += (r ? ", " : "") + json_array(m.data[r], m.cols);
    return s + "]";
}
std::string json_string(const std::string &s);
// Reads "--degrees" style joint input: values in degrees become radians.
std::vector<float> to_radians(std::vector<float> values);

constexpr double kDeg = 57.29577951308232;  // degrees per radian, for display only

// ---- streaming from standard input ----
struct LineResult {
    std::string output;  // the output line (without newline)
    std::string note;    // non-empty: the line was answered but not solved (stderr, exit 1)
};
// Answers every input line with `answer(words)`, skipping blank lines and
// lines starting with '#'. A CliError on a line is reported on stderr with the
// line number and answered with `error_line` (or, in JSON, an error object);
// the stream goes on. Returns the exit status: kExitBadInput if any line was
// unreadable, else kExitUnsolved if any had a note, else kExitOk.
int stream_lines(const std::function<LineResult(const Args &words)> &answer,
                 const std::string &error_line, bool json);
// The text error line: `n` times "nan".
std::string nan_line(int n);

}  // namespace tova_cli
