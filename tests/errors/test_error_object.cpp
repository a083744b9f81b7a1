// CErrorObject: the three renderings (plain text, XML element, HTML summary),
// value semantics and the XML escaping.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CErrorObject.h"
#include "CFwInfoTable.h"
#include "KxKernelRemote.h"
#include "errors/ErrorXml.h"

using namespace KxTamarind;
using KxTest::XmlOf;

namespace {

const GUID kObjectGuid = {
    0x12345678, 0x9ABC, 0xDEF0, {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88}};
const GUID kPartnerGuid = {
    0x0A0B0C0D, 0x0102, 0x0304, {0xA1, 0xB2, 0xC3, 0xD4, 0xE5, 0xF6, 0x07, 0x18}};
const GUID kIid = {0xCAFEBABE, 0x0001, 0x0002, {0x10, 0x20, 0x30, 0x40, 0x50, 0x60, 0x70, 0x80}};

const char kOpen[] = "    <Error ErrorLevel=\"SystemError\" Date=\"D\" Time=\"T\">\n";
const char kAllOnesIid[] = "      <Iid>{FFFFFFFF-FFFF-FFFF-FFFF-FFFFFFFFFFFF}</Iid>\n";
const char kClose[] = "    </Error>\n";

// Enters a firmware application into the process-wide table; answers its
// identifier (slot x 256).
long AddApplication(const wchar_t* name) {
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

TEST(ErrorObjectRender, FullRecordWithLogicalInstrument) {
    const long location = AddApplication(L"Spectrum") | 2;
    const CErrorObject error = FullRecord(location);
    EXPECT_EQ(std::string(error.Description().GetString()),
              "Something broke\n\nCONDITION:\t(p != NULL) failed\nCOMPONENT:\tCoClass\n"
              "OBJECTNAME:\tObj1\nOBJECTGUID:\t{12345678-9ABC-DEF0-1122-334455667788}\n"
              "LOCATION:\tSpectrum[1]\nPROPERTY:\tProp\nPARTNERNAME:\tPartner1\n"
              "PARTNERGUID:\t{0A0B0C0D-0102-0304-A1B2-C3D4E5F60718}\nFILE:\t\tSrc/Comp.cpp\n"
              "LINE:\t\t42\nFILEMODTIME:\tMon Jan  5 10:00:00 2026\nTHREAD:\t\t1234\n"
              "0x80000005: E_POINTER");
    EXPECT_EQ(
        XmlOf(error),
        kOpen + std::string("      <CoClassName>CoClass</CoClassName>\n") +
            "      <ObjectName>Obj1</ObjectName>\n"
            "      <ObjectGuid>{12345678-9ABC-DEF0-1122-334455667788}</ObjectGuid>\n"
            "      <LogicalLocation>" +
            std::to_string(location) +
            "</LogicalLocation>\n"
            "      <FwApplic>Spectrum</FwApplic>\n      <LINumber>1</LINumber>\n"
            "      <Condition>p != NULL</Condition>\n"
            "      <Description>Something broke</Description>\n"
            "      <PropertyPath>Path/Prop</PropertyPath>\n"
            "      <PropertyName>Prop</PropertyName>\n"
            "      <PartnerObjectName>Partner1</PartnerObjectName>\n"
            "      <PartnerObjectGuid>{0A0B0C0D-0102-0304-A1B2-C3D4E5F60718}</PartnerObjectGuid>\n"
            "      <FileName>Src/Comp.cpp</FileName>\n      <FileLine>42</FileLine>\n"
            "      <FileTime>Mon Jan  5 10:00:00 2026</FileTime>\n"
            "      <Iid>{CAFEBABE-0001-0002-1020-304050607080}</Iid>\n"
            "      <MethodName>Method</MethodName>\n      <Thread>1234</Thread>\n"
            "      <ErrorCode>0x80000005: E_POINTER</ErrorCode>\n" +
            kClose);
    EXPECT_EQ(std::string(error.GetAdditionalInfoEx().GetString()),
              "ADDITIONAL INFO: Something broke<br/>COMPONENT: CoClass<br/>OBJECTNAME: Obj1<br/>"
              "OBJECTGUID: {12345678-9ABC-DEF0-1122-334455667788}<br/>LOCATION: Spectrum[1]\n"
              "PROPERTY: Prop<br/>PARTNEROBJECTNAME: Partner1<br/>"
              "PARTNEROBJECTGUID: {0A0B0C0D-0102-0304-A1B2-C3D4E5F60718}<br/>");
}

// A default record, and records with few fields set (object GUIDs null, as
// producers set them): which lines each rendering leaves out, and which
// texts the XML escapes.
TEST(ErrorObjectRender, SparseRecordsInAllThreeRenderings) {
    CErrorObject defaulted;
    defaulted.SetObjectGuid(GUID_NULL);
    defaulted.SetPartnerObjectGuid(GUID_NULL);
    const GUID n = GUID_NULL;
    const GUID ones = defaulted.GetIid();
    const struct {
        const char* name;
        CErrorObject error;
        std::string text, xml, info;
    } cases[] = {
        // clang-format off
        {"default", defaulted, "\n0x0: S_OK", kAllOnesIid, ""},
        {"property name without path",
         {false, 0, 0, ones, 0, n, n, "", "", "", "", "", "", "", "", "Freq", "", ""},
         "\n0x0: S_OK", "      <PropertyName>Freq</PropertyName>\n" + std::string(kAllOnesIid),
         "PROPERTY: Freq<br/>"},
        {"property path without name",
         {false, 0, 0, ones, 0, n, n, "", "", "", "", "", "", "", "Some/Path", "", "", ""},
         "\nPROPERTY:\t\n0x0: S_OK",
         "      <PropertyPath>Some/Path</PropertyPath>\n" + std::string(kAllOnesIid), ""},
        {"file at line 0",
         {false, 0, 0, n, 0, n, n, "", "a.cpp", "", "", "", "", "", "", "", "", ""},
         "\nFILE:\t\ta.cpp\nLINE:\t\t0\nFILEMODTIME:\t\n0x0: S_OK",
         "      <FileName>a.cpp</FileName>\n", ""},
        {"line without file",
         {false, 7, E_FAIL, n, 0, n, n, "", "", "", "", "", "", "", "", "", "", ""},
         "\n0x80000008: E_FAIL", "      <ErrorCode>0x80000008: E_FAIL</ErrorCode>\n", ""},
        {"escaping only in the XML",
         {false, 0, 0, n, 0, n, n, "", "", "S\"", "M&", "C<o>", "a<b & 'c'", "", "P<a>th", "", "",
          "T'"},
         "\nCOMPONENT:\tC<o>\nOBJECTNAME:\ta<b & 'c'\n"
         "OBJECTGUID:\t{00000000-0000-0000-0000-000000000000}\nPROPERTY:\t\nTHREAD:\t\tT'\n"
         "0x0: S_OK",
         "      <CoClassName>C<o></CoClassName>\n"
         "      <ObjectName>a&lt;b &amp; &apos;c&apos;</ObjectName>\n"
         "      <PropertyPath>P<a>th</PropertyPath>\n      <FileTime>S\"</FileTime>\n"
         "      <MethodName>M&</MethodName>\n      <Thread>T'</Thread>\n",
         "COMPONENT: C<o><br/>OBJECTNAME: a<b & 'c'<br/>"},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(std::string(c.error.Description().GetString()), c.text);
        EXPECT_EQ(XmlOf(c.error), kOpen + c.xml + kClose);
        EXPECT_EQ(std::string(c.error.GetAdditionalInfoEx().GetString()), c.info);
    }
}

// Fragments that the renderings of a full record at a location must hold,
// or (after "!") must not hold.
TEST(ErrorObjectRender, LocationLinesAndElements) {
    const long named = AddApplication(L"Analyzer");
    const long unnamed = AddApplication(L"");
    const std::string xml = "<LogicalLocation>" + std::to_string(named) + "</LogicalLocation>\n";
    const struct {
        const char* name;
        long location;
        std::vector<std::string> parts;
    } cases[] = {
        // clang-format off
        {"the application itself", named, {"\nLOCATION:\tAnalyzer\nPROPERTY:",
            xml + "      <FwApplic>Analyzer</FwApplic>\n      <Condition>",
            "<br/>LOCATION: Analyzer\nPROPERTY: "}},
        {"instrument bits beyond 15", named | 0x20, {"\nLOCATION:\tAnalyzer[31]\n",
            "<FwApplic>Analyzer</FwApplic>\n      <LINumber>31</LINumber>\n",
            "<br/>LOCATION: Analyzer[31]\nPROPERTY: "}},
        {"unnamed application", unnamed | 3, {"!LOCATION", "!<FwApplic>",
            "<LogicalLocation>" + std::to_string(unnamed | 3) + "</LogicalLocation>\n      <Cond"}},
        {"free slot", 0x7E05, {"!LOCATION", "!<FwApplic>", "<LogicalLocation>32261<"}},
        {"slot beyond the table", 0xFF01, {"!LOCATION", "!<FwApplic>", "<LogicalLocation>65281<"}},
        {"negative: plain text only", static_cast<long>(static_cast<int>(0x80000000u | named | 2)),
            {"\nLOCATION:\tAnalyzer[1]\n", "!LOCATION: ", "!<LogicalLocation>", "!<FwApplic>"}},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const CErrorObject error = FullRecord(c.location);
        const std::string all = std::string(error.Description().GetString()) + "\n" + XmlOf(error) +
                                error.GetAdditionalInfoEx().GetString();
        for (const std::string& part : c.parts) {
            const bool absent = part[0] == '!';
            EXPECT_EQ(all.find(absent ? part.substr(1) : part) == std::string::npos, absent)
                << part << " in\n"
                << all;
        }
    }
    // A null object GUID: no location elements, while the plain text prints
    // the null GUID and the location all the same.
    CErrorObject error = FullRecord(named | 1);
    error.SetObjectGuid(GUID_NULL);
    const std::string text = error.Description().GetString();
    EXPECT_NE(
        text.find("OBJECTGUID:\t{00000000-0000-0000-0000-000000000000}\nLOCATION:\tAnalyzer[0]\n"),
        std::string::npos);
    EXPECT_EQ(XmlOf(error).find("<ObjectGuid>"), XmlOf(error).find("<LogicalLocation>"));
    EXPECT_EQ(XmlOf(error).find("<LogicalLocation>"), std::string::npos);
    const std::string info = error.GetAdditionalInfoEx().GetString();
    EXPECT_EQ(info.find("<br/>OBJECTGUID"), std::string::npos);
    EXPECT_NE(info.find("<br/>PARTNEROBJECTGUID: "), std::string::npos);
}

TEST(ErrorObjectValue, CopyAssignAndSelfAssignKeepEveryField) {
    CErrorObject original = FullRecord(AddApplication(L"Copied") | 3);
    original.SetIsRepairedError(true);
    const auto expectSame = [&](const CErrorObject& copy) {
        EXPECT_EQ(XmlOf(copy), XmlOf(original));
        EXPECT_STREQ(copy.Description().GetString(), original.Description().GetString());
    };
    expectSame(CErrorObject(original));
    CErrorObject assigned;
    assigned.SetObjectGuid(GUID_NULL);
    assigned.SetPartnerObjectGuid(GUID_NULL);
    EXPECT_EQ(&(assigned = original), &assigned);
    expectSame(assigned);
    CErrorObject& self = assigned;
    EXPECT_EQ(&(assigned = self), &assigned);
    expectSame(assigned);
}

TEST(XmlEscape, TheFiveEntitiesAndNothingElse) {
    const struct {
        const char* in;
        const char* out;
    } cases[] = {
        {"\"", "&quot;"},
        {"&", "&amp;"},
        {"'", "&apos;"},
        {"<", "&lt;"},
        {">", "&gt;"},
        {"", ""},
        {"x<&>y\"'z", "x&lt;&amp;&gt;y&quot;&apos;z"},
        {"&amp;", "&amp;amp;"},
        // Control and high bytes pass unchanged.
        {"\t\x01\x7F\x80\xC3\xA4\xFF", "\t\x01\x7F\x80\xC3\xA4\xFF"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.in);
        EXPECT_STREQ(XmlReplaceSpecialCharsA(c.in).GetString(), c.out);
    }
}
