// Concrete registry components shared by the registry tests.
//
// TestRegistry: an object registry (CBObjectRegistration over a CObjectList
// it owns) with a counting IUnknown, hooks that record their calls and
// return what the test sets, and a CreateObjectEnumeration that makes a
// TestObjectEnumeration and adds its flag to the list.
// TestInterfaceRegistry: a CInterfaceList with a CreateInterfaceEnumeration
// that makes a TestInterfaceEnumeration the same way.
// Enumerators are reference counted and delete themselves on their last
// Release; the registries live on the test's stack and never delete
// themselves (their references are counted for the balance checks).
// Key, kCatA/kCatB, Register and Drain are the small helpers every registry
// test uses to make and take back records.
#pragma once

#include <platcompat.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "CBInterfaceEnumeration.h"
#include "CBObjectEnumeration.h"
#include "CBObjectRegistration.h"
#include "CInterfaceList.h"
#include "CObjectList.h"
#include "CSmartObjectIdentificationData.h"
#include "KxInterfaces.h"

namespace KxTest {

// IUnknown for a heap object that deletes itself on its last Release.
template <class Interface, class Base>
class RefCounted : public Base {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (ppv == nullptr) {
            return E_POINTER;
        }
        if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, __uuidof(Interface))) {
            *ppv = static_cast<Interface*>(this);
            this->AddRef();
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override {
        return static_cast<ULONG>(m_lRefs.fetch_add(1, std::memory_order_relaxed) + 1);
    }
    ULONG STDMETHODCALLTYPE Release() override {
        long refs = m_lRefs.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (refs == 0) {
            delete this;
        }
        return static_cast<ULONG>(refs);
    }

private:
    std::atomic<long> m_lRefs{1};
};

class TestObjectEnumeration
    : public RefCounted<KxTamarind::IKXObjectEnumeration, KxTamarind::CBObjectEnumeration> {
public:
    static std::atomic<long>& Live() {
        static std::atomic<long> live{0};
        return live;
    }
    TestObjectEnumeration() { Live().fetch_add(1); }
    ~TestObjectEnumeration() override { Live().fetch_sub(1); }

    // A new enumerator over `list`, its flag added (one reference, the caller's).
    static TestObjectEnumeration* Make(GUID* catId, IUnknown* owner,
                                       KxTamarind::CObjectList* list) {
        auto* e = new TestObjectEnumeration();
        e->SetMember(catId, owner, list);
        list->AddEnumeration(e);
        return e;
    }
    using CBObjectEnumeration::m_itCurrent;

protected:
    KxTamarind::IKXObjectEnumeration* CreateEnumeration(GUID* catId) override {
        return Make(catId, m_pOwner, m_pObjectList);
    }
};

class TestRegistry : public KxTamarind::CBObjectRegistration {
public:
    TestRegistry() { SetObjectList(&list); }
    ~TestRegistry() override = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (ppv == nullptr) {
            return E_POINTER;
        }
        if (IsEqualIID(riid, IID_IUnknown) ||
            IsEqualIID(riid, __uuidof(KxTamarind::IKXObjectRegistration))) {
            *ppv = static_cast<KxTamarind::IKXObjectRegistration*>(this);
            AddRef();
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override {
        return static_cast<ULONG>(refs.fetch_add(1, std::memory_order_relaxed) + 1);
    }
    ULONG STDMETHODCALLTYPE Release() override {
        return static_cast<ULONG>(refs.fetch_sub(1, std::memory_order_relaxed) - 1);
    }

    KxTamarind::CObjectList list;
    std::atomic<long> refs{0};
    std::atomic<long> registered{0};
    std::atomic<long> unregistered{0};
    HRESULT registeredResult = S_OK;
    HRESULT unregisteredResult = S_OK;
    // Key of the last OnObjectUnregistered; written under `hookMutex` (the
    // hooks run on the registering threads), read once the threads are done.
    std::mutex hookMutex;
    GUID lastUnregisteredGuid = GUID_NULL;
    long lastUnregisteredInstance = 0;

protected:
    HRESULT OnObjectRegistered(KxTamarind::ObjectIdentificationData*) override {
        registered.fetch_add(1, std::memory_order_relaxed);
        return registeredResult;
    }
    HRESULT OnObjectUnregistered(GUID* guid, long instance) override {
        unregistered.fetch_add(1, std::memory_order_relaxed);
        std::lock_guard<std::mutex> lock(hookMutex);
        lastUnregisteredGuid = *guid;
        lastUnregisteredInstance = instance;
        return unregisteredResult;
    }
    KxTamarind::IKXObjectEnumeration* CreateObjectEnumeration(GUID* catId) override {
        return TestObjectEnumeration::Make(catId, static_cast<IKXObjectRegistration*>(this), &list);
    }
};

class TestInterfaceEnumeration
    : public RefCounted<KxTamarind::IKXInterfaceEnumeration, KxTamarind::CBInterfaceEnumeration> {
public:
    // A new enumerator over `list` (which must not be empty), flag added.
    static TestInterfaceEnumeration* Make(IUnknown* owner, KxTamarind::CInterfaceList* list) {
        auto* e = new TestInterfaceEnumeration();
        try {
            e->SetMember(owner, list);
        } catch (...) {
            delete e;
            throw;
        }
        list->AddEnumeration(e);
        return e;
    }

protected:
    KxTamarind::IKXInterfaceEnumeration* CreateEnumeration() override {
        return Make(m_pOwner, m_pInterfaceList);
    }
};

// Record keys and categories named by a number.
inline GUID Key(std::uint32_t n) {
    return GUID{n, 0x0E0E, 0x0F0F, {2, 2, 2, 2, 2, 2, 2, 2}};
}
inline const GUID kCatA = {0xCA7A0000, 0, 0, {0, 0, 0, 0, 0, 0, 0, 1}};
inline const GUID kCatB = {0xCA7B0000, 0, 0, {0, 0, 0, 0, 0, 0, 0, 2}};

// Registers Key(id); the registry copies the record and takes its own reference.
inline HRESULT Register(TestRegistry& registry, std::uint32_t id, IUnknown* unknown,
                        const GUID& catId = KxTamarind::GUID_ALL_ONES,
                        const wchar_t* name = L"object", long instance = 0, long sortIndex = -2) {
    CComBSTR bstr(name);
    KxTamarind::ObjectIdentificationData r;
    KxTamarind::CSmartObjectIdentificationData::InitData(r);
    r.pIUnknown = unknown;
    r.ObjectGuid = Key(id);
    r.CatId = catId;
    r.SortIndex = sortIndex;
    r.Name = bstr.m_str;
    r.InstanceNumber = instance;
    return registry.RegisterObject(&r);
}

// Takes fetched records back (releasing what they own); returns their ids.
inline std::vector<std::uint32_t> Drain(KxTamarind::ObjectIdentificationData* array, long fetched) {
    std::vector<std::uint32_t> ids;
    for (long i = 0; i < fetched; ++i) {
        ids.push_back(array[i].ObjectGuid.Data1);
        KxTamarind::CSmartObjectIdentificationData::ClearData(array[i]);
    }
    return ids;
}

} // namespace KxTest
