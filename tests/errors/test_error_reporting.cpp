// Error reporting: thrown and repaired errors, their forwarding to the
// device, the process-wide limits, system-error triggers, the start-up
// object and the reporters of CObjectDataReferenceBase.
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
#include "CEmbeddedShell.h"
#include "CErrorObject.h"
#include "CFwInfoTable.h"
#include "CObjectData.h"
#include "CObjectDataReferenceBase.h"
#include "IKXComponentManagement.h"
#include "KxErrorReporting.h"
#include "KxKernelRemote.h"
#include "common/HangWatchdog.h"

using namespace KxTamarind;

namespace {

// Device table that records every call; error records are copied because
// the shell must not keep the pointer.
class RecordingDevice : public CEmbeddedShell::CDeviceCallbacks {
public:
    std::vector<std::string> calls;
    std::vector<CErrorObject> sent;
    bool throwOnSend = false;

    std::string GetDeviceName() override { return Note("GetDeviceName"), "dev"; }
    std::string GetSoftwareVersion() override { return Note("GetSoftwareVersion"), "1"; }
    std::string GetSoftwareInstallationPath() override { return Note("Path"), "/"; }
    std::string GetRuntimeDirectory(const std::string&) override { return Note("Runtime"), "/"; }
    void SendToInformationManagement(const CErrorObject* error) override {
        Note("Send");
        sent.push_back(*error);
        if (throwOnSend) {
            throw std::runtime_error("device gone");
        }
    }
    void TraceThreadMessage(const char*, const char*, int, const wchar_t*) override {
        Note("Trace");
    }
    HRESULT ExecuteScpiSave(long, short&) override { return Note("Save"), S_OK; }
    HRESULT ExecuteScpiRecall(long, short&) override { return Note("Recall"), S_OK; }
    HRESULT ExecuteScpiReset(short&) override { return Note("Reset"), S_OK; }
    HRESULT ExecuteScpiPreset(short&) override { return Note("Preset"), S_OK; }
    HRESULT AnnounceScpiError(short, const CComBSTR&, const CComBSTR&) override {
        return Note("Announce"), S_OK;
    }
    HRESULT ShutdownDevice() override { return Note("Shutdown"), S_OK; }
    HRESULT RebootDevice(long mode) override {
        return Note("Reboot " + std::to_string(mode)), S_OK;
    }

private:
    void Note(const std::string& call) { calls.push_back(call); }
};

// Installs a device table for the scope of a test.
class DeviceScope {
public:
    DeviceScope() { CEmbeddedShell::SetEmbeddedDeviceCallbacks(&device); }
    ~DeviceScope() { CEmbeddedShell::SetEmbeddedDeviceCallbacks(nullptr); }
    RecordingDevice device;
};

struct FatalCall {
    std::string condition, file, date, message;
    int line;
    long code;
};

// Start-up object recording its fatal-error calls; installed for a scope.
class RecordingStartup : public ISwpStartup {
public:
    RecordingStartup() : m_previous(setSwpStartup(this)) {}
    ~RecordingStartup() override { setSwpStartup(m_previous); }
    void FatalError(const char* condition, const char* file, const char* date, int line,
                    const char* message, long code) override {
        calls.push_back({condition, file, date, message, line, code});
        if (throwOnCall) {
            throw std::runtime_error("startup failed");
        }
    }
    std::vector<FatalCall> calls;
    bool throwOnCall = false;

private:
    ISwpStartup* m_previous;
};

// Captures the debug output for a scope.
class DebugCapture {
public:
    DebugCapture() { SetDebugOutputSink(&DebugCapture::Sink, this); }
    ~DebugCapture() { SetDebugOutputSink(nullptr, nullptr); }
    std::string text;

private:
    static void Sink(const char* text, void* context) {
        static_cast<DebugCapture*>(context)->text += text;
    }
};

const GUID kObjectGuid = {0x01020304, 0x0506, 0x0708, {1, 2, 3, 4, 5, 6, 7, 8}};
const GUID kPartnerGuid = {0xAABBCCDD, 0xEEFF, 0x0011, {9, 8, 7, 6, 5, 4, 3, 2}};

// Operations the tests never call.
#define KXT_NOTIMPL(method, params)                                                                \
    STDMETHOD(method) params override {                                                            \
        return E_NOTIMPL;                                                                          \
    }

// A partner component that counts its references and hands out its name.
class CountingPartner : public IKXComponentManagement {
public:
    long refs = 1;
    long addRefs = 0;
    long releases = 0;
    long infoCalls = 0;
    HRESULT infoResult = S_OK;
    bool managed = true;
    bool throwInInfo = false;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override {
        if (IsEqualGUID(riid, IID_IUnknown) ||
            (managed && IsEqualGUID(riid, __uuidof(IKXComponentManagement)))) {
            *object = static_cast<IKXComponentManagement*>(this);
            AddRef();
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++addRefs, static_cast<ULONG>(++refs); }
    ULONG STDMETHODCALLTYPE Release() override { return ++releases, static_cast<ULONG>(--refs); }
    STDMETHOD(GetObjectInfo)(wchar_t** name, GUID* guid) override {
        ++infoCalls;
        *name = SysAllocString(L"Partner\u00E4");
        *guid = kPartnerGuid;
        if (throwInInfo) {
            throw std::runtime_error("partner failed"); // after handing out the name
        }
        return infoResult;
    }
    KXT_NOTIMPL(PutReferences, (IUnknown*, IKXLinkage*, long, long))
    KXT_NOTIMPL(GetRoot, (IUnknown**))
    KXT_NOTIMPL(GetSupervisor, (IUnknown**))
    KXT_NOTIMPL(GetIKXLinkage, (IKXLinkage**))
    KXT_NOTIMPL(GetNavigationHandle, (long*))
    KXT_NOTIMPL(GetLogicalLocation, (long*))
    KXT_NOTIMPL(SetObjectName, (wchar_t*))
    KXT_NOTIMPL(SetObjectGuid, (GUID*))
    KXT_NOTIMPL(FinishConstruct, ())
    KXT_NOTIMPL(InitializeOperation, ())
    KXT_NOTIMPL(Connect, ())
    KXT_NOTIMPL(Disconnect, ())
    KXT_NOTIMPL(ReleaseOperation, ())
    KXT_NOTIMPL(StartDestruct, ())
    KXT_NOTIMPL(ReleaseReferences, ())
    KXT_NOTIMPL(LoadPropertiesByXMLString, (unsigned char*, unsigned long, unsigned long*))
    KXT_NOTIMPL(SetPropertiesByXMLString, (unsigned char*, unsigned long, unsigned long*, long*))
    KXT_NOTIMPL(GetPropertiesAsXMLString, (unsigned char**, unsigned long*))
    KXT_NOTIMPL(SetPropertyByXMLString, (wchar_t*, short, long*))
    KXT_NOTIMPL(GetPropertyAsXMLString, (wchar_t*, wchar_t**))
    KXT_NOTIMPL(SetMarkedPropertiesByXMLString, (wchar_t*))
    KXT_NOTIMPL(GetMarkedPropertiesAsXMLString, (wchar_t**))
    KXT_NOTIMPL(DeleteAllMarkedProperties, ())
    KXT_NOTIMPL(GetPropertyInfo, (long, wchar_t**, long*, wchar_t***, wchar_t***, wchar_t***))
    KXT_NOTIMPL(GetPropertyInfoXMLPath,
                (wchar_t*, wchar_t**, long*, wchar_t***, wchar_t***, wchar_t***))
    KXT_NOTIMPL(DeletePropertyIndex, (long, wchar_t*, long*))
    KXT_NOTIMPL(InsertPropertyIndex, (long, wchar_t*, wchar_t*, long*))
    KXT_NOTIMPL(MovePropertyIndex, (long, long, wchar_t*, long*))
    KXT_NOTIMPL(PerformPropertiesLoaded, (long*))
    KXT_NOTIMPL(PerformCheckAllProperties, (long*))
    KXT_NOTIMPL(CreatePropDependentDynObjects, (long*))
    KXT_NOTIMPL(DeletePropDependentDynObjects, ())
    KXT_NOTIMPL(FilterLinkageList, (wchar_t*, long, long*, long*, long**))
    KXT_NOTIMPL(GetDefaultLinkage, (wchar_t*, GUID*))
    KXT_NOTIMPL(RegisterReferencedObjects, ())
    KXT_NOTIMPL(UnregisterReferencedObjects, ())
    KXT_NOTIMPL(GetReferencingObjects, (long*, long**))
    KXT_NOTIMPL(GetReferencedObjects, (long*, long**))
    KXT_NOTIMPL(IsClassPlugable, (GUID))
    KXT_NOTIMPL(GetFilterCatids, (wchar_t*, long*, GUID**))
    KXT_NOTIMPL(SaveTranslator, ())
    KXT_NOTIMPL(GetModificationState, (long*))
    KXT_NOTIMPL(SelectObject, (wchar_t*))
    KXT_NOTIMPL(DeselectObject, ())
    KXT_NOTIMPL(GetObjectsOfInterest, (wchar_t*, long*, long**))
    KXT_NOTIMPL(GetJumpData, (wchar_t*, long*, long**, wchar_t***, wchar_t***))
    KXT_NOTIMPL(GetSelectableObjects, (wchar_t*, long*, wchar_t***, wchar_t***))
    KXT_NOTIMPL(StartPropertyTool, (wchar_t*, wchar_t*))
    KXT_NOTIMPL(GetPropertyToolResult, (wchar_t*, long*, wchar_t**))
    KXT_NOTIMPL(StopPropertyTool, (wchar_t*))
    KXT_NOTIMPL(AttachTool, ())
    KXT_NOTIMPL(DetachTool, ())
    KXT_NOTIMPL(GetDependencyGraph, (wchar_t*, wchar_t**))
    KXT_NOTIMPL(CalculatePartialLoad, ())
    KXT_NOTIMPL(SetPartialLoadable, (short))
    KXT_NOTIMPL(GetPartialLoadable, (short*))
    KXT_NOTIMPL(RequestTemplateInstantiation, (IUnknown*, IUnknown**))
    KXT_NOTIMPL(ReleaseTemplateInstantiation, (IUnknown*))
    KXT_NOTIMPL(ReportUnallowedLinkages, (wchar_t*, long, GUID*))
};

// A component with object data, co-class data and a property path.
class Component : public CObjectDataReferenceBase {
public:
    Component() : m_data(this, &m_class, nullptr) {
        m_class.m_pbstrName = &m_firstName;
        m_class.m_pbstrDescription = &m_description;
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

std::string ThreadIdText() {
    return std::to_string(static_cast<int>(GetCurrentThreadId()));
}

CErrorObject* Catch(void (*raise)()) {
    try {
        raise();
    } catch (CErrorObject* error) {
        return error;
    }
    ADD_FAILURE() << "nothing thrown";
    return nullptr;
}

std::vector<std::string> g_triggerLog;
void TriggerA(const char* text) {
    g_triggerLog.push_back(std::string("A:") + text);
}
void TriggerB(const char* text) {
    g_triggerLog.push_back(std::string("B:") + text);
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
        KxRegisterSystemErrorTrigger(TriggerB);
    }
}

} // namespace

TEST(ThrowError, RecordCarriesOriginPropertyPartnerAndThread) {
    DeviceScope scope;
    RecordingStartup startup;
    Component component;
    CountingPartner partner;
    const char property[] = "Freq";
    CErrorObject* error = nullptr;
    try {
        ThrowError("x > 0", "Src/Mod.cpp", "Tue Feb  3 01:02:03 2026", 77, &component, property,
                   &partner, "the message", E_INVALIDARG);
    } catch (CErrorObject* thrown) {
        error = thrown;
    }
    ASSERT_NE(error, nullptr);
    EXPECT_FALSE(error->GetIsRepairedError());
    EXPECT_STREQ(error->GetCondition().GetString(), "x > 0");
    EXPECT_STREQ(error->GetFileName().GetString(), "Src/Mod.cpp");
    EXPECT_STREQ(error->GetTimeStamp().GetString(), "Tue Feb  3 01:02:03 2026");
    EXPECT_EQ(error->GetLine(), 77);
    EXPECT_STREQ(error->GetAdditionalInfo().GetString(), "the message");
    EXPECT_EQ(error->GetErrorCode(), E_INVALIDARG);
    EXPECT_TRUE(IsEqualGUID(error->GetIid(), GUID_NULL));
    EXPECT_STREQ(error->GetMethodName().GetString(), "");
    EXPECT_STREQ(error->GetObjectName().GetString(), "Obj\xC3\xA4");
    EXPECT_TRUE(IsEqualGUID(error->GetObjectGuid(), kObjectGuid));
    EXPECT_EQ(error->GetLogicalLocation(), 0x0102);
    EXPECT_STREQ(error->GetCoClassName().GetString(), "CoClassText");
    EXPECT_STREQ(error->GetPropertyPath().GetString(), "Root/Sub");
    EXPECT_STREQ(error->GetPropertyName().GetString(), "Freq");
    EXPECT_STREQ(error->GetPartnerObjectName().GetString(), "Partner\xC3\xA4");
    EXPECT_TRUE(IsEqualGUID(error->GetPartnerObjectGuid(), kPartnerGuid));
    EXPECT_EQ(std::string(error->GetThreadName().GetString()), ThreadIdText());
    EXPECT_EQ(partner.infoCalls, 1);
    EXPECT_EQ(partner.refs, 1);
    EXPECT_EQ(partner.addRefs, partner.releases);

    // The start-up object saw the raw arguments.
    ASSERT_EQ(startup.calls.size(), 1u);
    EXPECT_EQ(startup.calls[0].condition, "x > 0");
    EXPECT_EQ(startup.calls[0].file, "Src/Mod.cpp");
    EXPECT_EQ(startup.calls[0].date, "Tue Feb  3 01:02:03 2026");
    EXPECT_EQ(startup.calls[0].line, 77);
    EXPECT_EQ(startup.calls[0].message, "the message");
    EXPECT_EQ(startup.calls[0].code, E_INVALIDARG);

    // Handling forwards the record and, as it was not repaired, shuts down.
    EXPECT_EQ(HandleError(error, nullptr), E_INVALIDARG);
    EXPECT_EQ(scope.device.calls, (std::vector<std::string>{"Send", "Shutdown"}));
    ASSERT_EQ(scope.device.sent.size(), 1u);
    EXPECT_STREQ(scope.device.sent[0].GetCondition().GetString(), "x > 0");
    EXPECT_EQ(HandleError(nullptr, nullptr), 0);
    EXPECT_EQ(scope.device.calls.size(), 2u);
}

TEST(ThrowError, PartnerThatIsNoComponentOrFailsIsLeftOut) {
    CountingPartner plain;
    plain.managed = false;
    CountingPartner failing;
    failing.infoResult = S_FALSE; // only S_OK counts
    CountingPartner throwing;
    throwing.throwInInfo = true;
    for (CountingPartner* partner : {&plain, &failing, &throwing}) {
        try {
            ThrowError("c", "f", "d", 1, nullptr, nullptr, partner, "m", E_FAIL);
        } catch (CErrorObject* error) {
            EXPECT_STREQ(error->GetPartnerObjectName().GetString(), "");
            EXPECT_TRUE(IsEqualGUID(error->GetPartnerObjectGuid(), GUID_NULL));
            delete error;
        }
        EXPECT_EQ(partner->refs, 1);
        EXPECT_EQ(partner->addRefs, partner->releases);
    }
    EXPECT_EQ(plain.infoCalls, 0);
    EXPECT_EQ(failing.infoCalls, 1);
    EXPECT_EQ(throwing.infoCalls, 1);
}

TEST(ThrowError, NullTextsAndNullOriginGiveEmptyFields) {
    RecordingStartup startup;
    CErrorObject* error = Catch([] {
        ThrowError(nullptr, nullptr, nullptr, 3, nullptr, "ignored without origin", nullptr,
                   nullptr, E_ABORT);
    });
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->GetCondition().GetString(), "");
    EXPECT_STREQ(error->GetFileName().GetString(), "");
    EXPECT_STREQ(error->GetTimeStamp().GetString(), "");
    EXPECT_STREQ(error->GetAdditionalInfo().GetString(), "");
    EXPECT_STREQ(error->GetObjectName().GetString(), "");
    EXPECT_STREQ(error->GetCoClassName().GetString(), "");
    EXPECT_STREQ(error->GetPropertyName().GetString(), "");
    EXPECT_TRUE(IsEqualGUID(error->GetObjectGuid(), GUID_NULL));
    EXPECT_TRUE(IsEqualGUID(error->GetPartnerObjectGuid(), GUID_NULL));
    EXPECT_EQ(error->GetErrorCode(), E_ABORT);
    delete error;
    ASSERT_EQ(startup.calls.size(), 1u);
    EXPECT_EQ(startup.calls[0].condition, "");
    EXPECT_EQ(startup.calls[0].message, "");
}

TEST(ThrowError, LimitOfTenThenSentinel) {
    DeviceScope scope;
    RecordingStartup startup;
    g_triggerLog.clear();
    KxRegisterSystemErrorTrigger(TriggerA);
    for (int i = 1; i <= 10; ++i) {
        try {
            ThrowError("cond", "file", "date", i, nullptr, nullptr, nullptr, "msg", E_FAIL);
        } catch (CErrorObject* error) {
            EXPECT_EQ(error->GetLine(), i);
            EXPECT_EQ(error->GetErrorCode(), E_FAIL);
            delete error;
        }
    }
    EXPECT_EQ(g_triggerLog.size(), 10u);
    EXPECT_EQ(startup.calls.size(), 10u);
    CErrorObject* sentinel = Catch(
        [] { ThrowError("cond", "file", "date", 11, nullptr, nullptr, nullptr, "msg", E_FAIL); });
    ASSERT_NE(sentinel, nullptr);
    EXPECT_EQ(sentinel->GetErrorCode(), 1502);
    EXPECT_EQ(sentinel->GetLine(), 0);
    EXPECT_STREQ(sentinel->GetCondition().GetString(), "");
    EXPECT_STREQ(sentinel->GetFileName().GetString(), "");
    EXPECT_STREQ(sentinel->GetAdditionalInfo().GetString(), "");
    EXPECT_STREQ(sentinel->GetThreadName().GetString(), "");
    // Nothing else happened for the sentinel, and handling does not forward it.
    EXPECT_EQ(g_triggerLog.size(), 10u);
    EXPECT_EQ(startup.calls.size(), 10u);
    EXPECT_EQ(HandleError(sentinel, nullptr), 1502);
    EXPECT_TRUE(scope.device.calls.empty());
    KxUnregisterSystemErrorTrigger(TriggerA);
}

TEST(SystemErrorTrigger, OrderDuplicatesAndUnregister) {
    g_triggerLog.clear();
    KxRegisterSystemErrorTrigger(TriggerA);
    KxRegisterSystemErrorTrigger(TriggerB);
    KxRegisterSystemErrorTrigger(TriggerA);
    KxSystemErrorTrigger("x");
    EXPECT_EQ(g_triggerLog, (std::vector<std::string>{"A:x", "B:x", "A:x"}));

    // Removes the first equal entry only; an unknown function changes nothing.
    KxUnregisterSystemErrorTrigger(TriggerA);
    KxUnregisterSystemErrorTrigger(TriggerThrows);
    g_triggerLog.clear();
    KxSystemErrorTrigger("y");
    EXPECT_EQ(g_triggerLog, (std::vector<std::string>{"B:y", "A:y"}));
    KxUnregisterSystemErrorTrigger(TriggerB);
    KxUnregisterSystemErrorTrigger(TriggerA);
    g_triggerLog.clear();
    KxSystemErrorTrigger("z");
    EXPECT_TRUE(g_triggerLog.empty());
}

TEST(SystemErrorTrigger, ThrowingTriggerStopsTheRestAndThrowStillHappens) {
    RecordingStartup startup;
    g_triggerLog.clear();
    KxRegisterSystemErrorTrigger(TriggerA);
    KxRegisterSystemErrorTrigger(TriggerThrows);
    KxRegisterSystemErrorTrigger(TriggerB);
    EXPECT_NO_THROW(KxSystemErrorTrigger("t"));
    EXPECT_EQ(g_triggerLog, (std::vector<std::string>{"A:t", "T"}));

    // Through ThrowError: the triggers get the record's description, and the
    // start-up object and the throw still happen.
    g_triggerLog.clear();
    CErrorObject* error = Catch(
        [] { ThrowError("a == b", "f.cpp", "d", 5, nullptr, nullptr, nullptr, "msg", E_FAIL); });
    ASSERT_NE(error, nullptr);
    ASSERT_EQ(g_triggerLog.size(), 2u);
    EXPECT_EQ(g_triggerLog[0], std::string("A:") + error->Description().GetString());
    EXPECT_EQ(g_triggerLog[0].rfind("A:msg\n\nCONDITION:\t(a == b) failed\n", 0), 0u);
    EXPECT_EQ(startup.calls.size(), 1u);
    delete error;
    KxUnregisterSystemErrorTrigger(TriggerA);
    KxUnregisterSystemErrorTrigger(TriggerThrows);
    KxUnregisterSystemErrorTrigger(TriggerB);
}

TEST(SystemErrorTrigger, TriggerRegisteredByTriggerRunsInSameRound) {
    g_triggerLog.clear();
    KxRegisterSystemErrorTrigger(TriggerA);
    KxRegisterSystemErrorTrigger(TriggerRegistersB);
    KxSystemErrorTrigger("r");
    // B was appended during the round and is called in it.
    EXPECT_EQ(g_triggerLog, (std::vector<std::string>{"A:r", "R", "B:r"}));
    KxUnregisterSystemErrorTrigger(TriggerRegistersB);
    KxUnregisterSystemErrorTrigger(TriggerA);
    KxUnregisterSystemErrorTrigger(TriggerB);
    g_triggerLog.clear();
    KxSystemErrorTrigger("r");
    EXPECT_TRUE(g_triggerLog.empty());
}

TEST(ThrowError, ThrowingStartupObjectIsSwallowed) {
    RecordingStartup startup;
    startup.throwOnCall = true;
    CErrorObject* error =
        Catch([] { ThrowError("c", "f", "d", 1, nullptr, nullptr, nullptr, "m", E_UNEXPECTED); });
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->GetErrorCode(), E_UNEXPECTED);
    delete error;
    EXPECT_EQ(startup.calls.size(), 1u);
}

TEST(HandleError, RepairedRecordNeverShutsDown) {
    DeviceScope scope;
    auto* repaired = new CErrorObject();
    repaired->SetIsRepairedError(true);
    repaired->SetErrorCode(E_FAIL);
    EXPECT_EQ(HandleError(repaired, nullptr), E_FAIL);
    EXPECT_EQ(scope.device.calls, (std::vector<std::string>{"Send"}));
}

TEST(RepairError, ForwardsRepairedRecordWithCallStack) {
    DeviceScope scope;
    Component component;
    CountingPartner partner;
    const GUID iid = {0x99, 0x98, 0x97, {1, 1, 1, 1, 1, 1, 1, 1}};
    CTraceCallStackObject stack(&component, &iid, "DoConnect", "extra");
    RepairError("cond", "file.cpp", "date", 12, &component, "Prop", &partner, "msg", E_FAIL,
                &stack);
    ASSERT_EQ(scope.device.calls, (std::vector<std::string>{"Send"}));
    const CErrorObject& error = scope.device.sent[0];
    EXPECT_TRUE(error.GetIsRepairedError());
    EXPECT_STREQ(error.GetMethodName().GetString(), "DoConnect");
    EXPECT_TRUE(IsEqualGUID(error.GetIid(), iid));
    EXPECT_STREQ(error.GetCondition().GetString(), "cond");
    EXPECT_STREQ(error.GetTimeStamp().GetString(), "date");
    EXPECT_EQ(error.GetLine(), 12);
    EXPECT_EQ(error.GetErrorCode(), E_FAIL);
    EXPECT_STREQ(error.GetObjectName().GetString(), "Obj\xC3\xA4");
    EXPECT_STREQ(error.GetCoClassName().GetString(), "CoClassText");
    EXPECT_EQ(error.GetLogicalLocation(), 0x0102);
    EXPECT_STREQ(error.GetPropertyName().GetString(), "Prop");
    EXPECT_STREQ(error.GetPartnerObjectName().GetString(), "Partner\xC3\xA4");
    EXPECT_EQ(std::string(error.GetThreadName().GetString()), ThreadIdText());
    EXPECT_EQ(partner.refs, 1);
    EXPECT_EQ(partner.addRefs, partner.releases);

    // A call stack without an iid keeps GUID_NULL; no call stack: no method.
    CTraceCallStackObject noIid(nullptr, nullptr, "M2", nullptr);
    RepairError("c", "f", "d", 1, nullptr, nullptr, nullptr, "m", 1, &noIid);
    RepairError(nullptr, nullptr, nullptr, 2, nullptr, nullptr, nullptr, nullptr, 2, nullptr);
    ASSERT_EQ(scope.device.sent.size(), 3u);
    EXPECT_STREQ(scope.device.sent[1].GetMethodName().GetString(), "M2");
    EXPECT_TRUE(IsEqualGUID(scope.device.sent[1].GetIid(), GUID_NULL));
    EXPECT_STREQ(scope.device.sent[2].GetMethodName().GetString(), "");
    EXPECT_STREQ(scope.device.sent[2].GetCondition().GetString(), "");
    EXPECT_EQ(scope.device.calls.size(), 3u); // never a shutdown

    // A device that fails while receiving does not make RepairError throw.
    scope.device.throwOnSend = true;
    EXPECT_NO_THROW(RepairError("c", "f", "d", 3, nullptr, nullptr, nullptr, "m", 3, nullptr));
    EXPECT_EQ(scope.device.sent.size(), 4u);
}

TEST(RepairError, ThreadNameIsTheReportingThreadsId) {
    DeviceScope scope;
    std::string workerId;
    std::thread worker([&] {
        workerId = ThreadIdText();
        RepairError("c", "f", "d", 1, nullptr, nullptr, nullptr, "m", 1, nullptr);
    });
    worker.join();
    ASSERT_EQ(scope.device.sent.size(), 1u);
    EXPECT_EQ(std::string(scope.device.sent[0].GetThreadName().GetString()), workerId);
    EXPECT_NE(workerId, ThreadIdText());
}

TEST(RepairError, HundredAndFirstIsDropped) {
    DeviceScope scope;
    for (int i = 1; i <= 101; ++i) {
        RepairError("c", "f", "d", i, nullptr, nullptr, nullptr, "m", E_FAIL, nullptr);
    }
    ASSERT_EQ(scope.device.sent.size(), 100u);
    EXPECT_EQ(scope.device.sent.back().GetLine(), 100);
}

TEST(KxInfoRepaired, FormatsPrintfStyleAndLongTextsWhole) {
    DeviceScope scope;
    KxInfoRepaired("value %d of %s: %05.1f%%", 7, "seven", 3.14159);
    const std::string longText(5000, 'x');
    KxInfoRepaired("<%s>", longText.c_str());
    ASSERT_EQ(scope.device.sent.size(), 2u);
    const CErrorObject& first = scope.device.sent[0];
    EXPECT_STREQ(first.GetAdditionalInfo().GetString(), "value 7 of seven: 003.1%");
    EXPECT_STREQ(first.GetCondition().GetString(), "false");
    EXPECT_EQ(first.GetErrorCode(), E_KX_HRESULT_ASSERT_REPAIRED);
    EXPECT_TRUE(first.GetIsRepairedError());
    EXPECT_STRNE(first.GetFileName().GetString(), "");
    EXPECT_GT(first.GetLine(), 0);
    EXPECT_STREQ(first.GetObjectName().GetString(), "");
    EXPECT_EQ(std::string(scope.device.sent[1].GetAdditionalInfo().GetString()),
              "<" + longText + ">");
    EXPECT_EQ(scope.device.calls.size(), 2u);
}

TEST(KxInfoRepaired, NonAsciiWideArgumentInCLocaleDoesNotHang) {
    // Wide arguments come out as UTF-8 whatever the process locale; the C
    // locale (the firmware's) once made the formatting fail for ever.
    const std::string ss = "\xC3\x9F";
    const std::wstring longWide(3000, L'\u00DF');
    std::string longUtf8;
    for (int i = 0; i < 3000; ++i) {
        longUtf8 += ss;
    }
    struct Case {
        const char* name;
        std::function<void()> report;
        std::string expected;
    };
    const std::vector<Case> cases = {
        {"%ls", [] { KxInfoRepaired("%ls", L"Me\u00DFkopf"); }, "Me" + ss + "kopf"},
        {"%S %lc %C",
         [] {
             KxInfoRepaired("%S %lc %C", L"\u20AC", static_cast<wint_t>(0xE9),
                            static_cast<wint_t>(0x1F600));
         },
         "\xE2\x82\xAC \xC3\xA9 \xF0\x9F\x98\x80"},
        {"precision and width count characters",
         [] { KxInfoRepaired("[%.2ls|%4ls]", L"\u00DF\u00DF\u00DF", L"\u00DF"); },
         "[" + ss + ss + "|   " + ss + "]"},
        {"no character", [] { KxInfoRepaired("%ls", L"a\xD800z"); }, "a\xEF\xBF\xBDz"},
        {"longer than the first buffer", [&longWide] { KxInfoRepaired("<%ls>", longWide.c_str()); },
         "<" + longUtf8 + ">"},
        {"narrow text is copied", [] { KxInfoRepaired("%s", "Me\xDF"); }, "Me\xDF"},
    };
    for (const char* locale : {"C", "C.UTF-8"}) {
        SCOPED_TRACE(locale);
        if (std::setlocale(LC_ALL, locale) == nullptr) {
            ADD_FAILURE() << "locale " << locale << " is not available";
            continue;
        }
        for (const Case& c : cases) {
            SCOPED_TRACE(c.name);
            DeviceScope scope;
            KxTest::RunWithHangWatchdog(std::chrono::seconds(30), c.report);
            ASSERT_EQ(scope.device.sent.size(), 1u);
            EXPECT_EQ(std::string(scope.device.sent[0].GetAdditionalInfo().GetString()),
                      c.expected);
        }
    }
    std::setlocale(LC_ALL, "C");
}

TEST(KxInfoRepaired, NullFormatReportsAnEmptyText) {
    DeviceScope scope;
    KxInfoRepaired(nullptr);
    ASSERT_EQ(scope.device.sent.size(), 1u);
    EXPECT_STREQ(scope.device.sent[0].GetAdditionalInfo().GetString(), "");
    EXPECT_EQ(scope.device.sent[0].GetErrorCode(), E_KX_HRESULT_ASSERT_REPAIRED);
}

TEST(OutOfMemoryError, CallsStartupWithFixedCondition) {
    DeviceScope scope;
    RecordingStartup startup;
    OutOfMemoryError("no heap left");
    OutOfMemoryError(nullptr);
    ASSERT_EQ(startup.calls.size(), 2u);
    EXPECT_EQ(startup.calls[0].condition, "Fatal: process out of memory");
    EXPECT_EQ(startup.calls[0].file, "");
    EXPECT_EQ(startup.calls[0].date, "");
    EXPECT_EQ(startup.calls[0].line, 0);
    EXPECT_EQ(startup.calls[0].message, "no heap left");
    EXPECT_EQ(startup.calls[0].code, 0);
    EXPECT_EQ(startup.calls[1].message, "");
    EXPECT_TRUE(scope.device.calls.empty()); // the record is not forwarded
}

TEST(OutOfMemoryError, ThrowingStartupIsSwallowedAndNoStartupIsFine) {
    {
        RecordingStartup startup;
        startup.throwOnCall = true;
        EXPECT_NO_THROW(OutOfMemoryError("m"));
        EXPECT_EQ(startup.calls.size(), 1u);
    }
    EXPECT_NO_THROW(OutOfMemoryError("m"));
}

TEST(ErrorReportingNoDevice, RepairAndHandleGoToDebugOutput) {
    DebugCapture capture;
    EXPECT_NO_THROW(RepairError("cond", "file", "d", 4, nullptr, nullptr, nullptr, "repaired msg",
                                E_FAIL, nullptr));
    EXPECT_NE(capture.text.find("repaired msg\n\nCONDITION:\t(cond) failed\n"), std::string::npos)
        << capture.text;
    capture.text.clear();
    KxInfoRepaired("info %d", 9);
    EXPECT_NE(capture.text.find("info 9\n"), std::string::npos) << capture.text;
    capture.text.clear();
    CErrorObject* error =
        Catch([] { ThrowError("t", "f", "d", 1, nullptr, nullptr, nullptr, "thrown", E_FAIL); });
    ASSERT_NE(error, nullptr);
    const std::string description = error->Description().GetString();
    long code = 0;
    EXPECT_NO_THROW(code = HandleError(error, nullptr));
    EXPECT_EQ(code, E_FAIL);
    EXPECT_NE(capture.text.find(description), std::string::npos) << capture.text;
}

TEST(Reporters, DoNotCrashAndCountPropertyErrors) {
    Component component;
    CountingPartner partner;
    const char property[] = "P";
    EXPECT_NO_THROW({
        CObjectDataReferenceBase::RepairedError(&component, property, &partner, "r<1>");
        CObjectDataReferenceBase::FatalError(&component, property, &partner, "f1");
        CObjectDataReferenceBase::FatalError(nullptr, nullptr, nullptr, "f2");
        CObjectDataReferenceBase::RepairedError(nullptr, nullptr, nullptr, "after fatal");
        component.SubsysError(static_cast<IUnknown*>(&partner), "s & t");
        component.SubsysError(static_cast<const void*>(property), "s2");
        component.PropertyInfo(property, "i", true, &partner);
        component.PropertyInfo(property, "i", false, nullptr);
        component.PropertyWarning(property, "w", nullptr);
    });
    EXPECT_EQ(component.PropertyErrorCount(), 0);
    component.PropertyError(property, "e1", nullptr);
    component.PropertyError(nullptr, "e2", &partner);
    EXPECT_EQ(component.PropertyErrorCount(), 2);
    component.ClearPropertyState();
    EXPECT_EQ(component.PropertyErrorCount(), 0);
    EXPECT_EQ(partner.refs, 1);
    EXPECT_EQ(partner.addRefs, partner.releases);
}
