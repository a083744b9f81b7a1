// CEmbeddedShell: the library's only way to the device.
//
// The device layer installs two callback tables at start-up; every
// device-related request of the library is forwarded to them: identity
// texts, runtime directories, the routing of error records to the device's
// information management, SCPI save/recall/reset/preset, SCPI error
// announcements, shutdown, reboot and persistent parameters.
//
// The tables are not owned; the device layer keeps them alive while they are
// installed and installs them before other threads use the library. A
// forwarding member called while its table is missing raises an error
// (ThrowError, E_POINTER) naming the missing table.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include <atomic>
#include <string>

namespace KxTamarind {

class CErrorObject;

class KXTAMARIND_API CEmbeddedShell {
public:
    // The device layer's side of the shell. The order of the operations is
    // the order of its table.
    class CDeviceCallbacks {
    public:
        virtual std::string GetDeviceName() = 0;
        virtual std::string GetSoftwareVersion() = 0;
        virtual std::string GetSoftwareInstallationPath() = 0;
        // The absolute directory of a runtime sub-directory ("data", "log", ...).
        virtual std::string GetRuntimeDirectory(const std::string& subDirectory) = 0;
        // Receives every repaired error and every handled thrown error; must
        // not keep the pointer (the caller deletes the record afterwards).
        virtual void SendToInformationManagement(const CErrorObject* error) = 0;
        virtual void TraceThreadMessage(const char* name, const char* file, int line,
                                        const wchar_t* text) = 0;
        virtual HRESULT ExecuteScpiSave(long number, short& result) = 0;
        virtual HRESULT ExecuteScpiRecall(long number, short& result) = 0;
        virtual HRESULT ExecuteScpiReset(short& result) = 0;
        virtual HRESULT ExecuteScpiPreset(short& result) = 0;
        virtual HRESULT AnnounceScpiError(short errorNumber, const CComBSTR& text,
                                          const CComBSTR& furtherText) = 0;
        virtual HRESULT ShutdownDevice() = 0;
        virtual HRESULT RebootDevice(long mode) = 0;

    protected:
        ~CDeviceCallbacks() = default;
    };

    // Persistent parameters of the device layer.
    class CDatabaseCallbacks {
    public:
        // True and the value when the key is stored.
        virtual bool ReadParameter(const std::string& key, std::string& value) = 0;
        virtual bool WriteParameter(const std::string& key, const std::string& value) = 0;
        virtual bool ResetParameter(const std::string& key) = 0;

    protected:
        ~CDatabaseCallbacks() = default;
    };

    static void SetEmbeddedDeviceCallbacks(CDeviceCallbacks* callbacks);
    static void SetEmbeddedDatabaseCallbacks(CDatabaseCallbacks* callbacks);
    // Whether a device table is installed (lets callers that must not raise
    // choose another route).
    static bool HasDeviceCallbacks();

    static std::string GetDeviceName();
    static std::string GetSoftwareVersion();
    static std::string GetSoftwareInstallationPath();
    static std::string GetRuntimeDirectory(const std::string& subDirectory);
    // Hands the record to the information management; a record that is not a
    // repaired error then shuts the device down.
    static void SendToInformationManagement(const CErrorObject* error);
    static void TraceThreadMessage(const char* name, const char* file, int line,
                                   const wchar_t* text);
    static HRESULT ExecuteScpiSave(long number, short& result);
    static HRESULT ExecuteScpiRecall(long number, short& result);
    static HRESULT ExecuteScpiReset(short& result);
    static HRESULT ExecuteScpiPreset(short& result);
    static HRESULT AnnounceScpiError(short errorNumber, const CComBSTR& text,
                                     const CComBSTR& furtherText);
    static HRESULT ShutdownDevice();
    static HRESULT RebootDevice(long mode);
    static bool ReadParameter(const std::string& key, std::string& value);
    static bool WriteParameter(const std::string& key, const std::string& value);
    static bool ResetParameter(const std::string& key);

private:
    // Published with release and read with acquire: installed once at
    // start-up, read from every thread.
    static std::atomic<CDeviceCallbacks*> s_pEmbeddedDeviceCallbacks;
    static std::atomic<CDatabaseCallbacks*> s_pEmbeddedDatabaseCallbacks;
};

// The identity texts as new BSTRs (the caller frees them): E_POINTER for a
// null out-pointer (also without a device table), E_OUTOFMEMORY when the
// copy cannot be allocated, else S_OK.
KXTAMARIND_API HRESULT GetDeviceName(BSTR* pName);
KXTAMARIND_API HRESULT GetSoftwareVersion(BSTR* pVersion);
KXTAMARIND_API HRESULT GetSoftwareInstallationPath(BSTR* pPath);

} // namespace KxTamarind
