// FakeLinkage: an IKXLinkage test double. It counts AddRef/Release (it never
// deletes itself: tests own it and its destructor checks the references are
// back at 0), records the calls it receives, and answers them from what the
// test set up:
//  - RegisterObject / UnregisterObject return registerResult /
//    unregisterResult and record the GUID and handle passed;
//  - SearchPartner hands out (AddRef'd) the partner set with AddPartner for
//    the GUID: S_OK, else null and S_FALSE;
//  - SearchFarPartner records its arguments and hands out farPartner
//    (AddRef'd) and a copy of farName when given slots for them, answering
//    farResult;
//  - GetLocationObject hands out (AddRef'd) the object set with
//    AddLocationObject for (location, reserved): S_OK, else null and
//    S_FALSE.
// Everything else answers E_NOTIMPL.
#pragma once

#include <gtest/gtest.h>

#include <platcompat.h>

#include <atomic>
#include <utility>
#include <vector>

#include "IKXLinkage.h"

namespace KxTest {

class FakeLinkage : public KxTamarind::IKXLinkage {
public:
    FakeLinkage() = default;
    FakeLinkage(const FakeLinkage&) = delete;
    FakeLinkage& operator=(const FakeLinkage&) = delete;
    virtual ~FakeLinkage() {
        EXPECT_EQ(References(), 0) << "FakeLinkage destroyed with unbalanced references";
    }

    HRESULT registerResult = S_OK;
    HRESULT unregisterResult = S_OK;
    HRESULT farResult = S_OK;
    IUnknown* farPartner = nullptr; // handed out by SearchFarPartner
    const wchar_t* farName = nullptr;

    // Recorded calls.
    int registerCalls = 0;
    int unregisterCalls = 0;
    int searchCalls = 0;
    int farCalls = 0;
    int locationCalls = 0;
    GUID lastGuid = GUID_NULL;
    long lastHandle = 0;
    long lastLevel = 0;
    bool lastGuid2WasNull = true;
    bool lastNameSlotWasNull = true;
    long lastLocation = 0;
    long lastReserved = 0;

    void AddPartner(const GUID& guid, IUnknown* partner) { m_Partners.emplace_back(guid, partner); }
    void AddLocationObject(long location, IUnknown* object) {
        m_Locations.emplace_back(location, object);
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (ppv == nullptr) {
            return E_POINTER;
        }
        if (IsEqualIID(riid, IID_IUnknown)) {
            AddRef();
            *ppv = static_cast<IUnknown*>(this);
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override {
        return static_cast<ULONG>(m_lRefs.fetch_add(1, std::memory_order_relaxed) + 1);
    }
    ULONG STDMETHODCALLTYPE Release() override {
        return static_cast<ULONG>(m_lRefs.fetch_sub(1, std::memory_order_relaxed) - 1);
    }
    long References() const { return m_lRefs.load(std::memory_order_relaxed); }

    STDMETHOD(Reserved1)() override { return E_NOTIMPL; }
    STDMETHOD(RegisterObject)(GUID* pObjectGuid, long navigationHandle) override {
        ++registerCalls;
        lastGuid = *pObjectGuid;
        lastHandle = navigationHandle;
        return registerResult;
    }
    STDMETHOD(UnregisterObject)(GUID* pObjectGuid) override {
        ++unregisterCalls;
        lastGuid = *pObjectGuid;
        return unregisterResult;
    }
    STDMETHOD(SearchPartner)(GUID* pGuid, IUnknown** ppPartner) override {
        ++searchCalls;
        lastGuid = *pGuid;
        *ppPartner = nullptr;
        for (const auto& partner : m_Partners) {
            if (IsEqualGUID(partner.first, *pGuid)) {
                partner.second->AddRef();
                *ppPartner = partner.second;
                return S_OK;
            }
        }
        return S_FALSE;
    }
    STDMETHOD(Reserved5)() override { return E_NOTIMPL; }
    STDMETHOD(Reserved6)() override { return E_NOTIMPL; }
    STDMETHOD(SearchFarPartner)
    (GUID* pGuid, long level, GUID* pGuid2, IUnknown** ppPartner, wchar_t** pName) override {
        ++farCalls;
        lastGuid = pGuid != nullptr ? *pGuid : GUID_NULL;
        lastLevel = level;
        lastGuid2WasNull = pGuid2 == nullptr;
        lastNameSlotWasNull = pName == nullptr;
        if (ppPartner != nullptr) {
            *ppPartner = farPartner;
            if (farPartner != nullptr) {
                farPartner->AddRef();
            }
        }
        if (pName != nullptr) {
            *pName = farName != nullptr ? SysAllocString(farName) : nullptr;
        }
        return farResult;
    }
    STDMETHOD(Reserved8)() override { return E_NOTIMPL; }
    STDMETHOD(Reserved9)() override { return E_NOTIMPL; }
    STDMETHOD(Reserved10)() override { return E_NOTIMPL; }
    STDMETHOD(GetLocationObject)
    (long logicalLocation, long reserved, IUnknown** ppObject) override {
        ++locationCalls;
        lastLocation = logicalLocation;
        lastReserved = reserved;
        *ppObject = nullptr;
        for (const auto& entry : m_Locations) {
            if (entry.first == logicalLocation && reserved == 0) {
                entry.second->AddRef();
                *ppObject = entry.second;
                return S_OK;
            }
        }
        return S_FALSE;
    }
    STDMETHOD(Reserved12)() override { return E_NOTIMPL; }
    STDMETHOD(Reserved13)() override { return E_NOTIMPL; }
    STDMETHOD(SetPartialLoad)(long, short) override { return E_NOTIMPL; }
    STDMETHOD(GetPartialLoad)(long, short*) override { return E_NOTIMPL; }

private:
    std::vector<std::pair<GUID, IUnknown*>> m_Partners;
    std::vector<std::pair<long, IUnknown*>> m_Locations;
    std::atomic<long> m_lRefs{0};
};

} // namespace KxTest
