// Texts of log records made safe for output: one terminal line, or a JSON
// string. Input is UTF-8 (as the log reader delivers it) and may hold any
// control character; invalid UTF-8 is tolerated.
//
// Pure functions; safe from any thread.
#pragma once

#include <string>

namespace KxTool {

// One line for a terminal: trailing blanks and line breaks dropped, line
// breaks inside joined with " | ", a tab written as "\t", other C0 and C1
// control characters and DEL as "\xHH" (C0, DEL) or "\u0085" (C1), and a
// byte that is not UTF-8 as "\xHH". Other characters stay as they are.
std::string OneLine(const std::string& text);

// A JSON string literal, quotes included, in pure ASCII: quote, backslash
// and control characters escaped, every other character above U+007E as
// \uXXXX (a surrogate pair above U+FFFF); a byte that is not UTF-8 becomes
// \ufffd.
std::string JsonString(const std::string& text);

} // namespace KxTool
