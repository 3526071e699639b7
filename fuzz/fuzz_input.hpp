// Turns a fuzzer's byte string into typed values. Floats are drawn so that
// NaN, infinities, huge values and signed zeros come up often.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace tova_fuzz {

class Input {
  public:
    Input(const uint8_t *data, size_t size) : p_(data), n_(size) {}

    bool empty() const { return n_ == 0; }

    uint8_t byte() {
        if (n_ == 0) return 0;
        --n_;
        return *p_++;
    }

    uint32_t u32() {
        uint32_t v = 0;
        for (int i = 0; i < 4; ++i) v = (v << 8) | byte();
        return v;
    }

    int32_t range(int32_t lo, int32_t hi) {  // inclusive
        const uint32_t span = static_cast<uint32_t>(hi - lo) + 1u;
        return lo + static_cast<int32_t>(u32() % span);
    }

    // Mostly ordinary magnitudes around `scale`, sometimes special values.
    // An exhausted input gives 0, so short inputs mean small, plain values.
    float real(float scale = 4.0f) {
        if (n_ == 0) return 0.0f;
        const uint8_t kind = byte();
        switch (kind % 16) {
            case 0: return std::numeric_limits<float>::quiet_NaN();
            case 1: return std::numeric_limits<float>::infinity();
            case 2: return -std::numeric_limits<float>::infinity();
            case 3: return (kind & 16) ? 3.0e38f : -3.0e38f;
            case 4: return (kind & 16) ? 0.0f : -0.0f;
            case 5: {  // raw bit pattern
                const uint32_t bits = u32();
                float f;
                std::memcpy(&f, &bits, sizeof f);
                return f;
            }
            default: {
                const int32_t v = static_cast<int32_t>(u32());
                return scale * static_cast<float>(v) / 2147483648.0f;
            }
        }
    }

    void reals(float *out, int n, float scale = 4.0f) {
        for (int i = 0; i < n; ++i) out[i] = real(scale);
    }

  private:
    const uint8_t *p_;
    size_t n_;
};

}  // namespace tova_fuzz
