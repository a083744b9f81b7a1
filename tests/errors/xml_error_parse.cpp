// The XML rendering of error records read back by a real XML parser: every
// escaped text survives the round trip, and a log of concatenated elements
// is well-formed once wrapped in a root element.
#include <gtest/gtest.h>

#include <expat.h>

#include <map>
#include <string>
#include <vector>

#include "CErrorObject.h"

using namespace KxTamarind;

namespace {

// Collects, per Error element, the character data of each child element and
// the attributes of the Error element.
struct ParsedLog {
    std::vector<std::map<std::string, std::string>> errors;
    std::vector<std::map<std::string, std::string>> attributes;
    std::string current;
    std::string text;
    int depth = 0;
};

void XMLCALL OnStart(void* data, const XML_Char* name, const XML_Char** attributes) {
    auto* log = static_cast<ParsedLog*>(data);
    ++log->depth;
    if (log->depth == 2) {
        EXPECT_STREQ(name, "Error");
        log->errors.emplace_back();
        log->attributes.emplace_back();
        for (const XML_Char** a = attributes; *a != nullptr; a += 2) {
            log->attributes.back()[a[0]] = a[1];
        }
    } else if (log->depth == 3) {
        log->current = name;
        log->text.clear();
    }
}

void XMLCALL OnEnd(void* data, const XML_Char* /*name*/) {
    auto* log = static_cast<ParsedLog*>(data);
    if (log->depth == 3) {
        log->errors.back()[log->current] = log->text;
    }
    --log->depth;
}

void XMLCALL OnText(void* data, const XML_Char* text, int length) {
    auto* log = static_cast<ParsedLog*>(data);
    if (log->depth == 3) {
        log->text.append(text, static_cast<std::size_t>(length));
    }
}

// Parses `<Log>` + xml + `</Log>`; fails the test on a parse error.
ParsedLog Parse(const std::string& xml) {
    ParsedLog log;
    const std::string document = "<Log>" + xml + "</Log>";
    XML_Parser parser = XML_ParserCreate("UTF-8");
    XML_SetUserData(parser, &log);
    XML_SetElementHandler(parser, OnStart, OnEnd);
    XML_SetCharacterDataHandler(parser, OnText);
    const XML_Status status =
        XML_Parse(parser, document.data(), static_cast<int>(document.size()), 1);
    EXPECT_EQ(status, XML_STATUS_OK) << XML_ErrorString(XML_GetErrorCode(parser)) << " at line "
                                     << XML_GetCurrentLineNumber(parser) << "\n"
                                     << document;
    XML_ParserFree(parser);
    return log;
}

const GUID kGuid = {0x11111111, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55}};

CErrorObject Record(const std::string& special, bool repaired) {
    CErrorObject error(repaired, 17, E_FAIL, kGuid, 0, kGuid, kGuid, ("cond " + special).c_str(),
                       ("file" + special + ".cpp").c_str(), "stamp", "Method", "CoClass",
                       ("obj" + special).c_str(), ("partner" + special).c_str(), "Path",
                       ("prop" + special).c_str(), ("info" + special).c_str(), "77");
    return error;
}

void ExpectRoundTrip(const std::map<std::string, std::string>& parsed, const std::string& special) {
    EXPECT_EQ(parsed.at("ObjectName"), "obj" + special);
    EXPECT_EQ(parsed.at("Condition"), "cond " + special);
    EXPECT_EQ(parsed.at("Description"), "info" + special);
    EXPECT_EQ(parsed.at("PropertyName"), "prop" + special);
    EXPECT_EQ(parsed.at("PartnerObjectName"), "partner" + special);
    EXPECT_EQ(parsed.at("FileName"), "file" + special + ".cpp");
    EXPECT_EQ(parsed.at("FileLine"), "17");
    EXPECT_EQ(parsed.at("ObjectGuid"), "{11111111-2222-3333-4444-555555555555}");
    EXPECT_EQ(parsed.at("ErrorCode"), "0x80000008: E_FAIL");
}

} // namespace

TEST(ErrorXmlParse, EscapedFieldsRoundTrip) {
    const std::string special = "<a> & 'b' \"c\" <<&&>>";
    const ParsedLog log = Parse(Record(special, false).DescriptionXml().GetString());
    ASSERT_EQ(log.errors.size(), 1u);
    ExpectRoundTrip(log.errors[0], special);
    EXPECT_EQ(log.attributes[0].at("ErrorLevel"), "SystemError");
    EXPECT_EQ(log.attributes[0].count("Date"), 1u);
    EXPECT_EQ(log.attributes[0].count("Time"), 1u);
}

TEST(ErrorXmlParse, ConcatenatedLogParses) {
    const std::vector<std::string> specials = {"'",  "\"",    "&",
                                               "<>", "plain", "\xC3\xA4 & \xE2\x82\xAC"};
    std::string xml;
    for (std::size_t i = 0; i < specials.size(); ++i) {
        xml += Record(specials[i], i % 2 == 1).DescriptionXml().GetString();
    }
    const ParsedLog log = Parse(xml);
    ASSERT_EQ(log.errors.size(), specials.size());
    for (std::size_t i = 0; i < specials.size(); ++i) {
        SCOPED_TRACE(i);
        ExpectRoundTrip(log.errors[i], specials[i]);
        EXPECT_EQ(log.attributes[i].at("ErrorLevel"), i % 2 == 1 ? "RepairedError" : "SystemError");
    }
}
