// The validity flags of live enumerators; see CEnumList.h.
#include "CEnumList.h"

#include <cassert>

namespace KxTamarind {

CEnumList::CEnumList() = default;

CEnumList::~CEnumList() = default;

void CEnumList::AddEnumeration(CObjectState* state) {
    if (state == nullptr) {
        return;
    }
    CCritSectionLocker locker(*this);
    m_States.insert(state);
}

void CEnumList::RemoveEnumeration(CObjectState* state) {
    CCritSectionLocker locker(*this);
    std::size_t erased = m_States.erase(state);
    assert(erased == 1 && "RemoveEnumeration of a flag that is not in the set");
    (void)erased;
}

void CEnumList::SetInvalid() {
    CCritSectionLocker locker(*this);
    for (CObjectState* state : m_States) {
        state->SetStateInvalid();
    }
}

std::size_t CEnumList::GetCount() const {
    CCritSectionLocker locker(*this);
    return m_States.size();
}

} // namespace KxTamarind
