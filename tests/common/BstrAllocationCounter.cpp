// The forwarding BSTR allocators of BstrAllocationCounter.h.
#include "common/BstrAllocationCounter.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cwchar>

#include <platcompat.h>

namespace KxTest {

namespace {

thread_local BstrAllocationCounter* t_counter = nullptr;

// The platform's own function behind the executable's definition, found by
// its (mangled) symbol name.
template <typename Function>
Function Next(const char* symbol) {
    void* found = dlsym(RTLD_NEXT, symbol);
    if (found == nullptr) {
        std::fprintf(stderr, "BstrAllocationCounter: %s not found\n", symbol);
        std::abort();
    }
    return reinterpret_cast<Function>(found);
}

} // namespace

BstrAllocationCounter::BstrAllocationCounter() : m_previous(t_counter) {
    t_counter = this;
}

BstrAllocationCounter::~BstrAllocationCounter() {
    t_counter = m_previous;
}

void BstrAllocationCounter::Note(unsigned long long characters) {
    if (t_counter != nullptr) {
        ++t_counter->m_calls;
        t_counter->m_characters += static_cast<long long>(characters);
    }
}

} // namespace KxTest

using KxTest::BstrAllocationCounter;

// Each definition notes its call and forwards to the platform's function,
// found by its mangled name.
// clang-format off
#define KXT_FORWARD(Result, Name, Mangled, Params, Args, Characters)                               \
    Result Name Params {                                                                           \
        static const auto next = KxTest::Next<Result(*) Params>(Mangled);                         \
        BstrAllocationCounter::Note(Characters);                                                   \
        return next Args;                                                                          \
    }
KXT_FORWARD(BSTR, SysAllocString, "_Z14SysAllocStringPKw", (const OLECHAR* source), (source),
            source != nullptr ? std::wcslen(source) : 0)
KXT_FORWARD(BSTR, SysAllocStringLen, "_Z17SysAllocStringLenPKwj", (const OLECHAR* source, UINT length),
            (source, length), length)
KXT_FORWARD(BSTR, SysAllocStringByteLen, "_Z21SysAllocStringByteLenPKcj", (LPCSTR source, UINT length),
            (source, length), (length + sizeof(OLECHAR) - 1) / sizeof(OLECHAR))
KXT_FORWARD(INT, SysReAllocString, "_Z16SysReAllocStringPPwPKw", (BSTR* bstr, const OLECHAR* source),
            (bstr, source), source != nullptr ? std::wcslen(source) : 0)
KXT_FORWARD(INT, SysReAllocStringLen, "_Z19SysReAllocStringLenPPwPKwj",
            (BSTR* bstr, const OLECHAR* source, UINT length), (bstr, source, length), length)
// clang-format on
