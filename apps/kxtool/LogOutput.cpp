// Text, JSON and summary output of error-log records.
#include "LogOutput.h"

#include <algorithm>
#include <cstdio>
#include <set>
#include <vector>

#include "TextEscape.h"

namespace KxTool {

namespace {

void AppendLabelled(std::string& line, const char* label, const std::string& value) {
    if (!value.empty()) {
        line += ' ';
        line += label;
        line += '=';
        line += OneLine(value);
    }
}

std::string JsonOrNull(const std::string& value, bool present) {
    return present ? JsonString(value) : "null";
}

// Entries by count, the largest first; equal counts by key.
template <typename Entry, typename CountOf>
std::vector<Entry> ByCount(std::vector<Entry> entries, CountOf countOf) {
    std::stable_sort(entries.begin(), entries.end(),
                     [&](const Entry& a, const Entry& b) { return countOf(a) > countOf(b); });
    return entries;
}

std::string KindCounts(unsigned long records, unsigned long errors, unsigned long repaired) {
    std::string text = std::to_string(records) + (records == 1 ? " record: " : " records: ") +
                       std::to_string(errors) + (errors == 1 ? " error, " : " errors, ") +
                       std::to_string(repaired) + " repaired";
    const unsigned long other = records - errors - repaired;
    if (other != 0) {
        text += ", " + std::to_string(other) + " of another kind";
    }
    return text;
}

} // namespace

std::string TextLine(const RecordView& view) {
    std::string line;
    if (!view.date.empty() || !view.time.empty()) {
        line = OneLine(view.date + (view.date.empty() || view.time.empty() ? "" : " ") + view.time);
    } else {
        line = "-";
    }
    line += " " + OneLine(view.kind) + " " + OneLine(view.codeText) + " " + view.codeName;
    AppendLabelled(line, "component", view.component);
    AppendLabelled(line, "object", view.object);
    AppendLabelled(line, "location", view.location);
    AppendLabelled(line, "source", view.source);
    AppendLabelled(line, "message", view.message);
    return line;
}

std::string JsonLine(const std::string& file, const ErrorRecord& record, const RecordView& view) {
    std::string line =
        "{\"file\":" + JsonString(file) + ",\"line\":" + std::to_string(record.line) +
        ",\"date\":" + JsonOrNull(view.date, !view.date.empty()) +
        ",\"time\":" + JsonOrNull(view.time, !view.time.empty()) +
        ",\"kind\":" + JsonString(view.kind) + ",\"code\":" + JsonString(view.codeText) +
        ",\"name\":" + JsonString(view.codeName) +
        ",\"component\":" + JsonOrNull(view.component, record.HasField("CoClassName")) +
        ",\"object\":" + JsonOrNull(view.object, record.HasField("ObjectName")) +
        ",\"location\":" + JsonOrNull(view.location, !view.location.empty()) +
        ",\"source\":" + JsonOrNull(view.source, !view.source.empty()) +
        ",\"message\":" + JsonOrNull(view.message, record.HasField("Description")) +
        ",\"fields\":{";
    // An element that appears twice keeps both, the second as "Name#2".
    std::set<std::string> used;
    bool first = true;
    for (const auto& field : record.fields) {
        std::string key = field.first;
        for (int n = 2; !used.insert(key).second; ++n) {
            key = field.first + "#" + std::to_string(n);
        }
        line += (first ? "" : ",") + JsonString(key) + ":" + JsonString(field.second);
        first = false;
    }
    line += "}}";
    return line;
}

void LogSummary::Add(const RecordView& view) {
    ++m_records;
    if (view.kind == "error") {
        ++m_errors;
    } else if (view.kind == "repaired") {
        ++m_repaired;
    }
    auto& code = m_byCode[view.codeText];
    code.first = view.codeName;
    ++code.second;
    ++m_byComponent[view.component];
}

std::string LogSummary::Text() const {
    std::string text = KindCounts(m_records, m_errors, m_repaired) + " in " +
                       std::to_string(m_files) + (m_files == 1 ? " file\n" : " files\n");
    if (m_records == 0) {
        return text;
    }
    using CodeEntry = std::pair<std::string, std::pair<std::string, unsigned long>>;
    text += "by code:\n";
    for (const CodeEntry& e : ByCount(std::vector<CodeEntry>(m_byCode.begin(), m_byCode.end()),
                                      [](const CodeEntry& c) { return c.second.second; })) {
        char count[32];
        std::snprintf(count, sizeof(count), "%8lu  ", e.second.second);
        text += count + OneLine(e.first) + " " + e.second.first + "\n";
    }
    using ComponentEntry = std::pair<std::string, unsigned long>;
    text += "by component:\n";
    for (const ComponentEntry& e :
         ByCount(std::vector<ComponentEntry>(m_byComponent.begin(), m_byComponent.end()),
                 [](const ComponentEntry& c) { return c.second; })) {
        char count[32];
        std::snprintf(count, sizeof(count), "%8lu  ", e.second);
        text += count + (e.first.empty() ? std::string("(none)") : OneLine(e.first)) + "\n";
    }
    return text;
}

std::string LogSummary::Json() const {
    std::string json = "{\"files\":" + std::to_string(m_files) +
                       ",\"records\":" + std::to_string(m_records) +
                       ",\"errors\":" + std::to_string(m_errors) +
                       ",\"repaired\":" + std::to_string(m_repaired) + ",\"byCode\":[";
    using CodeEntry = std::pair<std::string, std::pair<std::string, unsigned long>>;
    bool first = true;
    for (const CodeEntry& e : ByCount(std::vector<CodeEntry>(m_byCode.begin(), m_byCode.end()),
                                      [](const CodeEntry& c) { return c.second.second; })) {
        json += std::string(first ? "" : ",") + "{\"code\":" + JsonString(e.first) +
                ",\"name\":" + JsonString(e.second.first) +
                ",\"count\":" + std::to_string(e.second.second) + "}";
        first = false;
    }
    json += "],\"byComponent\":[";
    using ComponentEntry = std::pair<std::string, unsigned long>;
    first = true;
    for (const ComponentEntry& e :
         ByCount(std::vector<ComponentEntry>(m_byComponent.begin(), m_byComponent.end()),
                 [](const ComponentEntry& c) { return c.second; })) {
        json += std::string(first ? "" : ",") + "{\"component\":" + JsonString(e.first) +
                ",\"count\":" + std::to_string(e.second) + "}";
        first = false;
    }
    json += "]}";
    return json;
}

} // namespace KxTool
