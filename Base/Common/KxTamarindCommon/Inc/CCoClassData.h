// CCoClassData: the static description of one co-class, written by the
// component's authors and read by the library. Every field is 32 bits on the
// 32-bit target; the order is a binary contract.
#pragma once

#include <platcompat.h>

namespace KxTamarind {

struct CCoClassData {
    const BSTR* m_pbstrName;        // 1 first identification text
    const CLSID* m_pClsid;          // 2 class identifier
    const BSTR* m_pbstrDescription; // 3 third identification text (the component's name in reports)
    long m_lCharacteristicsCount;   // 4
    const GUID* m_pCharacteristics; // 5
    const BSTR* m_pbstrImageName;   // 6
    long m_lImplementedCatIdCount;  // 7
    const GUID* m_pImplementedCatIds; // 8 the first one is the main category
    const void* m_pReserved9;         // 9 used outside this library
    const void* m_pReserved10;        // 10 used outside this library
    long m_lParentCatIdCount;         // 11
    const GUID* m_pParentCatIds;      // 12
};

} // namespace KxTamarind
