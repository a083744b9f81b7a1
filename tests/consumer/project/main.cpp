#include <KxTamarindCommon.h>
#include <platcompat.h>

#include <cstdio>

int main() {
    BSTR text = SysAllocString(L"consumer");
    const bool ok = SysStringLen(text) == 8;
    SysFreeString(text);
    if (ok) {
        std::puts("consumer ok");
    }
    return ok ? 0 : 1;
}
