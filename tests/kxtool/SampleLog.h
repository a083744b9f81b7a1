// Error-log records rendered by the library itself
// (CErrorObject::DescriptionXml), as an instrument appends them to its log,
// for the tests of kxtool's log reader and for make_error_log.
#pragma once

#include <string>

namespace KxToolTest {

// The parts of a record that tests vary; the rest is fixed.
struct SampleRecord {
    bool repaired = false;
    long code = static_cast<long>(0x80000008); // this platform's E_FAIL
    std::string component = "DemoChannel";
    std::string object = "Channel1";
    std::string message = "DoConnect failed";
    std::string method;
    std::string file = "Src/Channel.cpp";
    long line = 262;
    std::string thread = "Worker";
    // Date and Time attributes; the library writes the current local time,
    // which the record's text then gets replaced with.
    std::string date = "2024-05-01";
    std::string time = "13:05:30.250";

    std::string Xml() const;
};

// Record number `i` of a varied log: codes of several facilities, components
// with "&" in their names, method names with "<", messages of varying length
// with UTF-8, Windows-1252 bytes, control characters and line breaks.
SampleRecord VariedRecord(unsigned long i);

} // namespace KxToolTest
