// Error-log records rendered by the library itself
// (CErrorObject::DescriptionXml), as an instrument appends them to its log,
// for the tests of kxtool's log reader and for make_error_log.
#pragma once

#include <KxTamarindCommon.h>

#include <cstdint>
#include <cstdio>
#include <string>

namespace KxToolTest {

// The parts of a record that tests vary; the rest is fixed. Date and Time
// replace the rendering time the library writes.
struct SampleRecord {
    bool repaired = false;
    long code = static_cast<long>(0x80000008); // this platform's E_FAIL
    std::string component = "DemoChannel", object = "Channel1", message = "DoConnect failed";
    std::string method, file = "Src/Channel.cpp", thread = "Worker";
    long line = 262;
    std::string date = "2024-05-01", time = "13:05:30.250";

    std::string Xml() const {
        const GUID objectGuid = {
            0x3F2504E0, 0x4F89, 0x11D3, {0x9A, 0x0C, 3, 5, 0xE8, 0x2C, 0x33, 1}};
        std::string xml =
            KxTamarind::CErrorObject(repaired, line, code, GUID_NULL, 0, objectGuid, GUID_NULL,
                                     "check()", file.c_str(), "Mon May  1 10:00:00 2024",
                                     method.c_str(), component.c_str(), object.c_str(), "", "", "",
                                     message.c_str(), thread.c_str())
                .DescriptionXml()
                .GetString();
        xml.replace(xml.find(" Date=\"") + 7, 10, date);
        xml.replace(xml.find(" Time=\"") + 7, 12, time);
        return xml;
    }
};

// Record number `i` of a varied log: codes of several facilities, components
// with "&" in their names, method names with "<", messages of varying length
// with UTF-8, Windows-1252 bytes, control characters and line breaks.
inline SampleRecord VariedRecord(unsigned long i) {
    // 32-bit values, converted as the platform converts its result codes
    // (`long` is 32 bits wide on i386).
    static const std::uint32_t kCodes[] = {0x80000008, 0x80001008, 0x80070005, 0x80040200,
                                           0x80040201, 0x8007000E, 0x800A0258, 0};
    SampleRecord r;
    r.repaired = i % 3 != 0;
    r.code = static_cast<long>(kCodes[i % 8]);
    r.component = i % 50 == 0 ? "Save & Recall" : "Component" + std::to_string(i % 13);
    r.object = "Channel<" + std::to_string(i % 100) + ">";
    r.method = i % 17 == 0 ? "CList<int>::Add" : "Measure";
    r.line = static_cast<long>(i % 5000);
    r.message = "Measurement " + std::to_string(i) + " failed: overload at 3.5 \xC2\xB5V";
    r.message += i % 7 == 0 ? ", 20 \xB0"
                              "C (Windows-1252)"
                            : "";
    r.message += i % 11 == 0 ? ", raw \x01 control" : "";
    r.message += i % 3 == 0 ? "\nsecond line: \"quoted\" <tag> & 'apostrophe'" : "";
    r.message += std::string(i % 300, 'x');
    char time[16];
    std::snprintf(time, sizeof(time), "%02lu:%02lu:%02lu.%03lu", i / 3600000 % 24, i / 60000 % 60,
                  i / 1000 % 60, i % 1000);
    r.time = time;
    return r;
}

} // namespace KxToolTest
