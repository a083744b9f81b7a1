// The XML rendering of error records read back by a real XML parser: a log
// of concatenated elements is well-formed once wrapped in a root element,
// and every escaped text survives the round trip.
#include <gtest/gtest.h>

#include <expat.h>

#include <map>
#include <string>
#include <vector>

#include "CErrorObject.h"

using namespace KxTamarind;

namespace {

// Per Error element: its attributes and the text of each child element.
struct ParsedLog {
    std::vector<std::map<std::string, std::string>> records;
    std::string element;
    int depth = 0;
};

void XMLCALL OnStart(void* data, const XML_Char* name, const XML_Char** attributes) {
    auto* log = static_cast<ParsedLog*>(data);
    if (++log->depth == 2) {
        log->records.emplace_back();
        for (const XML_Char** a = attributes; *a != nullptr; a += 2) {
            log->records.back()[std::string("@") + a[0]] = a[1];
        }
    }
    log->element = name;
}

void XMLCALL OnText(void* data, const XML_Char* text, int length) {
    auto* log = static_cast<ParsedLog*>(data);
    if (log->depth == 3) {
        log->records.back()[log->element].append(text, static_cast<std::size_t>(length));
    }
}

} // namespace

TEST(ErrorXmlParse, ConcatenatedRecordsParseAndEscapedFieldsRoundTrip) {
    const GUID guid = {
        0x11111111, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55}};
    const std::vector<std::string> specials = {
        "<a> & 'b' \"c\" <<&&>>", "'", "\"", "&", "<>", "plain", "\xC3\xA4 & \xE2\x82\xAC"};
    std::string document = "<Log>";
    for (std::size_t i = 0; i < specials.size(); ++i) {
        const std::string& s = specials[i];
        document += CErrorObject(i % 2 == 1, 17, E_FAIL, guid, 0, guid, guid, ("cond " + s).c_str(),
                                 ("file" + s + ".cpp").c_str(), "stamp", "Method", "CoClass",
                                 ("obj" + s).c_str(), ("partner" + s).c_str(), "Path",
                                 ("prop" + s).c_str(), ("info" + s).c_str(), "77")
                        .DescriptionXml()
                        .GetString();
    }
    document += "</Log>";
    ParsedLog log;
    XML_Parser parser = XML_ParserCreate("UTF-8");
    XML_SetUserData(parser, &log);
    XML_SetElementHandler(parser, OnStart, [](void* data, const XML_Char*) {
        --static_cast<ParsedLog*>(data)->depth;
    });
    XML_SetCharacterDataHandler(parser, OnText);
    EXPECT_EQ(XML_Parse(parser, document.data(), static_cast<int>(document.size()), 1),
              XML_STATUS_OK)
        << XML_ErrorString(XML_GetErrorCode(parser)) << " at line "
        << XML_GetCurrentLineNumber(parser) << "\n"
        << document;
    XML_ParserFree(parser);
    ASSERT_EQ(log.records.size(), specials.size());
    for (std::size_t i = 0; i < specials.size(); ++i) {
        const std::string& s = specials[i];
        SCOPED_TRACE(s);
        std::map<std::string, std::string>& r = log.records[i];
        EXPECT_EQ(r["@ErrorLevel"], i % 2 == 1 ? "RepairedError" : "SystemError");
        EXPECT_EQ(r.count("@Date") + r.count("@Time"), 2u);
        EXPECT_EQ(r["ObjectName"] + "|" + r["Condition"] + "|" + r["Description"] + "|" +
                      r["PropertyName"] + "|" + r["PartnerObjectName"] + "|" + r["FileName"],
                  "obj" + s + "|cond " + s + "|info" + s + "|prop" + s + "|partner" + s + "|file" +
                      s + ".cpp");
        EXPECT_EQ(r["FileLine"] + "|" + r["ObjectGuid"] + "|" + r["ErrorCode"],
                  "17|{11111111-2222-3333-4444-555555555555}|0x80000008: E_FAIL");
    }
}
