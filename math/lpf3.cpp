// Third-order recursive low-pass filter; the float and double variants are one
// template over the state record.
#include "math/tova_static_matrix.h"

namespace {

template <typename State>
int clear(State *state) {
    for (int i = 0; i < 4; ++i) {
        state->coef_a[i] = 0;
        state->coef_b[i] = 0;
        state->hist_x[i] = 0;
        state->hist_y[i] = 0;
    }
    return 0;
}

// a0*y = b0*x + b1*x0 + b2*x1 + b3*x2 - a1*y0 - a2*y1 - a3*y2, summed in this
// exact order in the precision T of the state. x3 and y3 are shifted along but
// never used.
template <typename T, typename State>
T step(T x, State *state) {
    const T *a = state->coef_a;
    const T *b = state->coef_b;
    T *xs = state->hist_x;
    T *ys = state->hist_y;
    T s = T(0) + b[1] * xs[0];
    s = s - a[1] * ys[0];
    s = s + b[2] * xs[1];
    s = s - a[2] * ys[1];
    s = s + b[3] * xs[2];
    s = s - a[3] * ys[2];
    const T y = (b[0] * x + s) / a[0];
    for (int i = 3; i > 0; --i) {
        xs[i] = xs[i - 1];
        ys[i] = ys[i - 1];
    }
    xs[0] = x;
    ys[0] = y;
    return y;
}

}  // namespace

extern "C" {

int set_LPF3(Lpf3State *state) {
    return clear(state);
}

int set_LPF3_double(Lpf3StateDouble *state) {
    return clear(state);
}

float dataFilt_f_LPF3(float x, Lpf3State *state) {
    return step<float>(x, state);
}

float dataFilt_f_LPF3_double(float x, Lpf3StateDouble *state) {
    return static_cast<float>(step<double>(static_cast<double>(x), state));
}

}  // extern "C"
