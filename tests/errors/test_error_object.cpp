// CErrorObject: the three renderings (plain text, XML element, HTML summary),
// value semantics and the XML escaping.
#include <gtest/gtest.h>

#include <string>

#include "CErrorObject.h"
#include "CFwInfoTable.h"
#include "KxKernelRemote.h"

using namespace KxTamarind;

namespace {

const GUID kObjectGuid = {
    0x12345678, 0x9ABC, 0xDEF0, {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88}};
const GUID kPartnerGuid = {
    0x0A0B0C0D, 0x0102, 0x0304, {0xA1, 0xB2, 0xC3, 0xD4, 0xE5, 0xF6, 0x07, 0x18}};
const GUID kIid = {0xCAFEBABE, 0x0001, 0x0002, {0x10, 0x20, 0x30, 0x40, 0x50, 0x60, 0x70, 0x80}};

const char kObjectGuidText[] = "{12345678-9ABC-DEF0-1122-334455667788}";
const char kPartnerGuidText[] = "{0A0B0C0D-0102-0304-A1B2-C3D4E5F60718}";
const char kIidText[] = "{CAFEBABE-0001-0002-1020-304050607080}";

// Whether `text` has digits where `shape` has '9' and equal bytes elsewhere.
bool HasShape(const std::string& text, const std::string& shape) {
    if (text.size() != shape.size()) {
        return false;
    }
    for (std::size_t i = 0; i < shape.size(); ++i) {
        const bool ok = shape[i] == '9' ? (text[i] >= '0' && text[i] <= '9') : text[i] == shape[i];
        if (!ok) {
            return false;
        }
    }
    return true;
}

// Replaces the rendering time by fixed markers after checking its format.
std::string MaskDateTime(const std::string& xml) {
    static const std::string kShape = " Date=\"9999-99-99\" Time=\"99:99:99.999\">";
    const std::size_t at = xml.find(" Date=\"");
    if (at == std::string::npos || !HasShape(xml.substr(at, kShape.size()), kShape)) {
        ADD_FAILURE() << "no date and time in " << xml;
        return xml;
    }
    return xml.substr(0, at) + " Date=\"D\" Time=\"T\">" + xml.substr(at + kShape.size());
}

// Enters a named firmware application into the process-wide table and
// answers its identifier (slot x 256).
unsigned short AddNamedApplication(const wchar_t* name) {
    CFwInfoTable* table = GetFwInfoTable();
    const unsigned short id = table->NewFwAppId(0);
    table->GetFwInfo(id)->SetFwAppName(name);
    return id;
}

CErrorObject FullRecord(long location) {
    return CErrorObject(false, 42, E_POINTER, kIid, location, kObjectGuid, kPartnerGuid,
                        "p != NULL", "Src/Comp.cpp", "Mon Jan  5 10:00:00 2026", "Method",
                        "CoClass", "Obj1", "Partner1", "Path/Prop", "Prop", "Something broke",
                        "1234");
}

} // namespace

TEST(ErrorObjectRender, DefaultRecordWithNullObjectGuids) {
    CErrorObject error;
    error.SetObjectGuid(GUID_NULL);
    error.SetPartnerObjectGuid(GUID_NULL);
    EXPECT_FALSE(error.GetIsRepairedError());
    EXPECT_EQ(error.GetLine(), 0);
    EXPECT_EQ(error.GetErrorCode(), 0);
    EXPECT_EQ(error.GetLogicalLocation(), 0);
    const GUID allOnes = {
        0xFFFFFFFFu, 0xFFFF, 0xFFFF, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}};
    EXPECT_TRUE(IsEqualGUID(error.GetIid(), allOnes));

    EXPECT_STREQ(error.Description().GetString(), "\n0x0: S_OK");
    EXPECT_EQ(MaskDateTime(error.DescriptionXml().GetString()),
              "    <Error ErrorLevel=\"SystemError\" Date=\"D\" Time=\"T\">\n"
              "      <Iid>{FFFFFFFF-FFFF-FFFF-FFFF-FFFFFFFFFFFF}</Iid>\n"
              "    </Error>\n");
    EXPECT_STREQ(error.GetAdditionalInfoEx().GetString(), "");
}

TEST(ErrorObjectRender, FullRecordWithLogicalInstrument) {
    const unsigned short id = AddNamedApplication(L"Spectrum");
    const CErrorObject error = FullRecord(id | 2);

    EXPECT_EQ(std::string(error.Description().GetString()),
              std::string("Something broke\n"
                          "\n"
                          "CONDITION:\t(p != NULL) failed\n"
                          "COMPONENT:\tCoClass\n"
                          "OBJECTNAME:\tObj1\n"
                          "OBJECTGUID:\t") +
                  kObjectGuidText +
                  "\n"
                  "LOCATION:\tSpectrum[1]\n"
                  "PROPERTY:\tProp\n"
                  "PARTNERNAME:\tPartner1\n"
                  "PARTNERGUID:\t" +
                  kPartnerGuidText +
                  "\n"
                  "FILE:\t\tSrc/Comp.cpp\n"
                  "LINE:\t\t42\n"
                  "FILEMODTIME:\tMon Jan  5 10:00:00 2026\n"
                  "THREAD:\t\t1234\n"
                  "0x80000005: E_POINTER");

    EXPECT_EQ(MaskDateTime(error.DescriptionXml().GetString()),
              std::string("    <Error ErrorLevel=\"SystemError\" Date=\"D\" Time=\"T\">\n"
                          "      <CoClassName>CoClass</CoClassName>\n"
                          "      <ObjectName>Obj1</ObjectName>\n"
                          "      <ObjectGuid>") +
                  kObjectGuidText +
                  "</ObjectGuid>\n"
                  "      <LogicalLocation>" +
                  std::to_string(id | 2) +
                  "</LogicalLocation>\n"
                  "      <FwApplic>Spectrum</FwApplic>\n"
                  "      <LINumber>1</LINumber>\n"
                  "      <Condition>p != NULL</Condition>\n"
                  "      <Description>Something broke</Description>\n"
                  "      <PropertyPath>Path/Prop</PropertyPath>\n"
                  "      <PropertyName>Prop</PropertyName>\n"
                  "      <PartnerObjectName>Partner1</PartnerObjectName>\n"
                  "      <PartnerObjectGuid>" +
                  kPartnerGuidText +
                  "</PartnerObjectGuid>\n"
                  "      <FileName>Src/Comp.cpp</FileName>\n"
                  "      <FileLine>42</FileLine>\n"
                  "      <FileTime>Mon Jan  5 10:00:00 2026</FileTime>\n"
                  "      <Iid>" +
                  kIidText +
                  "</Iid>\n"
                  "      <MethodName>Method</MethodName>\n"
                  "      <Thread>1234</Thread>\n"
                  "      <ErrorCode>0x80000005: E_POINTER</ErrorCode>\n"
                  "    </Error>\n");

    EXPECT_EQ(std::string(error.GetAdditionalInfoEx().GetString()),
              std::string("ADDITIONAL INFO: Something broke<br/>"
                          "COMPONENT: CoClass<br/>"
                          "OBJECTNAME: Obj1<br/>"
                          "OBJECTGUID: ") +
                  kObjectGuidText +
                  "<br/>"
                  "LOCATION: Spectrum[1]\n"
                  "PROPERTY: Prop<br/>"
                  "PARTNEROBJECTNAME: Partner1<br/>"
                  "PARTNEROBJECTGUID: " +
                  kPartnerGuidText + "<br/>");
}

TEST(ErrorObjectRender, LocationOfTheApplicationItselfAndUnnamedOnes) {
    const unsigned short named = AddNamedApplication(L"Analyzer");
    const unsigned short unnamed = AddNamedApplication(L"");
    CErrorObject error = FullRecord(named);
    error.SetIsRepairedError(true);

    const std::string text = error.Description().GetString();
    EXPECT_NE(text.find("LOCATION:\tAnalyzer\nPROPERTY:"), std::string::npos) << text;
    const std::string xml = error.DescriptionXml().GetString();
    EXPECT_EQ(xml.rfind("    <Error ErrorLevel=\"RepairedError\" Date=", 0), 0u) << xml;
    EXPECT_NE(xml.find("      <FwApplic>Analyzer</FwApplic>\n      <Condition>"), std::string::npos)
        << xml;
    EXPECT_EQ(xml.find("<LINumber>"), std::string::npos);
    const std::string info = error.GetAdditionalInfoEx().GetString();
    EXPECT_NE(info.find("<br/>LOCATION: Analyzer\nPROPERTY: "), std::string::npos) << info;

    // Instrument bits beyond the table's 15 instruments are printed as they are.
    error.SetLogicalLocation(named | 0x20);
    EXPECT_NE(std::string(error.Description().GetString()).find("LOCATION:\tAnalyzer[31]\n"),
              std::string::npos);
    EXPECT_NE(std::string(error.DescriptionXml().GetString()).find("<LINumber>31</LINumber>"),
              std::string::npos);

    // An application without a name, a free slot and a slot beyond the
    // table name no location (and do not raise).
    for (long location : {static_cast<long>(unnamed | 3), 0x7E05L, 0xFF01L}) {
        error.SetLogicalLocation(location);
        EXPECT_EQ(std::string(error.Description().GetString()).find("LOCATION"), std::string::npos);
        const std::string noNameXml = error.DescriptionXml().GetString();
        EXPECT_NE(noNameXml.find("<LogicalLocation>" + std::to_string(location) +
                                 "</LogicalLocation>\n      <Condition>"),
                  std::string::npos)
            << noNameXml;
        EXPECT_EQ(noNameXml.find("<FwApplic>"), std::string::npos);
        EXPECT_EQ(std::string(error.GetAdditionalInfoEx().GetString()).find("LOCATION"),
                  std::string::npos);
    }
}

TEST(ErrorObjectRender, NegativeLocationOnlyInPlainText) {
    const unsigned short id = AddNamedApplication(L"Neg");
    // Bits 0-15 name the application with instrument bits 2; the sign bit is set.
    const long location = static_cast<long>(static_cast<int>(0x80000000u | id | 2));
    ASSERT_LT(location, 0);
    const CErrorObject error = FullRecord(location);
    EXPECT_NE(std::string(error.Description().GetString()).find("\nLOCATION:\tNeg[1]\n"),
              std::string::npos);
    const std::string xml = error.DescriptionXml().GetString();
    EXPECT_EQ(xml.find("<LogicalLocation>"), std::string::npos) << xml;
    EXPECT_EQ(xml.find("<FwApplic>"), std::string::npos);
    EXPECT_EQ(xml.find("<LINumber>"), std::string::npos);
    EXPECT_EQ(std::string(error.GetAdditionalInfoEx().GetString()).find("LOCATION"),
              std::string::npos);
}

TEST(ErrorObjectRender, NullObjectGuidCarriesNoLocationElements) {
    const unsigned short id = AddNamedApplication(L"NoGuid");
    CErrorObject error = FullRecord(id | 1);
    error.SetObjectGuid(GUID_NULL);
    const std::string xml = error.DescriptionXml().GetString();
    EXPECT_EQ(xml.find("<ObjectGuid>"), std::string::npos);
    EXPECT_EQ(xml.find("<LogicalLocation>"), std::string::npos);
    EXPECT_EQ(xml.find("<FwApplic>"), std::string::npos);
    // The plain text prints the null GUID and the location all the same.
    const std::string text = error.Description().GetString();
    EXPECT_NE(text.find("OBJECTGUID:\t{00000000-0000-0000-0000-000000000000}\n"
                        "LOCATION:\tNoGuid[0]\n"),
              std::string::npos)
        << text;
    const std::string info = error.GetAdditionalInfoEx().GetString();
    EXPECT_EQ(info.find("<br/>OBJECTGUID"), std::string::npos) << info;
    EXPECT_NE(info.find("<br/>PARTNEROBJECTGUID: "), std::string::npos) << info;
}

TEST(ErrorObjectRender, PropertyNameWithoutPath) {
    CErrorObject error;
    error.SetObjectGuid(GUID_NULL);
    error.SetPartnerObjectGuid(GUID_NULL);
    error.SetPropertyName("Freq");
    EXPECT_STREQ(error.Description().GetString(), "\n0x0: S_OK");
    EXPECT_EQ(MaskDateTime(error.DescriptionXml().GetString()),
              "    <Error ErrorLevel=\"SystemError\" Date=\"D\" Time=\"T\">\n"
              "      <PropertyName>Freq</PropertyName>\n"
              "      <Iid>{FFFFFFFF-FFFF-FFFF-FFFF-FFFFFFFFFFFF}</Iid>\n"
              "    </Error>\n");
    EXPECT_STREQ(error.GetAdditionalInfoEx().GetString(), "PROPERTY: Freq<br/>");
    // A path without a name prints an empty property line.
    error.SetPropertyName("");
    error.SetPropertyPath("Some/Path");
    EXPECT_STREQ(error.Description().GetString(), "\nPROPERTY:\t\n0x0: S_OK");
}

TEST(ErrorObjectRender, LineZeroWithFileName) {
    CErrorObject error;
    error.SetObjectGuid(GUID_NULL);
    error.SetPartnerObjectGuid(GUID_NULL);
    error.SetIid(GUID_NULL);
    error.SetFileName("a.cpp");
    EXPECT_STREQ(error.Description().GetString(),
                 "\nFILE:\t\ta.cpp\nLINE:\t\t0\nFILEMODTIME:\t\n0x0: S_OK");
    EXPECT_EQ(MaskDateTime(error.DescriptionXml().GetString()),
              "    <Error ErrorLevel=\"SystemError\" Date=\"D\" Time=\"T\">\n"
              "      <FileName>a.cpp</FileName>\n"
              "    </Error>\n");
    // A line without a file name is not printed at all.
    error.SetFileName("");
    error.SetLine(7);
    EXPECT_STREQ(error.Description().GetString(), "\n0x0: S_OK");
    EXPECT_EQ(std::string(error.DescriptionXml().GetString()).find("FileLine"), std::string::npos);
}

TEST(ErrorObjectRender, EscapingOnlyInXml) {
    const char name[] = "a<b & 'c'";
    CErrorObject error;
    error.SetObjectGuid(GUID_NULL);
    error.SetPartnerObjectGuid(GUID_NULL);
    error.SetIid(GUID_NULL);
    error.SetCoClassName("C<o>");
    error.SetObjectName(name);
    error.SetPropertyPath("P<a>th");
    error.SetMethodName("M&");
    error.SetThreadName("T'");
    error.SetTimeStamp("S\"");
    EXPECT_EQ(MaskDateTime(error.DescriptionXml().GetString()),
              "    <Error ErrorLevel=\"SystemError\" Date=\"D\" Time=\"T\">\n"
              "      <CoClassName>C<o></CoClassName>\n"
              "      <ObjectName>a&lt;b &amp; &apos;c&apos;</ObjectName>\n"
              "      <PropertyPath>P<a>th</PropertyPath>\n"
              "      <FileTime>S\"</FileTime>\n"
              "      <MethodName>M&</MethodName>\n"
              "      <Thread>T'</Thread>\n"
              "    </Error>\n");
    EXPECT_NE(std::string(error.Description().GetString())
                  .find("COMPONENT:\tC<o>\nOBJECTNAME:\ta<b & 'c'\n"),
              std::string::npos);
    EXPECT_STREQ(error.GetAdditionalInfoEx().GetString(),
                 "COMPONENT: C<o><br/>OBJECTNAME: a<b & 'c'<br/>");
}

TEST(ErrorObjectValue, CopyAssignAndSelfAssign) {
    const CErrorObject original(true, 9, 77, kIid, 0x0102, kObjectGuid, kPartnerGuid, "c", "f", "t",
                                "m", "cc", "o", "po", "pp", "pn", "ai", "th");
    const auto expectSame = [&](const CErrorObject& copy) {
        EXPECT_TRUE(copy.GetIsRepairedError());
        EXPECT_EQ(copy.GetLine(), 9);
        EXPECT_EQ(copy.GetErrorCode(), 77);
        EXPECT_TRUE(IsEqualGUID(copy.GetIid(), kIid));
        EXPECT_EQ(copy.GetLogicalLocation(), 0x0102);
        EXPECT_TRUE(IsEqualGUID(copy.GetObjectGuid(), kObjectGuid));
        EXPECT_TRUE(IsEqualGUID(copy.GetPartnerObjectGuid(), kPartnerGuid));
        EXPECT_STREQ(copy.GetCondition().GetString(), "c");
        EXPECT_STREQ(copy.GetFileName().GetString(), "f");
        EXPECT_STREQ(copy.GetTimeStamp().GetString(), "t");
        EXPECT_STREQ(copy.GetMethodName().GetString(), "m");
        EXPECT_STREQ(copy.GetCoClassName().GetString(), "cc");
        EXPECT_STREQ(copy.GetObjectName().GetString(), "o");
        EXPECT_STREQ(copy.GetPartnerObjectName().GetString(), "po");
        EXPECT_STREQ(copy.GetPropertyPath().GetString(), "pp");
        EXPECT_STREQ(copy.GetPropertyName().GetString(), "pn");
        EXPECT_STREQ(copy.GetAdditionalInfo().GetString(), "ai");
        EXPECT_STREQ(copy.GetThreadName().GetString(), "th");
        EXPECT_STREQ(copy.Description().GetString(), original.Description().GetString());
    };
    const CErrorObject copied(original);
    expectSame(copied);

    CErrorObject assigned;
    assigned.SetObjectGuid(GUID_NULL);
    assigned.SetPartnerObjectGuid(GUID_NULL);
    CErrorObject& result = (assigned = original);
    EXPECT_EQ(&result, &assigned);
    expectSame(assigned);

    CErrorObject& self = assigned;
    CErrorObject& selfResult = (assigned = self);
    EXPECT_EQ(&selfResult, &assigned);
    expectSame(assigned);
}

TEST(XmlEscape, EachSpecialCharacterAndTheRest) {
    EXPECT_STREQ(XmlReplaceSpecialCharsA("\"").GetString(), "&quot;");
    EXPECT_STREQ(XmlReplaceSpecialCharsA("&").GetString(), "&amp;");
    EXPECT_STREQ(XmlReplaceSpecialCharsA("'").GetString(), "&apos;");
    EXPECT_STREQ(XmlReplaceSpecialCharsA("<").GetString(), "&lt;");
    EXPECT_STREQ(XmlReplaceSpecialCharsA(">").GetString(), "&gt;");
    EXPECT_STREQ(XmlReplaceSpecialCharsA("").GetString(), "");
    EXPECT_STREQ(XmlReplaceSpecialCharsA("x<&>y\"'z").GetString(), "x&lt;&amp;&gt;y&quot;&apos;z");
    // Already escaped text is escaped again; control and high bytes pass.
    EXPECT_STREQ(XmlReplaceSpecialCharsA("&amp;").GetString(), "&amp;amp;");
    EXPECT_STREQ(XmlReplaceSpecialCharsA("\t\x01\x7F\x80\xC3\xA4\xFF").GetString(),
                 "\t\x01\x7F\x80\xC3\xA4\xFF");
}
