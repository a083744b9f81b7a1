// SCPI program messages, units, header patterns and parameters.
#include "ScpiParser.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "ScpiErrors.h"

namespace Demo {

namespace {

// SCPI limits a mnemonic to twelve characters.
constexpr size_t kMaxMnemonic = 12;

// Classification in the C locale by value, so bytes above 0x7F never count
// as letters whatever the process locale says.
bool IsAlpha(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}
bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}
bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r';
}
char Upper(char c) {
    return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
}

std::string Trim(const std::string& text) {
    size_t first = 0;
    size_t last = text.size();
    while (first < last && IsBlank(text[first])) {
        ++first;
    }
    while (last > first && IsBlank(text[last - 1])) {
        --last;
    }
    return text.substr(first, last - first);
}

// Splits at `separator` outside single- or double-quoted strings.
std::vector<std::string> SplitOutsideQuotes(const std::string& text, char separator) {
    std::vector<std::string> parts(1);
    char quote = 0;
    for (char c : text) {
        if (quote != 0) {
            quote = c == quote ? 0 : quote;
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (c == separator) {
            parts.emplace_back();
            continue;
        }
        parts.back() += c;
    }
    return parts;
}

// Reads one mnemonic at `pos` (letter first, then letters, digits, '_').
int ReadMnemonic(const std::string& text, size_t& pos, std::string& node) {
    if (pos >= text.size() || !IsAlpha(text[pos])) {
        return kScpiSyntaxError;
    }
    node.clear();
    while (pos < text.size() && (IsAlpha(text[pos]) || IsDigit(text[pos]) || text[pos] == '_')) {
        node += Upper(text[pos++]);
    }
    return node.size() > kMaxMnemonic ? kScpiMnemonicTooLong : kScpiNoError;
}

} // namespace

std::vector<std::string> SplitProgramMessage(const std::string& line) {
    return SplitOutsideQuotes(line, ';');
}

int ParseUnit(const std::string& text, ScpiUnit& unit) {
    unit = ScpiUnit();
    for (char c : text) {
        unsigned char byte = static_cast<unsigned char>(c);
        if ((byte < 0x20 && !IsBlank(c)) || byte >= 0x7F) {
            return kScpiInvalidCharacter;
        }
    }
    std::string trimmed = Trim(text);
    if (trimmed.empty()) {
        return kScpiNoError;
    }
    unit.empty = false;
    size_t pos = 0;
    std::string node;
    if (trimmed[0] == '*') {
        unit.common = true;
        ++pos;
        int error = ReadMnemonic(trimmed, pos, node);
        if (error != kScpiNoError) {
            return error;
        }
        unit.nodes.push_back('*' + node);
    } else {
        unit.absolute = trimmed[0] == ':';
        pos = unit.absolute ? 1 : 0;
        for (;;) {
            int error = ReadMnemonic(trimmed, pos, node);
            if (error != kScpiNoError) {
                return error;
            }
            unit.nodes.push_back(node);
            if (pos >= trimmed.size() || trimmed[pos] != ':') {
                break;
            }
            ++pos;
        }
    }
    if (pos < trimmed.size() && trimmed[pos] == '?') {
        unit.query = true;
        ++pos;
    }
    if (pos == trimmed.size()) {
        return kScpiNoError;
    }
    if (!IsBlank(trimmed[pos])) {
        return kScpiSyntaxError;
    }
    for (const std::string& part : SplitOutsideQuotes(trimmed.substr(pos), ',')) {
        std::string param = Trim(part);
        if (param.empty()) {
            return kScpiMissingParameter;
        }
        bool quoted = param[0] == '"' || param[0] == '\'';
        if (!quoted && param.find_first_of(" \t\r") != std::string::npos) {
            return kScpiInvalidSeparator;
        }
        unit.params.push_back(param);
    }
    return kScpiNoError;
}

ScpiHeaderPattern::ScpiHeaderPattern(const char* pattern) {
    std::string text(pattern);
    if (!text.empty() && text.back() == '?') {
        m_bQuery = true;
        text.pop_back();
    }
    // Nodes are separated by ':'; "[:NODE]" is an optional node.
    size_t pos = 0;
    while (pos < text.size()) {
        bool optional = text[pos] == '[';
        pos += optional ? 1 : 0;
        pos += text[pos] == ':' ? 1 : 0;
        size_t end = text.find_first_of(":[]", pos);
        end = end == std::string::npos ? text.size() : end;
        Node node{std::string(), std::string(), optional};
        for (size_t i = pos; i < end; ++i) {
            char c = text[i];
            if (!IsAlpha(c) || Upper(c) == c) {
                node.shortForm += c;
            }
            node.longForm += Upper(c);
        }
        m_Nodes.push_back(node);
        pos = end + (end < text.size() && text[end] == ']' ? 1 : 0);
    }
}

bool ScpiHeaderPattern::Matches(const std::vector<std::string>& nodes, bool query) const {
    return query == m_bQuery && MatchFrom(0, nodes, 0);
}

bool ScpiHeaderPattern::MatchFrom(size_t pattern, const std::vector<std::string>& nodes,
                                  size_t node) const {
    if (pattern == m_Nodes.size()) {
        return node == nodes.size();
    }
    const Node& p = m_Nodes[pattern];
    if (p.optional && MatchFrom(pattern + 1, nodes, node)) {
        return true;
    }
    return node < nodes.size() && (nodes[node] == p.shortForm || nodes[node] == p.longForm) &&
           MatchFrom(pattern + 1, nodes, node + 1);
}

int ParseInteger(const std::string& text, long low, long high, long& value) {
    size_t pos = (!text.empty() && (text[0] == '+' || text[0] == '-')) ? 1 : 0;
    if (pos == text.size()) {
        return kScpiDataTypeError;
    }
    for (size_t i = pos; i < text.size(); ++i) {
        if (!IsDigit(text[i])) {
            return kScpiDataTypeError;
        }
    }
    errno = 0;
    long parsed = std::strtol(text.c_str(), nullptr, 10);
    if (errno == ERANGE || parsed < low || parsed > high) {
        return kScpiDataOutOfRange;
    }
    value = parsed;
    return kScpiNoError;
}

int ParseBoolean(const std::string& text, bool& value) {
    std::string word;
    for (char c : text) {
        word += Upper(c);
    }
    if (word == "ON" || word == "OFF") {
        value = word == "ON";
        return kScpiNoError;
    }
    long number = 0;
    int error = ParseInteger(text, LONG_MIN, LONG_MAX, number);
    if (error == kScpiNoError) {
        value = number != 0;
        return kScpiNoError;
    }
    return IsAlpha(text[0]) ? kScpiIllegalParameterValue : kScpiDataTypeError;
}

} // namespace Demo
