#include "CObjectDataReferenceBase.h"

#include <atomic>
#include <mutex>

#include "CCoClassData.h"
#include "CCritSection.h"
#include "CErrorObject.h"
#include "CObjectData.h"
#include "IKXComponentManagement.h"
#include "KxErrorThreadName.h"

namespace KxTamarind {

namespace {

std::atomic<bool> g_fatalErrorNotified{false};

struct ModifiedPropertyObjects {
    CCritSection lock;
    std::vector<long> objects;
};

ModifiedPropertyObjects& ModifiedObjects() {
    static ModifiedPropertyObjects list;
    return list;
}

// "%S" of a wide text; a null text stays empty.
CAtlStringA Narrow(const wchar_t* text) {
    CAtlStringA result;
    if (text != nullptr) {
        result.Format("%S", text);
    }
    return result;
}

// The partner's object name and GUID, when it is a managed component.
void ReadPartner(IUnknown* partner, CAtlStringA& name, GUID& guid) {
    IKXComponentManagement* management = nullptr;
    if (FAILED(partner->QueryInterface(__uuidof(IKXComponentManagement),
                                       reinterpret_cast<void**>(&management))) ||
        management == nullptr) {
        return;
    }
    BSTR partnerName = nullptr;
    GUID partnerGuid = GUID_NULL;
    try {
        if (management->GetObjectInfo(&partnerName, &partnerGuid) == S_OK) {
            name = Narrow(partnerName);
            guid = partnerGuid;
        }
    } catch (...) {
        // A partner that fails here is simply left out of the record.
    }
    SysFreeString(partnerName);
    management->Release();
}

CAtlStringA DescriptionElement(const CAtlStringA& text) {
    CAtlStringA element;
    element.Format("<Description>%s</Description>", XmlReplaceSpecialCharsA(text).GetString());
    return element;
}

} // namespace

CObjectDataReferenceBase::CObjectDataReferenceBase()
    : m_pObjectData(nullptr), m_pCoClassData(nullptr), m_lReserved(0),
      m_pExtendedPropertyMap(nullptr), m_ulPropertyState(0), m_lPropertyErrorCount(0),
      m_bToolSelected(false) {}

CObjectDataReferenceBase::~CObjectDataReferenceBase() = default;

void CObjectDataReferenceBase::SetObjectDataReference(CObjectData* objectData,
                                                      CCoClassData* classData,
                                                      ExtendedPropertyMapEntry* propertyMap) {
    m_pObjectData = objectData;
    m_pCoClassData = classData;
    m_pExtendedPropertyMap = propertyMap;
}

CObjectDataReferenceBase& CObjectDataReferenceBase::SetSubtreeChanged() {
    m_ulPropertyState |= PropertyState_SubtreeChanged;
    return *this;
}

CObjectDataReferenceBase& CObjectDataReferenceBase::SetParentSubtreeChanged() {
    m_ulPropertyState |= PropertyState_ParentSubtreeChanged;
    return *this;
}

CObjectDataReferenceBase& CObjectDataReferenceBase::SetOtherPropertiesChanged() {
    m_ulPropertyState |= PropertyState_OtherPropertiesChanged;
    return *this;
}

CObjectDataReferenceBase& CObjectDataReferenceBase::SetToolEditPropertyChanged() {
    m_ulPropertyState |= PropertyState_ToolEditPropertyChanged;
    return *this;
}

void CObjectDataReferenceBase::SetToolEditFinished() {
    m_ulPropertyState |= PropertyState_ToolEditFinished;
}

CObjectDataReferenceBase& CObjectDataReferenceBase::SetToolEditAborted() {
    m_ulPropertyState |= PropertyState_ToolEditAborted;
    return *this;
}

void CObjectDataReferenceBase::ClearPropertyState() {
    m_ulPropertyState = 0;
    m_lPropertyErrorCount = 0;
}

void CObjectDataReferenceBase::AddModifiedPropertyObject(long) {}
void CObjectDataReferenceBase::ReportPropertyChange(bool) {}
void CObjectDataReferenceBase::NotifyObjectSelected(long, const void*) {}
void CObjectDataReferenceBase::GetPropertyPath(const void*, CAtlStringA&, CAtlStringA&) const {}

void CObjectDataReferenceBase::GetModifiedPropertyObjects(std::vector<long>& out, bool clear) {
    ModifiedPropertyObjects& list = ModifiedObjects();
    CCritSectionLocker locker(list.lock);
    out = list.objects;
    if (clear) {
        list.objects.clear();
    }
}

CErrorObject* CObjectDataReferenceBase::CreateErrorObject(
    KxTamarindErrorClass errorClass, long line, long code, GUID iid, const CAtlStringA& condition,
    const CAtlStringA& file, const CAtlStringA& timeStamp, const CAtlStringA& method,
    const CObjectDataReferenceBase* origin, const void* property, IUnknown* partner,
    const CAtlStringA& message, CONTEXT* /*context*/) {
    CAtlStringA objectName;
    CAtlStringA coClassName;
    CAtlStringA propertyPath;
    CAtlStringA propertyName;
    CAtlStringA partnerName;
    GUID objectGuid = GUID_NULL;
    GUID partnerGuid = GUID_NULL;
    long location = 0;
    if (origin != nullptr) {
        if (const CObjectData* data = origin->m_pObjectData) {
            objectName = Narrow(data->m_bstrObjectName);
            objectGuid = data->ObjectGuid;
            location = data->m_lLogicalLocation;
        }
        if (const CCoClassData* classData = origin->m_pCoClassData) {
            if (classData->m_pbstrDescription != nullptr) {
                coClassName = Narrow(*classData->m_pbstrDescription);
            }
        }
        if (property != nullptr) {
            origin->GetPropertyPath(property, propertyPath, propertyName);
        }
    }
    if (partner != nullptr) {
        try {
            ReadPartner(partner, partnerName, partnerGuid);
        } catch (...) {
        }
    }
    return new CErrorObject(errorClass == KxTamarindErrorClass_Repaired, line, code, iid, location,
                            objectGuid, partnerGuid, condition, file, timeStamp, method,
                            coClassName, objectName, partnerName, propertyPath, propertyName,
                            message, CurrentThreadNameForErrors());
}

void CObjectDataReferenceBase::FatalError(const CObjectDataReferenceBase* origin,
                                          const void* property, IUnknown* partner,
                                          const CAtlStringA& message) {
    if (g_fatalErrorNotified.exchange(true, std::memory_order_relaxed)) {
        return; // only the first fatal error of the process is notified
    }
    NotifyError(origin, TamarindErrorType_FatalError, TamarindErrorEvent_System, property, partner,
                message);
}

void CObjectDataReferenceBase::RepairedError(const CObjectDataReferenceBase* origin,
                                             const void* property, IUnknown* partner,
                                             const CAtlStringA& message) {
    if (g_fatalErrorNotified.load(std::memory_order_relaxed)) {
        return;
    }
    NotifyError(origin, TamarindErrorType_RepairedError, TamarindErrorEvent_System, property,
                partner, message);
}

void CObjectDataReferenceBase::SubsysError(IUnknown* partner, const CAtlStringA& text) {
    NotifyError(this, TamarindErrorType_Error, TamarindErrorEvent_Subsystem, nullptr, partner,
                DescriptionElement(text));
}

void CObjectDataReferenceBase::SubsysError(const void* property, const CAtlStringA& text) {
    NotifyError(this, TamarindErrorType_Error, TamarindErrorEvent_Subsystem, property, nullptr,
                DescriptionElement(text));
}

void CObjectDataReferenceBase::PropertyInfo(const void* property, const CAtlStringA& text,
                                            bool propertiesChanged, IUnknown* partner) {
    CAtlStringA element = DescriptionElement(text);
    if (propertiesChanged) {
        element += "<PropertiesChanged>1</PropertiesChanged>";
    }
    NotifyError(this, TamarindErrorType_PropertyInfo, TamarindErrorEvent_Property, property,
                partner, element);
}

void CObjectDataReferenceBase::PropertyWarning(const void* property, const CAtlStringA& text,
                                               IUnknown* partner) {
    NotifyError(this, TamarindErrorType_PropertyWarning, TamarindErrorEvent_Property, property,
                partner, DescriptionElement(text));
}

void CObjectDataReferenceBase::PropertyError(const void* property, const CAtlStringA& text,
                                             IUnknown* partner) {
    ++m_lPropertyErrorCount;
    NotifyError(this, TamarindErrorType_Error, TamarindErrorEvent_Property, property, partner,
                DescriptionElement(text));
}

} // namespace KxTamarind
