// The store behind an interface registry; see CInterfaceList.h.
#include "CInterfaceList.h"

#include <mutex>

#include "KxRecordIndex.h"
#include "KxRegistryKeys.h"
#include "KxRingPosition.h"

namespace KxTamarind {

class CInterfaceListIndex
    : public KxIndex::RecordIndex<CInterfaceList::records, KxIndex::InterfaceKeys> {
public:
    using RecordIndex::RecordIndex;
};

CInterfaceList::CInterfaceList() : m_lCount(0), m_pIndex(new CInterfaceListIndex(m_Records)) {}

CInterfaceList::~CInterfaceList() = default;

HRESULT CInterfaceList::Add(IUnknown* unknown, const wchar_t* name, const GUID* iid) {
    if (iid == nullptr) {
        return E_POINTER;
    }
    // The record and its node are made before the lock is taken.
    records node;
    node.emplace_back(unknown, *iid, name);
    CInterfaceListIndex::NodePtr indexNode = CInterfaceListIndex::NewNode();
    {
        std::lock_guard<CCritSection> guard(*this);
        m_pIndex->Reserve();
        const iterator added = node.begin();
        m_Records.splice(m_Records.end(), node);
        m_pIndex->Insert(std::move(indexNode), added, nullptr);
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
    return m_pIndex->Find(0, KxIndex::HashGuid(*iid),
                          [iid](const CInterfaceIdentificationData& record) {
                              return IsEqualGUID(record.Iid, *iid);
                          });
}

bool CInterfaceList::CheckExistance(const GUID* iid) {
    std::lock_guard<CCritSection> guard(*this);
    return FindIndex(iid) != m_Records.end();
}

bool CInterfaceList::GetData(const GUID* iid, CInterfaceIdentificationData* out) {
    std::lock_guard<CCritSection> guard(*this);
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
    std::lock_guard<CCritSection> guard(*this);
    iterator it = FindIndex(iid);
    if (it == m_Records.end() || it->pIUnknown == nullptr) {
        return nullptr;
    }
    it->pIUnknown->AddRef();
    return it->pIUnknown;
}

bool CInterfaceList::Remove(const GUID* iid) {
    std::lock_guard<CCritSection> guard(*this);
    iterator it = FindIndex(iid);
    if (it == m_Records.end()) {
        return false;
    }
    m_pIndex->Erase(it);
    m_Records.erase(it);
    m_lCount.fetch_sub(1, std::memory_order_relaxed);
    m_Enumerations.SetInvalid();
    return true;
}

bool CInterfaceList::GetPointedData(long n, CInterfaceIdentificationData* out) {
    std::lock_guard<CCritSection> guard(*this);
    iterator it = m_pIndex->Step(m_Records.begin(), n);
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
