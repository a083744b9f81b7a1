// The byte-level preparation of log text for the XML parser, and the
// escaping of record texts for output.
#include <gtest/gtest.h>

#include <string>

#include "LogTextRepair.h"
#include "RawElementEscaper.h"
#include "TextEscape.h"

namespace {

using namespace KxTool;

std::string Repaired(const std::string& input, std::size_t split) {
    LogTextRepair repair;
    std::string out;
    repair.Repair(input.data(), split, out);
    repair.Repair(input.data() + split, input.size() - split, out);
    repair.Finish(out);
    return out;
}

std::string Escaped(const std::string& input, std::size_t split) {
    RawElementEscaper escaper;
    std::string out;
    escaper.Process(input.data(), split, out);
    escaper.Process(input.data() + split, input.size() - split, out);
    escaper.Finish(out);
    return out;
}

// Stand-in of a C0 control character c: U+FDD0 + c.
std::string StandIn(unsigned char c) {
    return std::string("\xEF\xB7") + static_cast<char>(0x90 + c);
}

TEST(LogTextRepair, KeepsUtf8AndMakesEverythingElseParseable) {
    const struct {
        const char* name;
        std::string input;
        std::string output;
    } cases[] = {
        {"plain text and markup", "<a>x\ty\r\n</a>", "<a>x\ty\r\n</a>"},
        {"UTF-8 of 2, 3 and 4 bytes", "\xC2\xB5 \xE2\x82\xAC \xF0\x9F\x98\x80",
         "\xC2\xB5 \xE2\x82\xAC \xF0\x9F\x98\x80"},
        {"Windows-1252 bytes", "\xB5\x80\x9F\x81", "\xC2\xB5\xE2\x82\xAC\xC5\xB8\xC2\x81"},
        {"a lead byte without its continuation", "\xC3(", "\xC3\x83("},
        {"overlong and surrogate forms", "\xC0\xAF\xED\xA0\x80",
         "\xC3\x80\xC2\xAF\xC3\xAD\xC2\xA0\xE2\x82\xAC"},
        {"C0 controls and NUL", std::string("a\x01\x1F\0b", 5),
         "a" + StandIn(0x01) + StandIn(0x1F) + StandIn(0) + "b"},
        {"reserved noncharacters", "\xEF\xB7\x90\xEF\xBF\xBE", "\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"byte-order mark at the start only", "\xEF\xBB\xBFx\xEF\xBB\xBF", "x\xEF\xBB\xBF"},
        {"a sequence cut by the end", "x\xE2\x82", "x\xC3\xA2\xE2\x80\x9A"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        for (std::size_t split = 0; split <= c.input.size(); ++split) {
            SCOPED_TRACE("split at " + std::to_string(split));
            EXPECT_EQ(Repaired(c.input, split), c.output);
        }
    }
}

TEST(LogTextRepair, ControlCharactersComeBackAfterParsing) {
    std::string bytes;
    for (int c = 0; c < 0x20; ++c) {
        bytes += static_cast<char>(c);
    }
    std::string text = Repaired(bytes + "\xC2\xB5", 0);
    RestoreControls(text);
    // Tab, line feed and carriage return pass as they are; the rest return.
    EXPECT_EQ(text, bytes + "\xC2\xB5");
    std::string noStandIn = "\xEF\xB7\x8F\xEF\xB7\xB0\xEF\xB7";
    RestoreControls(noStandIn);
    EXPECT_EQ(noStandIn, "\xEF\xB7\x8F\xEF\xB7\xB0\xEF\xB7");
}

TEST(RawElementEscaper, EscapesTheElementsTheLibraryWritesRaw) {
    const struct {
        const char* name;
        std::string input;
        std::string output;
    } cases[] = {
        {"co-class with an ampersand", "      <CoClassName>Save & Recall</CoClassName>\n",
         "      <CoClassName>Save &amp; Recall</CoClassName>\n"},
        {"method with a template", "\t<MethodName>CList<int>::Add</MethodName>\r\n",
         "\t<MethodName>CList&lt;int&gt;::Add</MethodName>\r\n"},
        {"a text that holds the closing tag",
         "<Thread>a</Thread>b</Thread>\n<PropertyPath>x&y</PropertyPath>  ",
         "<Thread>a&lt;/Thread&gt;b</Thread>\n<PropertyPath>x&amp;y</PropertyPath>  "},
        {"escaped elements are left alone", "      <Description>a &amp; b</Description>\n",
         "      <Description>a &amp; b</Description>\n"},
        {"a value over two lines is left alone", "<MethodName>a<b\nc</MethodName>\n",
         "<MethodName>a<b\nc</MethodName>\n"},
        {"a similar name is left alone", "<MethodNames>a&b</MethodNames>\n<Thread >&</Thread>",
         "<MethodNames>a&b</MethodNames>\n<Thread >&</Thread>"},
        {"empty lines and a record", "\n\n    <Error ErrorLevel=\"SystemError\">\n",
         "\n\n    <Error ErrorLevel=\"SystemError\">\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        for (std::size_t split = 0; split <= c.input.size(); ++split) {
            SCOPED_TRACE("split at " + std::to_string(split));
            EXPECT_EQ(Escaped(c.input, split), c.output);
        }
    }
}

TEST(RawElementEscaper, PassesAnOverlongLineUnchanged) {
    const std::string overlong =
        "<Thread>" + std::string(RawElementEscaper::kMaxLineBytes, '&') + "</Thread>\n";
    const std::string input = overlong + "<Thread>&</Thread>\n";
    const std::string output = Escaped(input, input.size() / 2);
    // Compared as a whole: a failure must not print a megabyte.
    EXPECT_TRUE(output == overlong + "<Thread>&amp;</Thread>\n") << output.size();
}

TEST(OneLine, PutsARecordTextOnOneTerminalLine) {
    const struct {
        std::string input;
        std::string output;
    } cases[] = {
        {"plain", "plain"},
        {"first\nsecond\r\nthird\rfourth\n\n", "first | second | third | fourth"},
        {"tab\there  ", "tab\\there"},
        {std::string("nul\0bell\x07 del\x7F", 14), "nul\\x00bell\\x07 del\\x7f"},
        {"C1 \xC2\x9B"
         "31m",
         "C1 \\u009b31m"},
        {"\xC2\xB5V \xE2\x82\xAC \xF0\x9F\x98\x80", "\xC2\xB5V \xE2\x82\xAC \xF0\x9F\x98\x80"},
        {"bad \xFF\xC3", "bad \\xff\\xc3"},
        {"", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.input);
        EXPECT_EQ(OneLine(c.input), c.output);
    }
}

TEST(JsonString, EscapesToPureAscii) {
    const struct {
        std::string input;
        std::string output;
    } cases[] = {
        {"", "\"\""},
        {"say \"hi\" \\ /", "\"say \\\"hi\\\" \\\\ /\""},
        {"\b\f\n\r\t", "\"\\b\\f\\n\\r\\t\""},
        {std::string("\0\x01\x1F\x7F", 4), "\"\\u0000\\u0001\\u001f\\u007f\""},
        {"\xC2\xB5\xE2\x82\xAC", "\"\\u00b5\\u20ac\""},
        {"\xF0\x9F\x98\x80", "\"\\ud83d\\ude00\""},
        {"\xFF", "\"\\ufffd\""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.input);
        EXPECT_EQ(JsonString(c.input), c.output);
    }
}

} // namespace
