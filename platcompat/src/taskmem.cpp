// COM task memory on the C heap.
#include "platcompat.h"

#include <cstdlib>

void* CoTaskMemAlloc(SIZE_T size) {
    // A zero-size request still yields a unique pointer, as on Windows.
    return std::malloc(size == 0 ? 1 : size);
}

void* CoTaskMemRealloc(void* p, SIZE_T size) {
    if (p == nullptr) {
        return CoTaskMemAlloc(size);
    }
    if (size == 0) {
        std::free(p);
        return nullptr;
    }
    return std::realloc(p, size);
}

void CoTaskMemFree(void* p) { std::free(p); }
