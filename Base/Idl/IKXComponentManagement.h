// IKXComponentManagement: the management interface every component carries.
// Its owner wires the component to its neighbours, drives it through its
// life and reaches its identity through it. The order of the operations is a
// binary contract with the firmware's other modules.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include "IKXLinkage.h"

namespace KxTamarind {

struct KXTAMARIND_API IKXComponentManagement : public IUnknown {
    STDMETHOD(PutReferences)
    (IUnknown* pSupervisor, IKXLinkage* pLinkage, long navigationHandle,
     long logicalLocation) = 0;                                 // 1
    STDMETHOD(GetRoot)(IUnknown** ppRoot) = 0;                  // 2
    STDMETHOD(GetSupervisor)(IUnknown** ppSupervisor) = 0;      // 3
    STDMETHOD(GetIKXLinkage)(IKXLinkage** ppLinkage) = 0;       // 4
    STDMETHOD(GetNavigationHandle)(long* pHandle) = 0;          // 5
    STDMETHOD(GetLogicalLocation)(long* pLocation) = 0;         // 6
    STDMETHOD(GetObjectInfo)(wchar_t** pName, GUID* pGuid) = 0; // 7
    STDMETHOD(SetObjectName)(wchar_t* name) = 0;                // 8
    STDMETHOD(SetObjectGuid)(GUID* pGuid) = 0;                  // 9
    STDMETHOD(FinishConstruct)() = 0;                           // 10
    STDMETHOD(InitializeOperation)() = 0;                       // 11
    STDMETHOD(Connect)() = 0;                                   // 12
    STDMETHOD(Disconnect)() = 0;                                // 13
    STDMETHOD(ReleaseOperation)() = 0;                          // 14
    STDMETHOD(StartDestruct)() = 0;                             // 15
    STDMETHOD(ReleaseReferences)() = 0;                         // 16
    STDMETHOD(LoadPropertiesByXMLString)
    (unsigned char* xml, unsigned long length,
     unsigned long* pErrorPosition) = 0; // 17
    STDMETHOD(SetPropertiesByXMLString)
    (unsigned char* xml, unsigned long length, unsigned long* pErrorPosition,
     long* pState) = 0;                                                                    // 18
    STDMETHOD(GetPropertiesAsXMLString)(unsigned char** pXml, unsigned long* pLength) = 0; // 19
    STDMETHOD(SetPropertyByXMLString)(wchar_t* xml, short flag, long* pState) = 0;         // 20
    STDMETHOD(GetPropertyAsXMLString)(wchar_t* path, wchar_t** pXml) = 0;                  // 21
    STDMETHOD(SetMarkedPropertiesByXMLString)(wchar_t* xml) = 0;                           // 22
    STDMETHOD(GetMarkedPropertiesAsXMLString)(wchar_t** pXml) = 0;                         // 23
    STDMETHOD(DeleteAllMarkedProperties)() = 0;                                            // 24
    STDMETHOD(GetPropertyInfo)
    (long dispId, wchar_t** pName, long* pCount, wchar_t*** pNames, wchar_t*** pValues,
     wchar_t*** pDescriptions) = 0; // 25
    STDMETHOD(GetPropertyInfoXMLPath)
    (wchar_t* path, wchar_t** pName, long* pCount, wchar_t*** pNames, wchar_t*** pValues,
     wchar_t*** pDescriptions) = 0;                                               // 26
    STDMETHOD(DeletePropertyIndex)(long dispId, wchar_t* path, long* pState) = 0; // 27
    STDMETHOD(InsertPropertyIndex)
    (long dispId, wchar_t* path, wchar_t* value,
     long* pState) = 0;                                                                // 28
    STDMETHOD(MovePropertyIndex)(long from, long to, wchar_t* path, long* pState) = 0; // 29
    STDMETHOD(PerformPropertiesLoaded)(long* pState) = 0;                              // 30
    STDMETHOD(PerformCheckAllProperties)(long* pState) = 0;                            // 31
    STDMETHOD(CreatePropDependentDynObjects)(long* pModificationState) = 0;            // 32
    STDMETHOD(DeletePropDependentDynObjects)() = 0;                                    // 33
    STDMETHOD(FilterLinkageList)
    (wchar_t* path, long count, long* pIn, long* pOutCount,
     long** ppOut) = 0;                                                              // 34
    STDMETHOD(GetDefaultLinkage)(wchar_t* path, GUID* pGuid) = 0;                    // 35
    STDMETHOD(RegisterReferencedObjects)() = 0;                                      // 36
    STDMETHOD(UnregisterReferencedObjects)() = 0;                                    // 37
    STDMETHOD(GetReferencingObjects)(long* pCount, long** ppList) = 0;               // 38
    STDMETHOD(GetReferencedObjects)(long* pCount, long** ppList) = 0;                // 39
    STDMETHOD(IsClassPlugable)(GUID clsid) = 0;                                      // 40
    STDMETHOD(GetFilterCatids)(wchar_t* path, long* pCount, GUID** ppIds) = 0;       // 41
    STDMETHOD(SaveTranslator)() = 0;                                                 // 42
    STDMETHOD(GetModificationState)(long* pState) = 0;                               // 43
    STDMETHOD(SelectObject)(wchar_t* path) = 0;                                      // 44
    STDMETHOD(DeselectObject)() = 0;                                                 // 45
    STDMETHOD(GetObjectsOfInterest)(wchar_t* path, long* pCount, long** ppList) = 0; // 46
    STDMETHOD(GetJumpData)
    (wchar_t* path, long* pCount, long** ppList, wchar_t*** pNames,
     wchar_t*** pPaths) = 0; // 47
    STDMETHOD(GetSelectableObjects)
    (wchar_t* path, long* pCount, wchar_t*** pNames,
     wchar_t*** pPaths) = 0;                                                                 // 48
    STDMETHOD(StartPropertyTool)(wchar_t* path, wchar_t* parameter) = 0;                     // 49
    STDMETHOD(GetPropertyToolResult)(wchar_t* path, long* pState, wchar_t** pResult) = 0;    // 50
    STDMETHOD(StopPropertyTool)(wchar_t* path) = 0;                                          // 51
    STDMETHOD(AttachTool)() = 0;                                                             // 52
    STDMETHOD(DetachTool)() = 0;                                                             // 53
    STDMETHOD(GetDependencyGraph)(wchar_t* path, wchar_t** pGraph) = 0;                      // 54
    STDMETHOD(CalculatePartialLoad)() = 0;                                                   // 55
    STDMETHOD(SetPartialLoadable)(short value) = 0;                                          // 56
    STDMETHOD(GetPartialLoadable)(short* pValue) = 0;                                        // 57
    STDMETHOD(RequestTemplateInstantiation)(IUnknown* pTemplate, IUnknown** ppInstance) = 0; // 58
    STDMETHOD(ReleaseTemplateInstantiation)(IUnknown* pInstance) = 0;                        // 59
    STDMETHOD(ReportUnallowedLinkages)(wchar_t* path, long count, GUID* pGuids) = 0;         // 60
};

} // namespace KxTamarind

template <>
KXTAMARIND_API const GUID hold_uuidof<KxTamarind::IKXComponentManagement>::__IID;
