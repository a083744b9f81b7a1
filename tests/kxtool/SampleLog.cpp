// Library-rendered error-log records for tests and the log generator.
#include "SampleLog.h"

#include <KxTamarindCommon.h>

namespace KxToolTest {

namespace {

const GUID kObjectGuid = {
    0x3F2504E0, 0x4F89, 0x11D3, {0x9A, 0x0C, 0x03, 0x05, 0xE8, 0x2C, 0x33, 0x01}};

// Replaces the value of attribute `name` in the first line of `xml`.
void SetAttribute(std::string& xml, const std::string& name, const std::string& value) {
    const std::size_t start = xml.find(name + "=\"");
    if (start == std::string::npos || start > xml.find('\n')) {
        return;
    }
    const std::size_t valueStart = start + name.size() + 2;
    const std::size_t end = xml.find('"', valueStart);
    xml.replace(valueStart, end - valueStart, value);
}

} // namespace

std::string SampleRecord::Xml() const {
    const KxTamarind::CErrorObject error(repaired, line, code, GUID_NULL, 0, kObjectGuid, GUID_NULL,
                                         "check()", file.c_str(), "Mon May  1 10:00:00 2024",
                                         method.c_str(), component.c_str(), object.c_str(), "", "",
                                         "", message.c_str(), thread.c_str());
    std::string xml = error.DescriptionXml().GetString();
    SetAttribute(xml, "Date", date);
    SetAttribute(xml, "Time", time);
    return xml;
}

SampleRecord VariedRecord(unsigned long i) {
    static const long kCodes[] = {static_cast<long>(0x80000008), static_cast<long>(0x80001008),
                                  static_cast<long>(0x80070005), static_cast<long>(0x80040200),
                                  static_cast<long>(0x80040201), static_cast<long>(0x8007000E),
                                  static_cast<long>(0x800A0258), 0};
    SampleRecord record;
    record.repaired = i % 3 != 0;
    record.code = kCodes[i % (sizeof(kCodes) / sizeof(kCodes[0]))];
    record.component = i % 50 == 0 ? "Save & Recall" : "Component" + std::to_string(i % 13);
    record.object = "Channel<" + std::to_string(i % 100) + ">";
    record.method = i % 17 == 0 ? "CList<int>::Add" : "Measure";
    record.line = static_cast<long>(i % 5000);
    record.message = "Measurement " + std::to_string(i) + " failed: overload at 3.5 \xC2\xB5V";
    if (i % 7 == 0) {
        record.message += ", 20 \xB0"
                          "C (Windows-1252)";
    }
    if (i % 11 == 0) {
        record.message += ", raw \x01 control";
    }
    if (i % 3 == 0) {
        record.message += "\nsecond line: \"quoted\" <tag> & 'apostrophe'";
    }
    record.message += std::string(i % 300, 'x');
    char time[16];
    std::snprintf(time, sizeof(time), "%02lu:%02lu:%02lu.%03lu", i / 3600000 % 24, i / 60000 % 60,
                  i / 1000 % 60, i % 1000);
    record.time = time;
    return record;
}

} // namespace KxToolTest
