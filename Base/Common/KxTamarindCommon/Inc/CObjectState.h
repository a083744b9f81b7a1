// CObjectState: the validity flag of one live enumerator.
//
// A registry list keeps the addresses of the flags of its enumerators and
// clears them all when a record is added or removed; an enumerator whose
// flag is cleared refuses to move until it is reset. The flag is written by
// whichever thread changes the list and read by the enumerator's thread, so
// it is a relaxed atomic: only the flag's own value is communicated, the
// records themselves are protected by the list's lock.
#pragma once

#include "KxExport.h"

#include <atomic>

namespace KxTamarind {

class KXTAMARIND_API CObjectState {
public:
    CObjectState() : m_bValid(true) {}
    virtual ~CObjectState() = default;

    CObjectState(const CObjectState&) = delete;
    CObjectState& operator=(const CObjectState&) = delete;

    void SetStateInvalid() { m_bValid.store(false, std::memory_order_relaxed); }
    void SetStateValid() { m_bValid.store(true, std::memory_order_relaxed); }
    bool IsValid() const { return m_bValid.load(std::memory_order_relaxed); }

private:
    std::atomic<bool> m_bValid;
};

} // namespace KxTamarind
