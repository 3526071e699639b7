// tova-kin draw: the arm at one configuration, from its DH chain, in three
// orthographic views, as a self-contained SVG.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "cli.hpp"
#include "svg.hpp"

namespace tova_cli {
namespace {

const char *kUsage =
    "usage: tova-kin draw [--model NAME] [--sensor N] [--tool x,y,z,rx,ry,rz] [--work ...]\n"
    "                     [--install rx,ry,rz] [--degrees] q1 q2 ... --out arm.svg\n\n"
    "Renders the arm at the given joints from its DH chain: links, joint axes, the base,\n"
    "flange, tool and work frames as axis triads (x red, y green, z blue), in front,\n"
    "side and top views with a scale bar and a caption. Coordinates are the world\n"
    "frame (the base with its installation angle applied).";

struct Frame {  // rotation columns and origin, double for drawing
    Vec3 x, y, z, o;
};

Frame frame_of(const Matrix &T) {
    Frame f;
    for (int r = 0; r < 3; ++r) {
        f.x[r] = T.data[r][0];
        f.y[r] = T.data[r][1];
        f.z[r] = T.data[r][2];
        f.o[r] = T.data[r][3];
    }
    return f;
}

Vec3 along(const Vec3 &o, const Vec3 &d, double len) {
    return {o[0] + len * d[0], o[1] + len * d[1], o[2] + len * d[2]};
}

int run(const Args &args) {
    Options opt(args, {"degrees"}, [] {
        auto v = kArmOptions;
        v.push_back("out");
        return v;
    }());
    const auto out = opt.value("out");
    if (!out) throw CliError("--out FILE.svg is required");
    const uint32_t type = setup_arm(opt);
    const std::vector<float> q = parse_joints(opt.positional(), opt.flag("degrees"));
    const int n = libalgo_get_rbt_dof();

    DhTable dh;
    libalgo_get_dh_value(&dh);
    // Link transforms in the convention the universal kinematics use.
    const bool modified = (n == 6 || type == ROBOT_TALDO);
    float qm[8] = {};
    for (int i = 0; i < n; ++i) qm[i] = q[i] + dh.offset[i];
    Matrix inst, work_to_base, tool;
    libalgo_get_robot_install_angle_matrix(&inst);
    libalgo_get_work_cs_to_base_matrix(&work_to_base);
    libalgo_get_tool_cs_matrix(&tool);

    std::vector<Frame> frames = {frame_of(inst)};  // frame 0: the base in the world
    std::vector<Vec3> polyline = {frames[0].o};
    std::vector<std::pair<Vec3, Vec3>> joint_axes;  // position, direction
    Matrix A = inst;
    for (int i = 0; i < n; ++i) {
        const Frame prev = frames.back();
        Matrix Ti = modified ? kin_get_MDH_Ti(i, &dh, qm) : kin_get_SDH_Ti(i, &dh, qm);
        A = matrix_m(&A, &Ti);
        const Frame cur = frame_of(A);
        if (modified) {
            // a along the previous x, then d along the new z; the joint turns about the new z
            polyline.push_back(along(prev.o, prev.x, dh.a[i]));
            joint_axes.push_back({cur.o, cur.z});
        } else {
            // the joint turns about the previous z; d along it, then a along the new x
            joint_axes.push_back({prev.o, prev.z});
            polyline.push_back(along(prev.o, prev.z, dh.d[i]));
        }
        polyline.push_back(cur.o);
        frames.push_back(cur);
    }
    Matrix flange_w = A;  // I * F(q) from the chain
    Matrix tool_w = matrix_m(&flange_w, &tool);
    Matrix work_w = matrix_inv_coordinate_system(&work_to_base);  // work frame in the world

    // common scale: every drawn point plus a margin
    std::vector<Vec3> pts = polyline;
    pts.push_back(frame_of(tool_w).o);
    pts.push_back(frame_of(work_w).o);
    Vec3 lo = pts[0], hi = pts[0];
    for (const auto &p : pts)
        for (int k = 0; k < 3; ++k) {
            lo[k] = std::min(lo[k], p[k]);
            hi[k] = std::max(hi[k], p[k]);
        }
    double extent = 0.1;
    Vec3 centre;
    for (int k = 0; k < 3; ++k) {
        centre[k] = 0.5 * (lo[k] + hi[k]);
        extent = std::max(extent, 0.5 * (hi[k] - lo[k]));
    }
    extent *= 1.25;
    const double triad_len = 0.12 * extent;

    SvgCanvas svg(360, {{"front", 0, 2}, {"side", 1, 2}, {"top", 0, 1}}, extent, centre);
    for (size_t i = 1; i < polyline.size(); ++i) svg.line(polyline[i - 1], polyline[i], "#444444", 6.0);
    for (const auto &p : polyline) svg.dot(p, 3.0, "#444444");
    for (const auto &[p, d] : joint_axes) {
        svg.line(along(p, d, -0.6 * triad_len), along(p, d, 0.6 * triad_len), "#ff7f0e", 3.0, 0.9);
        svg.dot(p, 5.0, "#ff7f0e");
    }
    auto draw_frame = [&](const Matrix &T, const std::string &name, double scale) {
        const Frame f = frame_of(T);
        svg.triad(f.o, f.x, f.y, f.z, scale * triad_len, name);
    };
    draw_frame(inst, "base", 1.0);
    draw_frame(flange_w, "flange", 0.7);
    draw_frame(tool_w, "tool", 1.0);
    draw_frame(work_w, "work", 1.0);

    Pose pose;
    forward_kinematics(&pose, q.data());
    std::string joints;
    for (int i = 0; i < n; ++i) joints += (i ? ", " : "") + fmt(q[i] * kDeg, 2);
    svg.caption({std::string("model ") + model_name(type) + " (" + std::to_string(n) +
                     " joints, " + (modified ? "modified" : "standard") + " DH)",
                 "joints (deg): " + joints,
                 "tool in work frame: position (m) " + fmt(pose.x, 4) + ", " + fmt(pose.y, 4) +
                     ", " + fmt(pose.z, 4) + "; euler (deg) " + fmt(pose.euler.rx * kDeg, 2) +
                     ", " + fmt(pose.euler.ry * kDeg, 2) + ", " + fmt(pose.euler.rz * kDeg, 2),
                 "links grey, joint axes orange; frames: x red, y green, z blue"});
    if (!write_file(*out, svg.str())) throw CliError("cannot write " + *out);
    std::printf("wrote %s\n", out->c_str());
    return 0;
}

const Registrar reg("draw", "render the arm at a configuration as an SVG", kUsage, run);

}  // namespace
}  // namespace tova_cli
