// The base implementation of the interface enumerator; see
// CBInterfaceEnumeration.h.
#include "CBInterfaceEnumeration.h"

#include "KxDestructorGuard.h"
#include "KxRingPosition.h"

namespace KxTamarind {

namespace {
const char* const kSource = "Base/Interfaces/_Src/CBInterfaceEnumeration";
const long kExhausted = -2;
} // namespace

CBInterfaceEnumeration::CBInterfaceEnumeration()
    : m_pInterfaceList(nullptr), m_lIndex(kExhausted), m_pOwner(nullptr) {}

CBInterfaceEnumeration::~CBInterfaceEnumeration() {
    KxGuardDestructor(kSource, __LINE__, this, [this] {
        if (m_pInterfaceList != nullptr) {
            m_pInterfaceList->DeleteEnumeration(this);
        }
    });
}

void CBInterfaceEnumeration::SetMember(IUnknown* owner, CInterfaceList* list) {
    m_pOwner = owner;
    m_pInterfaceList = list;
    HRESULT hr = Reset();
    if (hr != S_OK) {
        // Not attached after a failed set-up: the flag was never added, so
        // the destructor must not try to remove it.
        m_pInterfaceList = nullptr;
        m_pOwner = nullptr;
        ThrowError("HResult was invalid", kSource, KX_SOURCE_TIMESTAMP, 42, this, nullptr, nullptr,
                   "", hr);
    }
}

STDMETHODIMP CBInterfaceEnumeration::Reset() {
    SetStateValid();
    m_lIndex = 0;
    if (m_pInterfaceList == nullptr || m_pInterfaceList->GetCount() == 0) {
        m_lIndex = kExhausted;
        return S_FALSE;
    }
    return S_OK;
}

STDMETHODIMP CBInterfaceEnumeration::Skip(long n) {
    if (!IsValid() || m_lIndex == kExhausted || m_pInterfaceList == nullptr) {
        return S_FALSE;
    }
    if (m_pInterfaceList->Skip(n, &m_lIndex)) {
        // A sum below LONG_MIN keeps its ring position (see KxRingPosition.h).
        m_lIndex = KxRing::AddIndex(m_lIndex, n, m_pInterfaceList->GetCount());
        return S_OK;
    }
    m_lIndex = kExhausted;
    return S_FALSE;
}

bool CBInterfaceEnumeration::NextInterfaceIdx() {
    m_lIndex += 1;
    if (m_pInterfaceList == nullptr || !(m_lIndex + 1 < m_pInterfaceList->GetCount())) {
        m_lIndex = kExhausted;
    }
    return m_lIndex != kExhausted;
}

STDMETHODIMP CBInterfaceEnumeration::Next(long celt, long* pFetched,
                                          InterfaceIdentificationData* pArray) {
    long fetchedHere = 0;
    long& fetched = pFetched != nullptr ? *pFetched : fetchedHere;
    fetched = 0;
    if (pArray == nullptr && celt > 0) {
        return E_POINTER;
    }
    if (!IsValid() || m_lIndex == kExhausted || m_pInterfaceList == nullptr) {
        return S_FALSE;
    }
    CInterfaceIdentificationData record;
    while (fetched < celt) {
        // An index past the end yields the empty record.
        m_pInterfaceList->GetPointedData(m_lIndex, &record);
        InterfaceIdentificationData& slot = pArray[fetched];
        slot.Iid = record.Iid;
        if (record.pIUnknown != nullptr) {
            record.pIUnknown->AddRef();
        }
        slot.pIUnknown = record.pIUnknown;
        slot.Name = record.Name == nullptr
                        ? nullptr
                        : SysAllocStringLen(record.Name, SysStringLen(record.Name));
        ++fetched;
        if (!NextInterfaceIdx()) {
            break;
        }
    }
    return fetched < celt ? S_FALSE : S_OK;
}

STDMETHODIMP CBInterfaceEnumeration::Clone(IKXInterfaceEnumeration** ppEnum) {
    if (ppEnum == nullptr) {
        return E_POINTER;
    }
    if (!IsValid()) {
        return S_FALSE;
    }
    *ppEnum = CreateEnumeration();
    return S_OK;
}

} // namespace KxTamarind
