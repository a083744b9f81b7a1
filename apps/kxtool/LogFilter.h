// The record filters of `kxtool log`: --since TIME, --code CODE and
// --component NAME. Filters of one kind may be repeated and any of them
// matches; filters of different kinds must all match.
//
// A filter is built once from the command line and then only read; safe to
// share between threads.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "RecordView.h"

namespace KxTool {

// Reads a --since time: "YYYY-MM-DD" with an optional time of day after a
// blank or "T": "HH:MM", "HH:MM:SS" or "HH:MM:SS.f" (1 to 3 digits). Sets
// `sortable` to the form SortableTime gives ("2024-05-01 13:05:00.000");
// false with `problem` set when the text is not such a time.
bool ReadSinceTime(const std::string& text, std::string& sortable, std::string& problem);

class RecordFilter {
public:
    // False with `problem` set for a text that is no time.
    bool SetSince(const std::string& text, std::string& problem);
    // A code as `kxtool hresult` reads it, or a name (E_FAIL,
    // ERROR_ACCESS_DENIED, E_KX_HRESULT_ASSERT_REPAIRED); false with
    // `problem` set for anything else.
    bool AddCode(const std::string& text, std::string& problem);
    void AddComponent(const std::string& name);

    bool Matches(const RecordView& view) const;

private:
    std::string m_since; // sortable form; empty: no time filter
    std::vector<std::uint32_t> m_codes;
    std::vector<std::string> m_codeNames;
    std::vector<std::string> m_components;
};

} // namespace KxTool
