// RecordingDeviceCallbacks: a device table for tests that need to see the
// error records the library sends to the information management (repaired
// errors, handled thrown errors). Install() puts it in place; the destructor
// uninstalls it, so a test cannot leave it installed.
#pragma once

#include <string>
#include <vector>

#include "CEmbeddedShell.h"
#include "CErrorObject.h"

namespace KxTest {

class RecordingDeviceCallbacks : public KxTamarind::CEmbeddedShell::CDeviceCallbacks {
public:
    RecordingDeviceCallbacks() { KxTamarind::CEmbeddedShell::SetEmbeddedDeviceCallbacks(this); }
    virtual ~RecordingDeviceCallbacks() {
        KxTamarind::CEmbeddedShell::SetEmbeddedDeviceCallbacks(nullptr);
    }
    RecordingDeviceCallbacks(const RecordingDeviceCallbacks&) = delete;
    RecordingDeviceCallbacks& operator=(const RecordingDeviceCallbacks&) = delete;

    std::vector<KxTamarind::CErrorObject> sent;

    std::string GetDeviceName() override { return "test device"; }
    std::string GetSoftwareVersion() override { return "1.0"; }
    std::string GetSoftwareInstallationPath() override { return "/tmp"; }
    std::string GetRuntimeDirectory(const std::string&) override { return "/tmp"; }
    void SendToInformationManagement(const KxTamarind::CErrorObject* error) override {
        sent.push_back(*error);
    }
    void TraceThreadMessage(const char*, const char*, int, const wchar_t*) override {}
    HRESULT ExecuteScpiSave(long, short&) override { return S_OK; }
    HRESULT ExecuteScpiRecall(long, short&) override { return S_OK; }
    HRESULT ExecuteScpiReset(short&) override { return S_OK; }
    HRESULT ExecuteScpiPreset(short&) override { return S_OK; }
    HRESULT AnnounceScpiError(short, const CComBSTR&, const CComBSTR&) override { return S_OK; }
    HRESULT ShutdownDevice() override { return S_OK; }
    HRESULT RebootDevice(long) override { return S_OK; }
};

} // namespace KxTest
