// The DynMatrix text reader on arbitrary file contents and requested sizes:
// no crash, no leak (LeakSanitizer), and a returned record has the asked size.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

#include "fuzz_input.hpp"
#include "tova_algorithm.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    tova_fuzz::Input in(data, size);
    const int rows = in.range(-1, 24);
    const int cols = in.range(-1, 24);
    static const std::string path = "/tmp/tova_fuzz_dynmatrix_" + std::to_string(getpid()) + ".txt";
    FILE *f = std::fopen(path.c_str(), "wb");
    if (!f) return 0;
    // the rest of the input is the file's content
    std::fwrite(data + (size > 8 ? 8 : size), 1, size > 8 ? size - 8 : 0, f);
    std::fclose(f);
    DynMatrix *m = readDynMatrix(path.c_str(), rows, cols);
    if (m) {
        if (m->rows != rows || m->cols != cols) std::abort();
        volatile float sink = 0;
        for (int i = 0; i < rows * cols; ++i) sink = sink + m->data[i];
        (void)sink;
        DynMatrix *c = copyDynMatrix(m);
        freeDynMatrix(&c);
        freeDynMatrix(&m);
        if (m != nullptr) std::abort();
    }
    std::remove(path.c_str());
    return 0;
}
