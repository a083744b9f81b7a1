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

BSTR SysAllocString(const OLECHAR* source) {
    static const auto next = KxTest::Next<BSTR (*)(const OLECHAR*)>("_Z14SysAllocStringPKw");
    BstrAllocationCounter::Note(source != nullptr ? std::wcslen(source) : 0);
    return next(source);
}

BSTR SysAllocStringLen(const OLECHAR* source, UINT length) {
    static const auto next =
        KxTest::Next<BSTR (*)(const OLECHAR*, UINT)>("_Z17SysAllocStringLenPKwj");
    BstrAllocationCounter::Note(length);
    return next(source, length);
}

BSTR SysAllocStringByteLen(LPCSTR source, UINT length) {
    static const auto next = KxTest::Next<BSTR (*)(LPCSTR, UINT)>("_Z21SysAllocStringByteLenPKcj");
    BstrAllocationCounter::Note((length + sizeof(OLECHAR) - 1) / sizeof(OLECHAR));
    return next(source, length);
}

INT SysReAllocString(BSTR* bstr, const OLECHAR* source) {
    static const auto next =
        KxTest::Next<INT (*)(BSTR*, const OLECHAR*)>("_Z16SysReAllocStringPPwPKw");
    BstrAllocationCounter::Note(source != nullptr ? std::wcslen(source) : 0);
    return next(bstr, source);
}

INT SysReAllocStringLen(BSTR* bstr, const OLECHAR* source, UINT length) {
    static const auto next =
        KxTest::Next<INT (*)(BSTR*, const OLECHAR*, UINT)>("_Z19SysReAllocStringLenPPwPKwj");
    BstrAllocationCounter::Note(length);
    return next(bstr, source, length);
}
