/// Type information: what an object offers, told by the object itself. Scripts and bindings use it
/// to find names, parameters and defaults without knowing the objects beforehand.
#pragma once

#include <tessolt/automation_types.h>
#include <tessolt/guids.h>

/// The most parameters that a member has, its result not counted.
#define TESSOLT_MAX_PARAMETERS 6

/// One parameter of a method. Its number, as a named argument, is its index.
typedef struct TypeParameter {
    const OLECHAR* name;   ///< Of the parameter.
    VARTYPE type;          ///< VT_I4, VT_BSTR, ..., or VT_VARIANT | VT_BYREF for any value
    uint16_t optional;     ///< 1 when a call may leave it out
    VARIANT defaultValue;  ///< what then takes its place; VT_EMPTY where it can't be left out. Null
                           ///< as VT_BSTR is the empty string.
} TypeParameter;

/// One property or method.
typedef struct TypeMember {
    const OLECHAR* name;      ///< Of the member.
    DISPID id;                ///< Its number.
    WORD kind;                ///< DISPATCH_METHOD, or DISPATCH_PROPERTYGET with or without
                              ///< DISPATCH_PROPERTYPUT
    VARTYPE type;             ///< of the property or of the method's result; VT_EMPTY for no result
    uint16_t parameterCount;  ///< How many it has.
    TypeParameter parameters[TESSOLT_MAX_PARAMETERS];  ///< The first of them first.
} TypeMember;

/// One interface and the library that it belongs to.
typedef struct TypeDescription {
    const OLECHAR* libraryName;    ///< Of the type library.
    const OLECHAR* libraryHelp;    ///< One line about it.
    uint16_t libraryMajor;         ///< Its version.
    uint16_t libraryMinor;         ///< The second part of that.
    GUID libraryId;                ///< Its identifier.
    const OLECHAR* interfaceName;  ///< "ISmtp" for one.
    GUID interfaceId;              ///< Its identifier.
    const OLECHAR* className;      ///< of the one class that has this interface
    GUID classId;                  ///< The identifier of that class.
    UINT memberCount;              ///< How many properties and methods.
} TypeDescription;

#ifdef __cplusplus
/// Everything about one interface. What it hands out is constant, lives as long as the library is
/// loaded, and belongs to it.
struct ITypeInfo : IUnknown {
    /// What the type information holds; good while it lives.
    virtual HRESULT GetDescription(const TypeDescription** description) = 0;
    /// The members in the order of the interface; DISP_E_BADINDEX from the count on.
    virtual HRESULT GetMember(UINT index, const TypeMember** member) = 0;
    /// The number of the member `names[0]`, ignoring ASCII case, and those of its parameters
    /// `names[1]` onwards. What isn't found gets DISPID_UNKNOWN, and the call DISP_E_UNKNOWNNAME.
    virtual HRESULT GetIDsOfNames(LPOLESTR* names, UINT count, DISPID* ids) = 0;
    /// Calls member `id` of `object`, which must be a pointer to this very interface, as
    /// IDispatch::Invoke does.
    virtual HRESULT Invoke(void* object, DISPID id, WORD flags, DISPPARAMS* parameters,
                           VARIANT* result, EXCEPINFO* exception, UINT* argumentError) = 0;

protected:
    ~ITypeInfo() = default;
};
#else
typedef struct ITypeInfoVtbl {
    HRESULT (*QueryInterface)(ITypeInfo* self, REFIID iid, void** object);
    uint32_t (*AddRef)(ITypeInfo* self);
    uint32_t (*Release)(ITypeInfo* self);
    HRESULT (*GetDescription)(ITypeInfo* self, const TypeDescription** description);
    HRESULT (*GetMember)(ITypeInfo* self, UINT index, const TypeMember** member);
    HRESULT (*GetIDsOfNames)(ITypeInfo* self, LPOLESTR* names, UINT count, DISPID* ids);
    HRESULT(*Invoke)
    (ITypeInfo* self, void* object, DISPID id, WORD flags, DISPPARAMS* parameters, VARIANT* result,
     EXCEPINFO* exception, UINT* argumentError);
} ITypeInfoVtbl;
struct ITypeInfo {
    const ITypeInfoVtbl* lpVtbl;
};
#endif
