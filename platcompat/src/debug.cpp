// Debug output to standard error or to an installed sink.
#include "platcompat.h"

#include <unistd.h>

#include <mutex>
#include <string>

namespace {

struct Sink {
    std::mutex lock; // serialises sink changes against calls into the sink
    DebugOutputSink function = nullptr;
    void* context = nullptr;
};

Sink& TheSink() {
    static Sink sink;
    return sink;
}

void WriteAll(const char* text, std::size_t length) {
    while (length > 0) {
        const ssize_t written = write(STDERR_FILENO, text, length);
        if (written <= 0) {
            return; // nothing sensible to do when standard error is gone
        }
        text += written;
        length -= static_cast<std::size_t>(written);
    }
}

} // namespace

DebugOutputSink SetDebugOutputSink(DebugOutputSink sink, void* context) {
    Sink& s = TheSink();
    std::lock_guard<std::mutex> guard(s.lock);
    const DebugOutputSink previous = s.function;
    s.function = sink;
    s.context = context;
    return previous;
}

void OutputDebugStringA(LPCSTR text) {
    if (text == nullptr) {
        return;
    }
    Sink& s = TheSink();
    std::lock_guard<std::mutex> guard(s.lock);
    if (s.function != nullptr) {
        s.function(text, s.context);
    } else {
        WriteAll(text, std::strlen(text));
    }
}

void OutputDebugStringW(LPCWSTR text) {
    if (text == nullptr) {
        return;
    }
    const int needed = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (needed <= 0) {
        return;
    }
    std::string narrow(static_cast<std::size_t>(needed), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, &narrow[0], needed, nullptr, nullptr);
    OutputDebugStringA(narrow.c_str());
}
