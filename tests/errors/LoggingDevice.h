// LoggingDevice: the common recording device table (installed while it
// lives; keeps copies of the records sent to the information management)
// that also logs every call with its arguments in `calls` ("save 12 3"),
// answers `text` for the identity texts and runtime directories and
// `result` for the commands (which add 1 to their out-argument), and throws
// after receiving a record when `throwOnSend` is set. Wide texts are logged
// one byte per character.
#pragma once

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/RecordingDeviceCallbacks.h"

namespace KxTest {

class LoggingDevice : public RecordingDeviceCallbacks {
public:
    std::vector<std::string> calls;
    std::string text = "dev";
    HRESULT result = S_OK;
    bool throwOnSend = false;

    std::string GetDeviceName() override { return Note("name"), text; }
    std::string GetSoftwareVersion() override { return Note("version"), text; }
    std::string GetSoftwareInstallationPath() override { return Note("path"), text; }
    std::string GetRuntimeDirectory(const std::string& sub) override {
        return Note("runtime", sub), text;
    }
    void SendToInformationManagement(const KxTamarind::CErrorObject* error) override {
        Note("send");
        RecordingDeviceCallbacks::SendToInformationManagement(error);
        if (throwOnSend) {
            throw std::runtime_error("device gone");
        }
    }
    void TraceThreadMessage(const char* name, const char* file, int line,
                            const wchar_t* message) override {
        Note("trace", name != nullptr ? name : "(null)", file, line,
             std::wstring(message != nullptr ? message : L"(null)"));
    }
    HRESULT ExecuteScpiSave(long n, short& r) override { return Note("save", n, r), Answer(r); }
    HRESULT ExecuteScpiRecall(long n, short& r) override { return Note("recall", n, r), Answer(r); }
    HRESULT ExecuteScpiReset(short& r) override { return Note("reset", r), Answer(r); }
    HRESULT ExecuteScpiPreset(short& r) override { return Note("preset", r), Answer(r); }
    HRESULT AnnounceScpiError(short n, const CComBSTR& a, const CComBSTR& b) override {
        return Note("announce", n, std::wstring(a.m_str) + L"|" + b.m_str), result;
    }
    HRESULT ShutdownDevice() override { return Note("shutdown"), result; }
    HRESULT RebootDevice(long mode) override { return Note("reboot", mode), result; }

private:
    template <typename... Args>
    void Note(const char* call, const Args&... args) {
        std::ostringstream line;
        line << call;
        ((line << ' ' << Printable(args)), ...);
        calls.push_back(line.str());
    }
    template <typename T>
    static const T& Printable(const T& value) {
        return value;
    }
    static std::string Printable(const std::wstring& wide) { return {wide.begin(), wide.end()}; }
    HRESULT Answer(short& r) const { return ++r, result; }
};

} // namespace KxTest
