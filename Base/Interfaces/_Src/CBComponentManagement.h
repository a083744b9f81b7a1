// CBComponentManagement: the base implementation of IKXComponentManagement,
// the management interface of every component.
//
// It owns the lifecycle state machine of a component (Created, Constructed,
// Initialized, Connected), registers the object in its linkage under its
// GUID while it is constructed and at its supervisor's object registry while
// it is initialised, and hands each step to a virtual hook (DoFinishConstruct,
// DoInitializeOperation, ...) that the concrete component overrides. The
// property, XML, tool and linkage operations of the interface answer fixed
// defaults here; concrete components override what they support.
//
// The class is abstract: QueryInterface, AddRef and Release belong to the
// concrete component (see CKxComObject). Its state lives in the CObjectData
// that the component creates and hands to CObjectDataReferenceBase before the
// first lifecycle call; every step checks it first.
//
// Failures: a missing CObjectData, a step called in the wrong state and a
// failing hook are raised with ThrowError (the state is left unchanged).
// Exceptions: FinishConstruct answers S_FALSE when the property-dependent
// objects could not be created; StartDestruct reports a failure to delete
// them as a repaired error and goes on; RegisterToOtherObject and
// UnregisterFromOtherObject return the registry's result.
//
// Thread safety: none. The owner drives the steps from one thread at a time.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include "CObjectData.h"
#include "CObjectDataReference.h"
#include "CPropertyLookup.h"
#include "IKXComponentManagement.h"
#include "IKXLinkage.h"
#include "KxIdentificationData.h"

namespace KxTamarind {

class CPropertyHelper;

// The property lookup by dispatch id (FindProperty) comes with the third
// base; it shares the virtual CObjectDataReferenceBase.
class KXTAMARIND_API CBComponentManagement : public IKXComponentManagement,
                                             public CObjectDataReference,
                                             public CPropertyLookup {
public:
    CBComponentManagement();

    // --- IKXComponentManagement, in table order ---

    // Lifecycle step (state Created, which it keeps): takes a reference on
    // the new supervisor and linkage and drops the old ones, stores the
    // navigation handle and logical location, then DoPutReferences. May be
    // repeated while Created.
    STDMETHOD(PutReferences)
    (IUnknown* pSupervisor, IKXLinkage* pLinkage, long navigationHandle,
     long logicalLocation) override;
    // The root object's IUnknown (one reference for the caller), or null
    // while no root is set; S_OK. A null ppRoot is a programming error:
    // asserted in debug builds, E_POINTER in release builds.
    STDMETHOD(GetRoot)(IUnknown** ppRoot) override;
    // The supervisor / linkage with one added reference (null stays null);
    // S_OK. A null out-pointer is handled as in GetRoot.
    STDMETHOD(GetSupervisor)(IUnknown** ppSupervisor) override;
    STDMETHOD(GetIKXLinkage)(IKXLinkage** ppLinkage) override;
    // S_OK; E_POINTER for a null out-pointer.
    STDMETHOD(GetNavigationHandle)(long* pHandle) override;
    STDMETHOD(GetLogicalLocation)(long* pLocation) override;
    // Either out-pointer may be null. The name is a new BSTR of the same
    // length as the stored one (the caller frees it). S_OK.
    STDMETHOD(GetObjectInfo)(wchar_t** pName, GUID* pGuid) override;
    // Replaces the object name by a copy of `name`, in any state. S_OK.
    STDMETHOD(SetObjectName)(wchar_t* name) override;
    // Moves the object's linkage registration to the new GUID, in any state.
    // Null pGuid or no CObjectData: S_OK, nothing changed. A GUID that the
    // linkage already holds is raised ("object could not be registered due
    // to duplicate 'ObjectGuid'").
    STDMETHOD(SetObjectGuid)(GUID* pGuid) override;
    // Lifecycle steps; each answers S_OK or raises (FinishConstruct: S_FALSE
    // when DoCreatePropDependentDynObjects failed, the state is Constructed).
    STDMETHOD(FinishConstruct)() override;
    STDMETHOD(InitializeOperation)() override;
    STDMETHOD(Connect)() override;
    STDMETHOD(Disconnect)() override;
    STDMETHOD(ReleaseOperation)() override;
    STDMETHOD(StartDestruct)() override;
    STDMETHOD(ReleaseReferences)() override;

    // Property and XML operations: fixed defaults (S_FALSE unless noted).
    STDMETHOD(LoadPropertiesByXMLString)
    (unsigned char* xml, unsigned long length, unsigned long* pErrorPosition) override;
    STDMETHOD(SetPropertiesByXMLString)
    (unsigned char* xml, unsigned long length, unsigned long* pErrorPosition,
     long* pState) override;
    STDMETHOD(GetPropertiesAsXMLString)
    (unsigned char** pXml, unsigned long* pLength) override;
    STDMETHOD(SetPropertyByXMLString)
    (wchar_t* xml, short flag, long* pState) override;
    STDMETHOD(GetPropertyAsXMLString)(wchar_t* path, wchar_t** pXml) override;
    STDMETHOD(SetMarkedPropertiesByXMLString)(wchar_t* xml) override;
    STDMETHOD(GetMarkedPropertiesAsXMLString)(wchar_t** pXml) override;
    STDMETHOD(DeleteAllMarkedProperties)() override; // S_OK
    STDMETHOD(GetPropertyInfo)
    (long dispId, wchar_t** pName, long* pCount, wchar_t*** pNames, wchar_t*** pValues,
     wchar_t*** pDescriptions) override;
    STDMETHOD(GetPropertyInfoXMLPath)
    (wchar_t* path, wchar_t** pName, long* pCount, wchar_t*** pNames, wchar_t*** pValues,
     wchar_t*** pDescriptions) override;
    STDMETHOD(DeletePropertyIndex)
    (long dispId, wchar_t* path, long* pState) override;
    STDMETHOD(InsertPropertyIndex)
    (long dispId, wchar_t* path, wchar_t* value, long* pState) override;
    STDMETHOD(MovePropertyIndex)
    (long from, long to, wchar_t* path, long* pState) override;
    STDMETHOD(PerformPropertiesLoaded)(long* pState) override;   // S_OK
    STDMETHOD(PerformCheckAllProperties)(long* pState) override; // S_OK
    // Clears the property state, calls DoCreatePropDependentDynObjects
    // (its result is not used), stores the modification state in a non-null
    // out-pointer; S_FALSE when property errors were counted, else S_OK.
    STDMETHOD(CreatePropDependentDynObjects)(long* pModificationState) override;
    STDMETHOD(DeletePropDependentDynObjects)
    () override; // DoDeletePropDependentDynObjects
    STDMETHOD(FilterLinkageList)
    (wchar_t* path, long count, long* pIn, long* pOutCount, long** ppOut) override;
    STDMETHOD(GetDefaultLinkage)(wchar_t* path, GUID* pGuid) override;
    STDMETHOD(RegisterReferencedObjects)() override;
    STDMETHOD(UnregisterReferencedObjects)() override;
    STDMETHOD(GetReferencingObjects)(long* pCount, long** ppList) override;
    STDMETHOD(GetReferencedObjects)(long* pCount, long** ppList) override;
    STDMETHOD(IsClassPlugable)(GUID clsid) override; // DoIsClassPlugable
    STDMETHOD(GetFilterCatids)
    (wchar_t* path, long* pCount, GUID** ppIds) override;
    STDMETHOD(SaveTranslator)() override; // DoSaveTranslator
    STDMETHOD(GetModificationState)
    (long* pState) override;                         // DoGetModificationState
    STDMETHOD(SelectObject)(wchar_t* path) override; // S_OK
    STDMETHOD(DeselectObject)() override;            // S_OK
    // The non-null out-pointers among the count and list are set to 0/null;
    // S_OK. GetJumpData also clears the names but leaves the paths alone.
    STDMETHOD(GetObjectsOfInterest)
    (wchar_t* path, long* pCount, long** ppList) override;
    STDMETHOD(GetJumpData)
    (wchar_t* path, long* pCount, long** ppList, wchar_t*** pNames, wchar_t*** pPaths) override;
    STDMETHOD(GetSelectableObjects)
    (wchar_t* path, long* pCount, wchar_t*** pNames, wchar_t*** pPaths) override;
    STDMETHOD(StartPropertyTool)
    (wchar_t* path, wchar_t* parameter) override; // S_OK
    STDMETHOD(GetPropertyToolResult)
    (wchar_t* path, long* pState, wchar_t** pResult) override;
    STDMETHOD(StopPropertyTool)(wchar_t* path) override; // S_OK
    // Tools attach only to the first object of a logical instrument (low 8
    // bits of the logical location equal 1): DoAttachTool/DoDetachTool
    // there, S_OK elsewhere (also without CObjectData).
    STDMETHOD(AttachTool)() override;
    STDMETHOD(DetachTool)() override;
    STDMETHOD(GetDependencyGraph)(wchar_t* path, wchar_t** pGraph) override;
    STDMETHOD(CalculatePartialLoad)() override;
    // Only -1 (VARIANT_TRUE) reaches the linkage, as a set-partial-load call
    // with (navigation handle, 0). Always S_OK.
    STDMETHOD(SetPartialLoadable)(short value) override;
    // *pValue = 0, then the linkage's flag for the navigation handle if there
    // is a linkage. Always S_OK (also for a null pValue).
    STDMETHOD(GetPartialLoadable)(short* pValue) override;
    STDMETHOD(RequestTemplateInstantiation)
    (IUnknown* pTemplate, IUnknown** ppInstance) override;
    STDMETHOD(ReleaseTemplateInstantiation)(IUnknown* pInstance) override;
    STDMETHOD(ReportUnallowedLinkages)
    (wchar_t* path, long count, GUID* pGuids) override;

    // --- Hooks, in table order after the interface's operations ---
    // Defaults as noted; a lifecycle step raises any result but S_OK.
    virtual HRESULT DoPutReferences();     // S_OK
    virtual HRESULT DoReleaseReferences(); // S_OK
    // Registers at the supervisor's object registry when there is a
    // supervisor (a failure is raised); S_OK.
    virtual HRESULT DoInitializeOperation();
    // Unregisters from the supervisor's object registry likewise; S_OK.
    virtual HRESULT DoReleaseOperation();
    virtual HRESULT DoConnect();                                         // S_OK
    virtual HRESULT DoDisconnect();                                      // S_OK
    virtual HRESULT DoFinishConstruct();                                 // S_OK
    virtual HRESULT DoStartDestruct();                                   // S_OK
    virtual HRESULT CheckAllProperties();                                // S_OK
    virtual HRESULT PropertiesCopied();                                  // S_OK
    virtual HRESULT PropertiesLoaded();                                  // S_OK
    virtual HRESULT DoCreatePropDependentDynObjects();                   // S_OK
    virtual HRESULT DoDeletePropDependentDynObjects();                   // S_OK
    virtual HRESULT DoPreparePropertyChange(CPropertyHelper* pProperty); // S_OK
    virtual HRESULT DoPropertyChanged(CPropertyHelper* pProperty);       // S_OK
    virtual HRESULT DoMarkedPropertiesSet();                             // S_OK
    virtual HRESULT DoFilterLinkageList(CPropertyHelper* pProperty, long count, long* pIn,
                                        long* pOutCount,
                                        long** ppOut); // S_FALSE
    virtual HRESULT DoGetDefaultLinkage(CPropertyHelper* pProperty,
                                        GUID& guid);                     // S_FALSE
    virtual HRESULT DoCheckPropertyValidity(CPropertyHelper* pProperty); // S_OK
    virtual HRESULT DoIsClassPlugable(GUID clsid);                       // S_OK
    virtual HRESULT DoSaveTranslator();                                  // S_OK
    // The modification state of the base into a non-null pState; S_OK.
    virtual HRESULT DoGetModificationState(long* pState);
    virtual HRESULT DoSelectObject(CPropertyHelper* pProperty); // S_OK
    virtual HRESULT DoDeselectObject();                         // S_OK
    // The Do...Objects/Do...Data/Do...Catids defaults set their outs to
    // 0/null (null out-pointers are skipped rather than dereferenced).
    virtual HRESULT DoGetObjectsOfInterest(CPropertyHelper* pProperty, long* pCount,
                                           long** ppList); // S_OK
    virtual HRESULT DoGetJumpData(CPropertyHelper* pProperty, long* pCount, long** ppList,
                                  wchar_t*** pNames,
                                  wchar_t*** pPaths); // S_FALSE
    virtual HRESULT DoGetSelectableObjects(CPropertyHelper* pProperty, long* pCount,
                                           wchar_t*** pNames,
                                           wchar_t*** pPaths); // S_OK
    virtual HRESULT DoStartPropertyTool(CPropertyHelper* pProperty,
                                        wchar_t* parameter); // S_FALSE
    // Marks the tool edit as finished and clears a non-null pResult; S_OK.
    virtual HRESULT DoGetPropertyToolResult(CPropertyHelper* pProperty, wchar_t** pResult);
    virtual HRESULT DoStopPropertyTool(CPropertyHelper* pProperty); // S_OK
    virtual HRESULT DoAttachTool();                                 // S_OK
    virtual HRESULT DoDetachTool();                                 // S_OK
    // Clears a non-null pGraph; S_FALSE.
    virtual HRESULT DoGetDependencyGraph(wchar_t* path, wchar_t** pGraph);
    virtual HRESULT DoCalculatePartialLoad(); // S_OK
    virtual HRESULT DoGetFilterCatids(CPropertyHelper* pProperty, long* pCount,
                                      GUID** ppIds); // S_OK
    // Clears a non-null ppInstance; E_NOTIMPL.
    virtual HRESULT DoRequestTemplateInstantiation(IUnknown* pTemplate, IUnknown** ppInstance);
    virtual HRESULT DoReleaseTemplateInstantiation(IUnknown* pInstance); // E_NOTIMPL
    // Both answer true; the concrete component overrides the one that does
    // not apply to it.
    virtual bool IsApartmentThreaded();
    virtual bool IsFreeThreaded();
    // Declared last: its slot follows the hooks'.
    ~CBComponentManagement() override;

    // --- Registration at another object's object registry ---

    // Queries pIUnkOther for IKXObjectRegistration and registers this
    // object's record there (RegisterObject) / removes it by (ObjectGuid,
    // logical location) (UnregisterObject); returns the registry's result.
    // A null pIUnkOther or an object without the registry is raised
    // (E_POINTER).
    HRESULT RegisterToOtherObject(IUnknown* pIUnkOther);
    HRESULT UnregisterFromOtherObject(IUnknown* pIUnkOther);
    // Fills `p` with this object's record: pIUnknown = the identification
    // word, ObjectGuid, CatId = the co-class's main category, SortIndex = the
    // instance number, Name = the object name, InstanceNumber = the logical
    // location. The record borrows the pointer and the name (no AddRef, no
    // copy): do not free them. E_POINTER for a null `p` or no CObjectData.
    HRESULT CopyObjectIdentificationData(ObjectIdentificationData* p);

protected:
    // Raises "m_pObjectData != NULL" (E_POINTER) when no CObjectData is set.
    void CheckObjectData();

private:
    CObjectDataReferenceBase* Origin() { return static_cast<CObjectDataReferenceBase*>(this); }
    // Raises when the current state is not `required`.
    void CheckState(InitializationState required, const char* message, int line);
    // Raises a hook result other than S_OK, with that result as the code.
    void CheckHook(HRESULT hr, const char* condition, const char* message, int line);
    // Registers to the linkage; a GUID already taken is raised.
    void RegisterToLinkageOrRaise(int line);
    // The repaired report of a failed DoDeletePropDependentDynObjects.
    void ReportDeleteDynObjectsFailed();
};

} // namespace KxTamarind
