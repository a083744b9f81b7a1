// Remote-control trace lines of the SCPI server.
//
// Every tracing site asks its topic's switch first (InputTraceEnabled(),
// OutputTraceEnabled(), ... of the library), so a switched-off topic costs
// one load. A line goes through the embedded shell to the device layer's
// trace output, named "scpi", with the source file and line of the site.
// Thread safety: may be called from any thread.
#pragma once

#include <KxTamarindCommon.h>

#include <string>

namespace Demo {

void ScpiTraceLine(const char* file, int line, const std::string& text);

// `text` for a trace line: bytes outside printable ASCII as \xNN, cut after
// `limit` bytes of input ("..." appended).
std::string Printable(const std::string& text, size_t limit = 120);

} // namespace Demo

// Writes `text` (evaluated only when the topic is on) if `enabled` is true.
#define SCPI_TRACE(enabled, text)                                                                  \
    do {                                                                                           \
        if (enabled) {                                                                             \
            ::Demo::ScpiTraceLine(__FILE__, __LINE__, (text));                                     \
        }                                                                                          \
    } while (0)
