// DemoDevice: the device layer of the demo instrument.
//
// It answers the library's device requests (identity, runtime directories
// below one runtime root, error records, shutdown) and keeps the persistent
// parameters in "<root>/parameters.txt" (one key=value a line), so they
// survive a restart.
//
// Error records are appended, as their XML rendering, to the file that
// "@LOG/errors.xml" names, and summarised in one line on standard output.
// Thread safety: every callback may be called from any thread; a lock
// serialises the log, the output and the parameter file.
#pragma once

#include <KxTamarindCommon.h>

#include <atomic>
#include <map>
#include <string>

namespace Demo {

class DemoDevice : public KxTamarind::CEmbeddedShell::CDeviceCallbacks,
                   public KxTamarind::CEmbeddedShell::CDatabaseCallbacks {
public:
    // `root` must exist; the parameter file is read at once.
    explicit DemoDevice(const std::string& root);
    DemoDevice(const DemoDevice&) = delete;
    DemoDevice& operator=(const DemoDevice&) = delete;
    virtual ~DemoDevice() = default;

    // --- Device table ---
    std::string GetDeviceName() override;
    std::string GetSoftwareVersion() override;
    std::string GetSoftwareInstallationPath() override;
    // "<root>/<sub>", created on demand (empty when it cannot be created).
    std::string GetRuntimeDirectory(const std::string& subDirectory) override;
    void SendToInformationManagement(const KxTamarind::CErrorObject* error) override;
    void TraceThreadMessage(const char* name, const char* file, int line,
                            const wchar_t* text) override;
    // The demo stores no settings: save, recall and preset answer
    // E_NOTIMPL with result 0. Reset (*RST) switches the remote-control
    // trace off, the only setting the demo has, and answers S_OK.
    HRESULT ExecuteScpiSave(long number, short& result) override;
    HRESULT ExecuteScpiRecall(long number, short& result) override;
    HRESULT ExecuteScpiReset(short& result) override;
    HRESULT ExecuteScpiPreset(short& result) override;
    HRESULT AnnounceScpiError(short errorNumber, const CComBSTR& text,
                              const CComBSTR& furtherText) override;
    HRESULT ShutdownDevice() override;
    HRESULT RebootDevice(long mode) override;

    // --- Parameter table ---
    bool ReadParameter(const std::string& key, std::string& value) override;
    // Stores the value and rewrites the file; false when the key holds "="
    // or a line break, or the file cannot be written.
    bool WriteParameter(const std::string& key, const std::string& value) override;
    bool ResetParameter(const std::string& key) override;

    bool WasShutDown() const { return m_bShutDown.load(std::memory_order_relaxed); }
    long RepairedErrors() const { return m_lRepaired.load(std::memory_order_relaxed); }
    long Errors() const { return m_lErrors.load(std::memory_order_relaxed); }

private:
    bool SaveParametersLocked();

    const std::string m_strRoot;
    KxTamarind::CCritSection m_Lock;
    std::map<std::string, std::string> m_Parameters;
    std::atomic<bool> m_bShutDown{false};
    std::atomic<long> m_lRepaired{0};
    std::atomic<long> m_lErrors{0};
};

// UTF-8 text of a wide string (code page 0 is UTF-8).
std::string ToUtf8(const std::wstring& text);

} // namespace Demo
