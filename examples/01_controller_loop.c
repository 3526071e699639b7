/* A controller's loop: select the arm, set the tool and work frames, then track
 * a straight line in the work frame at 0.25 m/s, sampled at 500 Hz, solving
 * the inverse kinematics every cycle from the previous joints and checking each
 * joint step against the speed limits before it would be commanded. */
#include <math.h>
#include <stdio.h>
#include <string.h>

#include "tova_algorithm.h"

int main(void) {
    if (libalgo_set_robot_and_sensor_type(ROBOT_VESK, 0) != 0) return 1;
    const float tool[6] = {0.0f, 0.0f, 0.12f, 0.0f, 0.0f, 0.0f}; /* 12 cm along the flange z */
    const float work[6] = {0.30f, -0.10f, 0.0f, 0.0f, 0.0f, 0.2f}; /* a table corner */
    libalgo_set_tool_cs_params(tool);
    libalgo_set_work_cs_params(work);
    const float period = libalgo_get_control_loop_period(); /* 0.002 s */

    float q[6] = {0.2f, 0.3f, 0.9f, 0.1f, 0.8f, 0.3f};
    Pose start;
    forward_kinematics(&start, q);

    const float speed = 0.25f, length = 0.15f;   /* m/s, m */
    const float dir[3] = {0.0f, 0.8f, -0.6f};    /* unit direction in the work frame */
    const int steps = (int)(length / (speed * period) + 0.5f);
    printf("tracking %.3f m in %d cycles of %.3f s from (%.4f, %.4f, %.4f)\n", length, steps, period,
           start.x, start.y, start.z);
    printf("%8s %9s %9s %9s %9s %9s %9s\n", "t (s)", "q1", "q2", "q3", "q4", "q5", "q6");

    for (int k = 1; k <= steps; ++k) {
        const float s = speed * period * (float)k;
        Pose target = start; /* same orientation, Euler fields used */
        target.x = start.x + s * dir[0];
        target.y = start.y + s * dir[1];
        target.z = start.z + s * dir[2];
        float q_next[6];
        const int32_t code = inverse_kinematics(q, &target, q_next, 1);
        if (code != IKINE_OK) {
            printf("cycle %d: inverse kinematics failed with code %d; holding\n", k, code);
            return 1;
        }
        const int32_t joint = joint_overspeed_judgment(q, q_next, 1.0f);
        if (joint != 0) {
            printf("cycle %d: joint %d would exceed its speed limit; holding\n", k, joint);
            return 1;
        }
        memcpy(q, q_next, sizeof q);
        if (k % 25 == 0 || k == steps)
            printf("%8.3f %9.5f %9.5f %9.5f %9.5f %9.5f %9.5f\n", period * (float)k, q[0], q[1], q[2],
                   q[3], q[4], q[5]);
    }
    Pose end;
    forward_kinematics(&end, q);
    const float dx = end.x - (start.x + length * dir[0]), dy = end.y - (start.y + length * dir[1]),
                dz = end.z - (start.z + length * dir[2]);
    const float err = sqrtf(dx * dx + dy * dy + dz * dz);
    printf("end position error %.2e m\n", err);
    return err < 1e-4f ? 0 : 1;
}
