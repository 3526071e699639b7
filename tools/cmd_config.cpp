// tova-kin config: the configuration the library holds after selecting a model.
#include <cstdio>

#include "cli.hpp"

namespace tova_cli {
namespace {

void row(const char *label, const float *v, int n, double scale = 1.0, int precision = 6) {
    std::printf("%-26s", label);
    for (int i = 0; i < n; ++i) std::printf(" %11s", fmt(v[i] * scale, precision).c_str());
    std::printf("\n");
}

int run(const Args &args) {
    Options opt(args, {"json", "degrees"}, arm_options());
    opt.no_positional();
    const uint32_t type = setup_arm(opt);
    const double k = angle_scale(opt.flag("degrees"));

    const int n = libalgo_get_rbt_dof();
    DhTable dh;
    libalgo_get_dh_value(&dh);
    float hi[8], lo[8], mhi[8], mlo[8], vel[8], acc[8], dir[7], tcp[4], inst[3], grav[3], tool[6],
        work[6];
    libalgo_get_jointlim_max(hi);
    libalgo_get_jointlim_min(lo);
    libalgo_get_modeling_jointlim_max(mhi);
    libalgo_get_modeling_jointlim_min(mlo);
    libalgo_get_joint_vel_maxlim(vel);
    libalgo_get_joint_acc_maxlim(acc);
    libalgo_get_joint_direction(dir);
    libalgo_get_tcp_config(tcp);
    libalgo_get_robot_install_angle(inst);
    libalgo_get_robot_gravity_acc(grav);
    libalgo_get_tool_cs_params(tool);
    libalgo_get_work_cs_params(work);
    const float period = libalgo_get_control_loop_period();

    // x, y, z in metres, the angles per --degrees
    auto frame_json = [&](const float *f) {
        const float v[6] = {f[0], f[1], f[2], static_cast<float>(f[3] * k),
                            static_cast<float>(f[4] * k), static_cast<float>(f[5] * k)};
        return json_array(v, 6);
    };
    if (opt.flag("json")) {
        std::printf("{\"model\": \"%s\", \"type\": %u, \"sensor\": %u, \"dof\": %d,\n",
                    model_name(type), libalgo_get_robot_type(), libalgo_get_sensor_type(), n);
        std::printf(" \"dh\": {\"d\": %s, \"a\": %s, \"alpha\": %s, \"offset\": %s},\n",
                    json_array(dh.d, n).c_str(), json_array(dh.a, n).c_str(),
                    json_array(dh.alpha, n, k).c_str(), json_array(dh.offset, n, k).c_str());
        std::printf(" \"jointlim_max\": %s, \"jointlim_min\": %s,\n", json_array(hi, n, k).c_str(),
                    json_array(lo, n, k).c_str());
        std::printf(" \"modeling_jointlim_max\": %s, \"modeling_jointlim_min\": %s,\n",
                    json_array(mhi, n, k).c_str(), json_array(mlo, n, k).c_str());
        std::printf(" \"vel_maxlim\": %s, \"acc_maxlim\": %s, \"direction\": %s,\n",
                    json_array(vel, n, k).c_str(), json_array(acc, n, k).c_str(),
                    json_array(dir, n < 7 ? n : 7).c_str());
        std::printf(" \"tcp_config\": %s, \"install_angle\": %s, \"gravity\": %s,\n",
                    json_array(tcp, 4).c_str(), json_array(inst, 3, k).c_str(),
                    json_array(grav, 3).c_str());
        std::printf(" \"tool\": %s, \"work\": %s, \"control_loop_period\": %s,\n",
                    frame_json(tool).c_str(), frame_json(work).c_str(), fmt_exact(period).c_str());
        std::printf(" \"safety_level\": %u, \"system_all_dof\": %d, \"avoid_singularity\": %u, "
                    "\"dynamics_model_type\": %d}\n",
                    libalgo_get_safety_level(), libalgo_get_system_all_dof(),
                    libalgo_get_is_avoid_Singularity(), libalgo_get_dynamics_model_type());
        return kExitOk;
    }
    std::printf("model %s (type %u), sensor type %u, %d joints\n\n", model_name(type),
                libalgo_get_robot_type(), libalgo_get_sensor_type(), n);
    std::printf("%-26s", "joint");
    for (int i = 0; i < n; ++i) std::printf(" %11d", i + 1);
    std::printf("\n");
    row("d (m)", dh.d, n);
    row("a (m)", dh.a, n);
    row("alpha (deg)", dh.alpha, n, kDeg, 3);
    row("offset (deg)", dh.offset, n, kDeg, 3);
    row("upper limit (deg)", hi, n, kDeg, 3);
    row("lower limit (deg)", lo, n, kDeg, 3);
    row("modeling upper (deg)", mhi, n, kDeg, 3);
    row("modeling lower (deg)", mlo, n, kDeg, 3);
    row("max velocity (deg/s)", vel, n, kDeg, 3);
    row("max acceleration (deg/s2)", acc, n, kDeg, 1);
    row("direction", dir, n < 7 ? n : 7, 1.0, 0);
    std::printf("\n");
    row("tcp config", tcp, 4);
    row("install angle (deg)", inst, 3, kDeg, 3);
    row("gravity (m/s2)", grav, 3);
    row("tool x y z (m)", tool, 3);
    row("tool rx ry rz (deg)", tool + 3, 3, kDeg, 3);
    row("work x y z (m)", work, 3);
    row("work rx ry rz (deg)", work + 3, 3, kDeg, 3);
    std::printf("%-26s %11s\n", "control period (s)", fmt(period).c_str());
    std::printf("%-26s %11u\n", "safety level", libalgo_get_safety_level());
    std::printf("%-26s %11d\n", "system dof", libalgo_get_system_all_dof());
    std::printf("%-26s %11u\n", "avoid singularity", libalgo_get_is_avoid_Singularity());
    std::printf("%-26s %11d\n", "dynamics model type", libalgo_get_dynamics_model_type());
    return kExitOk;
}

const Registrar reg("config", "print the configuration held after selecting a model",
                    std::string("usage: tova-kin config [arm options] [--json]\n\n"
                                "Selects the model (default vesk, sensor 0), applies the frame options and\n"
                                "prints the configuration the library then holds: DH table, machine and\n"
                                "modeling joint limits, speed and acceleration limits, directions, frames\n"
                                "and their matrices' inputs, gravity and settings. The table shows angles\n"
                                "in degrees; JSON in radians unless --degrees.\n\n") +
                        kArmHelp + kJsonHelp,
                    run);

}  // namespace
}  // namespace tova_cli
