// FakeComponentManagement: an IKXComponentManagement test double for code
// that navigates from an object to its linkage and logical location.
//
// It counts AddRef/Release (never deletes itself: tests own it and its
// destructor checks the references are back at 0). QueryInterface answers
// IID_IUnknown and IKXComponentManagement with itself and any identifier
// registered with Answer() with the given pointer (AddRef'd). GetIKXLinkage
// hands out `linkage` (AddRef'd, may be null) with `linkageResult`;
// GetLogicalLocation answers `logicalLocation`. Every other operation
// answers E_NOTIMPL.
#pragma once

#include <gtest/gtest.h>

#include <platcompat.h>

#include <atomic>
#include <utility>
#include <vector>

#include "IKXComponentManagement.h"

namespace KxTest {

#define KXT_FAKE_ICM_NOTIMPL(name, params)                                                         \
    STDMETHOD(name) params override {                                                              \
        return E_NOTIMPL;                                                                          \
    }

class FakeComponentManagement : public KxTamarind::IKXComponentManagement {
public:
    FakeComponentManagement() = default;
    FakeComponentManagement(const FakeComponentManagement&) = delete;
    FakeComponentManagement& operator=(const FakeComponentManagement&) = delete;
    virtual ~FakeComponentManagement() {
        EXPECT_EQ(References(), 0)
            << "FakeComponentManagement destroyed with unbalanced references";
    }

    KxTamarind::IKXLinkage* linkage = nullptr;
    HRESULT linkageResult = S_OK;
    long logicalLocation = 0;

    void Answer(const IID& iid, IUnknown* target) { m_Answers.emplace_back(iid, target); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (ppv == nullptr) {
            return E_POINTER;
        }
        *ppv = nullptr;
        if (IsEqualIID(riid, IID_IUnknown) ||
            IsEqualIID(riid, __uuidof(KxTamarind::IKXComponentManagement))) {
            AddRef();
            *ppv = static_cast<KxTamarind::IKXComponentManagement*>(this);
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
        return static_cast<ULONG>(m_lRefs.fetch_add(1, std::memory_order_relaxed) + 1);
    }
    ULONG STDMETHODCALLTYPE Release() override {
        return static_cast<ULONG>(m_lRefs.fetch_sub(1, std::memory_order_relaxed) - 1);
    }
    long References() const { return m_lRefs.load(std::memory_order_relaxed); }

    STDMETHOD(GetIKXLinkage)(KxTamarind::IKXLinkage** ppLinkage) override {
        *ppLinkage = linkage;
        if (linkage != nullptr) {
            linkage->AddRef();
        }
        return linkageResult;
    }
    STDMETHOD(GetLogicalLocation)(long* pLocation) override {
        *pLocation = logicalLocation;
        return S_OK;
    }

    KXT_FAKE_ICM_NOTIMPL(PutReferences, (IUnknown*, KxTamarind::IKXLinkage*, long, long))
    KXT_FAKE_ICM_NOTIMPL(GetRoot, (IUnknown**))
    KXT_FAKE_ICM_NOTIMPL(GetSupervisor, (IUnknown**))
    KXT_FAKE_ICM_NOTIMPL(GetNavigationHandle, (long*))
    KXT_FAKE_ICM_NOTIMPL(GetObjectInfo, (wchar_t**, GUID*))
    KXT_FAKE_ICM_NOTIMPL(SetObjectName, (wchar_t*))
    KXT_FAKE_ICM_NOTIMPL(SetObjectGuid, (GUID*))
    KXT_FAKE_ICM_NOTIMPL(FinishConstruct, ())
    KXT_FAKE_ICM_NOTIMPL(InitializeOperation, ())
    KXT_FAKE_ICM_NOTIMPL(Connect, ())
    KXT_FAKE_ICM_NOTIMPL(Disconnect, ())
    KXT_FAKE_ICM_NOTIMPL(ReleaseOperation, ())
    KXT_FAKE_ICM_NOTIMPL(StartDestruct, ())
    KXT_FAKE_ICM_NOTIMPL(ReleaseReferences, ())
    KXT_FAKE_ICM_NOTIMPL(LoadPropertiesByXMLString, (unsigned char*, unsigned long, unsigned long*))
    KXT_FAKE_ICM_NOTIMPL(SetPropertiesByXMLString,
                         (unsigned char*, unsigned long, unsigned long*, long*))
    KXT_FAKE_ICM_NOTIMPL(GetPropertiesAsXMLString, (unsigned char**, unsigned long*))
    KXT_FAKE_ICM_NOTIMPL(SetPropertyByXMLString, (wchar_t*, short, long*))
    KXT_FAKE_ICM_NOTIMPL(GetPropertyAsXMLString, (wchar_t*, wchar_t**))
    KXT_FAKE_ICM_NOTIMPL(SetMarkedPropertiesByXMLString, (wchar_t*))
    KXT_FAKE_ICM_NOTIMPL(GetMarkedPropertiesAsXMLString, (wchar_t**))
    KXT_FAKE_ICM_NOTIMPL(DeleteAllMarkedProperties, ())
    KXT_FAKE_ICM_NOTIMPL(GetPropertyInfo,
                         (long, wchar_t**, long*, wchar_t***, wchar_t***, wchar_t***))
    KXT_FAKE_ICM_NOTIMPL(GetPropertyInfoXMLPath,
                         (wchar_t*, wchar_t**, long*, wchar_t***, wchar_t***, wchar_t***))
    KXT_FAKE_ICM_NOTIMPL(DeletePropertyIndex, (long, wchar_t*, long*))
    KXT_FAKE_ICM_NOTIMPL(InsertPropertyIndex, (long, wchar_t*, wchar_t*, long*))
    KXT_FAKE_ICM_NOTIMPL(MovePropertyIndex, (long, long, wchar_t*, long*))
    KXT_FAKE_ICM_NOTIMPL(PerformPropertiesLoaded, (long*))
    KXT_FAKE_ICM_NOTIMPL(PerformCheckAllProperties, (long*))
    KXT_FAKE_ICM_NOTIMPL(CreatePropDependentDynObjects, (long*))
    KXT_FAKE_ICM_NOTIMPL(DeletePropDependentDynObjects, ())
    KXT_FAKE_ICM_NOTIMPL(FilterLinkageList, (wchar_t*, long, long*, long*, long**))
    KXT_FAKE_ICM_NOTIMPL(GetDefaultLinkage, (wchar_t*, GUID*))
    KXT_FAKE_ICM_NOTIMPL(RegisterReferencedObjects, ())
    KXT_FAKE_ICM_NOTIMPL(UnregisterReferencedObjects, ())
    KXT_FAKE_ICM_NOTIMPL(GetReferencingObjects, (long*, long**))
    KXT_FAKE_ICM_NOTIMPL(GetReferencedObjects, (long*, long**))
    KXT_FAKE_ICM_NOTIMPL(IsClassPlugable, (GUID))
    KXT_FAKE_ICM_NOTIMPL(GetFilterCatids, (wchar_t*, long*, GUID**))
    KXT_FAKE_ICM_NOTIMPL(SaveTranslator, ())
    KXT_FAKE_ICM_NOTIMPL(GetModificationState, (long*))
    KXT_FAKE_ICM_NOTIMPL(SelectObject, (wchar_t*))
    KXT_FAKE_ICM_NOTIMPL(DeselectObject, ())
    KXT_FAKE_ICM_NOTIMPL(GetObjectsOfInterest, (wchar_t*, long*, long**))
    KXT_FAKE_ICM_NOTIMPL(GetJumpData, (wchar_t*, long*, long**, wchar_t***, wchar_t***))
    KXT_FAKE_ICM_NOTIMPL(GetSelectableObjects, (wchar_t*, long*, wchar_t***, wchar_t***))
    KXT_FAKE_ICM_NOTIMPL(StartPropertyTool, (wchar_t*, wchar_t*))
    KXT_FAKE_ICM_NOTIMPL(GetPropertyToolResult, (wchar_t*, long*, wchar_t**))
    KXT_FAKE_ICM_NOTIMPL(StopPropertyTool, (wchar_t*))
    KXT_FAKE_ICM_NOTIMPL(AttachTool, ())
    KXT_FAKE_ICM_NOTIMPL(DetachTool, ())
    KXT_FAKE_ICM_NOTIMPL(GetDependencyGraph, (wchar_t*, wchar_t**))
    KXT_FAKE_ICM_NOTIMPL(CalculatePartialLoad, ())
    KXT_FAKE_ICM_NOTIMPL(SetPartialLoadable, (short))
    KXT_FAKE_ICM_NOTIMPL(GetPartialLoadable, (short*))
    KXT_FAKE_ICM_NOTIMPL(RequestTemplateInstantiation, (IUnknown*, IUnknown**))
    KXT_FAKE_ICM_NOTIMPL(ReleaseTemplateInstantiation, (IUnknown*))
    KXT_FAKE_ICM_NOTIMPL(ReportUnallowedLinkages, (wchar_t*, long, GUID*))

private:
    std::vector<std::pair<IID, IUnknown*>> m_Answers;
    std::atomic<long> m_lRefs{0};
};

#undef KXT_FAKE_ICM_NOTIMPL

} // namespace KxTest
