// The compiled-in catalogue of arm models: one data entry per model, with the
// parts that depend on the end-of-arm sensor held per sensor type. The
// selection routine (load_model_defaults) only reads this table.
#pragma once

#include <array>
#include <cstdint>

#include "config/libalgo_interface.h"

namespace tova {

// Catalogue angles are written in degrees and converted with this f32 factor;
// the product is an f32 product (evaluated at compile time, which is exact f32
// arithmetic), so limits are not exact radians. That is the factory's data.
constexpr float kDegToRad = 0.017453292f;
constexpr float deg(float degrees) { return degrees * kDegToRad; }

constexpr int kMaxModelJoints = 7;
constexpr int kSensorVariants = 3;

enum class DhConvention { Modified, Standard, Blank };

// Which sensor types a model accepts.
enum class SensorRule {
    ZeroToTwo,  // 0, 1, 2
    ZeroOnly,   // 0
    Any         // every value; all variants are the same (variant 0 is used)
};

struct JointDefaults {
    float d, a, alpha, offset;  // m, m, rad, rad
    float upper, lower;         // machine-frame limits, rad
    float velocity;             // rad/s
};

// Default link dynamics: seven links x ten values.
using LinkDynamicsTable = float[kMaxModelJoints][10];

// What changes with the sensor fitted: the flange-to-tool-plate length (d of
// the last joint), on one model the base height (d of joint 1), and the
// default link dynamics.
struct SensorVariant {
    float first_d;
    float last_d;
    const LinkDynamicsTable *link_dynamics;
};

struct ModelEntry {
    uint32_t type;
    const char *name;
    int16_t dof;
    DhConvention convention;
    SensorRule sensors;
    // Rows of joints 1..dof. The d of joint 1 and of the last joint are taken
    // from the sensor variant; the rows hold kFromSensor there.
    std::array<JointDefaults, kMaxModelJoints> joint;
    std::array<float, kMaxModelJoints> direction;
    std::array<SensorVariant, kSensorVariants> variant;
};

constexpr float kFromSensor = 0.0f;

// Defaults shared by every model.
constexpr float kDefaultAcceleration = deg(1000.0f);  // rad/s^2, 17.453293
constexpr float kDefaultTcpConfig[4] = {0.25f, 1.6f, 0.6f, 4.0f};

// The catalogue entry of a robot type, or nullptr for a type without a model.
const ModelEntry *find_model(uint32_t robot_type);

bool accepts_sensor(const ModelEntry &model, uint32_t sensor_type);

// Writes dof, the nominal DH arrays, limits, velocities, accelerations,
// directions, tcp config and default link dynamics of the model into rc.
// Checks type and sensor before writing anything: -1 leaves rc untouched.
int32_t load_model_defaults(RobotConfig &rc, uint32_t robot_type, uint32_t sensor_type);

}  // namespace tova
