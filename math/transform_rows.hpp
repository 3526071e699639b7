// 4x4 transforms held as four SIMD rows.
//
// Why rows in registers: a Matrix record has a 4-byte header, so its rows sit
// at offsets 4, 20, 36, 52 while a record copy moves 16-byte blocks at 0, 16,
// ... Copying a record just written row by row (or loading rows of one just
// copied) defeats store-to-load forwarding and costs more than the arithmetic.
// The frame products and the pose conversion therefore take their operands as
// rows and store each result once.
#pragma once

#include <cstring>

#include "math/tova_mathfuncs.h"

namespace tova {

typedef float v4f __attribute__((vector_size(16)));

struct Transform {
    v4f row[4];
};

// All four rows of m, whatever its header says.
inline Transform load_transform(const Matrix &m) {
    Transform t;
    std::memcpy(t.row, &m.data[0][0], sizeof t.row);
    return t;
}

// Writes t into m with header 4, 4.
inline void store_transform(const Transform &t, Matrix &m) {
    m.rows = 4;
    m.cols = 4;
    std::memcpy(&m.data[0][0], t.row, sizeof t.row);
}

}  // namespace tova
