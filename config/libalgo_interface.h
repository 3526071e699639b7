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
TOVA_API int32_t libalgo_set_robot_and_sensor_type(uint32_t robot_type, uint32_t sensor_type);
TOVA_API int32_t libalgo_init(void);
TOVA_API int32_t libalgo_clear(void);
TOVA_API uint32_t libalgo_get_robot_type(void);
TOVA_API uint32_t libalgo_get_sensor_type(void);
TOVA_API int32_t libalgo_get_rbt_dof(void);

/* ---- DH parameters ---- */
TOVA_API void libalgo_set_dh_params(const DhTable *dh);
TOVA_API void libalgo_set_dh_compensation_value(const DhTable *dh);
TOVA_API void libalgo_get_dh_compensation_value(DhTable *out);
TOVA_API void libalgo_get_dh_value(DhTable *out);
TOVA_API void libalgo_set_dh_params_default(void);
TOVA_API void libalgo_get_dh_params_default(DhTable *out);
TOVA_API int32_t libalgo_check_dh_params_is_default(void);

/* ---- frames, payload, installation ---- */
TOVA_API void libalgo_set_robot_install_angle(const float angle[3]);
TOVA_API void libalgo_get_robot_install_angle(float angle[3]);
TOVA_API void libalgo_get_robot_install_angle_matrix(Matrix *out);
TOVA_API void libalgo_get_robot_gravity_acc(float gravity[3]);
TOVA_API void libalgo_set_tool_cs_params(const float params[6]);
TOVA_API void libalgo_get_tool_cs_params(float params[6]);
TOVA_API void libalgo_get_tool_cs_matrix(Matrix *out);
TOVA_API void libalgo_set_work_cs_params(const float params[6]);
TOVA_API void libalgo_get_work_cs_params(float params[6]);
TOVA_API void libalgo_get_work_cs_to_base_matrix(Matrix *out);
TOVA_API void libalgo_set_payload_params(const float params[11]);
TOVA_API void libalgo_get_payload_params(float params[11]);

/* ---- joint data ---- */
TOVA_API void libalgo_set_joint_config(int16_t index, const JointConfig *config);
TOVA_API void libalgo_get_joint_config(int16_t index, JointConfig *out);
TOVA_API void libalgo_set_jointlim_max(const float limits[8]);
TOVA_API void libalgo_set_jointlim_min(const float limits[8]);
TOVA_API void libalgo_set_joint_vel_maxlim(const float limits[8]);
TOVA_API void libalgo_set_joint_acc_maxlim(const float limits[8]);
TOVA_API void libalgo_get_jointlim_max(float limits[8]);
TOVA_API void libalgo_get_jointlim_min(float limits[8]);
TOVA_API void libalgo_get_joint_vel_maxlim(float limits[8]);
TOVA_API void libalgo_get_joint_acc_maxlim(float limits[8]);
TOVA_API void libalgo_get_modeling_jointlim_max(float limits[8]);
TOVA_API void libalgo_get_modeling_jointlim_min(float limits[8]);
TOVA_API void libalgo_set_joint_direction(const float *direction);
TOVA_API void libalgo_get_joint_direction(float direction[7]);
TOVA_API void libalgo_update_feedback_data(const RobotFeedback *feedback);
TOVA_API void libalgo_get_robot_feedback_data(RobotFeedback *out);
TOVA_API void libalgo_set_trajectory_planning_joint_cmd(const float joints[8]);
TOVA_API void libalgo_get_trajectory_planning_joint_cmd(float joints[8]);
TOVA_API void libalgo_get_trajectory_planning_joint_cur(float joints[8]);

/* ---- dynamics and other settings ---- */
TOVA_API void libalgo_set_link_dynamics_params(const float *params);
TOVA_API void libalgo_get_link_dynamics_params(float *params);
TOVA_API void libalgo_set_link_dynamics_params_default(void);
TOVA_API void libalgo_get_link_dynamics_params_default(float *params);
TOVA_API void libalgo_get_dynamics_params(DynamicsParams *out);
TOVA_API void libalgo_set_dynamics_identification_params(const float params[49]);
TOVA_API void libalgo_set_drag_regulation_factor(const float factors[14]);
TOVA_API void libalgo_set_control_loop_period(float period);
TOVA_API float libalgo_get_control_loop_period(void);
TOVA_API void libalgo_set_tcp_config(const float config[4]);
TOVA_API void libalgo_get_tcp_config(float config[4]);
TOVA_API int32_t libalgo_set_safety_level(uint16_t level);
TOVA_API uint16_t libalgo_get_safety_level(void);
TOVA_API void libalgo_set_user_collision_threshold(const float thresholds[21]);
TOVA_API void libalgo_get_user_collision_threshold(float thresholds[21]);
TOVA_API int32_t libalgo_set_system_all_dof(int32_t all_dof);
TOVA_API int32_t libalgo_get_system_all_dof(void);
TOVA_API void libalgo_set_is_avoid_Singularity(uint32_t flag);
TOVA_API uint32_t libalgo_get_is_avoid_Singularity(void);
TOVA_API int32_t libalgo_set_dynamics_model_type(int32_t type);
TOVA_API int32_t libalgo_get_dynamics_model_type(void);

/* ---- internal steps, exported for tests ---- */
TOVA_API int32_t lib_internal_set_robot_default_config(uint32_t robot_type, uint32_t sensor_type);
TOVA_API void lib_internal_pose_to_matrix(const float params[6], Matrix *out);

#ifdef __cplusplus
}
#endif
#endif
