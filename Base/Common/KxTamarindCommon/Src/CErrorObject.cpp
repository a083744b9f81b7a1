#include "CErrorObject.h"

#include "CFwInfoTable.h"
#include "KxKernelRemote.h"
#include "KxResultCodes.h"

namespace KxTamarind {

namespace {

const GUID kAllOnes = {
    0xFFFFFFFFu, 0xFFFF, 0xFFFF, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}};

bool IsNullGuid(const GUID& g) {
    return IsEqualGUID(g, GUID_NULL);
}

// The registry text of a GUID as a BSTR for "%S"; frees itself.
class GuidText {
public:
    explicit GuidText(const GUID& g) {
        LPOLESTR text = nullptr;
        if (SUCCEEDED(StringFromCLSID(g, &text))) {
            m_text = SysAllocString(text);
            CoTaskMemFree(text);
        }
    }
    ~GuidText() { SysFreeString(m_text); }
    GuidText(const GuidText&) = delete;
    GuidText& operator=(const GuidText&) = delete;
    const wchar_t* get() const { return m_text; }

private:
    BSTR m_text = nullptr;
};

// The firmware application named by the low 16 bits of a logical location:
// a copy of its name, or null when the table has no named entry for it.
class LocationName {
public:
    explicit LocationName(long logicalLocation) {
        const unsigned short id = static_cast<unsigned short>(logicalLocation & 0xFFFF);
        // Identifiers beyond the table would raise in the look-up; they have
        // no entry, so they have no name.
        if ((id >> 8) >= CFwInfoTable::MaxFw) {
            return;
        }
        const CFwInfo* info = GetFwInfoTable()->GetFwInfo(id);
        if (info == nullptr) {
            return;
        }
        const BSTR name = info->GetFwAppName();
        if (name != nullptr && SysStringLen(name) != 0) {
            m_name = SysAllocString(name);
        }
    }
    ~LocationName() { SysFreeString(m_name); }
    LocationName(const LocationName&) = delete;
    LocationName& operator=(const LocationName&) = delete;
    bool has() const { return m_name != nullptr; }
    const wchar_t* get() const { return m_name; }

private:
    BSTR m_name = nullptr;
};

long LiNumberBits(long logicalLocation) {
    return logicalLocation & 0xFF;
}

} // namespace

CErrorObject::CErrorObject()
    : m_bIsRepairedError(false), m_lLine(0), m_lErrorCode(0), m_Iid(kAllOnes),
      m_lLogicalLocation(0), m_ObjectGuid(GUID_NULL), m_PartnerObjectGuid(GUID_NULL) {}

CErrorObject::CErrorObject(bool isRepairedError, long line, long errorCode, GUID iid,
                           long logicalLocation, GUID objectGuid, GUID partnerObjectGuid,
                           const CAtlStringA& condition, const CAtlStringA& fileName,
                           const CAtlStringA& timeStamp, const CAtlStringA& methodName,
                           const CAtlStringA& coClassName, const CAtlStringA& objectName,
                           const CAtlStringA& partnerObjectName, const CAtlStringA& propertyPath,
                           const CAtlStringA& propertyName, const CAtlStringA& additionalInfo,
                           const CAtlStringA& threadName)
    : m_bIsRepairedError(isRepairedError), m_lLine(line), m_lErrorCode(errorCode), m_Iid(iid),
      m_lLogicalLocation(logicalLocation), m_ObjectGuid(objectGuid),
      m_PartnerObjectGuid(partnerObjectGuid), m_strCondition(condition), m_strFileName(fileName),
      m_strTimeStamp(timeStamp), m_strMethodName(methodName), m_strCoClassName(coClassName),
      m_strObjectName(objectName), m_strPartnerObjectName(partnerObjectName),
      m_strPropertyPath(propertyPath), m_strPropertyName(propertyName),
      m_strAdditionalInfo(additionalInfo), m_strThreadName(threadName) {}

CErrorObject::CErrorObject(const CErrorObject& other) = default;

CErrorObject& CErrorObject::operator=(const CErrorObject& other) {
    if (this != &other) {
        m_bIsRepairedError = other.m_bIsRepairedError;
        m_lLine = other.m_lLine;
        m_lErrorCode = other.m_lErrorCode;
        m_Iid = other.m_Iid;
        m_lLogicalLocation = other.m_lLogicalLocation;
        m_ObjectGuid = other.m_ObjectGuid;
        m_PartnerObjectGuid = other.m_PartnerObjectGuid;
        m_strCondition = other.m_strCondition;
        m_strFileName = other.m_strFileName;
        m_strTimeStamp = other.m_strTimeStamp;
        m_strMethodName = other.m_strMethodName;
        m_strCoClassName = other.m_strCoClassName;
        m_strObjectName = other.m_strObjectName;
        m_strPartnerObjectName = other.m_strPartnerObjectName;
        m_strPropertyPath = other.m_strPropertyPath;
        m_strPropertyName = other.m_strPropertyName;
        m_strAdditionalInfo = other.m_strAdditionalInfo;
        m_strThreadName = other.m_strThreadName;
    }
    return *this;
}

CErrorObject::~CErrorObject() = default;

CAtlStringA CErrorObject::Description() const {
    CAtlStringA additional;
    if (!m_strAdditionalInfo.IsEmpty()) {
        additional.Format("%s\n", m_strAdditionalInfo.GetString());
    }
    CAtlStringA condition;
    if (!m_strCondition.IsEmpty()) {
        condition.Format("CONDITION:\t(%s) failed\n", m_strCondition.GetString());
    }
    CAtlStringA component;
    if (!m_strCoClassName.IsEmpty()) {
        GuidText guid(m_ObjectGuid);
        component.Format("COMPONENT:\t%s\nOBJECTNAME:\t%s\nOBJECTGUID:\t%S\n",
                         m_strCoClassName.GetString(), m_strObjectName.GetString(), guid.get());
        // No sign test here: a negative location still names its application.
        LocationName location(m_lLogicalLocation);
        if (location.has()) {
            if (LiNumberBits(m_lLogicalLocation) == 0) {
                component.AppendFormat("LOCATION:\t%S\n", location.get());
            } else {
                component.AppendFormat("LOCATION:\t%S[%ld]\n", location.get(),
                                       LiNumberBits(m_lLogicalLocation) - 1);
            }
        }
    }
    CAtlStringA property;
    // The test is on the path while the name is printed: both are intended.
    if (!m_strPropertyPath.IsEmpty()) {
        property.Format("PROPERTY:\t%s\n", m_strPropertyName.GetString());
    }
    CAtlStringA partner;
    if (!m_strPartnerObjectName.IsEmpty()) {
        GuidText guid(m_PartnerObjectGuid);
        partner.Format("PARTNERNAME:\t%s\nPARTNERGUID:\t%S\n", m_strPartnerObjectName.GetString(),
                       guid.get());
    }
    CAtlStringA file;
    if (!m_strFileName.IsEmpty()) {
        file.Format("FILE:\t\t%s\nLINE:\t\t%d\nFILEMODTIME:\t%s\n", m_strFileName.GetString(),
                    static_cast<int>(m_lLine), m_strTimeStamp.GetString());
    }
    CAtlStringA thread;
    if (!m_strThreadName.IsEmpty()) {
        thread.Format("THREAD:\t\t%s\n", m_strThreadName.GetString());
    }
    CAtlStringA resultCode;
    AppendResultCodeText(resultCode, m_lErrorCode);

    CAtlStringA result;
    result.Format("%s\n%s%s%s%s%s%s%s%s", additional.GetString(), condition.GetString(),
                  component.GetString(), property.GetString(), partner.GetString(),
                  file.GetString(), thread.GetString(), resultCode.GetString(), "");
    return result;
}

CAtlStringA CErrorObject::DescriptionXml() const {
    CAtlStringA xml;
    xml.Preallocate(1024);
    xml += "    <Error";
    xml += m_bIsRepairedError ? " ErrorLevel=\"RepairedError\"" : " ErrorLevel=\"SystemError\"";
    SYSTEMTIME now;
    GetLocalTime(&now);
    xml.AppendFormat(" Date=\"%4d-%02d-%02d\" Time=\"%02d:%02d:%02d.%03d\">\n", now.wYear,
                     now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds);
    if (!m_strCoClassName.IsEmpty()) {
        xml.AppendFormat("      <CoClassName>%s</CoClassName>\n", m_strCoClassName.GetString());
    }
    if (!m_strObjectName.IsEmpty()) {
        xml.AppendFormat("      <ObjectName>%s</ObjectName>\n",
                         XmlReplaceSpecialCharsA(m_strObjectName).GetString());
    }
    if (!IsNullGuid(m_ObjectGuid)) {
        GuidText guid(m_ObjectGuid);
        xml.AppendFormat("      <ObjectGuid>%S</ObjectGuid>\n", guid.get());
        if (m_lLogicalLocation > 0) {
            xml.AppendFormat("      <LogicalLocation>%d</LogicalLocation>\n",
                             static_cast<int>(m_lLogicalLocation));
            LocationName location(m_lLogicalLocation);
            if (location.has()) {
                xml.AppendFormat("      <FwApplic>%S</FwApplic>\n", location.get());
                if (LiNumberBits(m_lLogicalLocation) != 0) {
                    xml.AppendFormat("      <LINumber>%d</LINumber>\n",
                                     static_cast<int>(LiNumberBits(m_lLogicalLocation) - 1));
                }
            }
        }
    }
    if (!m_strCondition.IsEmpty()) {
        xml.AppendFormat("      <Condition>%s</Condition>\n",
                         XmlReplaceSpecialCharsA(m_strCondition).GetString());
    }
    if (!m_strAdditionalInfo.IsEmpty()) {
        xml.AppendFormat("      <Description>%s</Description>\n",
                         XmlReplaceSpecialCharsA(m_strAdditionalInfo).GetString());
    }
    if (!m_strPropertyPath.IsEmpty()) {
        xml.AppendFormat("      <PropertyPath>%s</PropertyPath>\n", m_strPropertyPath.GetString());
    }
    if (!m_strPropertyName.IsEmpty()) {
        xml.AppendFormat("      <PropertyName>%s</PropertyName>\n",
                         XmlReplaceSpecialCharsA(m_strPropertyName).GetString());
    }
    if (!m_strPartnerObjectName.IsEmpty()) {
        xml.AppendFormat("      <PartnerObjectName>%s</PartnerObjectName>\n",
                         XmlReplaceSpecialCharsA(m_strPartnerObjectName).GetString());
    }
    if (!IsNullGuid(m_PartnerObjectGuid)) {
        GuidText guid(m_PartnerObjectGuid);
        xml.AppendFormat("      <PartnerObjectGuid>%S</PartnerObjectGuid>\n", guid.get());
    }
    if (!m_strFileName.IsEmpty()) {
        xml.AppendFormat("      <FileName>%s</FileName>\n",
                         XmlReplaceSpecialCharsA(m_strFileName).GetString());
        if (m_lLine > 0) {
            xml.AppendFormat("      <FileLine>%d</FileLine>\n", static_cast<int>(m_lLine));
        }
    }
    if (!m_strTimeStamp.IsEmpty()) {
        xml.AppendFormat("      <FileTime>%s</FileTime>\n", m_strTimeStamp.GetString());
    }
    if (!IsNullGuid(m_Iid)) {
        GuidText guid(m_Iid);
        xml.AppendFormat("      <Iid>%S</Iid>\n", guid.get());
    }
    if (!m_strMethodName.IsEmpty()) {
        xml.AppendFormat("      <MethodName>%s</MethodName>\n", m_strMethodName.GetString());
    }
    if (!m_strThreadName.IsEmpty()) {
        xml.AppendFormat("      <Thread>%s</Thread>\n", m_strThreadName.GetString());
    }
    if (m_lErrorCode != 0) {
        CAtlStringA code;
        AppendResultCodeText(code, m_lErrorCode);
        xml.AppendFormat("      <ErrorCode>%s</ErrorCode>\n", code.GetString());
    }
    xml += "    </Error>\n";
    return xml;
}

CAtlStringA CErrorObject::GetAdditionalInfoEx() const {
    CAtlStringA info;
    info.Preallocate(256);
    if (!m_strAdditionalInfo.IsEmpty()) {
        info.AppendFormat("ADDITIONAL INFO: %s<br/>", m_strAdditionalInfo.GetString());
    }
    if (!m_strCoClassName.IsEmpty()) {
        info.AppendFormat("COMPONENT: %s<br/>", m_strCoClassName.GetString());
    }
    if (!m_strObjectName.IsEmpty()) {
        info.AppendFormat("OBJECTNAME: %s<br/>", m_strObjectName.GetString());
    }
    if (!IsNullGuid(m_ObjectGuid)) {
        GuidText guid(m_ObjectGuid);
        info.AppendFormat("OBJECTGUID: %S<br/>", guid.get());
    }
    if (m_lLogicalLocation > 0) {
        LocationName location(m_lLogicalLocation);
        if (location.has()) {
            // These two lines end in a line feed, not in <br/>.
            if (LiNumberBits(m_lLogicalLocation) == 0) {
                info.AppendFormat("LOCATION: %S\n", location.get());
            } else {
                info.AppendFormat("LOCATION: %S[%ld]\n", location.get(),
                                  LiNumberBits(m_lLogicalLocation) - 1);
            }
        }
    }
    if (!m_strPropertyName.IsEmpty()) {
        info.AppendFormat("PROPERTY: %s<br/>", m_strPropertyName.GetString());
    }
    if (!m_strPartnerObjectName.IsEmpty()) {
        info.AppendFormat("PARTNEROBJECTNAME: %s<br/>", m_strPartnerObjectName.GetString());
    }
    if (!IsNullGuid(m_PartnerObjectGuid)) {
        GuidText guid(m_PartnerObjectGuid);
        info.AppendFormat("PARTNEROBJECTGUID: %S<br/>", guid.get());
    }
    return info;
}

CAtlStringA XmlReplaceSpecialCharsA(const CAtlStringA& text) {
    CAtlStringA result;
    result.Preallocate(text.GetLength() * 2);
    for (const char* p = text.GetString(); *p != '\0'; ++p) {
        switch (*p) {
        case '"':
            result += "&quot;";
            break;
        case '&':
            result += "&amp;";
            break;
        case '\'':
            result += "&apos;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        default:
            result.AppendChar(*p);
            break;
        }
    }
    return result;
}

} // namespace KxTamarind
