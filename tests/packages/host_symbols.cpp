// A host with functions of its own that are named like some of the library's: the library mustn't
// call them.
#include <tessolt/tessolt.h>

#include <cstdlib>

void VariantInit(VARIANT*) {
    std::abort();
}
HRESULT VariantClear(VARIANT*) {
    std::abort();
}
void SysFreeString(BSTR text) {
    if (text) {
        std::abort();
    }
}

int main() {
    CLSID id = CLSID_Smtp;
    tessolt::ISmtp* smtp = nullptr;
    CoCreateInstance(id, nullptr, 0, tessolt::ISmtp::kIid, reinterpret_cast<void**>(&smtp));
    constexpr DISPID kSetSecure = 110;
    VARIANT port = {};
    port.vt = VT_R8;
    port.dblVal = 77;
    DISPPARAMS one = {&port, nullptr, 1, 0};
    VARIANT result = {};
    LONG number = 0;
    smtp->Invoke(kSetSecure, IID_NULL, 0, DISPATCH_METHOD, &one, &result, nullptr, nullptr);
    smtp->get_HostPort(&number);
    std::_Exit(number == 77 ? 0 : 1);
}
