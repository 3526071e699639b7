// Factory description of every arm model. Lengths in m; angles are entered in
// degrees through deg() (f32 products) except where the factory stores a
// radian literal, which is then kept exactly as stored.
#include "config/model_catalogue.hpp"

#include <cstring>

namespace tova {
namespace {

using Joints = std::array<JointDefaults, kMaxModelJoints>;

// Radian literals the factory data stores instead of degree products.
constexpr float kRightAngle = 1.5707964f;  // 90 deg in the DH tables of the later models
constexpr float kHalfTurn = 3.1415927f;    // 180 deg, same
constexpr float kFullTurn = 6.283185f;     // 360 deg limit of the blank arm
constexpr float kVel180 = 3.141593f;       // 180 deg/s where stored in radians
constexpr float kVel300 = 5.235988f;       // 300 deg/s where stored in radians

// Default link dynamics are factory data that only the controller's dynamics
// use; the library stores and returns them but never reads them. They are
// shipped as zeros here, one table shared by every model and sensor type; a
// calibrated table per model and sensor plugs into SensorVariant.
constexpr LinkDynamicsTable kZeroLinkDynamics = {};
constexpr const LinkDynamicsTable *kNoDynamics = &kZeroLinkDynamics;

constexpr std::array<SensorVariant, kSensorVariants> same_base(float base_d, float last0, float last1,
                                                               float last2) {
    return {{{base_d, last0, kNoDynamics}, {base_d, last1, kNoDynamics}, {base_d, last2, kNoDynamics}}};
}

constexpr std::array<SensorVariant, kSensorVariants> single_variant(float base_d, float last_d) {
    return {{{base_d, last_d, kNoDynamics}, {}, {}}};
}

//                               d        a       alpha        offset     upper       lower       velocity
constexpr Joints kVeskJoints = {{
    {kFromSensor, 0.0f,   deg(0),    deg(0),    deg(178),  deg(-178), deg(180)},
    {0.0f,        0.0f,   deg(90),   deg(90),   deg(130),  deg(-130), deg(180)},
    {0.0f,        0.256f, deg(0),    deg(90),   deg(135),  deg(-135), deg(225)},
    {0.21f,       0.0f,   deg(90),   deg(0),    deg(178),  deg(-178), deg(225)},
    {0.0f,        0.0f,   deg(-90),  deg(0),    deg(128),  deg(-128), deg(225)},
    {kFromSensor, 0.0f,   deg(90),   deg(0),    deg(360),  deg(-360), deg(225)},
    {},
}};

constexpr Joints kQuellJoints = {{
    {kFromSensor, 0.0f,   deg(-90),  deg(0),    deg(178),  deg(-178), deg(180)},
    {0.0f,        0.0f,   deg(90),   deg(0),    deg(130),  deg(-130), deg(180)},
    {0.256f,      0.0f,   deg(-90),  deg(0),    deg(178),  deg(-178), deg(225)},
    {0.0f,        0.0f,   deg(90),   deg(0),    deg(135),  deg(-135), deg(225)},
    {0.21f,       0.0f,   deg(-90),  deg(0),    deg(178),  deg(-178), deg(225)},
    {0.0f,        0.0f,   deg(90),   deg(0),    deg(128),  deg(-128), deg(225)},
    {kFromSensor, 0.0f,   deg(0),    deg(0),    deg(360),  deg(-360), deg(225)},
}};

// pirra_2 and pirra_3 differ in d of joint 2 and in the wrist offsets.
// Joint 3's range is asymmetric (+145 / -178) on purpose.
constexpr Joints pirra_joints(float d2, float wrist_offset) {
    return {{
        {kFromSensor, 0.0f,    0.0f,         0.0f,         deg(178), deg(-178), deg(180)},
        {d2,          -0.086f, -kRightAngle, -kRightAngle, deg(178), deg(-178), deg(180)},
        {0.0f,        0.38f,   0.0f,         kRightAngle,  deg(145), deg(-178), deg(225)},
        {0.405f,      0.069f,  kRightAngle,  0.0f,         deg(178), deg(-178), deg(225)},
        {0.0f,        0.0f,    -kRightAngle, wrist_offset, deg(178), deg(-178), deg(225)},
        {kFromSensor, 0.0f,    -kRightAngle, wrist_offset, deg(360), deg(-360), deg(225)},
        {},
    }};
}

// lumo_a and lumo_c share one table; they differ in three lengths.
// Joint 3's range is asymmetric (+145 / -160) on purpose.
constexpr Joints lumo_joints(float a3, float d4, float a4) {
    return {{
        {kFromSensor, 0.0f,    0.0f,         0.0f,         deg(180), deg(-180), deg(180)},
        {0.0f,        -0.086f, -kRightAngle, -kRightAngle, deg(180), deg(-180), deg(180)},
        {0.0f,        a3,      0.0f,         0.0f,         deg(145), deg(-160), deg(225)},
        {d4,          a4,      0.0f,         kRightAngle,  deg(140), deg(-140), deg(225)},
        {0.11f,       0.0f,    kRightAngle,  0.0f,         deg(180), deg(-180), deg(225)},
        {kFromSensor, 0.0f,    -kRightAngle, 0.0f,         deg(180), deg(-180), deg(225)},
        {},
    }};
}

constexpr Joints kLumoBJoints = {{
    {kFromSensor, 0.0f,   0.0f,         0.0f,         deg(180), deg(-180), deg(225)},
    {0.0f,        -0.07f, -kRightAngle, -kRightAngle, deg(180), deg(-180), deg(225)},
    {0.0f,        0.148f, 0.0f,         0.0f,         deg(145), deg(-160), deg(225)},
    {-0.0585f,    0.136f, 0.0f,         kRightAngle,  deg(140), deg(-140), kVel180},
    {0.071f,      0.0f,   kRightAngle,  0.0f,         deg(180), deg(-180), kVel180},
    {kFromSensor, 0.0f,   -kRightAngle, 0.0f,         deg(180), deg(-180), kVel180},
    {},
}};

// Limits of this arm are stored in radians: 172, 105, 55, -170, 120, -90 deg.
constexpr Joints kTaldoJoints = {{
    {kFromSensor, 0.0f,    0.0f,         0.0f,        3.001966f, -3.001966f, kVel180},
    {0.0f,        0.0f,    -kRightAngle, 0.0f,        1.832596f, -1.832596f, kVel180},
    {0.28f,       0.0f,    kRightAngle,  0.0f,        3.001966f, -3.001966f, kVel180},
    {0.0f,        0.04f,   kRightAngle,  0.0f,        0.959931f, -2.96706f,  kVel180},
    {0.2525f,     -0.019f, -kRightAngle, 0.0f,        3.001966f, -3.001966f, deg(225)},
    {0.0f,        0.0f,    kRightAngle,  kRightAngle, 2.094395f, -1.570796f, deg(225)},
    {kFromSensor, 0.067f,  kRightAngle,  0.0f,        3.001966f, -3.001966f, deg(225)},
}};

// The blank arm: geometry comes later through libalgo_set_dh_params. Its
// 300 deg/s is a degree product on joints 1-4 and a radian literal on 5-7,
// exactly as the factory data has it.
constexpr Joints kGeneric7Joints = {{
    {0.0f, 0.0f, 0.0f, 0.0f, kFullTurn, -kFullTurn, deg(300)},
    {0.0f, 0.0f, 0.0f, 0.0f, kFullTurn, -kFullTurn, deg(300)},
    {0.0f, 0.0f, 0.0f, 0.0f, kFullTurn, -kFullTurn, deg(300)},
    {0.0f, 0.0f, 0.0f, 0.0f, kFullTurn, -kFullTurn, deg(300)},
    {0.0f, 0.0f, 0.0f, 0.0f, kFullTurn, -kFullTurn, kVel300},
    {0.0f, 0.0f, 0.0f, 0.0f, kFullTurn, -kFullTurn, kVel300},
    {0.0f, 0.0f, 0.0f, 0.0f, kFullTurn, -kFullTurn, kVel300},
}};

constexpr std::array<float, kMaxModelJoints> kAllPositive6 = {1, 1, 1, 1, 1, 1, 0};
constexpr std::array<float, kMaxModelJoints> kAllPositive7 = {1, 1, 1, 1, 1, 1, 1};
constexpr std::array<float, kMaxModelJoints> kPirraDirections = {1, -1, 1, 1, 1, 1, 0};
constexpr std::array<float, kMaxModelJoints> kLumoDirections = {1, -1, 1, -1, 1, 1, 0};
constexpr std::array<float, kMaxModelJoints> kTaldoDirections = {-1, 1, -1, 1, -1, 1, -1};

// Flange-to-tool-plate lengths by sensor type 0, 1, 2.
constexpr float kVeskLast[3] = {0.144f, 0.152f, 0.1725f};
constexpr float kPirraLast[3] = {0.115f, 0.123f, 0.1435f};
constexpr float kLumoLast[3] = {0.0795f, 0.0875f, 0.108f};

constexpr ModelEntry kCatalogue[] = {
    {ROBOT_VESK, "vesk", 6, DhConvention::Modified, SensorRule::ZeroToTwo, kVeskJoints, kAllPositive6,
     same_base(0.2405f, kVeskLast[0], kVeskLast[1], kVeskLast[2])},
    {ROBOT_QUELL, "quell", 7, DhConvention::Standard, SensorRule::ZeroToTwo, kQuellJoints, kAllPositive7,
     same_base(0.2405f, kVeskLast[0], kVeskLast[1], kVeskLast[2])},
    {ROBOT_PIRRA_2, "pirra_2", 6, DhConvention::Modified, SensorRule::ZeroToTwo,
     pirra_joints(0.0f, kHalfTurn), kPirraDirections,
     same_base(0.172f, kPirraLast[0], kPirraLast[1], kPirraLast[2])},
    // The base height of pirra_3 depends on the sensor type (factory data).
    {ROBOT_PIRRA_3, "pirra_3", 6, DhConvention::Modified, SensorRule::ZeroToTwo,
     pirra_joints(-0.0084f, 0.0f), kPirraDirections,
     {{{0.162f, kPirraLast[0], kNoDynamics},
       {0.172f, kPirraLast[1], kNoDynamics},
       {0.172f, kPirraLast[2], kNoDynamics}}}},
    {ROBOT_LUMO_A, "lumo_a", 6, DhConvention::Modified, SensorRule::ZeroToTwo,
     lumo_joints(0.26f, -0.05888f, 0.24f), kLumoDirections,
     same_base(0.1625f, kLumoLast[0], kLumoLast[1], kLumoLast[2])},
    {ROBOT_LUMO_B, "lumo_b", 6, DhConvention::Modified, SensorRule::ZeroOnly, kLumoBJoints,
     kLumoDirections, single_variant(0.136f, 0.0707f)},
    {ROBOT_TALDO, "taldo", 7, DhConvention::Modified, SensorRule::ZeroOnly, kTaldoJoints,
     kTaldoDirections, single_variant(0.218f, 0.074f)},
    {ROBOT_LUMO_C, "lumo_c", 6, DhConvention::Modified, SensorRule::ZeroToTwo,
     lumo_joints(0.41f, -0.0589f, 0.38f), kLumoDirections,
     same_base(0.1625f, kLumoLast[0], kLumoLast[1], kLumoLast[2])},
    {ROBOT_GENERIC_7, "generic_7", 7, DhConvention::Blank, SensorRule::Any, kGeneric7Joints,
     kAllPositive7, single_variant(0.0f, 0.0f)},
};

}  // namespace

const ModelEntry *find_model(uint32_t robot_type) {
    for (const ModelEntry &model : kCatalogue) {
        if (model.type == robot_type) {
            return &model;
        }
    }
    return nullptr;
}

bool accepts_sensor(const ModelEntry &model, uint32_t sensor_type) {
    switch (model.sensors) {
        case SensorRule::ZeroToTwo: return sensor_type <= 2;
        case SensorRule::ZeroOnly: return sensor_type == 0;
        case SensorRule::Any: return true;
    }
    return false;
}

int32_t load_model_defaults(RobotConfig &rc, uint32_t robot_type, uint32_t sensor_type) {
    const ModelEntry *model = find_model(robot_type);
    if (model == nullptr || !accepts_sensor(*model, sensor_type)) {
        return -1;
    }
    const SensorVariant &variant =
        model->variant[model->sensors == SensorRule::Any ? 0 : sensor_type];
    const int dof = model->dof;

    rc.dof = model->dof;
    for (int j = 0; j < dof; ++j) {
        const JointDefaults &row = model->joint[j];
        rc.dh.d[j] = row.d;
        rc.dh.a[j] = row.a;
        rc.dh.alpha[j] = row.alpha;
        rc.dh.offset[j] = row.offset;
        rc.joint_config[j].jointlim_max = row.upper;
        rc.joint_config[j].jointlim_min = row.lower;
        rc.joint_config[j].vel_maxlim = row.velocity;
        rc.joint_config[j].acc_maxlim = kDefaultAcceleration;
        rc.joint_direction[j] = model->direction[j];
    }
    rc.dh.d[0] = variant.first_d;
    rc.dh.d[dof - 1] = variant.last_d;
    std::memcpy(rc.tcp_config, kDefaultTcpConfig, sizeof rc.tcp_config);
    std::memcpy(rc.dynamics.link_dynamics, *variant.link_dynamics, sizeof(LinkDynamicsTable));
    return 0;
}

}  // namespace tova
