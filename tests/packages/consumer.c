/* The same from C: everything goes through IDispatch. */
#include <stdio.h>
#include <tessolt/server.h>

enum { kPriority = 59, kDefaultPriority = 3 };

int main(void) {
    CLSID id;
    void* object = NULL;
    VARIANT value;
    if (FAILED(CLSIDFromProgID(u"Tessolt.EMailMessage", &id)) ||
        FAILED(CoCreateInstance(&id, NULL, 0, &IID_IDispatch, &object))) {
        return 1;
    }
    IDispatch* message = object;
    DISPPARAMS none = {NULL, NULL, 0, 0};
    const HRESULT status = message->lpVtbl->Invoke(message, kPriority, &IID_NULL, 0,
                                                   DISPATCH_PROPERTYGET, &none, &value, NULL, NULL);
    message->lpVtbl->Release(message);
    printf("priority %d\n", (int)value.lVal);
    return FAILED(status) || value.lVal != kDefaultPriority || DllCanUnloadNow() != S_OK;
}
