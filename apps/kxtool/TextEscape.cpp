// Escaping of record texts for one-line and JSON output.
#include "TextEscape.h"

#include <cstdint>
#include <cstdio>

namespace KxTool {

namespace {

// Decodes the UTF-8 character at `i`; returns its length, 0 when the bytes
// there are not a valid sequence.
std::size_t DecodeAt(const std::string& text, std::size_t i, std::uint32_t& cp) {
    const auto lead = static_cast<unsigned char>(text[i]);
    std::size_t length = 0;
    if (lead < 0x80) {
        cp = lead;
        return 1;
    }
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        cp = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        cp = lead & 0x0F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        cp = lead & 0x07;
    } else {
        return 0;
    }
    if (i + length > text.size()) {
        return 0;
    }
    for (std::size_t k = 1; k < length; ++k) {
        const auto c = static_cast<unsigned char>(text[i + k]);
        if ((c & 0xC0) != 0x80) {
            return 0;
        }
        cp = cp << 6 | (c & 0x3F);
    }
    const std::uint32_t minimum[] = {0, 0, 0x80, 0x800, 0x10000};
    if (cp < minimum[length] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
        return 0;
    }
    return length;
}

void AppendHexEscape(std::string& out, const char* format, unsigned value) {
    char buffer[16];
    std::snprintf(buffer, sizeof(buffer), format, value);
    out += buffer;
}

} // namespace

std::string OneLine(const std::string& text) {
    std::size_t end = text.size();
    while (end > 0 && (text[end - 1] == ' ' || text[end - 1] == '\t' || text[end - 1] == '\n' ||
                       text[end - 1] == '\r')) {
        --end;
    }
    std::string out;
    out.reserve(end);
    for (std::size_t i = 0; i < end;) {
        std::uint32_t cp = 0;
        const std::size_t length = DecodeAt(text, i, cp);
        if (length == 0) {
            AppendHexEscape(out, "\\x%02x", static_cast<unsigned char>(text[i]));
            ++i;
            continue;
        }
        if (cp == '\r' || cp == '\n') {
            // "\r\n", "\n" and "\r" each end one line.
            i += cp == '\r' && i + 1 < end && text[i + 1] == '\n' ? 2 : 1;
            out += " | ";
            continue;
        }
        if (cp == '\t') {
            out += "\\t";
        } else if (cp < 0x20 || cp == 0x7F) {
            AppendHexEscape(out, "\\x%02x", cp);
        } else if (cp >= 0x80 && cp < 0xA0) {
            AppendHexEscape(out, "\\u%04x", cp);
        } else {
            out.append(text, i, length);
        }
        i += length;
    }
    return out;
}

std::string JsonString(const std::string& text) {
    std::string out = "\"";
    out.reserve(text.size() + 2);
    for (std::size_t i = 0; i < text.size();) {
        // Runs of printable ASCII other than quote and backslash go at once.
        std::size_t end = i;
        while (end < text.size() && text[end] >= 0x20 && text[end] < 0x7F && text[end] != '"' &&
               text[end] != '\\') {
            ++end;
        }
        if (end > i) {
            out.append(text, i, end - i);
            i = end;
            continue;
        }
        std::uint32_t cp = 0;
        std::size_t length = DecodeAt(text, i, cp);
        if (length == 0) {
            cp = 0xFFFD;
            length = 1;
        }
        i += length;
        switch (cp) {
        case '"':
            out += "\\\"";
            continue;
        case '\\':
            out += "\\\\";
            continue;
        case '\b':
            out += "\\b";
            continue;
        case '\f':
            out += "\\f";
            continue;
        case '\n':
            out += "\\n";
            continue;
        case '\r':
            out += "\\r";
            continue;
        case '\t':
            out += "\\t";
            continue;
        default:
            break;
        }
        if (cp >= 0x20 && cp < 0x7F) {
            out += static_cast<char>(cp);
        } else if (cp < 0x10000) {
            AppendHexEscape(out, "\\u%04x", cp);
        } else {
            const std::uint32_t v = cp - 0x10000;
            AppendHexEscape(out, "\\u%04x", 0xD800 + (v >> 10));
            AppendHexEscape(out, "\\u%04x", 0xDC00 + (v & 0x3FF));
        }
    }
    out += '"';
    return out;
}

} // namespace KxTool
