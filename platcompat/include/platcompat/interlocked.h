// Interlocked operations on 32-bit values and pointers.
//
// Every operation is atomic and a full barrier (sequentially consistent).
// Increment and Decrement return the new value; Exchange, ExchangeAdd,
// CompareExchange and the pointer forms return the value found before.
#pragma once

#include "platcompat/types.h"

inline LONG InterlockedIncrement(LONG volatile* addend) {
    return __atomic_add_fetch(addend, 1, __ATOMIC_SEQ_CST);
}
inline LONG InterlockedDecrement(LONG volatile* addend) {
    return __atomic_sub_fetch(addend, 1, __ATOMIC_SEQ_CST);
}
inline LONG InterlockedExchange(LONG volatile* target, LONG value) {
    return __atomic_exchange_n(target, value, __ATOMIC_SEQ_CST);
}
inline LONG InterlockedExchangeAdd(LONG volatile* addend, LONG value) {
    return __atomic_fetch_add(addend, value, __ATOMIC_SEQ_CST);
}
// Stores `exchange` only if the target equals `comparand`.
inline LONG InterlockedCompareExchange(LONG volatile* destination, LONG exchange, LONG comparand) {
    __atomic_compare_exchange_n(destination, &comparand, exchange, false, __ATOMIC_SEQ_CST,
                                __ATOMIC_SEQ_CST);
    return comparand; // on failure the builtin wrote the value found
}
inline void* InterlockedExchangePointer(void* volatile* target, void* value) {
    return __atomic_exchange_n(target, value, __ATOMIC_SEQ_CST);
}
inline void* InterlockedCompareExchangePointer(void* volatile* destination, void* exchange,
                                               void* comparand) {
    __atomic_compare_exchange_n(destination, &comparand, exchange, false, __ATOMIC_SEQ_CST,
                                __ATOMIC_SEQ_CST);
    return comparand;
}
