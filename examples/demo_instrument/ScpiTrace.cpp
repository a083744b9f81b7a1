// Trace lines through the embedded shell.
#include "ScpiTrace.h"

#include <cstdio>
#include <cstring>

using namespace KxTamarind;

namespace Demo {

void ScpiTraceLine(const char* file, int line, const std::string& text) {
    const char* base = std::strrchr(file, '/');
    // The text is printable ASCII (see Printable), so it widens byte by byte.
    std::wstring wide(text.begin(), text.end());
    CEmbeddedShell::TraceThreadMessage("scpi", base != nullptr ? base + 1 : file, line,
                                       wide.c_str());
}

std::string Printable(const std::string& text, size_t limit) {
    std::string result;
    for (size_t i = 0; i < text.size() && i < limit; ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c >= 0x20 && c < 0x7F && c != '\\') {
            result += static_cast<char>(c);
        } else {
            char escaped[8];
            std::snprintf(escaped, sizeof(escaped), "\\x%02X", c);
            result += escaped;
        }
    }
    if (text.size() > limit) {
        result += "...";
    }
    return result;
}

} // namespace Demo
