// CEmbeddedShell: forwarding to the device and database tables, the error
// raised for a missing table, the shutdown after a thrown error, and the
// BSTR identity functions.
//
// A raising call counts against the process-wide limit of ten thrown errors:
// no test raises more than ten times.
#include <gtest/gtest.h>

#include <cwchar>
#include <string>
#include <vector>

#include "CEmbeddedShell.h"
#include "CErrorObject.h"
#include "KxErrorReporting.h"

using namespace KxTamarind;

namespace {

// Records every call with its arguments; answers configurable results.
class FakeDevice : public CEmbeddedShell::CDeviceCallbacks {
public:
    std::vector<std::string> calls;
    std::string name = "dev", version = "1.2", path = "/opt/fw", runtime = "/run/x";
    HRESULT result = S_OK;
    short shortResult = 0;
    std::vector<const CErrorObject*> sent;
    std::vector<bool> sentRepaired;
    const char* traceName = "unset";
    std::string traceNameText; // copied: a converted name lives only for the call
    const char* traceFile = nullptr;
    int traceLine = 0;
    std::wstring traceText;
    bool traceTextNull = false;

    std::string GetDeviceName() override { return Note("name"), name; }
    std::string GetSoftwareVersion() override { return Note("version"), version; }
    std::string GetSoftwareInstallationPath() override { return Note("path"), path; }
    std::string GetRuntimeDirectory(const std::string& sub) override {
        return Note("runtime " + sub), runtime;
    }
    void SendToInformationManagement(const CErrorObject* error) override {
        Note("send");
        sent.push_back(error);
        sentRepaired.push_back(error->GetIsRepairedError());
    }
    void TraceThreadMessage(const char* n, const char* file, int line,
                            const wchar_t* text) override {
        Note("trace");
        traceName = n;
        traceNameText = n != nullptr ? n : "";
        traceFile = file;
        traceLine = line;
        traceTextNull = text == nullptr;
        traceText = text != nullptr ? text : L"";
    }
    HRESULT ExecuteScpiSave(long number, short& r) override {
        Note("save " + std::to_string(number) + " " + std::to_string(r));
        r = shortResult;
        return result;
    }
    HRESULT ExecuteScpiRecall(long number, short& r) override {
        Note("recall " + std::to_string(number) + " " + std::to_string(r));
        r = shortResult;
        return result;
    }
    HRESULT ExecuteScpiReset(short& r) override {
        Note("reset " + std::to_string(r));
        r = shortResult;
        return result;
    }
    HRESULT ExecuteScpiPreset(short& r) override {
        Note("preset " + std::to_string(r));
        r = shortResult;
        return result;
    }
    HRESULT AnnounceScpiError(short number, const CComBSTR& text,
                              const CComBSTR& further) override {
        std::wstring w = L"announce " + std::to_wstring(number) + L" " +
                         (text.m_str ? text.m_str : L"") + L"|" +
                         (further.m_str ? further.m_str : L"");
        announced = w;
        Note("announce");
        return result;
    }
    HRESULT ShutdownDevice() override { return Note("shutdown"), result; }
    HRESULT RebootDevice(long mode) override {
        return Note("reboot " + std::to_string(mode)), result;
    }
    std::wstring announced;

private:
    void Note(const std::string& call) { calls.push_back(call); }
};

class FakeDatabase : public CEmbeddedShell::CDatabaseCallbacks {
public:
    std::vector<std::string> calls;
    bool result = true;
    bool ReadParameter(const std::string& key, std::string& value) override {
        calls.push_back("read " + key);
        value = "v(" + key + ")";
        return result;
    }
    bool WriteParameter(const std::string& key, const std::string& value) override {
        calls.push_back("write " + key + "=" + value);
        return result;
    }
    bool ResetParameter(const std::string& key) override {
        calls.push_back("reset " + key);
        return result;
    }
};

struct DeviceScope {
    DeviceScope() { CEmbeddedShell::SetEmbeddedDeviceCallbacks(&device); }
    ~DeviceScope() { CEmbeddedShell::SetEmbeddedDeviceCallbacks(nullptr); }
    FakeDevice device;
};

struct DatabaseScope {
    DatabaseScope() { CEmbeddedShell::SetEmbeddedDatabaseCallbacks(&database); }
    ~DatabaseScope() { CEmbeddedShell::SetEmbeddedDatabaseCallbacks(nullptr); }
    FakeDatabase database;
};

// Runs `call` and checks that it raises the missing-table error.
template <typename Call>
void ExpectMissingTable(Call call, const char* condition, const char* what) {
    SCOPED_TRACE(what);
    try {
        call();
        ADD_FAILURE() << "nothing raised";
    } catch (CErrorObject* error) {
        EXPECT_STREQ(error->GetCondition().GetString(), condition);
        EXPECT_STREQ(error->GetFileName().GetString(),
                     "Base/Common/KxTamarindCommon/Src/CEmbeddedShell");
        EXPECT_EQ(error->GetErrorCode(), E_POINTER);
        EXPECT_FALSE(error->GetIsRepairedError());
        EXPECT_GT(error->GetLine(), 0);
        delete error;
    }
}

const char kNoDevice[] = "s_pEmbeddedDeviceCallbacks == NULL";
const char kNoDatabase[] = "s_pEmbeddedDatabaseCallbacks == NULL";

} // namespace

TEST(EmbeddedShell, DeviceMembersForwardArgumentsAndResults) {
    DeviceScope scope;
    FakeDevice& device = scope.device;
    EXPECT_TRUE(CEmbeddedShell::HasDeviceCallbacks());
    EXPECT_EQ(CEmbeddedShell::GetDeviceName(), "dev");
    EXPECT_EQ(CEmbeddedShell::GetSoftwareVersion(), "1.2");
    EXPECT_EQ(CEmbeddedShell::GetSoftwareInstallationPath(), "/opt/fw");
    EXPECT_EQ(CEmbeddedShell::GetRuntimeDirectory("log"), "/run/x");

    device.result = E_ACCESSDENIED;
    device.shortResult = -7;
    short r = 3;
    EXPECT_EQ(CEmbeddedShell::ExecuteScpiSave(12, r), E_ACCESSDENIED);
    EXPECT_EQ(r, -7);
    r = 4;
    device.shortResult = 8;
    EXPECT_EQ(CEmbeddedShell::ExecuteScpiRecall(13, r), E_ACCESSDENIED);
    EXPECT_EQ(r, 8);
    r = 5;
    device.result = S_FALSE;
    device.shortResult = 9;
    EXPECT_EQ(CEmbeddedShell::ExecuteScpiReset(r), S_FALSE);
    EXPECT_EQ(r, 9);
    r = 6;
    device.shortResult = 10;
    EXPECT_EQ(CEmbeddedShell::ExecuteScpiPreset(r), S_FALSE);
    EXPECT_EQ(r, 10);
    device.result = E_ABORT;
    EXPECT_EQ(
        CEmbeddedShell::AnnounceScpiError(-113, CComBSTR(L"Undefined header"), CComBSTR(L"FREQ:X")),
        E_ABORT);
    EXPECT_EQ(device.announced, L"announce -113 Undefined header|FREQ:X");
    EXPECT_EQ(CEmbeddedShell::ShutdownDevice(), E_ABORT);
    EXPECT_EQ(CEmbeddedShell::RebootDevice(3), E_ABORT);
    KxRebootDevice(-2);

    char file[] = "thread.cpp";
    CEmbeddedShell::TraceThreadMessage("worker", file, 99, L"text\u00E4");
    EXPECT_STREQ(device.traceName, "worker");
    EXPECT_EQ(device.traceFile, file);
    EXPECT_EQ(device.traceLine, 99);
    EXPECT_EQ(device.traceText, L"text\u00E4");

    EXPECT_EQ(device.calls,
              (std::vector<std::string>{"name", "version", "path", "runtime log", "save 12 3",
                                        "recall 13 4", "reset 5", "preset 6", "announce",
                                        "shutdown", "reboot 3", "reboot -2", "trace"}));
}

TEST(EmbeddedShell, DatabaseMembersForward) {
    DatabaseScope scope;
    std::string value = "old";
    EXPECT_TRUE(CEmbeddedShell::ReadParameter("k1", value));
    EXPECT_EQ(value, "v(k1)");
    EXPECT_TRUE(CEmbeddedShell::WriteParameter("k2", "val"));
    scope.database.result = false;
    EXPECT_FALSE(CEmbeddedShell::ResetParameter("k3"));
    EXPECT_FALSE(CEmbeddedShell::ReadParameter("k4", value));
    EXPECT_EQ(scope.database.calls,
              (std::vector<std::string>{"read k1", "write k2=val", "reset k3", "read k4"}));
    // The database table does not need a device table and vice versa.
    EXPECT_FALSE(CEmbeddedShell::HasDeviceCallbacks());
}

TEST(EmbeddedShell, MissingDeviceTableRaisesFromQueries) {
    ASSERT_FALSE(CEmbeddedShell::HasDeviceCallbacks());
    ExpectMissingTable([] { CEmbeddedShell::GetDeviceName(); }, kNoDevice, "name");
    ExpectMissingTable([] { CEmbeddedShell::GetSoftwareVersion(); }, kNoDevice, "version");
    ExpectMissingTable([] { CEmbeddedShell::GetSoftwareInstallationPath(); }, kNoDevice, "path");
    ExpectMissingTable([] { CEmbeddedShell::GetRuntimeDirectory("x"); }, kNoDevice, "runtime");
    ExpectMissingTable([] { CEmbeddedShell::TraceThreadMessage("n", "f", 1, L"t"); }, kNoDevice,
                       "trace");
    BSTR out = nullptr;
    ExpectMissingTable([&] { GetDeviceName(&out); }, kNoDevice, "GetDeviceName(BSTR*)");
    ExpectMissingTable([&] { GetSoftwareVersion(&out); }, kNoDevice, "GetSoftwareVersion(BSTR*)");
    ExpectMissingTable([&] { GetSoftwareInstallationPath(&out); }, kNoDevice,
                       "GetSoftwareInstallationPath(BSTR*)");
    EXPECT_EQ(out, nullptr);
    // A null out-pointer is answered before the shell is asked.
    EXPECT_EQ(GetDeviceName(nullptr), E_POINTER);
    EXPECT_EQ(GetSoftwareVersion(nullptr), E_POINTER);
    EXPECT_EQ(GetSoftwareInstallationPath(nullptr), E_POINTER);
}

TEST(EmbeddedShell, MissingDeviceTableRaisesFromCommands) {
    short r = 0;
    ExpectMissingTable([&] { CEmbeddedShell::ExecuteScpiSave(1, r); }, kNoDevice, "save");
    ExpectMissingTable([&] { CEmbeddedShell::ExecuteScpiRecall(1, r); }, kNoDevice, "recall");
    ExpectMissingTable([&] { CEmbeddedShell::ExecuteScpiReset(r); }, kNoDevice, "reset");
    ExpectMissingTable([&] { CEmbeddedShell::ExecuteScpiPreset(r); }, kNoDevice, "preset");
    ExpectMissingTable([] { CEmbeddedShell::AnnounceScpiError(1, CComBSTR(), CComBSTR()); },
                       kNoDevice, "announce");
    ExpectMissingTable([] { CEmbeddedShell::ShutdownDevice(); }, kNoDevice, "shutdown");
    ExpectMissingTable([] { CEmbeddedShell::RebootDevice(1); }, kNoDevice, "reboot");
    ExpectMissingTable([] { KxRebootDevice(1); }, kNoDevice, "KxRebootDevice");
    ExpectMissingTable(
        [] {
            CErrorObject error;
            CEmbeddedShell::SendToInformationManagement(&error);
        },
        kNoDevice, "send");
    // A table installed later is found.
    DeviceScope scope;
    EXPECT_EQ(CEmbeddedShell::RebootDevice(4), S_OK);
    EXPECT_EQ(scope.device.calls, (std::vector<std::string>{"reboot 4"}));
}

TEST(EmbeddedShell, MissingDatabaseTableRaises) {
    DeviceScope device; // the device table does not stand in for it
    std::string value = "keep";
    ExpectMissingTable([&] { CEmbeddedShell::ReadParameter("k", value); }, kNoDatabase, "read");
    ExpectMissingTable([] { CEmbeddedShell::WriteParameter("k", "v"); }, kNoDatabase, "write");
    ExpectMissingTable([] { CEmbeddedShell::ResetParameter("k"); }, kNoDatabase, "reset");
    EXPECT_EQ(value, "keep");
    EXPECT_TRUE(device.device.calls.empty());
}

TEST(EmbeddedShell, SendToInformationManagementShutsDownOnlyForThrownErrors) {
    DeviceScope scope;
    CErrorObject repaired;
    repaired.SetIsRepairedError(true);
    CErrorObject thrown;
    CEmbeddedShell::SendToInformationManagement(&repaired);
    EXPECT_EQ(scope.device.calls, (std::vector<std::string>{"send"}));
    CEmbeddedShell::SendToInformationManagement(&thrown);
    EXPECT_EQ(scope.device.calls, (std::vector<std::string>{"send", "send", "shutdown"}));
    ASSERT_EQ(scope.device.sent.size(), 2u);
    EXPECT_EQ(scope.device.sent[0], &repaired);
    EXPECT_EQ(scope.device.sent[1], &thrown);
}

TEST(EmbeddedShell, IdentityTextsAsBstr) {
    DeviceScope scope;
    scope.device.name = "Ger\xC3\xA4t";
    scope.device.version = "V\xE2\x82\xAC 2";
    scope.device.path = "/opt/\xC3\x9F";
    BSTR text = nullptr;
    ASSERT_EQ(GetDeviceName(&text), S_OK);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(SysStringLen(text), 5u);
    EXPECT_STREQ(text, L"Ger\u00E4t");
    SysFreeString(text);
    text = nullptr;
    ASSERT_EQ(GetSoftwareVersion(&text), S_OK);
    EXPECT_STREQ(text, L"V\u20AC 2");
    SysFreeString(text);
    text = nullptr;
    ASSERT_EQ(GetSoftwareInstallationPath(&text), S_OK);
    EXPECT_STREQ(text, L"/opt/\u00DF");
    SysFreeString(text);

    // An empty answer is an empty string, not a null one.
    scope.device.name.clear();
    text = nullptr;
    ASSERT_EQ(GetDeviceName(&text), S_OK);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(SysStringLen(text), 0u);
    SysFreeString(text);
    EXPECT_EQ(scope.device.calls, (std::vector<std::string>{"name", "version", "path", "name"}));
}

TEST(EmbeddedShell, TraceThreadConvertsWideName) {
    DeviceScope scope;
    char file[] = "f.cpp";
    wchar_t name[] = L"W\u00E4rker";
    wchar_t text[] = L"msg";
    TraceThread(name, file, 5, text);
    ASSERT_EQ(scope.device.calls.size(), 1u);
    EXPECT_NE(scope.device.traceName, nullptr);
    EXPECT_EQ(scope.device.traceNameText, "W\xC3\xA4rker");
    EXPECT_EQ(scope.device.traceFile, file);
    EXPECT_EQ(scope.device.traceLine, 5);
    EXPECT_EQ(scope.device.traceText, L"msg");

    TraceThread(static_cast<wchar_t*>(nullptr), file, 6, nullptr);
    EXPECT_EQ(scope.device.traceName, nullptr);
    EXPECT_TRUE(scope.device.traceTextNull);
    EXPECT_EQ(scope.device.traceLine, 6);

    char narrow[] = "plain";
    TraceThread(narrow, file, 7, text);
    EXPECT_EQ(scope.device.traceName, narrow);
    EXPECT_EQ(scope.device.calls.size(), 3u);
}
