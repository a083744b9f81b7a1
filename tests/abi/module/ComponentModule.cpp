#include "ComponentModule.h"

namespace KxModuleTest {

namespace {

using namespace KxTamarind;

// The class of the module's components: only its name is set.
CComBSTR g_name(L"KxModuleTest.Component");
CCoClassData g_class{&g_name.m_str, nullptr, nullptr, 0, nullptr, nullptr, 0,
                     nullptr,       nullptr, nullptr, 0, nullptr};

class CModuleComponent : public CBComponentManagement, public CBCoClassInfo {
    CObjectData m_objectData{this, &g_class, nullptr};
};

} // namespace

IKXComponentManagement* CreateModuleComponent() {
    return CKxComObject<CModuleComponent, IKXComponentManagement, IKXCoClassInfo>::Create();
}

long ThrowAndCatchInModule(long code) {
    try {
        ThrowThroughModule(code);
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
