// Error reporting: thrown and repaired errors, their forwarding to the
// device, the process-wide limits, system-error triggers and the start-up
// object.
//
// Each test runs in a process of its own (the limits last for the process),
// so every test stays below the limits it does not test.
#include <gtest/gtest.h>

#include <clocale>
#include <cwchar>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "CCoClassData.h"
#include "CErrorObject.h"
#include "CObjectData.h"
#include "CObjectDataReferenceBase.h"
#include "KxErrorReporting.h"
#include "common/CatchError.h"
#include "common/CountingUnknown.h"
#include "common/FakeComponentManagement.h"
#include "common/HangWatchdog.h"
#include "errors/ErrorXml.h"
#include "errors/LoggingDevice.h"

using namespace KxTamarind;
using KxTest::CatchError;
using KxTest::LoggingDevice;
using KxTest::XmlOf;
using Texts = std::vector<std::string>;

namespace {

const GUID kObjectGuid = {0x01020304, 0x0506, 0x0708, {1, 2, 3, 4, 5, 6, 7, 8}};
const GUID kPartnerGuid = {0xAABBCCDD, 0xEEFF, 0x0011, {9, 8, 7, 6, 5, 4, 3, 2}};

// Start-up object logging its fatal-error calls ("condition|file|date|line|
// message|code"); installed while it lives; throws after logging when told.
class RecordingStartup : public ISwpStartup {
public:
    RecordingStartup() : m_previous(setSwpStartup(this)) {}
    ~RecordingStartup() override { setSwpStartup(m_previous); }
    void FatalError(const char* condition, const char* file, const char* date, int line,
                    const char* message, long code) override {
        calls.push_back(std::string(condition) + "|" + file + "|" + date + "|" +
                        std::to_string(line) + "|" + message + "|" + std::to_string(code));
        if (throwOnCall) {
            throw std::runtime_error("startup failed");
        }
    }
    Texts calls;
    bool throwOnCall = false;

private:
    ISwpStartup* m_previous;
};

// A partner component that hands out its name, and then fails as told.
class NamedPartner : public KxTest::FakeComponentManagement {
public:
    HRESULT infoResult = S_OK;
    bool throwInInfo = false;
    STDMETHOD(GetObjectInfo)(wchar_t** name, GUID* guid) override {
        *name = SysAllocString(L"Partner\u00E4");
        *guid = kPartnerGuid;
        if (throwInInfo) {
            throw std::runtime_error("partner failed");
        }
        return infoResult;
    }
};

// A component with object data, co-class data and a property path.
class Component : public CObjectDataReferenceBase {
public:
    Component() : m_data(this, &m_class, nullptr) {
        m_class.m_pbstrName = &m_firstName;
        m_class.m_pbstrDescription = &m_description; // the name in reports
        m_data.m_bstrObjectName = SysAllocString(L"Obj\u00E4");
        m_data.ObjectGuid = kObjectGuid;
        m_data.m_lLogicalLocation = 0x0102;
    }
    ~Component() override {
        SysFreeString(m_firstName);
        SysFreeString(m_description);
    }
    void GetPropertyPath(const void* property, CAtlStringA& path,
                         CAtlStringA& name) const override {
        path = "Root/Sub";
        name = static_cast<const char*>(property);
    }

private:
    BSTR m_firstName = SysAllocString(L"FirstName");
    BSTR m_description = SysAllocString(L"CoClassText");
    CCoClassData m_class{};
    CObjectData m_data;
};

std::string ThreadId() {
    return std::to_string(static_cast<int>(GetCurrentThreadId()));
}

Texts g_triggerLog;
template <char Name>
void Trigger(const char* text) {
    g_triggerLog.push_back(Name + std::string(":") + text);
}
void TriggerThrows(const char*) {
    g_triggerLog.push_back("T");
    throw 5;
}
void TriggerRegistersB(const char*) {
    g_triggerLog.push_back("R");
    static bool registered = false;
    if (!registered) {
        registered = true;
        KxRegisterSystemErrorTrigger(Trigger<'B'>);
    }
}

void Throw() {
    ThrowError("c", "f", "d", 1, nullptr, nullptr, nullptr, "m", E_FAIL);
}

} // namespace

TEST(ThrowError, RecordCarriesOriginPropertyPartnerAndThread) {
    LoggingDevice device;
    RecordingStartup startup;
    Component component;
    NamedPartner partner;
    auto error = CatchError([&] {
        ThrowError("x > 0", "Src/Mod.cpp", "Tue Feb  3 01:02:03 2026", 77, &component, "Freq",
                   &partner, "the message", E_INVALIDARG);
    });
    ASSERT_NE(error, nullptr);
    // Every field as expected (the XML rendering shows them all).
    EXPECT_EQ(XmlOf(*error),
              XmlOf(CErrorObject(false, 77, E_INVALIDARG, GUID_NULL, 0x0102, kObjectGuid,
                                 kPartnerGuid, "x > 0", "Src/Mod.cpp", "Tue Feb  3 01:02:03 2026",
                                 "", "CoClassText", "Obj\xC3\xA4", "Partner\xC3\xA4", "Root/Sub",
                                 "Freq", "the message", ThreadId().c_str())));
    EXPECT_EQ(startup.calls,
              Texts{"x > 0|Src/Mod.cpp|Tue Feb  3 01:02:03 2026|77|the message|-2147483645"});

    // Handling forwards the record and, as it was not repaired, shuts down.
    const std::string description = error->Description().GetString();
    EXPECT_EQ(HandleError(error.release(), nullptr), E_INVALIDARG);
    ASSERT_EQ(device.sent.size(), 1u);
    EXPECT_EQ(device.sent[0].Description().GetString(), description);
    auto* repaired = new CErrorObject();
    repaired->SetIsRepairedError(true);
    repaired->SetErrorCode(E_FAIL);
    EXPECT_EQ(HandleError(repaired, nullptr), E_FAIL);
    EXPECT_EQ(HandleError(nullptr, nullptr), 0);
    EXPECT_EQ(device.calls, (Texts{"send", "shutdown", "send"}));

    // Null texts and a property without an origin leave the fields empty.
    error = CatchError([] {
        ThrowError(nullptr, nullptr, nullptr, 3, nullptr, "no origin", nullptr, nullptr, E_ABORT);
    });
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(XmlOf(*error),
              XmlOf(CErrorObject(false, 3, E_ABORT, GUID_NULL, 0, GUID_NULL, GUID_NULL, "", "", "",
                                 "", "", "", "", "", "", "", ThreadId().c_str())));
    EXPECT_EQ(startup.calls.back(), "|||3||-2147483641");
}

TEST(ThrowError, PartnerThatIsNoComponentOrFailsIsLeftOut) {
    KxTest::CountingUnknown plain;
    NamedPartner failing;
    failing.infoResult = S_FALSE; // only S_OK counts
    NamedPartner throwing;
    throwing.throwInInfo = true;
    for (IUnknown* partner : {static_cast<IUnknown*>(&plain), static_cast<IUnknown*>(&failing),
                              static_cast<IUnknown*>(&throwing)}) {
        auto error = CatchError(
            [&] { ThrowError("c", "f", "d", 1, nullptr, nullptr, partner, "m", E_FAIL); });
        ASSERT_NE(error, nullptr);
        EXPECT_STREQ(error->GetPartnerObjectName().GetString(), "");
        EXPECT_TRUE(IsEqualGUID(error->GetPartnerObjectGuid(), GUID_NULL));
    }
}

TEST(ThrowError, LimitOfTenThenSentinel) {
    LoggingDevice device;
    RecordingStartup startup;
    KxRegisterSystemErrorTrigger(Trigger<'A'>);
    for (int i = 1; i <= 10; ++i) {
        auto error = CatchError([i] {
            ThrowError("cond", "file", "date", i, nullptr, nullptr, nullptr, "msg", E_FAIL);
        });
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(error->GetLine(), i);
        EXPECT_EQ(error->GetErrorCode(), E_FAIL);
    }
    EXPECT_EQ(g_triggerLog.size(), 10u);
    EXPECT_EQ(startup.calls.size(), 10u);
    auto sentinel = CatchError(Throw);
    ASSERT_NE(sentinel, nullptr);
    sentinel->SetObjectGuid(GUID_NULL);
    sentinel->SetPartnerObjectGuid(GUID_NULL);
    EXPECT_STREQ(sentinel->Description().GetString(), "\n0x5de: Unknown or new error"); // 1502
    // Nothing else happened for the sentinel, and handling does not forward it.
    EXPECT_EQ(g_triggerLog.size(), 10u);
    EXPECT_EQ(startup.calls.size(), 10u);
    EXPECT_EQ(HandleError(sentinel.release(), nullptr), 1502);
    EXPECT_TRUE(device.calls.empty());
}

TEST(SystemErrorTrigger, RegistrationOrderDuplicatesLateAdditionsAndUnregister) {
    KxRegisterSystemErrorTrigger(Trigger<'A'>);
    KxRegisterSystemErrorTrigger(Trigger<'B'>);
    KxRegisterSystemErrorTrigger(Trigger<'A'>);
    KxRegisterSystemErrorTrigger(TriggerRegistersB);
    KxSystemErrorTrigger("x");
    // B, added during the round, is called in it.
    EXPECT_EQ(g_triggerLog, (Texts{"A:x", "B:x", "A:x", "R", "B:x"}));
    // Removes the first equal entry only; an unknown function changes nothing.
    KxUnregisterSystemErrorTrigger(Trigger<'A'>);
    KxUnregisterSystemErrorTrigger(Trigger<'B'>);
    KxUnregisterSystemErrorTrigger(TriggerThrows);
    g_triggerLog.clear();
    KxSystemErrorTrigger("y");
    EXPECT_EQ(g_triggerLog, (Texts{"A:y", "R", "B:y"}));
}

TEST(SystemErrorTrigger, ThrowingTriggerStopsTheRestAndThrowingStartupIsSwallowed) {
    RecordingStartup startup;
    startup.throwOnCall = true;
    KxRegisterSystemErrorTrigger(Trigger<'A'>);
    KxRegisterSystemErrorTrigger(TriggerThrows);
    KxRegisterSystemErrorTrigger(Trigger<'B'>);
    EXPECT_NO_THROW(KxSystemErrorTrigger("t"));
    EXPECT_EQ(g_triggerLog, (Texts{"A:t", "T"}));
    // Through ThrowError: the triggers get the record's description, and the
    // start-up object and the throw still happen.
    g_triggerLog.clear();
    auto error = CatchError(
        [] { ThrowError("a == b", "f.cpp", "d", 5, nullptr, nullptr, nullptr, "msg", E_FAIL); });
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(g_triggerLog, (Texts{std::string("A:") + error->Description().GetString(), "T"}));
    EXPECT_EQ(g_triggerLog[0].rfind("A:msg\n\nCONDITION:\t(a == b) failed\n", 0), 0u);
    EXPECT_EQ(startup.calls.size(), 1u);
}

TEST(RepairError, ForwardsRepairedRecordWithCallStackAndReportingThread) {
    LoggingDevice device;
    Component component;
    NamedPartner partner;
    const GUID iid = {0x99, 0x98, 0x97, {1, 1, 1, 1, 1, 1, 1, 1}};
    CTraceCallStackObject stack(&component, &iid, "DoConnect", "extra");
    RepairError("a<b", "file.cpp", "date", 12, &component, "Prop", &partner, "msg", E_FAIL, &stack);
    ASSERT_EQ(device.sent.size(), 1u);
    EXPECT_EQ(
        XmlOf(device.sent[0]),
        XmlOf(CErrorObject(true, 12, E_FAIL, iid, 0x0102, kObjectGuid, kPartnerGuid, "a<b",
                           "file.cpp", "date", "DoConnect", "CoClassText", "Obj\xC3\xA4",
                           "Partner\xC3\xA4", "Root/Sub", "Prop", "msg", ThreadId().c_str())));

    // A call stack without an iid keeps GUID_NULL; no call stack: no method;
    // the thread is the one that reports.
    CTraceCallStackObject noIid(nullptr, nullptr, "M2", nullptr);
    RepairError("c", "f", "d", 1, nullptr, nullptr, nullptr, "m", 1, &noIid);
    std::string workerId;
    std::thread([&] {
        workerId = ThreadId();
        RepairError(nullptr, nullptr, nullptr, 2, nullptr, nullptr, nullptr, nullptr, 2, nullptr);
    }).join();
    ASSERT_EQ(device.sent.size(), 3u);
    EXPECT_STREQ(device.sent[1].GetMethodName().GetString(), "M2");
    EXPECT_TRUE(IsEqualGUID(device.sent[1].GetIid(), GUID_NULL));
    EXPECT_STREQ(device.sent[2].GetMethodName().GetString(), "");
    EXPECT_STREQ(device.sent[2].GetCondition().GetString(), "");
    EXPECT_EQ(device.sent[2].GetThreadName().GetString(), workerId);
    EXPECT_NE(workerId, ThreadId());

    // A device that fails while receiving does not make RepairError throw.
    device.throwOnSend = true;
    EXPECT_NO_THROW(RepairError("c", "f", "d", 3, nullptr, nullptr, nullptr, "m", 3, nullptr));
    EXPECT_EQ(device.calls, Texts(4, "send")); // never a shutdown
}

TEST(RepairError, HundredAndFirstIsDropped) {
    LoggingDevice device;
    for (int i = 1; i <= 101; ++i) {
        RepairError("c", "f", "d", i, nullptr, nullptr, nullptr, "m", E_FAIL, nullptr);
    }
    ASSERT_EQ(device.sent.size(), 100u);
    EXPECT_EQ(device.sent.back().GetLine(), 100);
}

TEST(KxInfoRepaired, FormatsPrintfStyleLongTextsWholeAndNullAsEmpty) {
    LoggingDevice device;
    KxInfoRepaired("value %d of %s: %05.1f%%", 7, "seven", 3.14159);
    const std::string longText(5000, 'x');
    KxInfoRepaired("<%s>", longText.c_str());
    KxInfoRepaired(nullptr);
    ASSERT_EQ(device.sent.size(), 3u);
    const CErrorObject& first = device.sent[0];
    EXPECT_STREQ(first.GetAdditionalInfo().GetString(), "value 7 of seven: 003.1%");
    EXPECT_STREQ(first.GetCondition().GetString(), "false");
    EXPECT_EQ(first.GetErrorCode(), E_KX_HRESULT_ASSERT_REPAIRED);
    EXPECT_TRUE(first.GetIsRepairedError());
    EXPECT_STRNE(first.GetFileName().GetString(), "");
    EXPECT_GT(first.GetLine(), 0);
    EXPECT_STREQ(first.GetObjectName().GetString(), "");
    EXPECT_EQ(device.sent[1].GetAdditionalInfo().GetString(), "<" + longText + ">");
    EXPECT_STREQ(device.sent[2].GetAdditionalInfo().GetString(), "");
    EXPECT_EQ(device.sent[2].GetErrorCode(), E_KX_HRESULT_ASSERT_REPAIRED);
}

// Wide arguments come out as UTF-8 whatever the process locale; the C locale
// (the firmware's) once made the formatting fail for ever. (The formatter's
// conversions themselves are checked with the platform layer.)
TEST(KxInfoRepaired, NonAsciiWideArgumentInCLocaleDoesNotHang) {
    const std::wstring longWide(3000, L'\u00DF');
    std::string longUtf8;
    for (int i = 0; i < 3000; ++i) {
        longUtf8 += "\xC3\x9F";
    }
    const struct {
        const char* name;
        std::function<void()> report;
        std::string expected;
    } cases[] = {
        {"%ls", [] { KxInfoRepaired("%ls", L"Me\u00DFkopf\u20AC"); }, "Me\xC3\x9Fkopf\xE2\x82\xAC"},
        {"longer than the first buffer", [&longWide] { KxInfoRepaired("<%ls>", longWide.c_str()); },
         "<" + longUtf8 + ">"},
        {"narrow text is copied", [] { KxInfoRepaired("%s", "Me\xDF"); }, "Me\xDF"},
    };
    for (const char* locale : {"C", "C.UTF-8"}) {
        SCOPED_TRACE(locale);
        ASSERT_NE(std::setlocale(LC_ALL, locale), nullptr);
        for (const auto& c : cases) {
            SCOPED_TRACE(c.name);
            LoggingDevice device;
            KxTest::RunWithHangWatchdog(std::chrono::seconds(30), c.report);
            ASSERT_EQ(device.sent.size(), 1u);
            EXPECT_EQ(device.sent[0].GetAdditionalInfo().GetString(), c.expected);
        }
    }
    std::setlocale(LC_ALL, "C");
}

TEST(OutOfMemoryError, CallsStartupWithFixedConditionAndSwallowsItsFailure) {
    EXPECT_NO_THROW(OutOfMemoryError("no start-up object"));
    LoggingDevice device;
    RecordingStartup startup;
    OutOfMemoryError("no heap left");
    startup.throwOnCall = true;
    EXPECT_NO_THROW(OutOfMemoryError(nullptr));
    EXPECT_EQ(startup.calls, (Texts{"Fatal: process out of memory|||0|no heap left|0",
                                    "Fatal: process out of memory|||0||0"}));
    EXPECT_TRUE(device.calls.empty()); // the record is not forwarded
}

TEST(ErrorReportingNoDevice, RepairAndHandleGoToDebugOutput) {
    std::string output;
    SetDebugOutputSink([](const char* text, void* out) { *static_cast<std::string*>(out) += text; },
                       &output);
    EXPECT_NO_THROW(RepairError("cond", "file", "d", 4, nullptr, nullptr, nullptr, "repaired msg",
                                E_FAIL, nullptr));
    KxInfoRepaired("info %d", 9);
    auto error = CatchError(Throw);
    ASSERT_NE(error, nullptr);
    const std::string description = error->Description().GetString();
    long code = 0;
    EXPECT_NO_THROW(code = HandleError(error.release(), nullptr));
    EXPECT_EQ(code, E_FAIL);
    SetDebugOutputSink(nullptr, nullptr);
    EXPECT_EQ(output.find("repaired msg\n\nCONDITION:\t(cond) failed\n"), 0u) << output;
    EXPECT_NE(output.find("\ninfo 9\n\nCONDITION:\t(false) failed\n"), std::string::npos);
    EXPECT_NE(output.find(description), std::string::npos) << output;
}
