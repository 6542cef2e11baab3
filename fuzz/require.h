#ifndef FUZZ_REQUIRE_H
#define FUZZ_REQUIRE_H

#include <cstdio>
#include <cstdlib>

/// A finding unless `bHolds`: the fuzzer keeps the input that a process aborts on.
inline void require(bool bHolds, const char* claim) {
    if (!bHolds) {
        std::fprintf(stderr, "does not hold: %s\n", claim);
        std::abort();
    }
}

#endif
