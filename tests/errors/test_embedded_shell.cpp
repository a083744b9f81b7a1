// CEmbeddedShell: forwarding to the device and database tables, the error
// raised for a missing table, the shutdown after a thrown error, and the
// BSTR identity texts.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "CEmbeddedShell.h"
#include "CErrorObject.h"
#include "KxErrorReporting.h"
#include "common/CatchError.h"
#include "errors/LoggingDevice.h"

using namespace KxTamarind;
using KxTest::LoggingDevice;
using Calls = std::vector<std::string>;

namespace {

// Installed while it lives; logs every call and answers `result`.
class LoggingDatabase : public CEmbeddedShell::CDatabaseCallbacks {
public:
    LoggingDatabase() { CEmbeddedShell::SetEmbeddedDatabaseCallbacks(this); }
    virtual ~LoggingDatabase() { CEmbeddedShell::SetEmbeddedDatabaseCallbacks(nullptr); }
    Calls calls;
    bool result = true;
    bool ReadParameter(const std::string& key, std::string& value) override {
        value = "v(" + key + ")";
        return calls.push_back("read " + key), result;
    }
    bool WriteParameter(const std::string& key, const std::string& value) override {
        return calls.push_back("write " + key + "=" + value), result;
    }
    bool ResetParameter(const std::string& key) override {
        return calls.push_back("reset " + key), result;
    }
};

} // namespace

TEST(EmbeddedShell, MembersForwardArgumentsAndResults) {
    LoggingDevice device;
    LoggingDatabase database;
    device.text = "answer";
    EXPECT_EQ(CEmbeddedShell::GetDeviceName(), "answer");
    EXPECT_EQ(CEmbeddedShell::GetSoftwareVersion(), "answer");
    EXPECT_EQ(CEmbeddedShell::GetSoftwareInstallationPath(), "answer");
    EXPECT_EQ(CEmbeddedShell::GetRuntimeDirectory("log"), "answer");
    short r = 3;
    device.result = E_ABORT;
    // In order: each command's result, then the out-argument it left.
    const std::vector<long> results = {
        CEmbeddedShell::ExecuteScpiSave(12, r),
        r,
        CEmbeddedShell::ExecuteScpiRecall(13, r),
        r,
        CEmbeddedShell::ExecuteScpiReset(r),
        r,
        CEmbeddedShell::ExecuteScpiPreset(r),
        r,
        CEmbeddedShell::AnnounceScpiError(-113, L"Undefined", L"FREQ"),
        CEmbeddedShell::ShutdownDevice(),
        CEmbeddedShell::RebootDevice(3)};
    EXPECT_EQ(results, (std::vector<long>{E_ABORT, 4, E_ABORT, 5, E_ABORT, 6, E_ABORT, 7, E_ABORT,
                                          E_ABORT, E_ABORT}));
    KxRebootDevice(-2);
    char file[] = "f.cpp";
    CEmbeddedShell::TraceThreadMessage("worker", file, 99, L"text");
    wchar_t wideName[] = L"W\u00E4rker";
    TraceThread(wideName, file, 5, nullptr); // converted with the system code page
    TraceThread(static_cast<wchar_t*>(nullptr), file, 6, nullptr);
    char narrowName[] = "plain";
    TraceThread(narrowName, file, 7, wideName);
    EXPECT_EQ(
        device.calls,
        (Calls{"name", "version", "path", "runtime log", "save 12 3", "recall 13 4", "reset 5",
               "preset 6", "announce -113 Undefined|FREQ", "shutdown", "reboot 3", "reboot -2",
               "trace worker f.cpp 99 text", "trace W\xC3\xA4rker f.cpp 5 (null)",
               "trace (null) f.cpp 6 (null)", "trace plain f.cpp 7 W\xE4rker"}));
    std::string value = "old";
    EXPECT_TRUE(CEmbeddedShell::ReadParameter("k1", value));
    EXPECT_EQ(value, "v(k1)");
    EXPECT_TRUE(CEmbeddedShell::WriteParameter("k2", "val"));
    database.result = false;
    EXPECT_FALSE(CEmbeddedShell::ResetParameter("k3"));
    EXPECT_EQ(database.calls, (Calls{"read k1", "write k2=val", "reset k3"}));
}

TEST(EmbeddedShell, SendToInformationManagementShutsDownOnlyForThrownErrors) {
    LoggingDevice device;
    CErrorObject record;
    record.SetIsRepairedError(true);
    CEmbeddedShell::SendToInformationManagement(&record);
    EXPECT_EQ(device.calls, Calls{"send"});
    record.SetIsRepairedError(false);
    CEmbeddedShell::SendToInformationManagement(&record);
    EXPECT_EQ(device.calls, (Calls{"send", "send", "shutdown"}));
}

TEST(EmbeddedShell, IdentityTextsAsBstr) {
    HRESULT(*const getters[])
    (BSTR*) = {GetDeviceName, GetSoftwareVersion, GetSoftwareInstallationPath};
    for (auto get : getters) {
        EXPECT_EQ(get(nullptr), E_POINTER); // answered before the (missing) table is asked
    }
    LoggingDevice device;
    const struct {
        const char* utf8;
        const wchar_t* wide;
    } texts[] = {{"Ger\xC3\xA4t", L"Ger\u00E4t"}, {"V\xE2\x82\xAC 2", L"V\u20AC 2"}, {"", L""}};
    for (const auto& t : texts) {
        device.text = t.utf8;
        for (auto get : getters) {
            SCOPED_TRACE(t.utf8);
            BSTR text = nullptr;
            ASSERT_EQ(get(&text), S_OK);
            ASSERT_NE(text, nullptr); // an empty answer is an empty string, not a null one
            EXPECT_EQ(std::wstring(text, SysStringLen(text)), t.wide);
            SysFreeString(text);
        }
    }
}

namespace {

struct MissingTableCase {
    const char* name;
    bool database; // the database table is missing; else the device table
    std::function<void()> call;
};

short g_short = 0;
std::string g_value;

void Send() {
    CErrorObject error;
    error.SetIsRepairedError(true);
    CEmbeddedShell::SendToInformationManagement(&error);
}

template <HRESULT (*Get)(BSTR*)>
void GetBstr() {
    BSTR text = nullptr;
    Get(&text);
    SysFreeString(text);
}

const MissingTableCase kMissingTableCases[] = {
    {"GetDeviceName", false, [] { CEmbeddedShell::GetDeviceName(); }},
    {"GetSoftwareVersion", false, [] { CEmbeddedShell::GetSoftwareVersion(); }},
    {"GetSoftwareInstallationPath", false, [] { CEmbeddedShell::GetSoftwareInstallationPath(); }},
    {"GetRuntimeDirectory", false, [] { CEmbeddedShell::GetRuntimeDirectory("x"); }},
    {"TraceThreadMessage", false, [] { CEmbeddedShell::TraceThreadMessage("n", "f", 1, L"t"); }},
    {"GetDeviceNameBstr", false, GetBstr<GetDeviceName>},
    {"GetSoftwareVersionBstr", false, GetBstr<GetSoftwareVersion>},
    {"GetSoftwareInstallationPathBstr", false, GetBstr<GetSoftwareInstallationPath>},
    {"ExecuteScpiSave", false, [] { CEmbeddedShell::ExecuteScpiSave(1, g_short); }},
    {"ExecuteScpiRecall", false, [] { CEmbeddedShell::ExecuteScpiRecall(1, g_short); }},
    {"ExecuteScpiReset", false, [] { CEmbeddedShell::ExecuteScpiReset(g_short); }},
    {"ExecuteScpiPreset", false, [] { CEmbeddedShell::ExecuteScpiPreset(g_short); }},
    {"AnnounceScpiError", false, [] { CEmbeddedShell::AnnounceScpiError(1, L"a", L"b"); }},
    {"ShutdownDevice", false, [] { CEmbeddedShell::ShutdownDevice(); }},
    {"RebootDevice", false, [] { CEmbeddedShell::RebootDevice(1); }},
    {"KxRebootDevice", false, [] { KxRebootDevice(1); }},
    {"SendToInformationManagement", false, Send},
    {"ReadParameter", true, [] { CEmbeddedShell::ReadParameter("k", g_value); }},
    {"WriteParameter", true, [] { CEmbeddedShell::WriteParameter("k", "v"); }},
    {"ResetParameter", true, [] { CEmbeddedShell::ResetParameter("k"); }},
};

class MissingTable : public ::testing::TestWithParam<MissingTableCase> {};

// One call per test (each runs in a process of its own, which raises at most
// ten errors with their texts). The other table does not stand in for the
// missing one; once it is installed, the same call goes through.
TEST_P(MissingTable, RaisesWithTheTableNamedUntilItIsInstalled) {
    const MissingTableCase& c = GetParam();
    {
        std::unique_ptr<LoggingDevice> device(c.database ? new LoggingDevice : nullptr);
        std::unique_ptr<LoggingDatabase> database(c.database ? nullptr : new LoggingDatabase);
        const auto error = KxTest::CatchError(c.call);
        ASSERT_NE(error, nullptr);
        EXPECT_STREQ(error->GetCondition().GetString(), c.database
                                                            ? "s_pEmbeddedDatabaseCallbacks == NULL"
                                                            : "s_pEmbeddedDeviceCallbacks == NULL");
        EXPECT_STREQ(error->GetFileName().GetString(),
                     "Base/Common/KxTamarindCommon/Src/CEmbeddedShell");
        EXPECT_EQ(error->GetErrorCode(), E_POINTER);
        EXPECT_FALSE(error->GetIsRepairedError());
        EXPECT_GT(error->GetLine(), 0);
        EXPECT_EQ((device ? device->calls.size() : 0) + (database ? database->calls.size() : 0),
                  0u);
    }
    LoggingDevice device;
    LoggingDatabase database;
    EXPECT_EQ(KxTest::CatchError(c.call), nullptr);
    EXPECT_EQ(device.calls.size() + database.calls.size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(EmbeddedShell, MissingTable, ::testing::ValuesIn(kMissingTableCases),
                         [](const ::testing::TestParamInfo<MissingTableCase>& info) {
                             return std::string(info.param.name);
                         });

} // namespace
