// FakeComponentManagement: an IKXComponentManagement double (Counted: it
// lives on the test's stack and checks its references at its end) that
// answers QueryInterface for IKXComponentManagement with itself and every
// operation with E_NOTIMPL; a test overrides the operations it needs.
#pragma once

#include "IKXComponentManagement.h"
#include "common/CountingUnknown.h"

namespace KxTest {

// clang-format off
#define KXT_ICM_NOTIMPL(name, params) STDMETHOD(name) params override { return E_NOTIMPL; }
// clang-format on

class FakeComponentManagement : public Counted<KxTamarind::IKXComponentManagement> {
public:
    FakeComponentManagement() { Answer(__uuidof(KxTamarind::IKXComponentManagement), this); }

    // clang-format off
    KXT_ICM_NOTIMPL(PutReferences, (IUnknown*, KxTamarind::IKXLinkage*, long, long))
    KXT_ICM_NOTIMPL(GetRoot, (IUnknown**)) KXT_ICM_NOTIMPL(GetSupervisor, (IUnknown**))
    KXT_ICM_NOTIMPL(GetIKXLinkage, (KxTamarind::IKXLinkage**))
    KXT_ICM_NOTIMPL(GetNavigationHandle, (long*)) KXT_ICM_NOTIMPL(GetLogicalLocation, (long*))
    KXT_ICM_NOTIMPL(GetObjectInfo, (wchar_t**, GUID*)) KXT_ICM_NOTIMPL(SetObjectName, (wchar_t*))
    KXT_ICM_NOTIMPL(SetObjectGuid, (GUID*)) KXT_ICM_NOTIMPL(FinishConstruct, ())
    KXT_ICM_NOTIMPL(InitializeOperation, ()) KXT_ICM_NOTIMPL(Connect, ())
    KXT_ICM_NOTIMPL(Disconnect, ()) KXT_ICM_NOTIMPL(ReleaseOperation, ())
    KXT_ICM_NOTIMPL(StartDestruct, ()) KXT_ICM_NOTIMPL(ReleaseReferences, ())
    KXT_ICM_NOTIMPL(LoadPropertiesByXMLString, (unsigned char*, unsigned long, unsigned long*))
    KXT_ICM_NOTIMPL(SetPropertiesByXMLString,
                    (unsigned char*, unsigned long, unsigned long*, long*))
    KXT_ICM_NOTIMPL(GetPropertiesAsXMLString, (unsigned char**, unsigned long*))
    KXT_ICM_NOTIMPL(SetPropertyByXMLString, (wchar_t*, short, long*))
    KXT_ICM_NOTIMPL(GetPropertyAsXMLString, (wchar_t*, wchar_t**))
    KXT_ICM_NOTIMPL(SetMarkedPropertiesByXMLString, (wchar_t*))
    KXT_ICM_NOTIMPL(GetMarkedPropertiesAsXMLString, (wchar_t**))
    KXT_ICM_NOTIMPL(DeleteAllMarkedProperties, ())
    KXT_ICM_NOTIMPL(GetPropertyInfo, (long, wchar_t**, long*, wchar_t***, wchar_t***, wchar_t***))
    KXT_ICM_NOTIMPL(GetPropertyInfoXMLPath,
                    (wchar_t*, wchar_t**, long*, wchar_t***, wchar_t***, wchar_t***))
    KXT_ICM_NOTIMPL(DeletePropertyIndex, (long, wchar_t*, long*))
    KXT_ICM_NOTIMPL(InsertPropertyIndex, (long, wchar_t*, wchar_t*, long*))
    KXT_ICM_NOTIMPL(MovePropertyIndex, (long, long, wchar_t*, long*))
    KXT_ICM_NOTIMPL(PerformPropertiesLoaded, (long*))
    KXT_ICM_NOTIMPL(PerformCheckAllProperties, (long*))
    KXT_ICM_NOTIMPL(CreatePropDependentDynObjects, (long*))
    KXT_ICM_NOTIMPL(DeletePropDependentDynObjects, ())
    KXT_ICM_NOTIMPL(FilterLinkageList, (wchar_t*, long, long*, long*, long**))
    KXT_ICM_NOTIMPL(GetDefaultLinkage, (wchar_t*, GUID*))
    KXT_ICM_NOTIMPL(RegisterReferencedObjects, ()) KXT_ICM_NOTIMPL(UnregisterReferencedObjects, ())
    KXT_ICM_NOTIMPL(GetReferencingObjects, (long*, long**))
    KXT_ICM_NOTIMPL(GetReferencedObjects, (long*, long**)) KXT_ICM_NOTIMPL(IsClassPlugable, (GUID))
    KXT_ICM_NOTIMPL(GetFilterCatids, (wchar_t*, long*, GUID**)) KXT_ICM_NOTIMPL(SaveTranslator, ())
    KXT_ICM_NOTIMPL(GetModificationState, (long*)) KXT_ICM_NOTIMPL(SelectObject, (wchar_t*))
    KXT_ICM_NOTIMPL(DeselectObject, ())
    KXT_ICM_NOTIMPL(GetObjectsOfInterest, (wchar_t*, long*, long**))
    KXT_ICM_NOTIMPL(GetJumpData, (wchar_t*, long*, long**, wchar_t***, wchar_t***))
    KXT_ICM_NOTIMPL(GetSelectableObjects, (wchar_t*, long*, wchar_t***, wchar_t***))
    KXT_ICM_NOTIMPL(StartPropertyTool, (wchar_t*, wchar_t*))
    KXT_ICM_NOTIMPL(GetPropertyToolResult, (wchar_t*, long*, wchar_t**))
    KXT_ICM_NOTIMPL(StopPropertyTool, (wchar_t*)) KXT_ICM_NOTIMPL(AttachTool, ())
    KXT_ICM_NOTIMPL(DetachTool, ()) KXT_ICM_NOTIMPL(GetDependencyGraph, (wchar_t*, wchar_t**))
    KXT_ICM_NOTIMPL(CalculatePartialLoad, ()) KXT_ICM_NOTIMPL(SetPartialLoadable, (short))
    KXT_ICM_NOTIMPL(GetPartialLoadable, (short*))
    KXT_ICM_NOTIMPL(RequestTemplateInstantiation, (IUnknown*, IUnknown**))
    KXT_ICM_NOTIMPL(ReleaseTemplateInstantiation, (IUnknown*))
    KXT_ICM_NOTIMPL(ReportUnallowedLinkages, (wchar_t*, long, GUID*))
    // clang-format on
};

#undef KXT_ICM_NOTIMPL

} // namespace KxTest
