// The error queue and event status register of one remote session.
#include "ScpiStatus.h"

#include "ScpiErrors.h"

namespace Demo {

namespace {

std::string Entry(int code, const std::string& info) {
    std::string text = ScpiErrorText(code);
    if (!info.empty()) {
        text += ';' + info;
    }
    // A string response doubles its quote characters.
    std::string quoted;
    for (char c : text) {
        quoted += c;
        if (c == '"') {
            quoted += '"';
        }
    }
    return std::to_string(code) + ",\"" + quoted + '"';
}

} // namespace

std::string ScpiStatus::PushError(int code, const std::string& info) {
    m_uEsr |= ScpiErrorEsrBit(code);
    if (m_Errors.size() < kScpiErrorQueueLength) {
        m_Errors.push_back(Entry(code, info));
        return m_Errors.back();
    }
    // Full: the newest entry gives its place to the overflow entry, once.
    std::string overflow = Entry(kScpiQueueOverflow, std::string());
    if (m_Errors.back() == overflow) {
        return std::string();
    }
    m_Errors.back() = overflow;
    return overflow;
}

std::string ScpiStatus::NextError() {
    if (m_Errors.empty()) {
        return Entry(kScpiNoError, std::string());
    }
    std::string entry = m_Errors.front();
    m_Errors.pop_front();
    return entry;
}

unsigned ScpiStatus::ReadAndClearEsr() {
    unsigned esr = m_uEsr;
    m_uEsr = 0;
    return esr;
}

void ScpiStatus::Clear() {
    m_Errors.clear();
    m_uEsr = 0;
}

} // namespace Demo
