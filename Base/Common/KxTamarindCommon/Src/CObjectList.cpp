// The store behind an object registry; see CObjectList.h.
#include "CObjectList.h"

#include <cwchar>

#include "KxRingPosition.h"

namespace KxTamarind {

namespace {
bool KeyMatches(const CObjectIdentificationData& record, const GUID& objectGuid, long instance) {
    return IsEqualGUID(record.ObjectGuid, objectGuid) &&
           (instance == -1 || record.InstanceNumber == instance);
}

void ResetOut(CObjectIdentificationData* out) {
    if (out != nullptr) {
        out->Clear();
    }
}
} // namespace

CObjectList::CObjectList() : m_lCount(0), m_ulRemovals(0) {}

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
    CCritSectionLocker locker(*this);
    to = KxRing::Step(m_Records, from, n);
    return to != m_Records.end();
}

bool CObjectList::GetPointedData(long n, CObjectIdentificationData* out) {
    CCritSectionLocker locker(*this);
    ResetOut(out);
    iterator it = KxRing::Step(m_Records, m_Records.begin(), n);
    if (out == nullptr || it == m_Records.end()) {
        return false;
    }
    *out = *it;
    return true;
}

bool CObjectList::GetPointedData(iterator it, CObjectIdentificationData* out) {
    CCritSectionLocker locker(*this);
    ResetOut(out);
    if (out == nullptr || it == m_Records.end()) {
        return false;
    }
    *out = *it;
    return true;
}

void CObjectList::Add(const ObjectIdentificationData& data) {
    // The copy and its node are made before the lock is taken, so the lock
    // is held only for linking the node in.
    records node;
    node.emplace_back(data);
    {
        CCritSectionLocker locker(*this);
        iterator position = m_Records.end();
        if (data.SortIndex != -2) {
            position = FindIndexForInsert(data.SortIndex);
        }
        m_Records.splice(position, node);
        m_lCount.fetch_add(1, std::memory_order_relaxed);
    }
    m_Enumerations.SetInvalid();
}

CObjectList::iterator CObjectList::FindIndexForInsert(long sortIndex) {
    iterator it = m_Records.begin();
    if (it == m_Records.end() || sortIndex < it->SortIndex) {
        return it;
    }
    for (iterator next = std::next(it); next != m_Records.end() && next->SortIndex <= sortIndex;
         ++next) {
        it = next;
    }
    return it;
}

void CObjectList::EraseLocked(iterator it) {
    m_Records.erase(it);
    m_lCount.fetch_sub(1, std::memory_order_relaxed);
    m_ulRemovals.fetch_add(1, std::memory_order_relaxed);
    m_Enumerations.SetInvalid();
}

// ---- by key ----

CObjectList::iterator CObjectList::FindIndex(const GUID& objectGuid, long instance) {
    for (iterator it = m_Records.begin(); it != m_Records.end(); ++it) {
        if (KeyMatches(*it, objectGuid, instance)) {
            return it;
        }
    }
    return m_Records.end();
}

bool CObjectList::CheckExistance(const GUID& objectGuid, long instance) {
    CCritSectionLocker locker(*this);
    return FindIndex(objectGuid, instance) != m_Records.end();
}

bool CObjectList::GetData(const GUID& objectGuid, long instance, CObjectIdentificationData* out) {
    CCritSectionLocker locker(*this);
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
    CCritSectionLocker locker(*this);
    iterator it = FindIndex(objectGuid, instance);
    if (it == m_Records.end() || it->pIUnknown == nullptr) {
        return nullptr;
    }
    it->pIUnknown->AddRef();
    return it->pIUnknown;
}

bool CObjectList::Remove(const GUID& objectGuid, long instance) {
    CCritSectionLocker locker(*this);
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
    CCritSectionLocker locker(*this);
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
    CCritSectionLocker locker(*this);
    iterator it = FindIndex(name);
    if (it == m_Records.end() || it->pIUnknown == nullptr) {
        return nullptr;
    }
    it->pIUnknown->AddRef();
    return it->pIUnknown;
}

bool CObjectList::Remove(const wchar_t* name) {
    CCritSectionLocker locker(*this);
    iterator it = FindIndex(name);
    if (it == m_Records.end()) {
        return false;
    }
    EraseLocked(it);
    return true;
}

bool CObjectList::GetGuid(const wchar_t* name, GUID* objectGuid, long* instance) {
    CCritSectionLocker locker(*this);
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
    CCritSectionLocker locker(*this);
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
    CCritSectionLocker locker(*this);
    iterator it = FindIndex(sortIndex);
    if (it == m_Records.end() || it->pIUnknown == nullptr) {
        return nullptr;
    }
    it->pIUnknown->AddRef();
    return it->pIUnknown;
}

bool CObjectList::Remove(long sortIndex) {
    CCritSectionLocker locker(*this);
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
    CCritSectionLocker locker(*this);
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
    CCritSectionLocker locker(*this);
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
