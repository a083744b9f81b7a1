// TestInterfaceRegistry: a concrete interface registry for tests: a
// CBInterfaceRegistration with its own object data (whose CInterfaceList it
// serves), counted references, recording hooks with settable results, and
// enumerators made from CBInterfaceEnumeration.
//
// It never deletes itself: tests own it (declare the objects it will hold
// before it, so they outlive it) and its destructor checks that the
// references are back at 0. QueryInterface answers IID_IUnknown and
// IKXInterfaceRegistration with itself and any identifier registered with
// Answer() with the given pointer (AddRef'd). The enumerators it makes live
// on the heap and delete themselves at their last Release.
#pragma once

#include <gtest/gtest.h>

#include <platcompat.h>

#include <atomic>
#include <utility>
#include <vector>

#include "CBInterfaceEnumeration.h"
#include "CBInterfaceRegistration.h"
#include "CObjectData.h"

namespace KxTest {

class TestInterfaceEnumeration : public KxTamarind::CBInterfaceEnumeration {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (ppv == nullptr) {
            return E_POINTER;
        }
        if (IsEqualIID(riid, IID_IUnknown) ||
            IsEqualIID(riid, __uuidof(KxTamarind::IKXInterfaceEnumeration))) {
            AddRef();
            *ppv = static_cast<KxTamarind::IKXInterfaceEnumeration*>(this);
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override {
        return static_cast<ULONG>(m_lRefs.fetch_add(1, std::memory_order_relaxed) + 1);
    }
    ULONG STDMETHODCALLTYPE Release() override {
        long refs = m_lRefs.fetch_sub(1, std::memory_order_relaxed) - 1;
        if (refs == 0) {
            delete this;
        }
        return static_cast<ULONG>(refs);
    }

    // A new enumerator over `list`, owned by the caller (one reference).
    static TestInterfaceEnumeration* Make(IUnknown* owner, KxTamarind::CInterfaceList* list) {
        TestInterfaceEnumeration* made = new TestInterfaceEnumeration();
        made->AddRef();
        made->SetMember(owner, list);
        list->AddEnumeration(made);
        return made;
    }

protected:
    KxTamarind::IKXInterfaceEnumeration* CreateEnumeration() override {
        return Make(GetOwner(), GetList());
    }

private:
    std::atomic<long> m_lRefs{0};
};

class TestInterfaceRegistry : public KxTamarind::CBInterfaceRegistration {
public:
    TestInterfaceRegistry() : m_Data(this, nullptr, nullptr) {}
    TestInterfaceRegistry(const TestInterfaceRegistry&) = delete;
    TestInterfaceRegistry& operator=(const TestInterfaceRegistry&) = delete;
    ~TestInterfaceRegistry() override {
        EXPECT_EQ(References(), 0) << "TestInterfaceRegistry destroyed with unbalanced references";
    }

    HRESULT registeredResult = S_OK;
    HRESULT unregisteredResult = S_OK;
    int registeredCalls = 0;
    int unregisteredCalls = 0;
    GUID lastUnregistered = GUID_NULL;

    void Answer(const IID& iid, IUnknown* target) { m_Answers.emplace_back(iid, target); }
    KxTamarind::CInterfaceList& List() { return m_Data.GetInterfaceList(); }
    // Detaches the object data: the registry then has no list to serve.
    void DropObjectData() { SetObjectDataReference(nullptr, nullptr, nullptr); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (ppv == nullptr) {
            return E_POINTER;
        }
        *ppv = nullptr;
        if (IsEqualIID(riid, IID_IUnknown) ||
            IsEqualIID(riid, __uuidof(KxTamarind::IKXInterfaceRegistration))) {
            AddRef();
            *ppv = static_cast<KxTamarind::IKXInterfaceRegistration*>(this);
            return S_OK;
        }
        for (const auto& answer : m_Answers) {
            if (IsEqualIID(answer.first, riid) && answer.second != nullptr) {
                answer.second->AddRef();
                *ppv = answer.second;
                return S_OK;
            }
        }
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override {
        m_lAddRefs.fetch_add(1, std::memory_order_relaxed);
        return static_cast<ULONG>(m_lRefs.fetch_add(1, std::memory_order_relaxed) + 1);
    }
    ULONG STDMETHODCALLTYPE Release() override {
        m_lReleases.fetch_add(1, std::memory_order_relaxed);
        return static_cast<ULONG>(m_lRefs.fetch_sub(1, std::memory_order_relaxed) - 1);
    }
    long References() const { return m_lRefs.load(std::memory_order_relaxed); }
    long Releases() const { return m_lReleases.load(std::memory_order_relaxed); }

protected:
    HRESULT OnInterfaceRegistered(KxTamarind::InterfaceIdentificationData*) override {
        ++registeredCalls;
        return registeredResult;
    }
    HRESULT OnInterfaceUnregistered(GUID const* pIid) override {
        ++unregisteredCalls;
        lastUnregistered = *pIid;
        return unregisteredResult;
    }
    KxTamarind::IKXInterfaceEnumeration* CreateInterfaceEnumeration() override {
        return TestInterfaceEnumeration::Make(
            static_cast<IUnknown*>(static_cast<KxTamarind::IKXInterfaceRegistration*>(this)),
            &m_Data.GetInterfaceList());
    }

private:
    KxTamarind::CObjectData m_Data;
    std::vector<std::pair<IID, IUnknown*>> m_Answers;
    std::atomic<long> m_lRefs{0};
    std::atomic<long> m_lAddRefs{0};
    std::atomic<long> m_lReleases{0};
};

} // namespace KxTest
