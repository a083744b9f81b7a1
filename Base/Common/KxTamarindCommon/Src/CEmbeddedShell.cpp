#include "CEmbeddedShell.h"

#include "CErrorObject.h"
#include "KxErrorReporting.h"

namespace KxTamarind {

std::atomic<CEmbeddedShell::CDeviceCallbacks*> CEmbeddedShell::s_pEmbeddedDeviceCallbacks{nullptr};
std::atomic<CEmbeddedShell::CDatabaseCallbacks*> CEmbeddedShell::s_pEmbeddedDatabaseCallbacks{
    nullptr};

namespace {

const char kSource[] = "Base/Common/KxTamarindCommon/Src/CEmbeddedShell";

CEmbeddedShell::CDeviceCallbacks*
Device(const std::atomic<CEmbeddedShell::CDeviceCallbacks*>& table, int line) {
    CEmbeddedShell::CDeviceCallbacks* device = table.load(std::memory_order_acquire);
    if (device == nullptr) {
        ThrowError("s_pEmbeddedDeviceCallbacks == NULL", kSource, KX_SOURCE_TIMESTAMP, line,
                   nullptr, nullptr, nullptr, "", E_POINTER);
    }
    return device;
}

CEmbeddedShell::CDatabaseCallbacks*
Database(const std::atomic<CEmbeddedShell::CDatabaseCallbacks*>& table, int line) {
    CEmbeddedShell::CDatabaseCallbacks* database = table.load(std::memory_order_acquire);
    if (database == nullptr) {
        ThrowError("s_pEmbeddedDatabaseCallbacks == NULL", kSource, KX_SOURCE_TIMESTAMP, line,
                   nullptr, nullptr, nullptr, "", E_POINTER);
    }
    return database;
}

// A narrow identity text as a new BSTR in *out (code page 0).
HRESULT CopyToBstr(const std::string& text, BSTR* out) {
    CComBSTR wide(text.c_str());
    if (wide.m_str == nullptr) {
        return E_OUTOFMEMORY;
    }
    *out = wide.Detach();
    return S_OK;
}

} // namespace

#define KX_DEVICE() Device(s_pEmbeddedDeviceCallbacks, __LINE__)
#define KX_DATABASE() Database(s_pEmbeddedDatabaseCallbacks, __LINE__)

void CEmbeddedShell::SetEmbeddedDeviceCallbacks(CDeviceCallbacks* callbacks) {
    s_pEmbeddedDeviceCallbacks.store(callbacks, std::memory_order_release);
}

void CEmbeddedShell::SetEmbeddedDatabaseCallbacks(CDatabaseCallbacks* callbacks) {
    s_pEmbeddedDatabaseCallbacks.store(callbacks, std::memory_order_release);
}

bool CEmbeddedShell::HasDeviceCallbacks() {
    return s_pEmbeddedDeviceCallbacks.load(std::memory_order_acquire) != nullptr;
}

std::string CEmbeddedShell::GetDeviceName() {
    return KX_DEVICE()->GetDeviceName();
}

std::string CEmbeddedShell::GetSoftwareVersion() {
    return KX_DEVICE()->GetSoftwareVersion();
}

std::string CEmbeddedShell::GetSoftwareInstallationPath() {
    return KX_DEVICE()->GetSoftwareInstallationPath();
}

std::string CEmbeddedShell::GetRuntimeDirectory(const std::string& subDirectory) {
    return KX_DEVICE()->GetRuntimeDirectory(subDirectory);
}

void CEmbeddedShell::SendToInformationManagement(const CErrorObject* error) {
    CDeviceCallbacks* device = KX_DEVICE();
    device->SendToInformationManagement(error);
    if (error != nullptr && error->GetIsRepairedError()) {
        return;
    }
    // An error that is not a repaired one shuts the device down once it has
    // reached the information management.
    device->ShutdownDevice();
}

void CEmbeddedShell::TraceThreadMessage(const char* name, const char* file, int line,
                                        const wchar_t* text) {
    KX_DEVICE()->TraceThreadMessage(name, file, line, text);
}

HRESULT CEmbeddedShell::ExecuteScpiSave(long number, short& result) {
    return KX_DEVICE()->ExecuteScpiSave(number, result);
}

HRESULT CEmbeddedShell::ExecuteScpiRecall(long number, short& result) {
    return KX_DEVICE()->ExecuteScpiRecall(number, result);
}

HRESULT CEmbeddedShell::ExecuteScpiReset(short& result) {
    return KX_DEVICE()->ExecuteScpiReset(result);
}

HRESULT CEmbeddedShell::ExecuteScpiPreset(short& result) {
    return KX_DEVICE()->ExecuteScpiPreset(result);
}

HRESULT CEmbeddedShell::AnnounceScpiError(short errorNumber, const CComBSTR& text,
                                          const CComBSTR& furtherText) {
    return KX_DEVICE()->AnnounceScpiError(errorNumber, text, furtherText);
}

HRESULT CEmbeddedShell::ShutdownDevice() {
    return KX_DEVICE()->ShutdownDevice();
}

HRESULT CEmbeddedShell::RebootDevice(long mode) {
    return KX_DEVICE()->RebootDevice(mode);
}

bool CEmbeddedShell::ReadParameter(const std::string& key, std::string& value) {
    return KX_DATABASE()->ReadParameter(key, value);
}

bool CEmbeddedShell::WriteParameter(const std::string& key, const std::string& value) {
    return KX_DATABASE()->WriteParameter(key, value);
}

bool CEmbeddedShell::ResetParameter(const std::string& key) {
    return KX_DATABASE()->ResetParameter(key);
}

HRESULT GetDeviceName(BSTR* pName) {
    if (pName == nullptr) {
        return E_POINTER;
    }
    return CopyToBstr(CEmbeddedShell::GetDeviceName(), pName);
}

HRESULT GetSoftwareVersion(BSTR* pVersion) {
    if (pVersion == nullptr) {
        return E_POINTER;
    }
    return CopyToBstr(CEmbeddedShell::GetSoftwareVersion(), pVersion);
}

HRESULT GetSoftwareInstallationPath(BSTR* pPath) {
    if (pPath == nullptr) {
        return E_POINTER;
    }
    return CopyToBstr(CEmbeddedShell::GetSoftwareInstallationPath(), pPath);
}

} // namespace KxTamarind
