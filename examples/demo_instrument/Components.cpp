// The demo instrument's components.
#include "Components.h"

#include <cstdint>
#include <new>

using namespace KxTamarind;

namespace Demo {
namespace {

std::atomic<long> g_lCreated{0};
std::atomic<long> g_lDestroyed{0};

// Fixed class identifiers and categories of the demo:
// {D5E00000-7A3B-4C1D-9E8F-00000000000n}.
GUID DemoGuid(uint32_t first, unsigned char last) {
    return GUID{first, 0x7A3B, 0x4C1D, {0x9E, 0x8F, 0x00, 0x00, 0x00, 0x00, 0x00, last}};
}

// IUnknown for the enumerators, which delete themselves on their last
// Release. They are created with one reference (the caller's).
template <class Interface, class Base>
class RefCounted : public Base {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (ppv == nullptr) {
            return E_POINTER;
        }
        if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, __uuidof(Interface))) {
            *ppv = static_cast<Interface*>(this);
            this->AddRef();
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override {
        return m_ulRefs.fetch_add(1, std::memory_order_relaxed) + 1;
    }
    ULONG STDMETHODCALLTYPE Release() override {
        ULONG refs = m_ulRefs.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (refs == 0) {
            delete this;
        }
        return refs;
    }

private:
    std::atomic<ULONG> m_ulRefs{1};
};

class ObjectEnumeration : public RefCounted<IKXObjectEnumeration, CBObjectEnumeration> {
public:
    // A new enumerator over `list` (one reference), registered at the list
    // so that changes of the registry invalidate it; null without memory.
    static ObjectEnumeration* Make(GUID* catId, IUnknown* owner, CObjectList* list) {
        ObjectEnumeration* e = new (std::nothrow) ObjectEnumeration();
        if (e != nullptr) {
            e->SetMember(catId, owner, list);
            list->AddEnumeration(e);
        }
        return e;
    }

protected:
    IKXObjectEnumeration* CreateEnumeration(GUID* catId) override {
        return Make(catId, m_pOwner, m_pObjectList);
    }
};

class InterfaceEnumeration : public RefCounted<IKXInterfaceEnumeration, CBInterfaceEnumeration> {
public:
    static InterfaceEnumeration* Make(IUnknown* owner, CInterfaceList* list) {
        InterfaceEnumeration* e = new (std::nothrow) InterfaceEnumeration();
        if (e == nullptr) {
            return nullptr;
        }
        try {
            e->SetMember(owner, list);
        } catch (...) {
            e->Release();
            throw;
        }
        list->AddEnumeration(e);
        return e;
    }

protected:
    IKXInterfaceEnumeration* CreateEnumeration() override {
        return Make(m_pOwner, m_pInterfaceList);
    }
};

} // namespace

DemoCoClass::DemoCoClass(const wchar_t* name, const wchar_t* description, const GUID& clsid,
                         const GUID& mainCategory)
    : m_bstrName(SysAllocString(name)), m_bstrDescription(SysAllocString(description)),
      m_bstrImage(SysAllocString(L"demo_instrument")), m_Clsid(clsid), m_Category(mainCategory) {
    m_Data.m_pbstrName = &m_bstrName;
    m_Data.m_pClsid = &m_Clsid;
    m_Data.m_pbstrDescription = &m_bstrDescription;
    m_Data.m_lCharacteristicsCount = 0;
    m_Data.m_pCharacteristics = nullptr;
    m_Data.m_pbstrImageName = &m_bstrImage;
    m_Data.m_lImplementedCatIdCount = 1;
    m_Data.m_pImplementedCatIds = &m_Category;
    m_Data.m_lParentCatIdCount = 0;
    m_Data.m_pParentCatIds = nullptr;
}

DemoCoClass::~DemoCoClass() {
    SysFreeString(m_bstrName);
    SysFreeString(m_bstrDescription);
    SysFreeString(m_bstrImage);
}

DemoClasses::DemoClasses()
    : root(L"KxTamarindDemo.Root", L"DemoRoot", DemoGuid(0xD5E00000, 1), DemoGuid(0xCA700000, 1)),
      controller(L"KxTamarindDemo.Controller", L"DemoController", DemoGuid(0xD5E00000, 2),
                 DemoGuid(0xCA700000, 2)),
      channel(L"KxTamarindDemo.Channel", L"DemoChannel", DemoGuid(0xD5E00000, 3),
              DemoGuid(0xCA700000, 3)),
      executor(L"KxTamarindDemo.Executor", L"DemoExecutor", DemoGuid(0xD5E00000, 4),
               DemoGuid(0xCA700000, 4)) {}

long ComponentsCreated() {
    return g_lCreated.load(std::memory_order_relaxed);
}
long ComponentsDestroyed() {
    return g_lDestroyed.load(std::memory_order_relaxed);
}

int SimulatedReading(int channel, int sample) {
    // A channel-specific offset plus a repeatable "noise" term.
    return channel * 10000 + (sample * 7919 + channel * 31) % 997;
}

DemoComponent::DemoComponent(CCoClassData* classData)
    : m_ObjectData(static_cast<CObjectDataReferenceBase*>(this), classData, nullptr) {
    // The supervisor's registry keeps the identification word as the
    // object's IUnknown.
    m_ObjectData.m_lIdentification = static_cast<long>(reinterpret_cast<uintptr_t>(Identity()));
    g_lCreated.fetch_add(1, std::memory_order_relaxed);
}

DemoComponent::~DemoComponent() {
    g_lDestroyed.fetch_add(1, std::memory_order_relaxed);
}

IKXInterfaceEnumeration* RootComponent::CreateInterfaceEnumeration() {
    CInterfaceList* list = GetInterfaceList();
    if (list == nullptr) {
        return nullptr;
    }
    return InterfaceEnumeration::Make(static_cast<IKXInterfaceRegistration*>(this), list);
}

ControllerComponent::ControllerComponent(CCoClassData* classData) : DemoComponent(classData) {
    SetObjectList(&m_List);
}

ControllerComponent::~ControllerComponent() {
    SetObjectList(nullptr);
}

HRESULT ControllerComponent::OnObjectRegistered(ObjectIdentificationData*) {
    m_lRegistered.fetch_add(1, std::memory_order_relaxed);
    return S_OK;
}

HRESULT ControllerComponent::OnObjectUnregistered(GUID*, long) {
    m_lUnregistered.fetch_add(1, std::memory_order_relaxed);
    return S_OK;
}

IKXObjectEnumeration* ControllerComponent::CreateObjectEnumeration(GUID* catId) {
    return ObjectEnumeration::Make(catId, static_cast<IKXObjectRegistration*>(this), &m_List);
}

ChannelComponent::ChannelComponent(CCoClassData* classData, int index, bool failConnect,
                                   bool failDelete)
    : DemoComponent(classData), m_iIndex(index), m_bFailConnect(failConnect),
      m_bFailDelete(failDelete) {}

int ChannelComponent::Reading(int sample) {
    m_lReadings.fetch_add(1, std::memory_order_relaxed);
    return SimulatedReading(m_iIndex, sample);
}

void ChannelComponent::Fail() {
    ThrowError("false", "examples/demo_instrument/Components", KX_SOURCE_TIMESTAMP, __LINE__, this,
               nullptr, nullptr, "diagnostic failure requested", E_KX_HRESULT_ASSERT_FAILED);
}

ExecutorComponent::ExecutorComponent(CCoClassData* classData)
    : DemoComponent(classData), m_Run(*this) {}

ExecutorComponent::~ExecutorComponent() {
    // Normally stopped by Disconnect; a shell that gave up earlier must not
    // leave the pool thread inside this object.
    StopServing();
    ReleaseChannels();
}

HRESULT ExecutorComponent::DoConnect() {
    IKXLinkage* linkage = Data().m_pIKXLinkage;
    if (linkage == nullptr) {
        return E_POINTER;
    }
    for (GUID guid : m_ChannelGuids) {
        IUnknown* partner = nullptr;
        if (linkage->SearchPartner(&guid, &partner) != S_OK || partner == nullptr) {
            ReleaseChannels();
            return E_FAIL;
        }
        IKXComponentManagement* management = nullptr;
        HRESULT hr = partner->QueryInterface(__uuidof(IKXComponentManagement),
                                             reinterpret_cast<void**>(&management));
        partner->Release();
        ChannelComponent* channel =
            hr == S_OK ? dynamic_cast<ChannelComponent*>(management) : nullptr;
        if (channel == nullptr) {
            if (management != nullptr) {
                management->Release();
            }
            ReleaseChannels();
            return E_FAIL;
        }
        m_Channels.push_back(channel); // keeps the reference from QueryInterface
    }
    m_bRunning.store(true, std::memory_order_relaxed);
    CComponentShellThreadPool::StartMTAThread("DemoExecutor", &m_Run, this, false,
                                              KXThreadPriority_Normal);
    return S_OK;
}

HRESULT ExecutorComponent::DoDisconnect() {
    StopServing();
    ReleaseChannels();
    return S_OK;
}

void ExecutorComponent::Serve() {
    unsigned long long id = 0;
    unsigned long message = 0;
    int param1 = 0;
    int param2 = 0;
    while (m_Queue.WaitAndGetMessage(id, message, param1, param2)) {
        int result = kNoSuchChannel;
        try {
            result = Execute(message, param1, param2);
        } catch (CErrorObject* error) {
            // The failure ends this message only: the sender gets the
            // error's code and the executor goes on serving. The record is
            // therefore a repaired error, which reaches the information
            // management without shutting the device down. (The library's
            // sentinel for too many errors carries no failure code.)
            long code = error->GetErrorCode();
            error->SetIsRepairedError(true);
            HandleError(error, nullptr);
            result = code < 0 ? static_cast<int>(code) : static_cast<int>(E_FAIL);
        }
        m_lProcessed.fetch_add(1, std::memory_order_relaxed);
        m_Queue.FinishMessage(id, result);
    }
}

int ExecutorComponent::Execute(unsigned long message, int param1, int param2) {
    if (message == kEchoMessage) {
        return param1 >= 0 ? param1 : kNoSuchChannel;
    }
    if (param1 < 0 || static_cast<size_t>(param1) >= m_Channels.size()) {
        return kNoSuchChannel;
    }
    ChannelComponent* channel = m_Channels[static_cast<size_t>(param1)];
    switch (message) {
    case kMeasureMessage:
        return channel->Reading(param2);
    case kVoltageMessage:
        return channel->Voltage();
    case kTemperatureMessage:
        return channel->Temperature();
    case kFailMessage:
        channel->Fail();
    }
    return kNoSuchChannel;
}

void ExecutorComponent::StopServing() {
    if (!m_bRunning.exchange(false, std::memory_order_relaxed)) {
        return;
    }
    m_Queue.Close();
    // Generous bound: the run ends as soon as it sees the closed queue.
    if (!m_Run.WaitRunFinished(30000)) {
        RepairError("m_Run.WaitRunFinished(30000)", "examples/demo_instrument/Components",
                    KX_SOURCE_TIMESTAMP, __LINE__, this, nullptr, nullptr,
                    "executor run did not finish", E_FAIL, nullptr);
    }
}

void ExecutorComponent::ReleaseChannels() {
    for (ChannelComponent* channel : m_Channels) {
        channel->Management()->Release();
    }
    m_Channels.clear();
}

} // namespace Demo
