// FUZZ_CHECK: the assertion of the fuzz targets. A failed check prints the
// file, line, condition and a short explanation to stderr and aborts, so
// that libFuzzer stops and records the input that broke the invariant.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace KxFuzz {

[[noreturn]] inline void Fail(const char* file, int line, const char* condition, const char* what) {
    std::fprintf(stderr, "%s:%d: check failed: %s\n  %s\n", file, line, condition, what);
    std::fflush(stderr);
    std::abort();
}

} // namespace KxFuzz

#define FUZZ_CHECK(condition, what)                                                                \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            ::KxFuzz::Fail(__FILE__, __LINE__, #condition, what);                                  \
        }                                                                                          \
    } while (0)
