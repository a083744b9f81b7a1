// CEnumList: the set of validity flags of the live enumerators of one
// registry list.
//
// Holds flag addresses (ordered by pointer value, no duplicates) and owns
// none of them: an enumerator adds its flag when it is made and removes it
// when it is destroyed. Every operation takes the set's own lock, so any
// thread may call it. Lock order: a list that holds its own lock may take
// this one, never the other way round; it is a leaf of the process's lock
// order (see CCritSection.h): nothing is locked or reported under it.
#pragma once

#include "KxExport.h"

#include <set>

#include "CCritSection.h"
#include "CObjectState.h"

namespace KxTamarind {

class KXTAMARIND_API CEnumList : public CCritSection {
public:
    CEnumList();
    // Forgets the set; the flags are not touched.
    ~CEnumList() override;

    // Inserts the flag; a second insert of the same flag is ignored, and so
    // is a null flag.
    void AddEnumeration(CObjectState* state);
    // Erases the flag. Removing a flag that is not in the set is a
    // programming error: debug builds stop on an assertion, release builds
    // ignore the call.
    void RemoveEnumeration(CObjectState* state);
    // Clears every flag in the set (SetStateInvalid).
    void SetInvalid();
    // Number of flags in the set.
    std::size_t GetCount() const;

private:
    std::set<CObjectState*> m_States;
};

} // namespace KxTamarind
