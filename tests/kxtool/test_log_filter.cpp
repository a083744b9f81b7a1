// What the log command derives from a record, and its filters.
#include <gtest/gtest.h>

#include <string>

#include "ErrorRecord.h"
#include "LogFilter.h"
#include "RecordView.h"

namespace {

using namespace KxTool;

ErrorRecord Record(const std::string& level, const std::string& date, const std::string& time,
                   ErrorRecord::Items fields) {
    ErrorRecord record;
    record.line = 1;
    record.attributes = {{"ErrorLevel", level}, {"Date", date}, {"Time", time}};
    record.fields = std::move(fields);
    return record;
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
        {"2024-05-01 13:05:30.0250", nullptr},
        {"2024-05-01 13:05:30.", nullptr},
        {"2024-5-1", nullptr},
        {"2024-13-01", nullptr},
        {"2024-05-00", nullptr},
        {"2024-05-01 24:00", nullptr},
        {"2024-05-01 13", nullptr},
        {"2024-05-01  13:05", nullptr},
        {"yesterday", nullptr},
        {"", nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        std::string sortable;
        std::string problem;
        EXPECT_EQ(ReadSinceTime(c.text, sortable, problem), c.sortable != nullptr);
        if (c.sortable != nullptr) {
            EXPECT_EQ(sortable, c.sortable);
            EXPECT_EQ(problem, "");
        } else {
            EXPECT_NE(problem, "");
        }
    }
}

TEST(MakeView, DerivesTheShownPartsFromTheLibrarysElements) {
    const RecordView full =
        MakeView(Record("RepairedError", "2024-05-01", "13:05:30.250",
                        {{"CoClassName", "DemoChannel"},
                         {"ObjectName", "Channel4"},
                         {"LogicalLocation", "258"},
                         {"FwApplic", "DemoApp"},
                         {"LINumber", "1"},
                         {"Description", "text"},
                         {"FileName", "Src/File.cpp"},
                         {"FileLine", "343"},
                         {"ErrorCode", "0x80001008: E_KX_HRESULT_ASSERT_REPAIRED"}}));
    EXPECT_EQ(full.kind, "repaired");
    EXPECT_EQ(full.codeText, "0x80001008");
    EXPECT_EQ(full.codeName, "E_KX_HRESULT_ASSERT_REPAIRED");
    EXPECT_EQ(full.location, "DemoApp[1]");
    EXPECT_EQ(full.source, "Src/File.cpp:343");
    EXPECT_EQ(SortableTime(full), "2024-05-01 13:05:30.250");

    // No ErrorCode element: code 0, which the library leaves out.
    const RecordView bare = MakeView(Record("SystemError", " 999-01-01", "bad", {}));
    EXPECT_EQ(bare.kind, "error");
    EXPECT_TRUE(bare.codeKnown);
    EXPECT_EQ(bare.codeText, "0x00000000");
    EXPECT_EQ(bare.codeName, "S_OK");
    EXPECT_EQ(SortableTime(bare), "");

    // A 64-bit build printing a negative long; a location without a name.
    const RecordView wide = MakeView(Record(
        "", "", "", {{"LogicalLocation", "513"}, {"ErrorCode", "0xffffffff80000008: E_FAIL"}}));
    EXPECT_EQ(wide.kind, "unknown");
    EXPECT_EQ(wide.codeText, "0x80000008");
    EXPECT_EQ(wide.location, "0x0201");

    const RecordView unreadable = MakeView(Record("Other", "", "", {{"ErrorCode", "garbage"}}));
    EXPECT_EQ(unreadable.kind, "Other");
    EXPECT_FALSE(unreadable.codeKnown);
    EXPECT_EQ(unreadable.codeText, "garbage");
    EXPECT_EQ(unreadable.codeName, "unreadable");
}

TEST(RecordFilter, SameKindsAnyDifferentKindsAll) {
    const RecordView failA =
        MakeView(Record("SystemError", "2024-05-01", "13:00:00.000",
                        {{"CoClassName", "A"}, {"ErrorCode", "0x80000008: E_FAIL"}}));
    const RecordView deniedB =
        MakeView(Record("SystemError", "2024-05-02", "09:00:00.000",
                        {{"CoClassName", "B"}, {"ErrorCode", "0x80070005: 5L"}}));
    const RecordView timeless =
        MakeView(Record("SystemError", "", "", {{"ErrorCode", "0x80000008: E_FAIL"}}));

    const struct {
        const char* name;
        const char* since;
        std::vector<const char*> codes;
        std::vector<const char*> components;
        bool a, b, t;
    } cases[] = {
        {"no filter", nullptr, {}, {}, true, true, true},
        {"since a day", "2024-05-02", {}, {}, false, true, false},
        {"since the exact time", "2024-05-01 13:00", {}, {}, true, true, false},
        {"code by number", nullptr, {"0x80000008"}, {}, true, false, true},
        {"code by bare hex", nullptr, {"80070005"}, {}, false, true, false},
        {"code by library name", nullptr, {"E_FAIL"}, {}, true, false, true},
        {"code by Win32 name", nullptr, {"ERROR_ACCESS_DENIED"}, {}, false, true, false},
        {"repeated codes", nullptr, {"E_FAIL", "-2147024891"}, {}, true, true, true},
        {"component", nullptr, {}, {"B"}, false, true, false},
        {"repeated components", nullptr, {}, {"A", "B"}, true, true, false},
        {"code and component", nullptr, {"E_FAIL"}, {"B"}, false, false, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        RecordFilter filter;
        std::string problem;
        if (c.since != nullptr) {
            ASSERT_TRUE(filter.SetSince(c.since, problem));
        }
        bool allRead = true;
        for (const char* code : c.codes) {
            allRead = filter.AddCode(code, problem) && allRead;
        }
        for (const char* component : c.components) {
            filter.AddComponent(component);
        }
        ASSERT_TRUE(allRead) << problem;
        EXPECT_EQ(filter.Matches(failA), c.a);
        EXPECT_EQ(filter.Matches(deniedB), c.b);
        EXPECT_EQ(filter.Matches(timeless), c.t);
    }
    // Neither a number nor a name: the library's "5L" and texts with blanks.
    for (const char* bad : {"5L", "E FAIL", "", "0x"}) {
        SCOPED_TRACE(bad);
        RecordFilter filter;
        std::string problem;
        EXPECT_FALSE(filter.AddCode(bad, problem));
        EXPECT_NE(problem, "");
    }
}

} // namespace
