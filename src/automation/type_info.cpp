#include "automation/type_info.h"

#include <tessolt/guids.h>

#include "automation/cached_object.h"
#include "automation/dispatch.h"
#include "automation/guarded.h"

namespace tessolt {
namespace {

/// One row of the type library as an object.
class TypeInfo final : public CachedObject<ITypeInfo, IID_ITypeInfo> {
public:
    explicit TypeInfo(const InterfaceTable& table) : table_(table) {}

    HRESULT GetDescription(const TypeDescription** description) override {
        if (!description) {
            return E_POINTER;
        }
        *description = &table_.description;
        return S_OK;
    }

    HRESULT GetMember(UINT index, const TypeMember** member) override {
        if (!member) {
            return E_POINTER;
        }
        const bool known = index < table_.members.size();
        *member = known ? &table_.members[index].info : nullptr;
        return known ? S_OK : DISP_E_BADINDEX;
    }

    HRESULT GetIDsOfNames(LPOLESTR* names, UINT count, DISPID* ids) override {
        return findIds(table_, names, count, ids);
    }

    HRESULT Invoke(void* object, DISPID id, WORD flags, DISPPARAMS* parameters, VARIANT* result,
                   EXCEPINFO*, UINT* argumentError) override {
        return guarded([&] {
            return invokeMember(table_, object, id, flags, parameters, result, argumentError);
        });
    }

private:
    const InterfaceTable& table_;
};

struct Kept {
    const InterfaceTable& (*table)();
    CachedPlace<TypeInfo> place = {};
};

Kept kept[] = {
    {&interfaceTable<IEMailMessage>},
    {&interfaceTable<ISmtp>},
    {&interfaceTable<IPop3>},
    {&interfaceTable<IEMailConstants>},
};

}  // namespace

HRESULT getTypeInfo(const InterfaceTable& table, ITypeInfo** info) {
    for (Kept& candidate : kept) {
        if (&candidate.table() == &table) {
            return candidate.place.get(table).QueryInterface(IID_ITypeInfo,
                                                             reinterpret_cast<void**>(info));
        }
    }
    *info = nullptr;
    return E_NOINTERFACE;
}

void releaseTypeInfos() {
    for (Kept& candidate : kept) {
        candidate.place.release();
    }
}

}  // namespace tessolt
