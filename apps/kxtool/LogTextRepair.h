// Makes the bytes of an error log acceptable to a strict XML parser without
// losing what the instrument wrote.
//
// The library writes a record's texts as they come: names converted from
// wide strings are UTF-8, but a message is copied byte for byte, and the
// library's own narrow conversions produce Windows-1252. Nor does it escape
// control characters, which XML 1.0 forbids even as references. So:
// - valid UTF-8 passes unchanged;
// - a byte that does not start a valid UTF-8 sequence is taken as
//   Windows-1252 and written as the UTF-8 of that character;
// - a C0 control character other than tab, line feed and carriage return is
//   written as the noncharacter U+FDD0 plus its value, a stand-in that
//   RestoreControls turns back into the byte after parsing;
// - noncharacters that XML or the stand-ins reserve (U+FDD0..U+FDEF,
//   U+FFFE, U+FFFF) become U+FFFD;
// - a byte-order mark at the very start is dropped.
// Line feeds are never added or removed, so line numbers stay those of the
// file.
//
// One object per stream; not safe to share between threads.
#pragma once

#include <cstddef>
#include <string>

namespace KxTool {

class LogTextRepair {
public:
    // Appends the repaired form of the next `size` bytes to `out`. An
    // incomplete UTF-8 sequence at the end is kept for the next call.
    void Repair(const char* data, std::size_t size, std::string& out);
    // End of the stream: a kept incomplete sequence is taken as Windows-1252.
    void Finish(std::string& out);

private:
    void RepairBytes(const unsigned char* p, std::size_t size, bool final, std::string& out);

    unsigned char m_pending[4] = {0, 0, 0, 0};
    std::size_t m_pendingSize = 0;
    bool m_started = false;
};

// Turns the control-character stand-ins of LogTextRepair back into bytes.
void RestoreControls(std::string& text);

} // namespace KxTool
