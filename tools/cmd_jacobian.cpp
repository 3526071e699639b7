// tova-kin jacobian: the 6 x n Jacobian at a joint vector, with its singular
// values and manipulability.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "cli.hpp"

namespace tova_cli {
namespace {

const std::string kUsage =
    "usage: tova-kin jacobian [arm options] [--frame flange|tool|work] [--json]\n"
    "                         (q1 ... qn | -)\n\n"
    "Prints the geometric Jacobian (rows: vx vy vz wx wy wz; column j: joint j, per radian)\n"
    "of the configured arm at machine joint angles q, in the flange frame (default), the\n"
    "tool frame or work-frame axes, then its singular values and the manipulability\n"
    "sqrt(det(J J^T)) (the product of the singular values).\n\n" +
    std::string(kArmHelp) + kJsonHelp + "\n" +
    stream_help("joint vector", "the manipulability, then the 6 x n Jacobian row by row");

// Singular values of the rows x cols block by one-sided Jacobi rotations in
// double (independent of the library's f32 decompositions), descending.
std::vector<double> singular_values(const MatrixMore &J) {
    const int m = J.rows, n = J.cols;
    std::vector<std::vector<double>> c(n, std::vector<double>(m));
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < m; ++i) c[j][i] = J.data[i][j];
    for (int sweep = 0; sweep < 60; ++sweep) {
        double off = 0.0;
        for (int p = 0; p < n; ++p)
            for (int q = p + 1; q < n; ++q) {
                double a = 0, b = 0, g = 0;
                for (int i = 0; i < m; ++i) {
                    a += c[p][i] * c[p][i];
                    b += c[q][i] * c[q][i];
                    g += c[p][i] * c[q][i];
                }
                if (g == 0.0) continue;
                off = std::max(off, std::fabs(g) / std::sqrt(a * b + 1e-300));
                const double zeta = (b - a) / (2.0 * g);
                const double t = std::copysign(1.0, zeta) / (std::fabs(zeta) + std::sqrt(1.0 + zeta * zeta));
                const double cs = 1.0 / std::sqrt(1.0 + t * t), sn = cs * t;
                for (int i = 0; i < m; ++i) {
                    const double x = c[p][i], y = c[q][i];
                    c[p][i] = cs * x - sn * y;
                    c[q][i] = sn * x + cs * y;
                }
            }
        if (off < 1e-15) break;
    }
    std::vector<double> s(n);
    for (int j = 0; j < n; ++j) {
        double sum = 0;
        for (int i = 0; i < m; ++i) sum += c[j][i] * c[j][i];
        s[j] = std::sqrt(sum);
    }
    std::sort(s.rbegin(), s.rend());
    s.resize(std::min(m, n));
    return s;
}

struct Result {
    MatrixMore J;
    std::vector<double> sv;
    double manipulability;
};

Result jacobian_at(const std::vector<float> &q, const std::string &frame) {
    Result r;
    if (frame == "flange")
        r.J = kin_calc_jacobe_Jn(q.data(), "machine");
    else if (frame == "tool")
        r.J = kin_calc_jacobe_Jt(q.data(), "machine");
    else
        r.J = kin_calc_jacobe_J0(q.data(), "machine");
    r.sv = singular_values(r.J);
    r.manipulability = r.sv.empty() ? 0.0 : 1.0;
    for (double s : r.sv) r.manipulability *= s;
    return r;
}

std::string to_json(const Result &r, const std::string &frame) {
    std::vector<float> sv(r.sv.begin(), r.sv.end());
    return "{\"frame\": \"" + frame + "\", \"jacobian\": " + json_matrix(r.J) +
           ", \"singular_values\": " + json_array(sv) + ", \"manipulability\": " +
           json_number(static_cast<float>(r.manipulability)) + "}";
}

int run(const Args &args) {
    Options opt(args, {"degrees", "json"}, arm_options({"frame"}));
    setup_arm(opt);
    const bool degrees = opt.flag("degrees"), json = opt.flag("json");
    const std::string frame = opt.value("frame").value_or("flange");
    if (frame != "flange" && frame != "tool" && frame != "work")
        throw CliError("--frame must be flange, tool or work");

    if (opt.streaming()) {
        const int n = libalgo_get_rbt_dof();
        return stream_lines(
            [&](const Args &words) {
                const Result r = jacobian_at(parse_joints(words, degrees), frame);
                if (json) return LineResult{to_json(r, frame), ""};
                std::string line = fmt_exact(static_cast<float>(r.manipulability));
                for (int i = 0; i < r.J.rows; ++i) line += " " + number_line(r.J.data[i], r.J.cols);
                return LineResult{line, ""};
            },
            nan_line(1 + 6 * n), json);
    }
    const Result r = jacobian_at(parse_joints(opt.positional(), degrees), frame);
    if (json) {
        std::printf("%s\n", to_json(r, frame).c_str());
        return kExitOk;
    }
    static const char *kRowNames[6] = {"vx", "vy", "vz", "wx", "wy", "wz"};
    std::printf("Jacobian, %s frame (6 x %d):\n", frame.c_str(), r.J.cols);
    for (int i = 0; i < r.J.rows; ++i) {
        std::printf("  %s [", kRowNames[i]);
        for (int c = 0; c < r.J.cols; ++c) std::printf("%s%10s", c ? " " : "", fmt(r.J.data[i][c]).c_str());
        std::printf(" ]\n");
    }
    std::printf("singular values    :");
    for (double s : r.sv) std::printf(" %s", fmt(s).c_str());
    std::printf("\nmanipulability     : %s\n", fmt(r.manipulability, 9).c_str());
    return kExitOk;
}

const Registrar reg("jacobian", "Jacobian, singular values and manipulability at a joint vector",
                    kUsage, run);

}  // namespace
}  // namespace tova_cli
