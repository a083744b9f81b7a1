// The demo's component shell: building, starting, listing, tearing down.
#include "Shell.h"

#include <cstdio>
#include <string>

#include "DeviceLayer.h"

using namespace KxTamarind;

namespace Demo {

namespace {

const char* StateName(InitializationState state) {
    switch (state) {
    case InitializationState_Created:
        return "Created";
    case InitializationState_Constructed:
        return "Constructed";
    case InitializationState_Initialized:
        return "Initialized";
    case InitializationState_Connected:
        return "Connected";
    }
    return "?";
}

std::string GuidText(const GUID& guid) {
    LPOLESTR text = nullptr;
    if (StringFromCLSID(guid, &text) != S_OK || text == nullptr) {
        return "?";
    }
    std::string result = ToUtf8(text);
    CoTaskMemFree(text);
    return result;
}

std::string BstrText(BSTR text) {
    return text != nullptr ? ToUtf8(text) : std::string();
}

// The demo component behind a registry record's IUnknown (null if none).
DemoComponent* ComponentOf(IUnknown* unknown) {
    IKXComponentManagement* management = nullptr;
    if (unknown == nullptr ||
        unknown->QueryInterface(__uuidof(IKXComponentManagement),
                                reinterpret_cast<void**>(&management)) != S_OK) {
        return nullptr;
    }
    DemoComponent* component = dynamic_cast<DemoComponent*>(management);
    management->Release(); // the record's reference keeps it alive
    return component;
}

// A new component, or the out-of-memory error when there is none.
template <class T>
T* Created(T* component) {
    if (component == nullptr) {
        ThrowError("component != NULL", "examples/demo_instrument/Shell", KX_SOURCE_TIMESTAMP,
                   __LINE__, nullptr, nullptr, nullptr, "out of memory", E_OUTOFMEMORY);
    }
    return component;
}

} // namespace

DemoShell::DemoShell(DemoClasses& classes, int channels, bool failConnect, long li1, long li2)
    : m_Classes(classes), m_iChannels(channels), m_bFailConnect(failConnect), m_lLi1(li1),
      m_lLi2(li2) {}

DemoShell::~DemoShell() {
    TearDown();
    Release();
}

void DemoShell::Add(DemoComponent* component, IUnknown* supervisor, long handle, long location,
                    const wchar_t* name) {
    m_All.push_back(component);
    m_pLinkage->Attach(handle, component->Identity());
    IKXComponentManagement* management = component->Management();
    management->PutReferences(supervisor, m_pLinkage, handle, location);
    std::wstring text(name);
    management->SetObjectName(&text[0]);
    GUID guid;
    CoCreateGuid(&guid);
    management->SetObjectGuid(&guid);
}

void DemoShell::Build() {
    m_pLinkage = DemoLinkage::Create();
    if (m_pLinkage == nullptr) {
        ThrowError("m_pLinkage != NULL", "examples/demo_instrument/Shell", KX_SOURCE_TIMESTAMP,
                   __LINE__, nullptr, nullptr, nullptr, "out of memory", E_OUTOFMEMORY);
    }
    m_pRoot = Created(RootObject::Create(m_Classes.root.Data()));
    SetRoot(m_pRoot->Identity());
    m_bRootSet = true;
    Add(m_pRoot, nullptr, 1, 0, L"Root");
    m_pController = Created(ControllerObject::Create(m_Classes.controller.Data()));
    Add(m_pController, nullptr, 2, m_lLi1, L"Controller");
    IUnknown* controller = m_pController->Identity();
    m_pExecutor = Created(ExecutorObject::Create(m_Classes.executor.Data()));
    Add(m_pExecutor, controller, 3, m_lLi1, L"Executor");
    std::vector<GUID> channelGuids;
    for (int i = 0; i < m_iChannels; ++i) {
        // The first channel refuses to connect on request; the last one
        // always fails to delete its property-dependent objects, which the
        // library reports as a repaired error while tearing down.
        ChannelComponent* channel = Created(ChannelObject::Create(
            m_Classes.channel.Data(), i, m_bFailConnect && i == 0, i == m_iChannels - 1));
        m_Channels.push_back(channel);
        std::wstring name = L"Channel" + std::to_wstring(i + 1);
        Add(channel, controller, 10 + i, i % 2 == 0 ? m_lLi1 : m_lLi2, name.c_str());
        channelGuids.push_back(channel->Data().ObjectGuid);
    }
    m_pExecutor->SetChannelGuids(channelGuids);
}

void DemoShell::Start() {
    for (DemoComponent* c : m_All) {
        c->Management()->FinishConstruct();
    }
    for (DemoComponent* c : m_All) {
        c->Management()->InitializeOperation();
    }
    for (DemoComponent* c : m_All) {
        c->Management()->Connect();
    }
    // The shell's services, for everyone who asks the root.
    struct Service {
        IUnknown* object;
        const GUID* iid;
        const wchar_t* name;
    } services[] = {
        {static_cast<IKXObjectRegistration*>(m_pController), &IID_IKXObjectRegistration,
         L"DemoApp.Controller.Registry"},
        {m_pExecutor->Identity(), &IID_IKXComponentManagement, L"DemoApp.CommandExecutor"},
    };
    for (const Service& service : services) {
        std::wstring name(service.name);
        HRESULT hr =
            KxRegisterInterface(m_pRoot->Identity(), service.object, service.iid, &name[0]);
        if (hr != S_OK) {
            ThrowError("KxRegisterInterface() == S_OK", "examples/demo_instrument/Shell",
                       KX_SOURCE_TIMESTAMP, __LINE__, m_pRoot, nullptr, nullptr,
                       "service could not be published", hr);
        }
        m_Published.push_back(*service.iid);
    }
    IKXInterfaceRegistration* registry = nullptr;
    GetRoot(&registry);
    long published = 0;
    if (registry != nullptr) {
        registry->GetInterfaceCount(&published);
        registry->Release();
    }
    std::printf("root registry: %ld interfaces published\n", published);
}

void DemoShell::PrintRow(DemoComponent* c) {
    BSTR name = nullptr;
    GUID guid = GUID_NULL;
    c->Management()->GetObjectInfo(&name, &guid);
    long location = 0;
    c->Management()->GetLogicalLocation(&location);
    wchar_t* app = nullptr;
    std::string appName = "-";
    if (c->Data().GetMyFwAppName(&app) && app != nullptr) {
        appName = ToUtf8(app);
    }
    SysFreeString(app);
    std::printf("  %-12s %s  %-11s 0x%04lx  %s\n", BstrText(name).c_str(), GuidText(guid).c_str(),
                StateName(c->Data().m_eInitializationState), location, appName.c_str());
    SysFreeString(name);
}

void DemoShell::PrintTable() {
    long count = 0;
    m_pController->GetObjectCount(&count);
    std::printf("components (%ld registered at the controller):\n", count);
    std::printf("  %-12s %-38s  %-11s %-6s  %s\n", "name", "object guid", "state", "loc.",
                "application");
    PrintRow(m_pRoot);
    PrintRow(m_pController);
    PrintRow(m_pExecutor);
    // The channels, as the controller's registry knows them.
    GUID category = m_Classes.channel.MainCategory();
    IKXObjectEnumeration* enumeration = nullptr;
    if (m_pController->EnumObject(&category, &enumeration) != S_OK || enumeration == nullptr) {
        std::printf("  (no channels registered)\n");
        return;
    }
    ObjectIdentificationData record{};
    long fetched = 0;
    while (enumeration->Next(1, &fetched, &record) == S_OK && fetched == 1) {
        DemoComponent* c = ComponentOf(record.pIUnknown);
        if (c != nullptr) {
            PrintRow(c);
        }
        if (record.pIUnknown != nullptr) {
            record.pIUnknown->Release();
        }
        SysFreeString(record.Name);
        record = ObjectIdentificationData{};
    }
    enumeration->Release();
}

template <class Step>
void DemoShell::StepBack(InitializationState state, const char* what, Step step) {
    for (auto it = m_All.rbegin(); it != m_All.rend(); ++it) {
        DemoComponent* c = *it;
        if (c->Data().m_eInitializationState != state) {
            continue;
        }
        try {
            step(c->Management());
        } catch (CErrorObject* e) {
            std::printf("%s failed: %s\n", what, e->GetAdditionalInfo().GetString());
            HandleError(e, nullptr);
        }
    }
}

void DemoShell::TearDown() {
    if (m_bTornDown) {
        return;
    }
    m_bTornDown = true;
    for (GUID& iid : m_Published) {
        KxUnregisterInterface(m_pRoot->Identity(), &iid);
    }
    m_Published.clear();
    StepBack(InitializationState_Connected, "Disconnect",
             [](IKXComponentManagement* m) { m->Disconnect(); });
    StepBack(InitializationState_Initialized, "ReleaseOperation",
             [](IKXComponentManagement* m) { m->ReleaseOperation(); });
    StepBack(InitializationState_Constructed, "StartDestruct",
             [](IKXComponentManagement* m) { m->StartDestruct(); });
    // Drops every reference a component holds (supervisor, linkage); run
    // once per component.
    for (auto it = m_All.rbegin(); it != m_All.rend(); ++it) {
        DemoComponent* c = *it;
        try {
            c->Management()->ReleaseReferences();
        } catch (CErrorObject* e) {
            std::printf("ReleaseReferences failed: %s\n", e->GetAdditionalInfo().GetString());
            HandleError(e, nullptr);
        }
    }
    if (m_bRootSet) {
        ReleaseRoot();
        m_bRootSet = false;
    }
}

void DemoShell::Release() {
    for (DemoComponent* c : m_All) {
        if (m_pLinkage != nullptr) {
            m_pLinkage->Attach(c->Data().m_lNavigationHandle, nullptr);
        }
    }
    for (auto it = m_All.rbegin(); it != m_All.rend(); ++it) {
        (*it)->Management()->Release();
    }
    m_All.clear();
    m_Channels.clear();
    m_pRoot = nullptr;
    m_pController = nullptr;
    m_pExecutor = nullptr;
    if (m_pLinkage != nullptr) {
        m_pLinkage->Release();
        m_pLinkage = nullptr;
    }
}

} // namespace Demo
