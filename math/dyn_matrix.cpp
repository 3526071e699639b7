// DynMatrix: the heap matrix, its text file, console print, arithmetic and
// LU-based linear solver. The only part of the library that allocates.
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "math/tova_static_matrix.h"

namespace {

bool valid(const DynMatrix *m) {
    return m != nullptr && m->rows >= 1 && m->cols >= 1 && m->data != nullptr;
}

std::size_t count(const DynMatrix *m) {
    return static_cast<std::size_t>(m->rows) * static_cast<std::size_t>(m->cols);
}

bool same_shape(const DynMatrix *a, const DynMatrix *b) {
    return a->rows == b->rows && a->cols == b->cols;
}

// Zeroed element array for rows x cols (both >= 1); NULL when allocation
// fails or rows*cols does not fit size_t (calloc checks the byte count).
float *alloc_elements(int rows, int cols) {
    const std::size_t n = static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
    if (n / static_cast<std::size_t>(rows) != static_cast<std::size_t>(cols)) {
        return nullptr;
    }
    return static_cast<float *>(std::calloc(n, sizeof(float)));
}

// New zeroed record; NULL on a size < 1 or failed allocation, with nothing
// left allocated. All constructors except initDynMatrix go through here.
DynMatrix *make(int rows, int cols) {
    if (rows < 1 || cols < 1) {
        return nullptr;
    }
    auto *m = static_cast<DynMatrix *>(std::malloc(sizeof(DynMatrix)));
    if (m == nullptr) {
        return nullptr;
    }
    m->data = alloc_elements(rows, cols);
    if (m->data == nullptr) {
        std::free(m);
        return nullptr;
    }
    m->rows = rows;
    m->cols = cols;
    return m;
}

// Owns a record for the length of a scope; release() hands it to the caller.
class Owned {
public:
    explicit Owned(DynMatrix *m) : m_(m) {}
    Owned(const Owned &) = delete;
    Owned &operator=(const Owned &) = delete;
    ~Owned() { freeDynMatrix(&m_); }
    DynMatrix *get() const { return m_; }
    DynMatrix *operator->() const { return m_; }
    explicit operator bool() const { return m_ != nullptr; }
    DynMatrix *release() {
        DynMatrix *m = m_;
        m_ = nullptr;
        return m;
    }

private:
    DynMatrix *m_;
};

// Elementwise a (op) b into a new record of a's shape.
template <typename Op>
DynMatrix *elementwise(const DynMatrix *a, const DynMatrix *b, Op op) {
    if (!valid(a) || !valid(b) || !same_shape(a, b)) {
        return nullptr;
    }
    DynMatrix *out = make(a->rows, a->cols);
    if (out != nullptr) {
        const std::size_t n = count(a);
        for (std::size_t i = 0; i < n; ++i) {
            out->data[i] = op(a->data[i], b->data[i]);
        }
    }
    return out;
}

// In-place LU of the n x n row-major a with partial pivoting (largest
// magnitude, first one on ties). A pivot at or below n * FLT_EPSILON times the
// largest input magnitude cannot be told from zero in single precision, so
// such a matrix counts as singular.
int lu_factor(float *a, int n, int *perm) {
    float largest = 0.0f;
    const std::size_t total = static_cast<std::size_t>(n) * static_cast<std::size_t>(n);
    for (std::size_t i = 0; i < total; ++i) {
        if (!std::isfinite(a[i])) {
            return -1;
        }
        largest = std::fmax(largest, std::fabs(a[i]));
    }
    const float tolerance = static_cast<float>(n) * FLT_EPSILON * largest;
    for (int i = 0; i < n; ++i) {
        perm[i] = i;
    }
    for (int k = 0; k < n; ++k) {
        float *row_k = a + static_cast<std::size_t>(k) * n;
        int pivot = k;
        float pivot_size = std::fabs(row_k[k]);
        for (int i = k + 1; i < n; ++i) {
            const float size = std::fabs(a[static_cast<std::size_t>(i) * n + k]);
            if (size > pivot_size) {
                pivot = i;
                pivot_size = size;
            }
        }
        if (!(pivot_size > tolerance) || !std::isfinite(pivot_size)) {
            return -1;
        }
        if (pivot != k) {
            float *row_p = a + static_cast<std::size_t>(pivot) * n;
            for (int j = 0; j < n; ++j) {
                const float t = row_k[j];
                row_k[j] = row_p[j];
                row_p[j] = t;
            }
            const int t = perm[k];
            perm[k] = perm[pivot];
            perm[pivot] = t;
        }
        for (int i = k + 1; i < n; ++i) {
            float *row_i = a + static_cast<std::size_t>(i) * n;
            const float l = row_i[k] / row_k[k];
            row_i[k] = l;
            for (int j = k + 1; j < n; ++j) {
                row_i[j] -= l * row_k[j];
            }
        }
    }
    return 0;
}

// x (n x k) = A^-1 b from the factors: permute b, forward-substitute through
// the unit-lower L, back-substitute through U.
void lu_solve(const float *lu, int n, const int *perm, const float *b, int k, float *x) {
    for (int i = 0; i < n; ++i) {
        for (int c = 0; c < k; ++c) {
            x[static_cast<std::size_t>(i) * k + c] = b[static_cast<std::size_t>(perm[i]) * k + c];
        }
    }
    for (int i = 1; i < n; ++i) {
        const float *row = lu + static_cast<std::size_t>(i) * n;
        for (int c = 0; c < k; ++c) {
            float v = x[static_cast<std::size_t>(i) * k + c];
            for (int j = 0; j < i; ++j) {
                v -= row[j] * x[static_cast<std::size_t>(j) * k + c];
            }
            x[static_cast<std::size_t>(i) * k + c] = v;
        }
    }
    for (int i = n - 1; i >= 0; --i) {
        const float *row = lu + static_cast<std::size_t>(i) * n;
        for (int c = 0; c < k; ++c) {
            float v = x[static_cast<std::size_t>(i) * k + c];
            for (int j = i + 1; j < n; ++j) {
                v -= row[j] * x[static_cast<std::size_t>(j) * k + c];
            }
            x[static_cast<std::size_t>(i) * k + c] = v / row[i];
        }
    }
}

void print_rows(std::FILE *stream, const DynMatrix *m) {
    for (int i = 0; i < m->rows; ++i) {
        for (int j = 0; j < m->cols; ++j) {
            std::fprintf(stream, " %f", static_cast<double>(m->data[static_cast<std::size_t>(i) * m->cols + j]));
        }
        std::fprintf(stream, "\n");
    }
}

}  // namespace

extern "C" {

DynMatrix *initDynMatrix(int rows, int cols) {
    if (rows < 1 || cols < 1) {
        return nullptr;
    }
    auto *m = static_cast<DynMatrix *>(std::malloc(sizeof(DynMatrix)));
    if (m == nullptr) {
        return nullptr;
    }
    m->rows = rows;
    m->cols = cols;
    m->data = alloc_elements(rows, cols);
    if (m->data == nullptr) {
        return nullptr;  // the record block stays allocated, as documented
    }
    return m;
}

int freeDynMatrix(DynMatrix **handle) {
    if (handle != nullptr && *handle != nullptr) {
        std::free((*handle)->data);
        std::free(*handle);
        *handle = nullptr;
    }
    return 1;
}

DynMatrix *readDynMatrix(const char *path, int rows, int cols) {
    std::FILE *file = std::fopen(path, "r");
    if (file == nullptr) {
        std::fprintf(stderr, "Error: Cannot open %s\n", path);
        return nullptr;  // no stream, so nothing to close
    }
    Owned m(make(rows, cols));
    if (!m) {
        std::fclose(file);
        return nullptr;
    }
    // A token that does not match "%f" is left unread and the buffer keeps the
    // last number, so that number fills the rest of the record; 0 if the very
    // first token is not a number.
    const std::size_t n = count(m.get());
    float value = 0.0f;
    std::size_t stored = 0;
    while (std::fscanf(file, "%f", &value) != EOF) {
        m->data[stored++] = value;
        if (stored == n) {
            std::fclose(file);
            return m.release();
        }
    }
    std::fclose(file);
    return nullptr;
}

int writeDynMatrix(const DynMatrix *m, const char *path) {
    if (!valid(m)) {
        return -1;
    }
    std::FILE *file = std::fopen(path, "w");
    if (file == nullptr) {
        return -1;
    }
    print_rows(file, m);
    std::fclose(file);
    return 0;
}

int printDynMatrix(const DynMatrix *m) {
    if (!valid(m)) {
        return -1;
    }
    std::printf("DynMatrix size %dx%d\n", m->rows, m->cols);
    print_rows(stdout, m);
    return 1;
}

DynMatrix *copyDynMatrix(const DynMatrix *m) {
    if (!valid(m)) {
        return nullptr;
    }
    DynMatrix *out = make(m->rows, m->cols);
    if (out != nullptr) {
        const std::size_t n = count(m);
        for (std::size_t i = 0; i < n; ++i) {
            out->data[i] = m->data[i];
        }
    }
    return out;
}

DynMatrix *transposeDynMatrix(const DynMatrix *a) {
    if (!valid(a)) {
        return nullptr;
    }
    DynMatrix *out = make(a->cols, a->rows);
    if (out != nullptr) {
        for (int i = 0; i < a->rows; ++i) {
            for (int j = 0; j < a->cols; ++j) {
                out->data[static_cast<std::size_t>(j) * a->rows + i] =
                    a->data[static_cast<std::size_t>(i) * a->cols + j];
            }
        }
    }
    return out;
}

DynMatrix *multDynMatrix(const DynMatrix *a, const DynMatrix *b) {
    if (!valid(a) || !valid(b) || a->cols != b->rows) {
        return nullptr;
    }
    DynMatrix *out = make(a->rows, b->cols);
    if (out != nullptr) {
        for (int i = 0; i < a->rows; ++i) {
            const float *row = a->data + static_cast<std::size_t>(i) * a->cols;
            for (int j = 0; j < b->cols; ++j) {
                float sum = 0.0f;
                for (int k = 0; k < a->cols; ++k) {
                    sum += row[k] * b->data[static_cast<std::size_t>(k) * b->cols + j];
                }
                out->data[static_cast<std::size_t>(i) * b->cols + j] = sum;
            }
        }
    }
    return out;
}

DynMatrix *addDynMatrix(const DynMatrix *a, const DynMatrix *b) {
    return elementwise(a, b, [](float x, float y) { return x + y; });
}

DynMatrix *subDynMatrix(const DynMatrix *a, const DynMatrix *b) {
    return elementwise(a, b, [](float x, float y) { return x - y; });
}

DynMatrix *scaleDynMatrix(const DynMatrix *a, float k) {
    return elementwise(a, a, [k](float x, float) { return k * x; });
}

float normDynMatrix(const DynMatrix *a) {
    if (!valid(a)) {
        return -1.0f;
    }
    float sum = 0.0f;
    const std::size_t n = count(a);
    for (std::size_t i = 0; i < n; ++i) {
        sum += a->data[i] * a->data[i];
    }
    return std::sqrt(sum);
}

DynMatrix *eyeDynMatrix(int n) {
    DynMatrix *out = make(n, n);
    if (out != nullptr) {
        for (int i = 0; i < n; ++i) {
            out->data[static_cast<std::size_t>(i) * n + i] = 1.0f;
        }
    }
    return out;
}

DynMatrix *getSubDynMatrix(const DynMatrix *a, int row, int col, int rows, int cols) {
    if (!valid(a) || row < 0 || col < 0 || rows < 1 || cols < 1 ||
        static_cast<long long>(row) + rows > a->rows || static_cast<long long>(col) + cols > a->cols) {
        return nullptr;
    }
    DynMatrix *out = make(rows, cols);
    if (out != nullptr) {
        for (int i = 0; i < rows; ++i) {
            for (int j = 0; j < cols; ++j) {
                out->data[static_cast<std::size_t>(i) * cols + j] =
                    a->data[static_cast<std::size_t>(row + i) * a->cols + (col + j)];
            }
        }
    }
    return out;
}

int setSubDynMatrix(DynMatrix *dst, int row, int col, const DynMatrix *src) {
    if (!valid(dst) || !valid(src) || row < 0 || col < 0 ||
        static_cast<long long>(row) + src->rows > dst->rows ||
        static_cast<long long>(col) + src->cols > dst->cols) {
        return -1;
    }
    for (int i = 0; i < src->rows; ++i) {
        for (int j = 0; j < src->cols; ++j) {
            dst->data[static_cast<std::size_t>(row + i) * dst->cols + (col + j)] =
                src->data[static_cast<std::size_t>(i) * src->cols + j];
        }
    }
    return 0;
}

float dotDynMatrix(const DynMatrix *a, const DynMatrix *b) {
    if (!valid(a) || !valid(b) || count(a) != count(b)) {
        return NAN;
    }
    float sum = 0.0f;
    const std::size_t n = count(a);
    for (std::size_t i = 0; i < n; ++i) {
        sum += a->data[i] * b->data[i];
    }
    return sum;
}

DynMatrix *crossDynMatrix(const DynMatrix *a, const DynMatrix *b) {
    if (!valid(a) || !valid(b) || count(a) != 3 || count(b) != 3) {
        return nullptr;
    }
    DynMatrix *out = make(a->rows, a->cols);
    if (out != nullptr) {
        const float *u = a->data;
        const float *v = b->data;
        out->data[0] = u[1] * v[2] - u[2] * v[1];
        out->data[1] = u[2] * v[0] - u[0] * v[2];
        out->data[2] = u[0] * v[1] - u[1] * v[0];
    }
    return out;
}

int DynMatrixToMAT4X4(const DynMatrix *src, MAT4X4 out) {
    if (!valid(src) || src->rows != 4 || src->cols != 4 || out == nullptr) {
        return -1;
    }
    for (int i = 0; i < 16; ++i) {
        out[i] = src->data[i];
    }
    return 0;
}

DynMatrix *arrayToDynMatrix(const float *data, int rows, int cols) {
    if (data == nullptr) {
        return nullptr;
    }
    DynMatrix *out = make(rows, cols);
    if (out != nullptr) {
        const std::size_t n = count(out);
        for (std::size_t i = 0; i < n; ++i) {
            out->data[i] = data[i];
        }
    }
    return out;
}

int DynMatrixToArray(const DynMatrix *src, float *out) {
    if (!valid(src) || out == nullptr) {
        return -1;
    }
    const std::size_t n = count(src);
    for (std::size_t i = 0; i < n; ++i) {
        out[i] = src->data[i];
    }
    return 0;
}

int LUdecomposition(DynMatrix *a, int *perm) {
    if (!valid(a) || a->rows != a->cols || perm == nullptr) {
        return -1;
    }
    return lu_factor(a->data, a->rows, perm);
}

DynMatrix *solverLU(const DynMatrix *lu, const int *perm, const DynMatrix *b) {
    if (!valid(lu) || !valid(b) || perm == nullptr || lu->rows != lu->cols || b->rows != lu->rows) {
        return nullptr;
    }
    const int n = lu->rows;
    for (int i = 0; i < n; ++i) {
        if (perm[i] < 0 || perm[i] >= n || lu->data[static_cast<std::size_t>(i) * n + i] == 0.0f) {
            return nullptr;
        }
    }
    DynMatrix *x = make(n, b->cols);
    if (x != nullptr) {
        lu_solve(lu->data, n, perm, b->data, b->cols, x->data);
    }
    return x;
}

DynMatrix *mrdivide(const DynMatrix *b, const DynMatrix *a) {
    if (!valid(a) || !valid(b) || a->rows != a->cols || b->cols != a->rows) {
        return nullptr;
    }
    // x a = b  <=>  a^T x^T = b^T
    Owned a_t(transposeDynMatrix(a));
    Owned b_t(transposeDynMatrix(b));
    int *perm = static_cast<int *>(std::malloc(sizeof(int) * static_cast<std::size_t>(a->rows)));
    DynMatrix *x = nullptr;
    if (a_t && b_t && perm != nullptr && lu_factor(a_t->data, a_t->rows, perm) == 0) {
        Owned x_t(solverLU(a_t.get(), perm, b_t.get()));
        if (x_t) {
            x = transposeDynMatrix(x_t.get());
        }
    }
    std::free(perm);
    return x;
}

}  // extern "C"
