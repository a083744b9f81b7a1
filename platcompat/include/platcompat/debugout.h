// Debug output.
//
// OutputDebugStringA writes its text to standard error unchanged (no line
// feed is added) in one write per call. A host or a test may install its own
// sink instead; the sink receives every text (the wide form converted to
// UTF-8) and must be callable from any thread. Installing a null sink
// restores standard error. A null text is ignored. Thread-safe.
#pragma once

#include "platcompat/types.h"

typedef void (*DebugOutputSink)(const char* text, void* context);

PLATCOMPAT_API void OutputDebugStringA(LPCSTR text);
PLATCOMPAT_API void OutputDebugStringW(LPCWSTR text);
inline void OutputDebugString(LPCSTR text) {
    OutputDebugStringA(text);
}
inline void OutputDebugString(LPCWSTR text) {
    OutputDebugStringW(text);
}

// Installs `sink` (with its context) and returns the previous sink.
PLATCOMPAT_API DebugOutputSink SetDebugOutputSink(DebugOutputSink sink, void* context);
