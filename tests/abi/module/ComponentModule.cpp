#include "ComponentModule.h"

namespace KxModuleTest {

namespace {

using namespace KxTamarind;

struct ModuleClass {
    BSTR name = SysAllocString(L"KxModuleTest.Component");
    BSTR description = SysAllocString(L"ModuleComponent");
    BSTR image = SysAllocString(L"libkxt_component_module.so");
    CLSID clsid = {0x6D0D0001, 0x1A2B, 0x4C3D, {0x8E, 0x9F, 0x10, 0x21, 0x32, 0x43, 0x54, 0x65}};
    GUID category = {0x6D0D0002, 0x1A2B, 0x4C3D, {0x8E, 0x9F, 0x10, 0x21, 0x32, 0x43, 0x54, 0x65}};
    CCoClassData data{&name, &clsid,    &description, 0,       nullptr, &image,
                      1,     &category, nullptr,      nullptr, 0,       nullptr};
    ~ModuleClass() {
        SysFreeString(name);
        SysFreeString(description);
        SysFreeString(image);
    }
};
ModuleClass g_class;

class CModuleComponent : public CBComponentManagement, public CBCoClassInfo {
public:
    CModuleComponent() : m_objectData(this, &g_class.data, nullptr) {}

private:
    CObjectData m_objectData;
};

typedef CKxComObject<CModuleComponent, IKXComponentManagement, IKXCoClassInfo> CModuleObject;

} // namespace

IKXComponentManagement* CreateModuleComponent() {
    return CModuleObject::Create();
}

long ThrowAndCatchInModule(long code) {
    try {
        ThrowError("in module", __FILE__, "", __LINE__, nullptr, nullptr, nullptr, "caught here",
                   code);
    } catch (CErrorObject* error) {
        const long caught = error->GetErrorCode();
        delete error;
        return caught;
    } catch (...) {
    }
    return 0;
}

void ThrowThroughModule(long code) {
    ThrowError("through module", __FILE__, "", __LINE__, nullptr, nullptr, nullptr, "passed on",
               code);
}

} // namespace KxModuleTest
