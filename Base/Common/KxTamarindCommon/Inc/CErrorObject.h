// CErrorObject: the value record of one error or repaired error, with its
// three renderings.
//
// Description()          tab-aligned multi-line text, used for debug output
//                        and as the text of thrown errors;
// DescriptionXml()       one "    <Error" element for an XML error log (not
//                        wrapped in a document: log writers concatenate);
// GetAdditionalInfoEx()  a short summary with <br/> breaks.
//
// A plain value: copyable, not synchronised. The default constructor leaves
// the two object GUIDs unset; every producer of records sets them.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

namespace KxTamarind {

class KXTAMARIND_API CErrorObject {
public:
    CErrorObject();
    CErrorObject(bool isRepairedError, long line, long errorCode, GUID iid, long logicalLocation,
                 GUID objectGuid, GUID partnerObjectGuid, const CAtlStringA& condition,
                 const CAtlStringA& fileName, const CAtlStringA& timeStamp,
                 const CAtlStringA& methodName, const CAtlStringA& coClassName,
                 const CAtlStringA& objectName, const CAtlStringA& partnerObjectName,
                 const CAtlStringA& propertyPath, const CAtlStringA& propertyName,
                 const CAtlStringA& additionalInfo, const CAtlStringA& threadName);
    CErrorObject(const CErrorObject& other);
    CErrorObject& operator=(const CErrorObject& other);
    virtual ~CErrorObject();

    CAtlStringA Description() const;
    CAtlStringA DescriptionXml() const;
    CAtlStringA GetAdditionalInfoEx() const;

    bool GetIsRepairedError() const { return m_bIsRepairedError; }
    void SetIsRepairedError(bool value) { m_bIsRepairedError = value; }
    long GetLine() const { return m_lLine; }
    void SetLine(long value) { m_lLine = value; }
    long GetErrorCode() const { return m_lErrorCode; }
    void SetErrorCode(long value) { m_lErrorCode = value; }
    const GUID& GetIid() const { return m_Iid; }
    void SetIid(GUID value) { m_Iid = value; }
    long GetLogicalLocation() const { return m_lLogicalLocation; }
    void SetLogicalLocation(long value) { m_lLogicalLocation = value; }
    GUID GetObjectGuid() const { return m_ObjectGuid; }
    void SetObjectGuid(const GUID& value) { m_ObjectGuid = value; }
    GUID GetPartnerObjectGuid() const { return m_PartnerObjectGuid; }
    void SetPartnerObjectGuid(const GUID& value) { m_PartnerObjectGuid = value; }

    const CAtlStringA& GetCondition() const { return m_strCondition; }
    void SetCondition(const CAtlStringA& value) { m_strCondition = value; }
    const CAtlStringA& GetFileName() const { return m_strFileName; }
    void SetFileName(const CAtlStringA& value) { m_strFileName = value; }
    const CAtlStringA& GetTimeStamp() const { return m_strTimeStamp; }
    void SetTimeStamp(const CAtlStringA& value) { m_strTimeStamp = value; }
    const CAtlStringA& GetMethodName() const { return m_strMethodName; }
    void SetMethodName(const CAtlStringA& value) { m_strMethodName = value; }
    const CAtlStringA& GetCoClassName() const { return m_strCoClassName; }
    void SetCoClassName(const CAtlStringA& value) { m_strCoClassName = value; }
    const CAtlStringA& GetObjectName() const { return m_strObjectName; }
    void SetObjectName(const CAtlStringA& value) { m_strObjectName = value; }
    const CAtlStringA& GetPartnerObjectName() const { return m_strPartnerObjectName; }
    void SetPartnerObjectName(const CAtlStringA& value) { m_strPartnerObjectName = value; }
    const CAtlStringA& GetPropertyPath() const { return m_strPropertyPath; }
    void SetPropertyPath(const CAtlStringA& value) { m_strPropertyPath = value; }
    const CAtlStringA& GetPropertyName() const { return m_strPropertyName; }
    void SetPropertyName(const CAtlStringA& value) { m_strPropertyName = value; }
    const CAtlStringA& GetAdditionalInfo() const { return m_strAdditionalInfo; }
    void SetAdditionalInfo(const CAtlStringA& value) { m_strAdditionalInfo = value; }
    const CAtlStringA& GetThreadName() const { return m_strThreadName; }
    void SetThreadName(const CAtlStringA& value) { m_strThreadName = value; }

private:
    bool m_bIsRepairedError;
    long m_lLine;
    long m_lErrorCode;
    GUID m_Iid;
    long m_lLogicalLocation;
    GUID m_ObjectGuid;
    GUID m_PartnerObjectGuid;
    CAtlStringA m_strCondition;
    CAtlStringA m_strFileName;
    CAtlStringA m_strTimeStamp;
    CAtlStringA m_strMethodName;
    CAtlStringA m_strCoClassName;
    CAtlStringA m_strObjectName;
    CAtlStringA m_strPartnerObjectName;
    CAtlStringA m_strPropertyPath;
    CAtlStringA m_strPropertyName;
    CAtlStringA m_strAdditionalInfo;
    CAtlStringA m_strThreadName;
};

// Escapes the five XML special characters (" & ' < >) byte by byte; every
// other byte is copied unchanged.
KXTAMARIND_API CAtlStringA XmlReplaceSpecialCharsA(const CAtlStringA& text);

} // namespace KxTamarind
