// The store behind an interface registry; see CInterfaceList.h.
#include "CInterfaceList.h"

#include "KxRingPosition.h"

namespace KxTamarind {

CInterfaceList::CInterfaceList() : m_lCount(0) {}

CInterfaceList::~CInterfaceList() = default;

HRESULT CInterfaceList::Add(IUnknown* unknown, const wchar_t* name, const GUID* iid) {
    if (iid == nullptr) {
        return E_POINTER;
    }
    // The record and its node are made before the lock is taken.
    records node;
    node.emplace_back(unknown, *iid, name);
    {
        CCritSectionLocker locker(*this);
        m_Records.splice(m_Records.end(), node);
        m_lCount.fetch_add(1, std::memory_order_relaxed);
    }
    m_Enumerations.SetInvalid();
    return S_OK;
}

long CInterfaceList::GetCount() const {
    return m_lCount.load(std::memory_order_relaxed);
}

CInterfaceList::iterator CInterfaceList::FindIndex(const GUID* iid) {
    if (iid == nullptr) {
        return m_Records.end();
    }
    for (iterator it = m_Records.begin(); it != m_Records.end(); ++it) {
        if (IsEqualGUID(it->Iid, *iid)) {
            return it;
        }
    }
    return m_Records.end();
}

bool CInterfaceList::CheckExistance(const GUID* iid) {
    CCritSectionLocker locker(*this);
    return FindIndex(iid) != m_Records.end();
}

bool CInterfaceList::GetData(const GUID* iid, CInterfaceIdentificationData* out) {
    CCritSectionLocker locker(*this);
    iterator it = FindIndex(iid);
    if (out == nullptr) {
        return it != m_Records.end();
    }
    if (it == m_Records.end()) {
        out->SetEmpty();
        return false;
    }
    *out = *it;
    return true;
}

IUnknown* CInterfaceList::GetIUnknown(const GUID* iid) {
    CCritSectionLocker locker(*this);
    iterator it = FindIndex(iid);
    if (it == m_Records.end() || it->pIUnknown == nullptr) {
        return nullptr;
    }
    it->pIUnknown->AddRef();
    return it->pIUnknown;
}

bool CInterfaceList::Remove(const GUID* iid) {
    CCritSectionLocker locker(*this);
    iterator it = FindIndex(iid);
    if (it == m_Records.end()) {
        return false;
    }
    m_Records.erase(it);
    m_lCount.fetch_sub(1, std::memory_order_relaxed);
    m_Enumerations.SetInvalid();
    return true;
}

bool CInterfaceList::GetPointedData(long n, CInterfaceIdentificationData* out) {
    CCritSectionLocker locker(*this);
    iterator it = KxRing::Step(m_Records, m_Records.begin(), n);
    if (out == nullptr) {
        return it != m_Records.end();
    }
    if (it == m_Records.end()) {
        out->SetEmpty();
        return false;
    }
    *out = *it;
    return true;
}

bool CInterfaceList::Skip(long n, long* index) const {
    if (index == nullptr) {
        return false;
    }
    return KxRing::SumBelow(*index, n, GetCount());
}

void CInterfaceList::AddEnumeration(CObjectState* state) {
    m_Enumerations.AddEnumeration(state);
}

void CInterfaceList::DeleteEnumeration(CObjectState* state) {
    m_Enumerations.RemoveEnumeration(state);
}

} // namespace KxTamarind
