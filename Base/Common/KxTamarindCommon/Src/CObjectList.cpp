// The store behind an object registry; see CObjectList.h.
#include "CObjectList.h"

#include <cwchar>
#include <mutex>

#include "KxObjectListIndex.h"

namespace KxTamarind {

namespace {
void ResetOut(CObjectIdentificationData* out) {
    if (out != nullptr) {
        out->Clear();
    }
}
} // namespace

CObjectList::CObjectList()
    : m_lCount(0), m_ulRemovals(0), m_pIndex(new CObjectListIndex(m_Records)) {}

CObjectList::~CObjectList() = default;

long CObjectList::GetCount() const {
    return m_lCount.load(std::memory_order_relaxed);
}

unsigned long CObjectList::GetRemovalCount() const {
    return m_ulRemovals.load(std::memory_order_relaxed);
}

bool CObjectList::GetListStart(iterator& it) {
    it = m_Records.begin();
    return it != m_Records.end();
}

bool CObjectList::IsValid(const iterator& it) const {
    return it != m_Records.end();
}

bool CObjectList::Skip(long n, iterator from, iterator& to) {
    std::lock_guard<CCritSection> guard(*this);
    to = m_pIndex->Step(from, n);
    return to != m_Records.end();
}

bool CObjectList::GetPointedData(long n, CObjectIdentificationData* out) {
    std::lock_guard<CCritSection> guard(*this);
    ResetOut(out);
    iterator it = m_pIndex->Step(m_Records.begin(), n);
    if (out == nullptr || it == m_Records.end()) {
        return false;
    }
    *out = *it;
    return true;
}

bool CObjectList::GetPointedData(iterator it, CObjectIdentificationData* out) {
    std::lock_guard<CCritSection> guard(*this);
    ResetOut(out);
    if (out == nullptr || it == m_Records.end()) {
        return false;
    }
    *out = *it;
    return true;
}

void CObjectList::Add(const ObjectIdentificationData& data) {
    // The copy and its nodes are made before the lock is taken, so the lock
    // is held only for linking them in.
    records node;
    node.emplace_back(data);
    CObjectListIndex::NodePtr indexNode = CObjectListIndex::NewNode();
    {
        std::lock_guard<CCritSection> guard(*this);
        m_pIndex->Reserve();
        CObjectListIndex::Node* before = nullptr;
        iterator position = m_Records.end();
        if (data.SortIndex != -2) {
            before = m_pIndex->InsertionNode(data.SortIndex);
            position = m_pIndex->IteratorOf(before);
        }
        const iterator added = node.begin();
        m_Records.splice(position, node);
        m_pIndex->Insert(std::move(indexNode), added, before);
        m_lCount.fetch_add(1, std::memory_order_relaxed);
    }
    m_Enumerations.SetInvalid();
}

CObjectList::iterator CObjectList::FindIndexForInsert(long sortIndex) {
    return m_pIndex->IteratorOf(m_pIndex->InsertionNode(sortIndex));
}

void CObjectList::EraseLocked(iterator it) {
    m_pIndex->Erase(it);
    m_Records.erase(it);
    m_lCount.fetch_sub(1, std::memory_order_relaxed);
    m_ulRemovals.fetch_add(1, std::memory_order_relaxed);
    m_Enumerations.SetInvalid();
}

// ---- by key ----

CObjectList::iterator CObjectList::FindIndex(const GUID& objectGuid, long instance) {
    return m_pIndex->FindKey(objectGuid, instance);
}

bool CObjectList::CheckExistance(const GUID& objectGuid, long instance) {
    std::lock_guard<CCritSection> guard(*this);
    return FindIndex(objectGuid, instance) != m_Records.end();
}

bool CObjectList::GetData(const GUID& objectGuid, long instance, CObjectIdentificationData* out) {
    std::lock_guard<CCritSection> guard(*this);
    ResetOut(out);
    iterator it = FindIndex(objectGuid, instance);
    if (it == m_Records.end()) {
        return false;
    }
    if (out != nullptr) {
        *out = *it;
    }
    return true;
}

IUnknown* CObjectList::GetIUnknown(const GUID& objectGuid, long instance) {
    std::lock_guard<CCritSection> guard(*this);
    iterator it = FindIndex(objectGuid, instance);
    if (it == m_Records.end() || it->pIUnknown == nullptr) {
        return nullptr;
    }
    it->pIUnknown->AddRef();
    return it->pIUnknown;
}

bool CObjectList::Remove(const GUID& objectGuid, long instance) {
    std::lock_guard<CCritSection> guard(*this);
    iterator it = FindIndex(objectGuid, instance);
    if (it == m_Records.end()) {
        return false;
    }
    EraseLocked(it);
    return true;
}

// ---- by name ----

CObjectList::iterator CObjectList::FindIndex(const wchar_t* name) {
    if (name == nullptr) {
        return m_Records.end();
    }
    for (iterator it = m_Records.begin(); it != m_Records.end(); ++it) {
        if (it->Name != nullptr && std::wcscmp(it->Name, name) == 0) {
            return it;
        }
    }
    return m_Records.end();
}

bool CObjectList::GetData(const wchar_t* name, CObjectIdentificationData* out) {
    std::lock_guard<CCritSection> guard(*this);
    ResetOut(out);
    iterator it = FindIndex(name);
    if (it == m_Records.end()) {
        return false;
    }
    if (out != nullptr) {
        *out = *it;
    }
    return true;
}

IUnknown* CObjectList::GetIUnknown(const wchar_t* name) {
    std::lock_guard<CCritSection> guard(*this);
    iterator it = FindIndex(name);
    if (it == m_Records.end() || it->pIUnknown == nullptr) {
        return nullptr;
    }
    it->pIUnknown->AddRef();
    return it->pIUnknown;
}

bool CObjectList::Remove(const wchar_t* name) {
    std::lock_guard<CCritSection> guard(*this);
    iterator it = FindIndex(name);
    if (it == m_Records.end()) {
        return false;
    }
    EraseLocked(it);
    return true;
}

bool CObjectList::GetGuid(const wchar_t* name, GUID* objectGuid, long* instance) {
    std::lock_guard<CCritSection> guard(*this);
    iterator it = FindIndex(name);
    if (it == m_Records.end()) {
        return false;
    }
    if (objectGuid != nullptr) {
        *objectGuid = it->ObjectGuid;
    }
    if (instance != nullptr) {
        *instance = it->InstanceNumber;
    }
    return true;
}

// ---- by sort index ----

CObjectList::iterator CObjectList::FindIndex(long sortIndex) {
    for (iterator it = m_Records.begin(); it != m_Records.end(); ++it) {
        if (it->SortIndex == sortIndex) {
            return it;
        }
    }
    return m_Records.end();
}

bool CObjectList::GetData(long sortIndex, CObjectIdentificationData* out) {
    std::lock_guard<CCritSection> guard(*this);
    ResetOut(out);
    iterator it = FindIndex(sortIndex);
    if (it == m_Records.end()) {
        return false;
    }
    if (out != nullptr) {
        *out = *it;
    }
    return true;
}

IUnknown* CObjectList::GetIUnknown(long sortIndex) {
    std::lock_guard<CCritSection> guard(*this);
    iterator it = FindIndex(sortIndex);
    if (it == m_Records.end() || it->pIUnknown == nullptr) {
        return nullptr;
    }
    it->pIUnknown->AddRef();
    return it->pIUnknown;
}

bool CObjectList::Remove(long sortIndex) {
    std::lock_guard<CCritSection> guard(*this);
    iterator it = FindIndex(sortIndex);
    if (it == m_Records.end()) {
        return false;
    }
    EraseLocked(it);
    return true;
}

// ---- by interface pointer ----

CObjectList::iterator CObjectList::FindIndex(IUnknown* unknown) {
    for (iterator it = m_Records.begin(); it != m_Records.end(); ++it) {
        if (it->pIUnknown == unknown) {
            return it;
        }
    }
    return m_Records.end();
}

bool CObjectList::Remove(IUnknown* unknown) {
    std::lock_guard<CCritSection> guard(*this);
    iterator it = FindIndex(unknown);
    if (it == m_Records.end()) {
        return false;
    }
    EraseLocked(it);
    return true;
}

// ---- enumerations ----

void CObjectList::AddEnumeration(CObjectState* state) {
    m_Enumerations.AddEnumeration(state);
}

void CObjectList::DeleteEnumeration(CObjectState* state) {
    m_Enumerations.RemoveEnumeration(state);
}

// ---- bulk copies ----

bool CObjectList::IsSelected(const CObjectIdentificationData& record, const GUID* filter) {
    return filter == nullptr || IsEqualGUID(*filter, GUID_NULL) ||
           IsEqualGUID(record.CatId, *filter);
}

long CObjectList::CountSelected(const GUID* filter) const {
    long count = 0;
    for (const CObjectIdentificationData& record : m_Records) {
        if (IsSelected(record, filter)) {
            ++count;
        }
    }
    return count;
}

template <class Element, class Copy>
HRESULT CObjectList::CopyFiltered(const GUID* filter, long* count, Element** array, Copy copy) {
    std::lock_guard<CCritSection> guard(*this);
    if (count != nullptr) {
        *count = 0;
    }
    if (array != nullptr) {
        *array = nullptr;
    }
    long selected = CountSelected(filter);
    if (selected == 0) {
        return S_OK;
    }
    if (count != nullptr) {
        *count = selected;
    }
    if (array == nullptr) {
        // Count-only path: the lock stays held once more (see the header).
        lock();
        return S_OK;
    }
    auto* out =
        static_cast<Element*>(CoTaskMemAlloc(sizeof(Element) * static_cast<std::size_t>(selected)));
    if (out == nullptr) {
        if (count != nullptr) {
            *count = 0;
        }
        return E_OUTOFMEMORY;
    }
    long i = 0;
    for (const CObjectIdentificationData& record : m_Records) {
        if (IsSelected(record, filter)) {
            copy(record, out[i++]);
        }
    }
    *array = out;
    return S_OK;
}

HRESULT CObjectList::GetFilteredObjects_CoTaskMemAlloc(const GUID* filter, long* count,
                                                       ObjectIdentificationData** array) {
    return CopyFiltered(filter, count, array,
                        [](const CObjectIdentificationData& record,
                           ObjectIdentificationData& slot) { record.Copy(slot); });
}

HRESULT CObjectList::GetFilteredObjectsIUnknown_CoTaskMemAlloc(const GUID* filter, long* count,
                                                               IUnknown*** array) {
    return CopyFiltered(filter, count, array,
                        [](const CObjectIdentificationData& record, IUnknown*& slot) {
                            if (record.pIUnknown != nullptr) {
                                record.pIUnknown->AddRef();
                            }
                            slot = record.pIUnknown;
                        });
}

} // namespace KxTamarind
