// tova-kin jacobian: the 6 x n Jacobian at a joint vector, with its singular
// values and manipulability.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "cli.hpp"

namespace tova_cli {
namespace {

const char *kUsage =
    "usage: tova-kin jacobian [--model NAME] [--sensor N] [--frame flange|tool|work]\n"
    "                         [--tool x,y,z,rx,ry,rz] [--work x,y,z,rx,ry,rz] [--install rx,ry,rz]\n"
    "                         [--degrees] [--json] q1 ... qn\n\n"
    "Prints the geometric Jacobian (rows: vx vy vz wx wy wz; column j: joint j) of the\n"
    "configured arm at machine joint angles q, in the flange frame (default), the tool\n"
    "frame or work-frame axes, then its singular values and the manipulability\n"
    "sqrt(det(J J^T)) (the product of the singular values). Angles in radians, or\n"
    "degrees with --degrees.";

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

int run(const Args &args) {
    std::vector<std::string> valued = kArmOptions;
    valued.push_back("frame");
    Options opt(args, {"degrees", "json"}, valued);
    setup_arm(opt);
    const std::vector<float> q = parse_joints(opt.positional(), opt.flag("degrees"));
    const std::string frame = opt.value("frame").value_or("flange");
    MatrixMore J;
    if (frame == "flange")
        J = kin_calc_jacobe_Jn(q.data(), "machine");
    else if (frame == "tool")
        J = kin_calc_jacobe_Jt(q.data(), "machine");
    else if (frame == "work")
        J = kin_calc_jacobe_J0(q.data(), "machine");
    else
        throw CliError("--frame must be flange, tool or work");

    const std::vector<double> sv = singular_values(J);
    double manip = sv.empty() ? 0.0 : 1.0;
    for (double s : sv) manip *= s;

    if (opt.flag("json")) {
        std::printf("{\"frame\": \"%s\", \"jacobian\": [", frame.c_str());
        for (int r = 0; r < J.rows; ++r)
            std::printf("%s%s", r ? ", " : "", json_array(J.data[r], J.cols).c_str());
        std::printf("], \"singular_values\": [");
        for (size_t i = 0; i < sv.size(); ++i) std::printf("%s%s", i ? ", " : "", fmt(sv[i], 9).c_str());
        std::printf("], \"manipulability\": %s}\n", fmt(manip, 9).c_str());
        return 0;
    }
    static const char *kRowNames[6] = {"vx", "vy", "vz", "wx", "wy", "wz"};
    std::printf("Jacobian, %s frame (6 x %d):\n", frame.c_str(), J.cols);
    for (int r = 0; r < J.rows; ++r) {
        std::printf("  %s [", kRowNames[r]);
        for (int c = 0; c < J.cols; ++c) std::printf("%s%10s", c ? " " : "", fmt(J.data[r][c]).c_str());
        std::printf(" ]\n");
    }
    std::printf("singular values    :");
    for (double s : sv) std::printf(" %s", fmt(s).c_str());
    std::printf("\nmanipulability     : %s\n", fmt(manip, 9).c_str());
    return 0;
}

const Registrar reg("jacobian", "Jacobian, singular values and manipulability at a joint vector",
                    kUsage, run);

}  // namespace
}  // namespace tova_cli
