// Record filters by time, result code and component.
#include "LogFilter.h"

#include <algorithm>
#include <cstdio>

#include "NumberText.h"
#include "ResultCodeInfo.h"

namespace KxTool {

namespace {

// Reads `count` decimal digits at `pos`; false when they are not all there.
bool ReadDigits(const std::string& text, std::size_t pos, std::size_t count, int& value) {
    if (pos + count > text.size()) {
        return false;
    }
    value = 0;
    for (std::size_t i = pos; i < pos + count; ++i) {
        if (text[i] < '0' || text[i] > '9') {
            return false;
        }
        value = value * 10 + (text[i] - '0');
    }
    return true;
}

bool IsName(const std::string& text) {
    if (text.empty() || (text[0] >= '0' && text[0] <= '9')) {
        return false;
    }
    for (char c : text) {
        const bool ok =
            (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
        if (!ok) {
            return false;
        }
    }
    return true;
}

// The library's own name of a code (E_FAIL, 5L, ...).
std::string LibraryName(std::uint32_t code) {
    const std::string text = LibraryText(code);
    const std::size_t colon = text.find(": ");
    return colon == std::string::npos ? std::string() : text.substr(colon + 2);
}

} // namespace

bool ReadSinceTime(const std::string& text, std::string& sortable, std::string& problem) {
    problem = "not a time (YYYY-MM-DD, 'YYYY-MM-DD HH:MM' or 'YYYY-MM-DD HH:MM:SS.mmm')";
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, milli = 0;
    if (!ReadDigits(text, 0, 4, year) || text.size() < 10 || text[4] != '-' ||
        !ReadDigits(text, 5, 2, month) || text[7] != '-' || !ReadDigits(text, 8, 2, day)) {
        return false;
    }
    std::size_t pos = 10;
    if (pos < text.size()) {
        if ((text[pos] != ' ' && text[pos] != 'T') || !ReadDigits(text, pos + 1, 2, hour) ||
            pos + 3 >= text.size() || text[pos + 3] != ':' ||
            !ReadDigits(text, pos + 4, 2, minute)) {
            return false;
        }
        pos += 6;
        if (pos < text.size()) {
            if (text[pos] != ':' || !ReadDigits(text, pos + 1, 2, second)) {
                return false;
            }
            pos += 3;
            if (pos < text.size()) {
                const std::size_t digits = text.size() - pos - 1;
                if (text[pos] != '.' || digits < 1 || digits > 3 ||
                    !ReadDigits(text, pos + 1, digits, milli)) {
                    return false;
                }
                for (std::size_t d = digits; d < 3; ++d) {
                    milli *= 10;
                }
            }
        }
    }
    if (month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || minute > 59 || second > 60) {
        problem = "no such date or time of day";
        return false;
    }
    char buffer[64];
    std::snprintf(buffer, sizeof(buffer), "%04d-%02d-%02d %02d:%02d:%02d.%03d", year, month, day,
                  hour, minute, second, milli);
    sortable = buffer;
    problem.clear();
    return true;
}

bool RecordFilter::SetSince(const std::string& text, std::string& problem) {
    return ReadSinceTime(text, m_since, problem);
}

bool RecordFilter::AddCode(const std::string& text, std::string& problem) {
    CodeReading reading;
    std::string numberProblem;
    if (ReadResultCode(text, reading, numberProblem)) {
        m_codes.push_back(reading.value);
        return true;
    }
    if (IsName(text)) {
        m_codeNames.push_back(text);
        return true;
    }
    problem = "not a result code or name: " + numberProblem;
    return false;
}

void RecordFilter::AddComponent(const std::string& name) {
    m_components.push_back(name);
}

bool RecordFilter::Matches(const RecordView& view) const {
    if (!m_since.empty()) {
        const std::string time = SortableTime(view);
        if (time.empty() || time < m_since) {
            return false;
        }
    }
    if (!m_codes.empty() || !m_codeNames.empty()) {
        if (!view.codeKnown) {
            return false;
        }
        bool any = std::find(m_codes.begin(), m_codes.end(), view.code) != m_codes.end();
        if (!any && !m_codeNames.empty()) {
            const std::string library = LibraryName(view.code);
            for (const std::string& name : m_codeNames) {
                any = any || name == view.codeName || name == library;
            }
        }
        if (!any) {
            return false;
        }
    }
    if (!m_components.empty() &&
        std::find(m_components.begin(), m_components.end(), view.component) == m_components.end()) {
        return false;
    }
    return true;
}

} // namespace KxTool
