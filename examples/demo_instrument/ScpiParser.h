// The SCPI parser: program messages, program message units, header
// patterns and parameters.
//
// A program message is one line; `;` separates its units (outside quoted
// strings). A unit is a header, optionally followed by white space and
// comma-separated parameters:
//   *IDN?                        a common command (does not change the path)
//   :MEASure:VOLTage? 2          an absolute header (leading ':')
//   TEMPerature? 2               a header relative to the current path
// Mnemonics are case-insensitive; a pattern node such as "MEASure" accepts
// its short form (the upper-case part, "MEAS") and its long form
// ("MEASURE"); nodes in brackets ("[:SCALar]") may be left out.
//
// Errors are SCPI error codes (ScpiErrors.h); 0 means success.
// Thread safety: all functions are pure; ScpiHeaderPattern is immutable.
#pragma once

#include <string>
#include <vector>

namespace Demo {

struct ScpiUnit {
    bool empty = true;   // nothing but white space
    bool common = false; // "*XXX" header
    bool absolute = false;
    bool query = false;
    std::vector<std::string> nodes; // upper-case mnemonics ("*IDN" for common ones)
    std::vector<std::string> params;
};

// The units of a program message, split at ';' outside quoted strings.
std::vector<std::string> SplitProgramMessage(const std::string& line);

// Parses one unit. -101 for a byte that is no printable ASCII (other than
// tab and carriage return), -102 for a malformed header, -112 for a mnemonic
// longer than 12 characters, -103 for a parameter with blanks inside,
// -109 for an empty parameter.
int ParseUnit(const std::string& text, ScpiUnit& unit);

class ScpiHeaderPattern {
public:
    // "MEASure[:SCALar]:VOLTage[:DC]?" or "*IDN?": a trailing '?' makes it
    // the query form.
    explicit ScpiHeaderPattern(const char* pattern);

    // Whether `nodes` (upper case) in the query form `query` name this
    // header.
    bool Matches(const std::vector<std::string>& nodes, bool query) const;

private:
    struct Node {
        std::string shortForm;
        std::string longForm;
        bool optional;
    };
    bool MatchFrom(size_t pattern, const std::vector<std::string>& nodes, size_t node) const;

    std::vector<Node> m_Nodes;
    bool m_bQuery = false;
};

// NR1 integer in [low, high]: -104 when the text is no integer, -222 when
// it is out of range.
int ParseInteger(const std::string& text, long low, long high, long& value);
// ON, OFF (any case) or an integer (non-zero is on); -224 for other words,
// -104 for other data.
int ParseBoolean(const std::string& text, bool& value);

} // namespace Demo
