// Escaping of the raw-text elements of error-log records.
#include "RawElementEscaper.h"

#include <cstring>

namespace KxTool {

namespace {

struct RawElement {
    const char* name;
    std::size_t length;
};
constexpr RawElement kRawElements[] = {{"CoClassName", 11}, {"PropertyPath", 12}, {"FileTime", 8},
                                       {"MethodName", 10},  {"Thread", 6},        {"ErrorCode", 9}};
constexpr std::size_t kMaxIndent = 256;

enum class Match { None, Partial, Full };

// Whether `text` (a line start without its indentation) is, or may become,
// the opening tag of a raw element; sets `name` on a full match.
Match MatchOpeningTag(const char* text, std::size_t size, const char*& name) {
    Match best = Match::None;
    for (const RawElement& element : kRawElements) {
        const std::size_t tagSize = element.length + 2;
        std::size_t i = 0;
        for (; i < size && i < tagSize; ++i) {
            const char expected = i == 0 ? '<' : i == tagSize - 1 ? '>' : element.name[i - 1];
            if (text[i] != expected) {
                break;
            }
        }
        if (i < size && i < tagSize) {
            continue; // a byte differs
        }
        if (size >= tagSize) {
            name = element.name;
            return Match::Full;
        }
        best = Match::Partial;
    }
    return best;
}

bool IsIndent(char c) {
    return c == ' ' || c == '\t';
}

// The line with the content between "<name>" and a closing "</name>" at its
// end escaped; unchanged when it has no such form.
std::string EscapeLine(const std::string& line, const char* name) {
    std::size_t start = 0;
    while (start < line.size() && IsIndent(line[start])) {
        ++start;
    }
    start += std::strlen(name) + 2;
    const std::string closing = std::string("</") + name + ">";
    std::size_t end = line.size();
    while (end > start && (line[end - 1] == '\r' || IsIndent(line[end - 1]))) {
        --end;
    }
    if (end < start + closing.size() ||
        line.compare(end - closing.size(), closing.size(), closing) != 0) {
        return line;
    }
    end -= closing.size();
    std::string escaped = line.substr(0, start);
    for (std::size_t i = start; i < end; ++i) {
        switch (line[i]) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        default:
            escaped += line[i];
        }
    }
    escaped.append(line, end, std::string::npos);
    return escaped;
}

} // namespace

void RawElementEscaper::Release(std::string& out, bool escape) {
    out += escape ? EscapeLine(m_line, m_name) : m_line;
    m_line.clear();
    m_name = nullptr;
    m_indent = 0;
}

void RawElementEscaper::Process(const char* data, std::size_t size, std::string& out) {
    std::size_t i = 0;
    while (i < size) {
        if (m_state == State::Passing || m_state == State::Holding) {
            const void* found = std::memchr(data + i, '\n', size - i);
            const std::size_t end =
                found != nullptr ? static_cast<std::size_t>(static_cast<const char*>(found) - data)
                                 : size;
            if (m_state == State::Passing) {
                out.append(data + i, end - i);
            } else {
                m_line.append(data + i, end - i);
                if (m_line.size() > kMaxLineBytes) {
                    Release(out, false);
                    m_state = State::Passing;
                }
            }
            if (found == nullptr) {
                return;
            }
            if (m_state == State::Holding) {
                Release(out, true);
            }
            out += '\n';
            m_state = State::LineStart;
            i = end + 1;
            continue;
        }
        const char c = data[i++];
        if (c == '\n') {
            Release(out, false);
            out += '\n';
            continue;
        }
        m_line += c;
        if (m_indent + 1 == m_line.size() && IsIndent(c)) {
            if (++m_indent > kMaxIndent) {
                Release(out, false);
                m_state = State::Passing;
            }
            continue;
        }
        const char* name = nullptr;
        switch (MatchOpeningTag(m_line.data() + m_indent, m_line.size() - m_indent, name)) {
        case Match::None:
            Release(out, false);
            m_state = State::Passing;
            break;
        case Match::Full:
            m_name = name;
            m_state = State::Holding;
            break;
        case Match::Partial:
            break;
        }
    }
}

void RawElementEscaper::Finish(std::string& out) {
    Release(out, m_state == State::Holding);
    m_state = State::LineStart;
}

} // namespace KxTool
