#ifndef TOVA_CONFIG_LIBALGO_INTERFACE_H
#define TOVA_CONFIG_LIBALGO_INTERFACE_H
/* The robot configuration store: one process-wide record, set and read only
 * through these functions. Select a model first (libalgo_init or
 * libalgo_set_robot_and_sensor_type); every selection discards all earlier
 * settings. Units: m, rad, rad/s, rad/s^2, m/s^2, s. Not thread-safe: callers
 * serialise all calls (one control thread).
 *
 * Joint indices: libalgo_set_joint_config / libalgo_get_joint_config take a
 * 0-based index. An index outside 0..7 lies outside the record: the setter then
 * ignores the call and the getter writes a zeroed JointConfig. */
#include <stdint.h>
#include "tova_export.h"
#include "math/tova_mathfuncs.h"
#ifdef __cplusplus
extern "C" {
#endif

typedef enum RobotType {         /* passed to and from the library as uint32_t */
    ROBOT_VESK      = 0,         /* 6 joints, modified DH */
    ROBOT_QUELL     = 1,         /* 7 joints, standard DH */
                                 /* 2: no model, refused */
    ROBOT_PIRRA_2   = 3,         /* 6 joints, modified DH */
    ROBOT_PIRRA_3   = 4,         /* 6 joints, modified DH */
    ROBOT_LUMO_A    = 5,         /* 6 joints, modified DH */
    ROBOT_LUMO_B    = 6,         /* 6 joints, modified DH, sensor 0 only */
    ROBOT_TALDO     = 7,         /* 7 joints, modified DH, sensor 0 only */
    ROBOT_LUMO_C    = 8,         /* 6 joints, modified DH */
    ROBOT_GENERIC_7 = 9          /* 7 joints, all-zero DH */
} RobotType;

typedef struct DhTable {         /* index 0 = joint 1, index 7 spare */
    float d[8];                  /* m, along z */
    float a[8];                  /* m, along x */
    float alpha[8];              /* rad, twist */
    float offset[8];             /* rad, added to every joint value */
    float d_compensation[8];
    float a_compensation[8];
    float alpha_compensation[8];
    float offset_compensation[8];
} DhTable;

typedef struct JointConfig {     /* 17 floats */
    float caller_data_head[10];  /* fields 1-10, opaque, verbatim */
    float jointlim_max;          /* upper limit, machine frame, rad */
    float jointlim_min;          /* lower limit, machine frame, rad */
    float vel_maxlim;            /* rad/s */
    float acc_maxlim;            /* rad/s^2 */
    float caller_data_tail[3];   /* fields 15-17, opaque, verbatim */
} JointConfig;

typedef struct RobotFeedback {   /* 71 floats */
    float joint_vector_a[8];
    float joint_vector_b[8];     /* also copied, without offset, to trajectory_planning_joint_cur */
    float caller_data[55];       /* verbatim */
} RobotFeedback;

typedef struct DynamicsParams {  /* 152 floats */
    float drag_regulation_factor_a[8];
    float drag_regulation_factor_b[8];
    float identification_group_1[8];
    float identification_group_2[8];
    float identification_group_3[40];  /* first 35 used */
    float link_dynamics[8][10];        /* per link, 10 values, verbatim */
} DynamicsParams;

typedef struct RobotConfig {                        /* layout reference only */
    DhTable        dh;
    uint32_t       robot_type;
    uint32_t       sensor_type;                     /* 0, 1, 2 */
    float          payload[11];
    float          tcp_config[4];
    JointConfig    joint_config[8];                 /* index 0 = joint 1 */
    RobotFeedback  feedback;
    float          install_angle[3];                /* rx, ry, rz */
    float          tool_cs_params[6];               /* x, y, z, rx, ry, rz, flange frame */
    float          work_cs_params[6];               /* x, y, z, rx, ry, rz, base frame */
    Matrix         tool_cs_matrix;
    Matrix         work_cs_to_base_matrix;
    Matrix         install_angle_matrix;
    DynamicsParams dynamics;
    float          joint_direction[8];              /* +1.0 / -1.0 */
    float          user_collision_threshold[21];
    float          trajectory_planning_joint_cmd[8];
    float          trajectory_planning_joint_cur[8];
    int16_t        dof;                             /* 6 or 7 */
    float          control_loop_period;             /* s, default 0.002 */
    float          gravity_acc[3];                  /* m/s^2, default (0, 0, -9.81) */
    uint16_t       safety_level;                    /* 0..8 */
    int32_t        system_all_dof;
    uint32_t       is_avoid_singularity;
    int32_t        dynamics_model_type;             /* 1 or 2 */
} RobotConfig;

/* ---- model selection ---- */
/* Clears the whole record, sets period 0.002 s, gravity (0, 0, -9.81) and identity
 * frames, then loads the model's defaults. 0, or -1 for type 2, types above 9 and
 * sensors the model does not accept: robot and sensor type are then still stored,
 * dof is 0 and the default snapshots keep their previous contents. */
TOVA_API int32_t libalgo_set_robot_and_sensor_type(uint32_t robot_type, uint32_t sensor_type);
/* Selects ROBOT_VESK with sensor 0; returns as above. */
TOVA_API int32_t libalgo_init(void);
/* Same as libalgo_init (a re-selection, not a teardown). */
TOVA_API int32_t libalgo_clear(void);
/* Robot type as last passed to the selection, refused or not. */
TOVA_API uint32_t libalgo_get_robot_type(void);
/* Sensor type as last passed to the selection, refused or not. */
TOVA_API uint32_t libalgo_get_sensor_type(void);
/* Joint count of the selected model: 6 or 7, 0 after a refused selection. */
TOVA_API int32_t libalgo_get_rbt_dof(void);

/* ---- DH parameters ---- */
/* Copies entries 0..6 of d, a, alpha, offset; entry 7 and the compensation arrays stay. */
TOVA_API void libalgo_set_dh_params(const DhTable *dh);
/* Copies entries 0..6 of the four compensation arrays only. */
TOVA_API void libalgo_set_dh_compensation_value(const DhTable *dh);
/* Writes entries 0..6 of the four compensation arrays; the rest of *out is untouched. */
TOVA_API void libalgo_get_dh_compensation_value(DhTable *out);
/* The whole DH block (nominal and compensation). */
TOVA_API void libalgo_get_dh_value(DhTable *out);
/* Restores the DH snapshot of the last model selection, compensation included. */
TOVA_API void libalgo_set_dh_params_default(void);
/* The DH snapshot of the last successful model selection. */
TOVA_API void libalgo_get_dh_params_default(DhTable *out);
/* 1 if d, a, alpha, offset of every joint below dof differ from the snapshot by
 * strictly less than 1e-10 (difference in f32, compared in double) or dof < 1;
 * else 0. Compensation values are not compared. */
TOVA_API int32_t libalgo_check_dh_params_is_default(void);

/* ---- frames, payload, installation ---- */
/* Stores rx, ry, rz (rad) of the base mounting; recomputes the install angle matrix
 * and gravity in the base frame (rz does not affect gravity). */
TOVA_API void libalgo_set_robot_install_angle(const float angle[3]);
/* rx, ry, rz, rad. */
TOVA_API void libalgo_get_robot_install_angle(float angle[3]);
/* Rotation Rz Ry Rx of the install angle as a 4 x 4 transform, zero translation. */
TOVA_API void libalgo_get_robot_install_angle_matrix(Matrix *out);
/* Gravity vector in the base frame, m/s^2. */
TOVA_API void libalgo_get_robot_gravity_acc(float gravity[3]);
/* Tool frame relative to the flange: x, y, z (m), rx, ry, rz (rad); recomputes its matrix. */
TOVA_API void libalgo_set_tool_cs_params(const float params[6]);
/* x, y, z, rx, ry, rz of the tool frame. */
TOVA_API void libalgo_get_tool_cs_params(float params[6]);
/* Flange-to-tool transform, 4 x 4. */
TOVA_API void libalgo_get_tool_cs_matrix(Matrix *out);
/* Work frame relative to the base: x, y, z (m), rx, ry, rz (rad); recomputes the
 * work-cs-to-base matrix (its closed-form inverse). */
TOVA_API void libalgo_set_work_cs_params(const float params[6]);
/* x, y, z, rx, ry, rz of the work frame. */
TOVA_API void libalgo_get_work_cs_params(float params[6]);
/* Inverse of the work frame transform: maps base coordinates to work coordinates. */
TOVA_API void libalgo_get_work_cs_to_base_matrix(Matrix *out);
/* Eleven payload values, stored verbatim. */
TOVA_API void libalgo_set_payload_params(const float params[11]);
/* Eleven payload values as stored. */
TOVA_API void libalgo_get_payload_params(float params[11]);

/* ---- joint data ---- */
/* Stores all 17 values of joint index (0-based); index outside 0..7: ignored. */
TOVA_API void libalgo_set_joint_config(int16_t index, const JointConfig *config);
/* All 17 values of joint index (0-based); index outside 0..7: writes a zeroed record. */
TOVA_API void libalgo_get_joint_config(int16_t index, JointConfig *out);
/* Upper limits of all eight joints, machine frame, rad, whatever the dof. */
TOVA_API void libalgo_set_jointlim_max(const float limits[8]);
/* Lower limits of all eight joints, machine frame, rad. */
TOVA_API void libalgo_set_jointlim_min(const float limits[8]);
/* Velocity limits of all eight joints, rad/s. */
TOVA_API void libalgo_set_joint_vel_maxlim(const float limits[8]);
/* Acceleration limits of all eight joints, rad/s^2. */
TOVA_API void libalgo_set_joint_acc_maxlim(const float limits[8]);
/* Upper limits of all eight joints, machine frame, rad. */
TOVA_API void libalgo_get_jointlim_max(float limits[8]);
/* Lower limits of all eight joints, machine frame, rad. */
TOVA_API void libalgo_get_jointlim_min(float limits[8]);
/* Velocity limits of all eight joints, rad/s. */
TOVA_API void libalgo_get_joint_vel_maxlim(float limits[8]);
/* Acceleration limits of all eight joints, rad/s^2. */
TOVA_API void libalgo_get_joint_acc_maxlim(float limits[8]);
/* Upper limits in the model angle: machine limit + DH offset, all eight joints. */
TOVA_API void libalgo_get_modeling_jointlim_max(float limits[8]);
/* Lower limits in the model angle: machine limit + DH offset, all eight joints. */
TOVA_API void libalgo_get_modeling_jointlim_min(float limits[8]);
/* Reads dof entries: > 0 stores +1, < 0 stores -1, exactly 0 keeps the stored direction. */
TOVA_API void libalgo_set_joint_direction(const float *direction);
/* Always the first seven directions, also on six-joint models. */
TOVA_API void libalgo_get_joint_direction(float direction[7]);
/* Stores all 71 values, then adds the DH offset to both joint vectors for joints
 * below dof and copies vector B without offset to the trajectory current joints. */
TOVA_API void libalgo_update_feedback_data(const RobotFeedback *feedback);
/* The stored feedback, joint vectors in the model angle (offsets applied). */
TOVA_API void libalgo_get_robot_feedback_data(RobotFeedback *out);
/* Eight commanded joint values, stored verbatim. */
TOVA_API void libalgo_set_trajectory_planning_joint_cmd(const float joints[8]);
/* Eight commanded joint values as stored. */
TOVA_API void libalgo_get_trajectory_planning_joint_cmd(float joints[8]);
/* Eight measured joint values without offsets, as the last feedback update left them. */
TOVA_API void libalgo_get_trajectory_planning_joint_cur(float joints[8]);

/* ---- dynamics and other settings ---- */
/* Copies dof x 10 floats into the link dynamics (link-major). */
TOVA_API void libalgo_set_link_dynamics_params(const float *params);
/* Writes dof x 10 floats of the link dynamics. */
TOVA_API void libalgo_get_link_dynamics_params(float *params);
/* Restores dof x 10 link dynamics values from the snapshot of the last model selection. */
TOVA_API void libalgo_set_link_dynamics_params_default(void);
/* Writes dof x 10 link dynamics values of the snapshot. */
TOVA_API void libalgo_get_link_dynamics_params_default(float *params);
/* The whole dynamics block (152 floats). */
TOVA_API void libalgo_get_dynamics_params(DynamicsParams *out);
/* Values 1-35 to identification group 3, 36-42 to group 2 [0..6], 43-49 to group 1 [0..6]. */
TOVA_API void libalgo_set_dynamics_identification_params(const float params[49]);
/* Values 1-7 to factor A, 8-14 to factor B; then for joints below dof an A with
 * |A| < 0.001 (strictly) becomes 1.0. B is never clamped, on purpose. */
TOVA_API void libalgo_set_drag_regulation_factor(const float factors[14]);
/* Control loop period, s, unchecked. */
TOVA_API void libalgo_set_control_loop_period(float period);
/* Control loop period, s. */
TOVA_API float libalgo_get_control_loop_period(void);
/* Four tcp motion settings, stored verbatim. */
TOVA_API void libalgo_set_tcp_config(const float config[4]);
/* Four tcp motion settings as stored. */
TOVA_API void libalgo_get_tcp_config(float config[4]);
/* 0 and stores; -1 and unchanged for a level above 8. */
TOVA_API int32_t libalgo_set_safety_level(uint16_t level);
/* Safety level, 0..8. */
TOVA_API uint16_t libalgo_get_safety_level(void);
/* 21 collision thresholds, stored verbatim. */
TOVA_API void libalgo_set_user_collision_threshold(const float thresholds[21]);
/* 21 collision thresholds as stored. */
TOVA_API void libalgo_get_user_collision_threshold(float thresholds[21]);
/* 0 and stores; -1 and unchanged for a value below the dof. */
TOVA_API int32_t libalgo_set_system_all_dof(int32_t all_dof);
/* Joints of the whole system (arm plus external axes). */
TOVA_API int32_t libalgo_get_system_all_dof(void);
/* Flag, stored verbatim. */
TOVA_API void libalgo_set_is_avoid_Singularity(uint32_t flag);
/* Flag as stored. */
TOVA_API uint32_t libalgo_get_is_avoid_Singularity(void);
/* Stores 2 if type is 2, otherwise 1; always returns 1. */
TOVA_API int32_t libalgo_set_dynamics_model_type(int32_t type);
/* 1 or 2 once set (0 right after a model selection). */
TOVA_API int32_t libalgo_get_dynamics_model_type(void);

/* ---- internal steps, exported for tests ---- */
/* Loads the catalogue defaults into a record already cleared by the selection and
 * snapshots DH and dynamics; 0, or -1 (nothing written) for an unknown type or sensor. */
TOVA_API int32_t lib_internal_set_robot_default_config(uint32_t robot_type, uint32_t sensor_type);
/* x, y, z, rx, ry, rz to a 4 x 4 transform, R = Rz Ry Rx, trigonometry in double. */
TOVA_API void lib_internal_pose_to_matrix(const float params[6], Matrix *out);

#ifdef __cplusplus
}
#endif
#endif
