// BstrAllocationCounter: counts what the code under test asks of the
// platform's BSTR allocators, to prove how much work an operation does
// without timing it.
//
// The executable that links BstrAllocationCounter.cpp defines the five BSTR
// allocation functions (SysAllocString, SysAllocStringLen,
// SysAllocStringByteLen, SysReAllocString, SysReAllocStringLen). Being in
// the executable, these definitions take the place of the platform's for
// every caller in the process, the library included; each forwards to the
// platform's own function, so behaviour is unchanged. While a counter lives,
// the calls made on its thread are added to it: the number of calls and the
// characters each one asked for (the new length of a reallocation counts
// whole, since an allocator may have to copy all of it).
//
// Link it into one executable only where every test tolerates the
// forwarding. One counter per thread at a time; not copyable.
#pragma once

namespace KxTest {

class BstrAllocationCounter {
public:
    BstrAllocationCounter();
    ~BstrAllocationCounter();
    BstrAllocationCounter(const BstrAllocationCounter&) = delete;
    BstrAllocationCounter& operator=(const BstrAllocationCounter&) = delete;

    long long Calls() const { return m_calls; }
    long long Characters() const { return m_characters; }

    // Used by the forwarding functions.
    static void Note(unsigned long long characters);

private:
    BstrAllocationCounter* m_previous;
    long long m_calls = 0;
    long long m_characters = 0;
};

} // namespace KxTest
