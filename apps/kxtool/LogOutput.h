// The output forms of `kxtool log`: one text line per record, one JSON
// object per line, and the summary by code and by component.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "ErrorRecord.h"
#include "RecordView.h"

namespace KxTool {

// "2024-05-01 13:05:30.250 repaired 0x80001008 E_KX_HRESULT_ASSERT_REPAIRED
// component=... object=... location=... source=... message=...": the labelled
// parts only when the record has them; every text on one line (OneLine).
std::string TextLine(const RecordView& view);

// One JSON object: file, line, date, time, kind, code, name, component,
// object, location, source and message (null where the record has none),
// then "fields" with every element of the record by its name.
std::string JsonLine(const std::string& file, const ErrorRecord& record, const RecordView& view);

// Counts of the records shown, by kind, code and component. Memory grows
// with the number of distinct codes and components only.
class LogSummary {
public:
    void Add(const RecordView& view);
    void AddFile() { ++m_files; }
    std::string Text() const;
    std::string Json() const;

private:
    unsigned long m_files = 0;
    unsigned long m_records = 0;
    unsigned long m_errors = 0;
    unsigned long m_repaired = 0;
    // code text -> (short name, count)
    std::map<std::string, std::pair<std::string, unsigned long>> m_byCode;
    std::map<std::string, unsigned long> m_byComponent;
};

} // namespace KxTool
