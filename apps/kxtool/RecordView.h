// What kxtool shows of an error-log record: its time, kind, result code with
// a short name, component, object, location, source and message, derived
// from the record's attributes and elements as the library writes them.
#pragma once

#include <cstdint>
#include <string>

#include "ErrorRecord.h"

namespace KxTool {

struct RecordView {
    std::string date; // Date attribute, "2024-05-01"
    std::string time; // Time attribute, "13:05:30.250"
    std::string kind; // "error", "repaired", or the ErrorLevel as written
    bool codeKnown = false;
    std::uint32_t code = 0; // from ErrorCode; a record without one has code 0
    std::string codeText;   // HexCode(code), or the ErrorCode text when unreadable
    std::string codeName;   // ShortName(code), or "unreadable"
    std::string component;  // CoClassName
    std::string object;     // ObjectName
    std::string location;   // "DemoApp[1]" from FwApplic and LINumber, or the
                            // LogicalLocation number in hexadecimal
    std::string source;     // "File.cpp:123" from FileName and FileLine
    std::string message;    // Description
};

RecordView MakeView(const ErrorRecord& record);

// "2024-05-01 13:05:30.250" when the record's Date and Time have exactly the
// library's form, else empty.
std::string SortableTime(const RecordView& view);

} // namespace KxTool
