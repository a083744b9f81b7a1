// The demo's device layer: runtime directories, error log and parameter file.
#include "DeviceLayer.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <system_error>

using namespace KxTamarind;

namespace Demo {

std::string ToUtf8(const std::wstring& text) {
    if (text.empty()) {
        return std::string();
    }
    int length = WideCharToMultiByte(0, 0, text.c_str(), static_cast<int>(text.size()), nullptr, 0,
                                     nullptr, nullptr);
    if (length <= 0) {
        return std::string();
    }
    std::string result(static_cast<size_t>(length), '\0');
    WideCharToMultiByte(0, 0, text.c_str(), static_cast<int>(text.size()), &result[0], length,
                        nullptr, nullptr);
    return result;
}

namespace {

// The lines of a message joined with " | ", empty lines dropped: the console
// gets one line per record.
std::string OneLine(const std::string& text) {
    std::string result;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) {
            end = text.size();
        }
        std::string line = text.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (!line.empty()) {
            result += result.empty() ? line : " | " + line;
        }
        start = end + 1;
    }
    return result;
}

} // namespace

DemoDevice::DemoDevice(const std::string& root) : m_strRoot(root) {
    std::ifstream in(m_strRoot + "/parameters.txt");
    std::string line;
    while (std::getline(in, line)) {
        size_t eq = line.find('=');
        if (eq != std::string::npos && eq > 0) {
            m_Parameters[line.substr(0, eq)] = line.substr(eq + 1);
        }
    }
}

std::string DemoDevice::GetDeviceName() {
    return "KxTamarind Demo Instrument";
}

std::string DemoDevice::GetSoftwareVersion() {
    return GetLibraryVersion();
}

std::string DemoDevice::GetSoftwareInstallationPath() {
    std::error_code ec;
    std::filesystem::path exe = std::filesystem::read_symlink("/proc/self/exe", ec);
    return ec ? m_strRoot : exe.parent_path().string();
}

std::string DemoDevice::GetRuntimeDirectory(const std::string& subDirectory) {
    std::string dir = m_strRoot + "/" + subDirectory;
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    return ec ? std::string() : dir;
}

void DemoDevice::SendToInformationManagement(const CErrorObject* error) {
    if (error == nullptr) {
        return;
    }
    // The path is resolved through this device table (the library calls
    // back into GetRuntimeDirectory); a failure there is thrown, and must
    // not escape into the reporting code.
    std::string path;
    try {
        std::wstring log = L"@LOG/errors.xml";
        ReplacePathShortcuts(log);
        path = ToUtf8(log);
    } catch (CErrorObject* e) {
        delete e;
    }
    CCritSectionLocker lock(m_Lock);
    if (!path.empty()) {
        std::ofstream out(path, std::ios::app);
        out << error->DescriptionXml().GetString();
    }
    std::string summary = OneLine(error->GetAdditionalInfo().GetString());
    if (error->GetIsRepairedError()) {
        m_lRepaired.fetch_add(1, std::memory_order_relaxed);
        std::printf("repaired error: %s\n", summary.c_str());
    } else {
        m_lErrors.fetch_add(1, std::memory_order_relaxed);
        std::printf("error: %s\n", summary.c_str());
    }
    std::fflush(stdout);
}

void DemoDevice::TraceThreadMessage(const char* name, const char* file, int line,
                                    const wchar_t* text) {
    CCritSectionLocker lock(m_Lock);
    std::fprintf(stderr, "trace [%s] %s:%d %s\n", name != nullptr ? name : "",
                 file != nullptr ? file : "", line, text != nullptr ? ToUtf8(text).c_str() : "");
}

HRESULT DemoDevice::ExecuteScpiSave(long, short& result) {
    result = 0;
    return E_NOTIMPL;
}

HRESULT DemoDevice::ExecuteScpiRecall(long, short& result) {
    result = 0;
    return E_NOTIMPL;
}

HRESULT DemoDevice::ExecuteScpiReset(short& result) {
    SetScpiTraceConfig(ScpiTraceConfig{});
    result = 0;
    return S_OK;
}

HRESULT DemoDevice::ExecuteScpiPreset(short& result) {
    result = 0;
    return E_NOTIMPL;
}

HRESULT DemoDevice::AnnounceScpiError(short, const CComBSTR&, const CComBSTR&) {
    return E_NOTIMPL;
}

HRESULT DemoDevice::ShutdownDevice() {
    CCritSectionLocker lock(m_Lock);
    m_bShutDown.store(true, std::memory_order_relaxed);
    std::printf("device shutdown\n");
    std::fflush(stdout);
    return S_OK;
}

HRESULT DemoDevice::RebootDevice(long) {
    return E_NOTIMPL;
}

bool DemoDevice::ReadParameter(const std::string& key, std::string& value) {
    CCritSectionLocker lock(m_Lock);
    auto it = m_Parameters.find(key);
    if (it == m_Parameters.end()) {
        return false;
    }
    value = it->second;
    return true;
}

bool DemoDevice::WriteParameter(const std::string& key, const std::string& value) {
    if (key.empty() || key.find_first_of("=\r\n") != std::string::npos ||
        value.find_first_of("\r\n") != std::string::npos) {
        return false;
    }
    CCritSectionLocker lock(m_Lock);
    m_Parameters[key] = value;
    return SaveParametersLocked();
}

bool DemoDevice::ResetParameter(const std::string& key) {
    CCritSectionLocker lock(m_Lock);
    if (m_Parameters.erase(key) == 0) {
        return false;
    }
    return SaveParametersLocked();
}

bool DemoDevice::SaveParametersLocked() {
    // Written to a side file and renamed, so a crash never leaves half a file.
    std::string file = m_strRoot + "/parameters.txt";
    std::string temp = file + ".new";
    {
        std::ofstream out(temp, std::ios::trunc);
        for (const auto& entry : m_Parameters) {
            out << entry.first << '=' << entry.second << '\n';
        }
        if (!out.good()) {
            return false;
        }
    }
    return std::rename(temp.c_str(), file.c_str()) == 0;
}

} // namespace Demo
