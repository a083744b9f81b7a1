// Escapes the texts that the library writes into the XML error log without
// escaping them.
//
// CErrorObject::DescriptionXml escapes the object, partner, property and file
// names, the condition and the description, but writes CoClassName,
// PropertyPath, FileTime, MethodName, Thread and ErrorCode raw. A co-class
// description "Save & Recall" or a method name "CList<int>::Add" then breaks
// the XML. Each of these elements stands on a line of its own
// ("      <MethodName>...</MethodName>"), so a line that opens one of them and
// closes it at its end gets "&", "<" and ">" of its content escaped before
// the parser sees it. Other lines, and such a line whose value spans lines or
// exceeds kMaxLineBytes, pass unchanged. Line feeds are kept.
//
// One object per stream; not safe to share between threads.
#pragma once

#include <cstddef>
#include <string>

namespace KxTool {

class RawElementEscaper {
public:
    static constexpr std::size_t kMaxLineBytes = 1 << 20;

    // Appends the next `size` bytes, escaped where needed, to `out`; a line
    // that may need escaping is held until its line feed.
    void Process(const char* data, std::size_t size, std::string& out);
    // End of the stream: writes what is held.
    void Finish(std::string& out);

private:
    enum class State { LineStart, Holding, Passing };

    void Release(std::string& out, bool escape);

    State m_state = State::LineStart;
    std::string m_line;           // held bytes of the current line
    const char* m_name = nullptr; // the raw element the held line opens
    std::size_t m_indent = 0;     // blanks at the start of the held line
};

} // namespace KxTool
