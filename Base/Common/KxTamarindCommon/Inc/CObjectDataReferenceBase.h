// CObjectDataReferenceBase: the virtual base of every component
// implementation. It points at the component's runtime record (CObjectData),
// its static class description (CCoClassData) and its property map, carries
// the property-change state, and is the origin named by every error report.
//
// It owns none of the three records it points at. Not synchronised: it is
// used on its component's thread; only the process-wide list of modified
// property objects has a lock of its own.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include <vector>

#include "KxErrorReporting.h"

namespace KxTamarind {

class CObjectData;
struct CCoClassData;
struct ExtendedPropertyMapEntry;

class KXTAMARIND_API CObjectDataReferenceBase {
public:
    // Property-state flags, set by OR and cleared together.
    enum PropertyStateFlags {
        PropertyState_SubtreeChanged = 0x01,
        PropertyState_ParentSubtreeChanged = 0x02,
        PropertyState_OtherPropertiesChanged = 0x04,
        PropertyState_ToolEditPropertyChanged = 0x08,
        PropertyState_ToolEditFinished = 0x10,
        PropertyState_ToolEditAborted = 0x20
    };

    CObjectDataReferenceBase();
    virtual ~CObjectDataReferenceBase();

    void SetObjectDataReference(CObjectData* objectData, CCoClassData* classData,
                                ExtendedPropertyMapEntry* propertyMap);
    CObjectData* GetObjectData() const { return m_pObjectData; }
    CCoClassData* GetCoClassData() const { return m_pCoClassData; }
    ExtendedPropertyMapEntry* GetExtendedPropertyMap() const { return m_pExtendedPropertyMap; }

    CObjectDataReferenceBase& SetSubtreeChanged();
    CObjectDataReferenceBase& SetParentSubtreeChanged();
    CObjectDataReferenceBase& SetOtherPropertiesChanged();
    CObjectDataReferenceBase& SetToolEditPropertyChanged();
    void SetToolEditFinished();
    CObjectDataReferenceBase& SetToolEditAborted();
    // Sets the flags and the property error count to 0.
    void ClearPropertyState();
    unsigned long ModificationState() const { return m_ulPropertyState; }
    long PropertyErrorCount() const { return m_lPropertyErrorCount; }

    // Stores the flag; IsToolSelected() answers false whatever was stored.
    void SetToolSelected(bool selected) { m_bToolSelected = selected; }
    bool IsToolSelected() const { return false; }

    // Hooks of the property machinery; they do nothing here.
    virtual void AddModifiedPropertyObject(long objectId);
    virtual void ReportPropertyChange(bool changed);
    virtual void NotifyObjectSelected(long objectId, const void* property);
    // Fills the path and name of a property for error records; nothing here.
    virtual void GetPropertyPath(const void* property, CAtlStringA& path, CAtlStringA& name) const;

    // Copies the process-wide list of modified property objects into `out`
    // (under its lock) and empties the list when `clear` is true.
    static void GetModifiedPropertyObjects(std::vector<long>& out, bool clear);

    // Builds a new heap record from the origin, property, partner and the
    // current thread; the caller owns it. The context is not used.
    static CErrorObject* CreateErrorObject(KxTamarindErrorClass errorClass, long line, long code,
                                           GUID iid, const CAtlStringA& condition,
                                           const CAtlStringA& file, const CAtlStringA& timeStamp,
                                           const CAtlStringA& method,
                                           const CObjectDataReferenceBase* origin,
                                           const void* property, IUnknown* partner,
                                           const CAtlStringA& message, CONTEXT* context);

    // The error manager's notification sink. This library's definition does
    // nothing; it is exported and called through the dynamic symbol table so
    // that an error manager loaded ahead of the library receives the calls.
    static void NotifyError(const CObjectDataReferenceBase* origin, TamarindErrorType type,
                            TamarindErrorEvent event, const void* property, IUnknown* partner,
                            const CAtlStringA& text);

    // Reporters: each ends in one NotifyError call. Only the first fatal
    // error of the process is notified; repaired errors are not notified
    // once a fatal error was.
    static void FatalError(const CObjectDataReferenceBase* origin, const void* property,
                           IUnknown* partner, const CAtlStringA& message);
    static void RepairedError(const CObjectDataReferenceBase* origin, const void* property,
                              IUnknown* partner, const CAtlStringA& message);
    void SubsysError(IUnknown* partner, const CAtlStringA& text);
    void SubsysError(const void* property, const CAtlStringA& text);
    void PropertyInfo(const void* property, const CAtlStringA& text, bool propertiesChanged,
                      IUnknown* partner);
    void PropertyWarning(const void* property, const CAtlStringA& text, IUnknown* partner);
    // Increments the property error count, then notifies.
    void PropertyError(const void* property, const CAtlStringA& text, IUnknown* partner);

protected:
    CObjectData* m_pObjectData;
    CCoClassData* m_pCoClassData;
    long m_lReserved;
    ExtendedPropertyMapEntry* m_pExtendedPropertyMap;
    unsigned long m_ulPropertyState;
    long m_lPropertyErrorCount;
    bool m_bToolSelected;
};

} // namespace KxTamarind
