// tova-kin draw: the arm at one configuration, from its DH chain, in three
// orthographic views, as a self-contained SVG.
#include <cmath>
#include <cstdio>
#include <string>

#include "cli.hpp"
#include "svg.hpp"

namespace tova_cli {
namespace {

const std::string kUsage =
    "usage: tova-kin draw [arm options] [--json] q1 ... qn --out arm.svg\n\n"
    "Renders the arm at the machine joint angles q from its DH chain: links (grey), joint\n"
    "axes (orange), the base, flange, tool and work frames as axis triads (x red, y green,\n"
    "z blue; an axis along the line of sight is a dot when it points at the viewer, a cross\n"
    "when away) and the tool offset (dashed), in front, side and top views with a grid,\n"
    "a scale bar and a caption (model, joints in degrees, tool pose in the work frame).\n"
    "Coordinates are the world frame (the base with its installation angle applied).\n"
    "Prints the file written (--json: with the tool pose).\n\n" +
    std::string(kArmHelp) + kJsonHelp;

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
    Options opt(args, {"degrees", "json"}, arm_options({"out"}));
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
    Matrix inst, work_to_base, flange_w, tool_w;
    libalgo_get_robot_install_angle_matrix(&inst);
    libalgo_get_work_cs_to_base_matrix(&work_to_base);
    forward_kinematics_world_to_flange(&flange_w, q.data());  // I * F(q)
    forward_kinematics_for_unity(&tool_w, q.data());          // I * F(q) * T
    const Matrix work_w = matrix_inv_coordinate_system(&work_to_base);  // work frame in the world

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
    // the chain ends at the flange the closed forms compute; join them if not
    const Vec3 fo = frame_of(flange_w).o, end = polyline.back();
    if (std::hypot(fo[0] - end[0], fo[1] - end[1], fo[2] - end[2]) > 1e-4) polyline.push_back(fo);

    // common scale: every drawn point plus a margin
    std::vector<Vec3> pts = polyline;
    pts.push_back(frame_of(tool_w).o);
    pts.push_back(frame_of(work_w).o);
    Vec3 centre;
    double extent;
    fit_view(pts, 1.3, 0.15, centre, extent);
    const double triad_len = 0.12 * extent;

    SvgCanvas svg(360, {{"front", 0, 2}, {"side", 1, 2}, {"top", 0, 1}}, extent, centre);
    svg.begin_group("links");
    for (size_t i = 1; i < polyline.size(); ++i) svg.line(polyline[i - 1], polyline[i], "#555555", 7.0);
    for (const auto &p : polyline) svg.dot(p, 3.0, "#555555");
    svg.end_group();
    svg.begin_group("joint-axes");
    for (const auto &[p, d] : joint_axes) {
        svg.line(along(p, d, -0.5 * triad_len), along(p, d, 0.5 * triad_len), "#ff7f0e", 3.0, 0.9);
        svg.dot(p, 4.5, "#ff7f0e");
    }
    svg.end_group();
    svg.begin_group("tool-offset");
    svg.line(frame_of(flange_w).o, frame_of(tool_w).o, "#555555", 1.5, 1.0, true);
    svg.end_group();
    auto draw_frame = [&](const Matrix &T, const std::string &name, double scale) {
        const Frame f = frame_of(T);
        svg.triad(f.o, f.x, f.y, f.z, scale * triad_len, name);
    };
    draw_frame(inst, "base", 1.0);
    draw_frame(work_w, "work", 1.0);
    draw_frame(flange_w, "flange", 0.8);
    draw_frame(tool_w, "tool", 1.0);

    Pose pose;
    forward_kinematics(&pose, q.data());
    std::string joints;
    for (int i = 0; i < n; ++i) joints += (i ? ", " : "") + fmt(q[i] * kDeg, 2);
    svg.caption({std::string("model ") + model_name(type) + " (" + std::to_string(n) + " joints, " +
                     (modified ? "modified" : "standard") + " DH)",
                 "joints (deg): " + joints,
                 "tool in the work frame: position (m) " + fmt(pose.x, 4) + ", " + fmt(pose.y, 4) +
                     ", " + fmt(pose.z, 4) + "; Euler rx, ry, rz (deg) " + fmt(pose.euler.rx * kDeg, 2) +
                     ", " + fmt(pose.euler.ry * kDeg, 2) + ", " + fmt(pose.euler.rz * kDeg, 2)});
    svg.legend({{"#555555", "links (tool offset dashed)"}, {"#ff7f0e", "joint axes"},
                {"#d62728", "x axis"}, {"#2ca02c", "y axis"}, {"#1f77b4", "z axis"}});
    if (!write_file(*out, svg.str())) throw CliError("cannot write " + *out);
    if (opt.flag("json"))
        std::printf("{\"file\": %s, \"tool_pose\": %s}\n", json_string(*out).c_str(),
                    json_pose(pose, opt.flag("degrees")).c_str());
    else
        std::printf("wrote %s\n", out->c_str());
    return kExitOk;
}

const Registrar reg("draw", "render the arm at a configuration as an SVG", kUsage, run);

}  // namespace
}  // namespace tova_cli
