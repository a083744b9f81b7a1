// Repair of log bytes for the XML parser: UTF-8 kept, Windows-1252 converted,
// control characters replaced by stand-ins.
#include "LogTextRepair.h"

#include <KxTamarindCommon.h>

#include <cstdint>
#include <cstring>

namespace KxTool {

namespace {

constexpr std::uint32_t kStandInBase = 0xFDD0; // U+FDD0..U+FDEF: 32 noncharacters
constexpr std::uint32_t kReplacement = 0xFFFD;

void AppendUtf8(std::uint32_t cp, std::string& out) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | cp >> 6);
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | cp >> 12);
        out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | cp >> 18);
        out += static_cast<char>(0x80 | (cp >> 12 & 0x3F));
        out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

bool IsXmlControl(unsigned char c) {
    return c < 0x20 && c != '\t' && c != '\n' && c != '\r';
}

// The length of the UTF-8 sequence that `lead` starts, 0 when it starts none.
std::size_t SequenceLength(unsigned char lead) {
    if (lead >= 0xC2 && lead <= 0xDF) {
        return 2;
    }
    if (lead >= 0xE0 && lead <= 0xEF) {
        return 3;
    }
    if (lead >= 0xF0 && lead <= 0xF4) {
        return 4;
    }
    return 0;
}

// Whether byte `i` (1-based after the lead) may follow `lead` in a valid
// sequence: no overlong forms, no surrogates, nothing above U+10FFFF.
bool ValidContinuation(unsigned char lead, std::size_t i, unsigned char c) {
    if ((c & 0xC0) != 0x80) {
        return false;
    }
    if (i != 1) {
        return true;
    }
    switch (lead) {
    case 0xE0:
        return c >= 0xA0;
    case 0xED:
        return c <= 0x9F;
    case 0xF0:
        return c >= 0x90;
    case 0xF4:
        return c <= 0x8F;
    default:
        return true;
    }
}

std::uint32_t Decode(const unsigned char* p, std::size_t length) {
    std::uint32_t cp = p[0] & (0x7F >> length);
    for (std::size_t i = 1; i < length; ++i) {
        cp = cp << 6 | (p[i] & 0x3F);
    }
    return cp;
}

void AppendWindows1252(unsigned char byte, std::string& out) {
    const wchar_t wide = KxTamarind::CStlExtensions::WidenChar(static_cast<char>(byte));
    AppendUtf8(static_cast<std::uint32_t>(wide), out);
}

} // namespace

void LogTextRepair::Repair(const char* data, std::size_t size, std::string& out) {
    const auto* p = reinterpret_cast<const unsigned char*>(data);
    // Complete a sequence kept from the previous call first.
    while (m_pendingSize > 0 && size > 0) {
        if (!ValidContinuation(m_pending[0], m_pendingSize, *p)) {
            // The kept bytes start no character; the new byte is read afresh.
            Finish(out);
            break;
        }
        m_pending[m_pendingSize++] = *p++;
        --size;
        if (m_pendingSize == SequenceLength(m_pending[0])) {
            Finish(out);
        }
    }
    RepairBytes(p, size, false, out);
}

void LogTextRepair::Finish(std::string& out) {
    const std::size_t keptSize = m_pendingSize;
    m_pendingSize = 0;
    RepairBytes(m_pending, keptSize, true, out);
}

void LogTextRepair::RepairBytes(const unsigned char* p, std::size_t size, bool final,
                                std::string& out) {
    std::size_t i = 0;
    while (i < size) {
        const unsigned char c = p[i];
        if (c < 0x80) {
            // Runs of plain text are copied at once.
            std::size_t end = i;
            while (end < size && p[end] < 0x80 && !IsXmlControl(p[end])) {
                ++end;
            }
            if (end > i) {
                out.append(reinterpret_cast<const char*>(p + i), end - i);
                m_started = true;
                i = end;
                continue;
            }
            AppendUtf8(kStandInBase + c, out);
            m_started = true;
            ++i;
            continue;
        }
        const std::size_t length = SequenceLength(c);
        std::size_t valid = 1;
        while (length != 0 && valid < length && i + valid < size &&
               ValidContinuation(c, valid, p[i + valid])) {
            ++valid;
        }
        if (length != 0 && valid < length && i + valid == size && !final) {
            // Possibly cut by the end of this piece: wait for the rest.
            std::memcpy(m_pending, p + i, valid);
            m_pendingSize = valid;
            return;
        }
        if (length == 0 || valid < length) {
            AppendWindows1252(c, out);
            m_started = true;
            ++i;
            continue;
        }
        const std::uint32_t cp = Decode(p + i, length);
        if (cp == 0xFEFF && !m_started) {
            // A byte-order mark at the start of the file.
        } else if ((cp >= kStandInBase && cp <= kStandInBase + 0x1F) || cp == 0xFFFE ||
                   cp == 0xFFFF) {
            AppendUtf8(kReplacement, out);
        } else {
            out.append(reinterpret_cast<const char*>(p + i), length);
        }
        m_started = true;
        i += length;
    }
}

void RestoreControls(std::string& text) {
    // U+FDD0..U+FDEF is EF B7 90..EF B7 AF in UTF-8.
    std::size_t found = text.find("\xEF\xB7");
    if (found == std::string::npos) {
        return;
    }
    std::size_t out = found;
    for (std::size_t in = found; in < text.size();) {
        const auto third = in + 2 < text.size() ? static_cast<unsigned char>(text[in + 2]) : 0;
        if (text.compare(in, 2, "\xEF\xB7") == 0 && third >= 0x90 && third <= 0xAF) {
            text[out++] = static_cast<char>(third - 0x90);
            in += 3;
        } else {
            text[out++] = text[in++];
        }
    }
    text.resize(out);
}

} // namespace KxTool
