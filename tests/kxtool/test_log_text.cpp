// The byte-level preparation of log text for the XML parser, the escaping of
// record texts for output, and the reading of --since times.
#include <gtest/gtest.h>

#include <string>

#include "LogFilter.h"
#include "LogTextRepair.h"
#include "RawElementEscaper.h"
#include "TextEscape.h"

namespace {

using namespace KxTool;

// Stand-in of a C0 control character c: U+FDD0 + c.
std::string StandIn(unsigned char c) {
    return std::string("\xEF\xB7") + static_cast<char>(0x90 + c);
}

// Both streaming filters give the same output whatever the split of their
// input into two pieces.
template <typename Filter, typename Call>
void ExpectEverySplit(const std::string& input, const std::string& output, Call process) {
    for (std::size_t split = 0; split <= input.size(); ++split) {
        Filter filter;
        std::string out;
        process(filter, input.data(), split, out);
        process(filter, input.data() + split, input.size() - split, out);
        filter.Finish(out);
        EXPECT_EQ(out, output) << "split at " << split;
    }
}

TEST(LogTextRepair, KeepsUtf8AndMakesEverythingElseParseable) {
    const struct {
        const char* name;
        std::string input, output;
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
        ExpectEverySplit<LogTextRepair>(c.input, c.output,
                                        [](auto& f, auto&&... a) { f.Repair(a...); });
    }
    // The controls come back after parsing; tab, line feed and carriage
    // return pass as they are; neighbours of the stand-ins stay.
    std::string bytes;
    for (int c = 0; c < 0x20; ++c) {
        bytes += static_cast<char>(c);
    }
    LogTextRepair repair;
    std::string text;
    repair.Repair(bytes.data(), bytes.size(), text);
    repair.Finish(text);
    text += "\xEF\xB7\x8F\xEF\xB7\xB0\xEF\xB7";
    RestoreControls(text);
    EXPECT_EQ(text, bytes + "\xEF\xB7\x8F\xEF\xB7\xB0\xEF\xB7");
}

TEST(RawElementEscaper, EscapesTheElementsTheLibraryWritesRaw) {
    const struct {
        const char* name;
        std::string input, output;
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
        ExpectEverySplit<RawElementEscaper>(c.input, c.output,
                                            [](auto& f, auto&&... a) { f.Process(a...); });
    }
    // An overlong line passes unchanged (compared whole: a failure must not
    // print a megabyte).
    const std::string overlong =
        "<Thread>" + std::string(RawElementEscaper::kMaxLineBytes, '&') + "</Thread>\n";
    const std::string input = overlong + "<Thread>&</Thread>\n";
    RawElementEscaper escaper;
    std::string output;
    escaper.Process(input.data(), input.size() / 2, output);
    escaper.Process(input.data() + input.size() / 2, input.size() - input.size() / 2, output);
    escaper.Finish(output);
    EXPECT_TRUE(output == overlong + "<Thread>&amp;</Thread>\n") << output.size();
}

TEST(TextEscape, OneTerminalLineAndPureAsciiJson) {
    const struct {
        std::string input, line, json;
    } cases[] = {
        {"", "", "\"\""},
        {"first\nsecond\r\nthird\rfourth \t\n\n", "first | second | third | fourth",
         "\"first\\nsecond\\r\\nthird\\rfourth \\t\\n\\n\""},
        {"tab\there  \b\f", "tab\\there  \\x08\\x0c", "\"tab\\there  \\b\\f\""},
        {"say \"hi\" \\ /", "say \"hi\" \\ /", "\"say \\\"hi\\\" \\\\ /\""},
        {std::string("nul\0bell\x07 del\x7F", 14), "nul\\x00bell\\x07 del\\x7f",
         "\"nul\\u0000bell\\u0007 del\\u007f\""},
        {"C1 \xC2\x9B", "C1 \\u009b", "\"C1 \\u009b\""},
        {"\xC2\xB5\xE2\x82\xAC\xF0\x9F\x98\x80", "\xC2\xB5\xE2\x82\xAC\xF0\x9F\x98\x80",
         "\"\\u00b5\\u20ac\\ud83d\\ude00\""},
        {"bad \xFF\xC3", "bad \\xff\\xc3", "\"bad \\ufffd\\ufffd\""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.input);
        EXPECT_EQ(OneLine(c.input), c.line);
        EXPECT_EQ(JsonString(c.input), c.json);
    }
}

TEST(ReadSinceTime, AcceptsDatesWithOptionalTimesOfDay) {
    const struct {
        const char* text;
        const char* sortable; // null: refused
    } cases[] = {
        {"2024-05-01", "2024-05-01 00:00:00.000"},
        {"2024-05-01 13:05", "2024-05-01 13:05:00.000"},
        {"2024-05-01T13:05:30", "2024-05-01 13:05:30.000"},
        {"2024-05-01 13:05:30.2", "2024-05-01 13:05:30.200"},
        {"2024-05-01 13:05:30.025", "2024-05-01 13:05:30.025"},
        // clang-format off
        {"2024-05-01 13:05:30.0250", nullptr}, {"2024-05-01 13:05:30.", nullptr},
        {"2024-5-1", nullptr}, {"2024-13-01", nullptr}, {"2024-05-00", nullptr},
        {"2024-05-01 24:00", nullptr}, {"2024-05-01 13", nullptr}, {"2024-05-01  13:05", nullptr},
        {"yesterday", nullptr}, {"", nullptr},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        std::string sortable, problem;
        EXPECT_EQ(ReadSinceTime(c.text, sortable, problem), c.sortable != nullptr);
        EXPECT_EQ(problem.empty(), c.sortable != nullptr);
        EXPECT_EQ(sortable, c.sortable != nullptr ? c.sortable : "");
    }
}

} // namespace
