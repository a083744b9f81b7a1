// Derivation of the shown parts of an error-log record.
#include "RecordView.h"

#include <cstdio>
#include <cstdlib>

#include "NumberText.h"
#include "ResultCodeInfo.h"

namespace KxTool {

namespace {

// The code of an ErrorCode text "0x80000008: E_FAIL" (the library prints
// it with %lx, which a 64-bit build sign-extends).
bool ReadLoggedCode(const std::string& text, std::uint32_t& code) {
    const std::size_t colon = text.find(':');
    CodeReading reading;
    std::string problem;
    if (colon == std::string::npos || text.compare(0, 2, "0x") != 0 ||
        !ReadResultCode(text.substr(0, colon), reading, problem)) {
        return false;
    }
    code = reading.value;
    return true;
}

bool MatchesPattern(const std::string& text, const char* pattern) {
    std::size_t i = 0;
    for (; pattern[i] != '\0'; ++i) {
        if (i >= text.size()) {
            return false;
        }
        const char c = text[i];
        if (pattern[i] == 'd' ? (c < '0' || c > '9') : c != pattern[i]) {
            return false;
        }
    }
    return i == text.size();
}

bool ReadDecimal(const std::string& text, long& value) {
    if (text.empty()) {
        return false;
    }
    char* end = nullptr;
    value = std::strtol(text.c_str(), &end, 10);
    return *end == '\0';
}

} // namespace

RecordView MakeView(const ErrorRecord& record) {
    RecordView view;
    view.date = record.Attribute("Date");
    view.time = record.Attribute("Time");
    const std::string& level = record.Attribute("ErrorLevel");
    view.kind = level == "SystemError"     ? "error"
                : level == "RepairedError" ? "repaired"
                : level.empty()            ? "unknown"
                                           : level;
    if (!record.HasField("ErrorCode")) {
        view.codeKnown = true; // the library leaves out code 0
    } else {
        view.codeKnown = ReadLoggedCode(record.Field("ErrorCode"), view.code);
    }
    view.codeText = view.codeKnown ? HexCode(view.code) : record.Field("ErrorCode");
    view.codeName = view.codeKnown ? ShortName(view.code) : "unreadable";
    view.component = record.Field("CoClassName");
    view.object = record.Field("ObjectName");
    if (!record.Field("FwApplic").empty()) {
        view.location = record.Field("FwApplic");
        if (record.HasField("LINumber")) {
            view.location += "[" + record.Field("LINumber") + "]";
        }
    } else if (!record.Field("LogicalLocation").empty()) {
        long location = 0;
        if (ReadDecimal(record.Field("LogicalLocation"), location)) {
            char text[16];
            std::snprintf(text, sizeof(text), "0x%04lx", location & 0xFFFFL);
            view.location = text;
        } else {
            view.location = record.Field("LogicalLocation");
        }
    }
    view.source = record.Field("FileName");
    if (!view.source.empty() && record.HasField("FileLine")) {
        view.source += ":" + record.Field("FileLine");
    }
    view.message = record.Field("Description");
    return view;
}

std::string SortableTime(const RecordView& view) {
    if (!MatchesPattern(view.date, "dddd-dd-dd") || !MatchesPattern(view.time, "dd:dd:dd.ddd")) {
        return std::string();
    }
    return view.date + " " + view.time;
}

} // namespace KxTool
