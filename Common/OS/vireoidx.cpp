#include "vireoidx.h"

#include <cstdio>

#include "ospaths.h"

const char* gVireoIdxPath = "/tmp/vireo-idx.txt";

namespace {

int gVireoIdx = -1;  // negative: not read yet

/// The number that a file begins with. @return -1 when it cannot be opened or begins with none
int read_int_file(const char* path) {
    std::FILE* file = std::fopen(path, "re");
    if (file == nullptr) {
        return -1;
    }
    int value = -1;
    const int scanned = std::fscanf(file, "%d", &value);
    std::fclose(file);
    return scanned == 1 ? value : -1;
}

}  // namespace

int get_vireo_idx() {
    if (gVireoIdx < 0) {
        gVireoIdx = read_int_file(gVireoIdxPath);
    }
    if (gVireoIdx < 0) {
        gVireoIdx = 0;
    }
    return gVireoIdx;
}
