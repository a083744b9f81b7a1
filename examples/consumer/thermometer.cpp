// A minimal component built on the KxTamarind base library: a thermometer
// that is driven through its lifecycle and answers questions about its class.
#include <KxTamarindCommon.h>

#include <cstdio>

using namespace KxTamarind;

// 1. The static description of the class: names, class id, categories.
struct ThermometerClass {
    BSTR name = SysAllocString(L"Demo.Thermometer");
    BSTR description = SysAllocString(L"Thermometer");
    BSTR image = SysAllocString(L"thermometer");
    CLSID clsid = {0x5E7A0C11, 0x2B4D, 0x4C6E, {0x9F, 0x10, 0x21, 0x32, 0x43, 0x54, 0x65, 0x76}};
    GUID category = {0x5E7A0C12, 0x2B4D, 0x4C6E, {0x9F, 0x10, 0x21, 0x32, 0x43, 0x54, 0x65, 0x76}};
    CCoClassData data{&name, &clsid,    &description, 0,       nullptr, &image,
                      1,     &category, nullptr,      nullptr, 0,       nullptr};
    ~ThermometerClass() {
        SysFreeString(name);
        SysFreeString(description);
        SysFreeString(image);
    }
};
ThermometerClass g_class;

// 2. The component: the lifecycle and class information come from the CB*
//    bases; the component overrides the hooks it needs.
class CThermometer : public CBComponentManagement, public CBCoClassInfo {
public:
    // The runtime record points the component base at itself, the class
    // description and (here: no) property map.
    CThermometer() : m_objectData(this, &g_class.data, nullptr) {}

    double Reading() const { return m_reading; }

protected:
    HRESULT DoConnect() override {
        m_reading = 21.5; // a real component would open its hardware here
        return S_OK;
    }
    HRESULT DoDisconnect() override {
        m_reading = 0.0;
        return S_OK;
    }

private:
    CObjectData m_objectData;
    double m_reading = 0.0;
};

// 3. IUnknown from the interfaces the component exposes.
typedef CKxComObject<CThermometer, IKXComponentManagement, IKXCoClassInfo> CThermometerObject;

int main() {
    CThermometerObject* thermometer = CThermometerObject::Create();
    if (thermometer == nullptr) {
        return 1;
    }
    try {
        // 4. The shell's part: name it, then drive it up and back down.
        CComBSTR objectName(L"Thermometer 1");
        thermometer->SetObjectName(objectName); // copies the text
        GUID objectGuid;
        CoCreateGuid(&objectGuid);
        thermometer->SetObjectGuid(&objectGuid);
        thermometer->FinishConstruct();
        thermometer->InitializeOperation();
        thermometer->Connect();
        std::printf("reading: %.1f\n", thermometer->Reading());

        IKXCoClassInfo* info = nullptr;
        thermometer->QueryInterface(__uuidof(IKXCoClassInfo), reinterpret_cast<void**>(&info));
        BSTR name = nullptr;
        BSTR description = nullptr;
        CLSID clsid;
        info->GetIdentification(&name, &clsid, &description);
        std::printf("class: %ls (%ls)\n", name, description);
        SysFreeString(name);
        SysFreeString(description);
        info->Release();

        thermometer->Disconnect();
        thermometer->ReleaseOperation();
        thermometer->StartDestruct();
        thermometer->ReleaseReferences();
    } catch (CErrorObject* error) {
        // 5. A raised error: print it and hand it to the error handling.
        std::printf("%s\n", error->Description().GetString());
        HandleError(error, nullptr);
        thermometer->Release();
        return 1;
    }
    thermometer->Release();
    std::puts("thermometer ok");
    return 0;
}
