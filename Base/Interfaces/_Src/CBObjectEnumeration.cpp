// The base implementation of the object enumerator; see CBObjectEnumeration.h.
#include "CBObjectEnumeration.h"

#include "KxDestructorGuard.h"

namespace KxTamarind {

namespace {
const char* const kSource = "Base/Interfaces/_Src/CBObjectEnumeration";
} // namespace

CBObjectEnumeration::CBObjectEnumeration()
    : m_itCurrent(), m_pOwner(nullptr), m_Filter(GUID_ALL_ONES), m_pObjectList(nullptr),
      m_ulRemovalsSeen(0) {}

void CBObjectEnumeration::CheckRemovalsLocked() {
    if (m_pObjectList->GetRemovalCount() != m_ulRemovalsSeen) {
        SetStateInvalid();
    }
}

CBObjectEnumeration::~CBObjectEnumeration() {
    KxGuardDestructor(kSource, 33, this, [this] {
        if (m_pObjectList != nullptr) {
            m_pObjectList->DeleteEnumeration(this);
        }
    });
}

void CBObjectEnumeration::SetMember(GUID* catId, IUnknown* owner, CObjectList* list) {
    m_Filter = catId != nullptr ? *catId : GUID_ALL_ONES;
    m_pOwner = owner;
    m_pObjectList = list;
    FindFirstObjectWithCatId();
}

bool CBObjectEnumeration::CurrentObjectIsValid() const {
    return m_pObjectList != nullptr && m_pObjectList->IsValid(m_itCurrent);
}

void CBObjectEnumeration::FindFirstObjectWithCatId() {
    if (m_pObjectList == nullptr) {
        return;
    }
    CCritSectionLocker locker(*m_pObjectList);
    m_ulRemovalsSeen = m_pObjectList->GetRemovalCount();
    bool notEmpty = m_pObjectList->GetListStart(m_itCurrent);
    if (notEmpty && !IsEqualGUID(m_Filter, GUID_ALL_ONES) &&
        !IsEqualGUID(m_itCurrent->CatId, m_Filter)) {
        FindNextObjectWithCatId();
    }
}

void CBObjectEnumeration::FindNextObjectWithCatId() {
    if (m_pObjectList == nullptr) {
        return;
    }
    CCritSectionLocker locker(*m_pObjectList);
    m_pObjectList->Skip(1, m_itCurrent, m_itCurrent);
    if (IsEqualGUID(m_Filter, GUID_ALL_ONES)) {
        return;
    }
    while (m_pObjectList->IsValid(m_itCurrent) && !IsEqualGUID(m_itCurrent->CatId, m_Filter)) {
        m_pObjectList->Skip(1, m_itCurrent, m_itCurrent);
    }
}

STDMETHODIMP CBObjectEnumeration::Next(long celt, long* pFetched,
                                       ObjectIdentificationData* pArray) {
    long fetchedHere = 0;
    long& fetched = pFetched != nullptr ? *pFetched : fetchedHere;
    fetched = 0;
    if (pArray == nullptr && celt > 0) {
        return E_POINTER;
    }
    if (m_pObjectList == nullptr) {
        return S_FALSE;
    }
    // Held across the flag check and the walk: a removal invalidates under
    // this lock, so a valid flag seen here means the position still exists.
    CCritSectionLocker locker(*m_pObjectList);
    CheckRemovalsLocked();
    if (!IsValid() || !CurrentObjectIsValid()) {
        return S_FALSE;
    }
    while (CurrentObjectIsValid() && fetched < celt) {
        CObjectIdentificationData record;
        m_pObjectList->GetPointedData(m_itCurrent, &record);
        record.Detach(pArray[fetched]);
        ++fetched;
        FindNextObjectWithCatId();
    }
    return fetched < celt ? S_FALSE : S_OK;
}

STDMETHODIMP CBObjectEnumeration::Skip(long n) {
    if (m_pObjectList == nullptr) {
        return S_FALSE;
    }
    CCritSectionLocker locker(*m_pObjectList);
    CheckRemovalsLocked();
    if (!IsValid() || !CurrentObjectIsValid()) {
        return S_FALSE;
    }
    long steps = 0;
    while (steps < n && CurrentObjectIsValid()) {
        FindNextObjectWithCatId();
        ++steps;
    }
    return steps < n ? S_FALSE : S_OK;
}

STDMETHODIMP CBObjectEnumeration::Reset() {
    if (m_pObjectList == nullptr) {
        SetStateValid();
        return S_FALSE;
    }
    // Repositioning and revalidation under one lock: a removal in between
    // would otherwise leave a valid flag on a freed position.
    CCritSectionLocker locker(*m_pObjectList);
    FindFirstObjectWithCatId();
    SetStateValid();
    return CurrentObjectIsValid() ? S_OK : S_FALSE;
}

STDMETHODIMP CBObjectEnumeration::Clone(IKXObjectEnumeration** ppEnum) {
    if (ppEnum == nullptr) {
        return E_POINTER;
    }
    if (!IsValid()) {
        return S_FALSE;
    }
    *ppEnum = CreateEnumeration(&m_Filter);
    return S_OK;
}

} // namespace KxTamarind
