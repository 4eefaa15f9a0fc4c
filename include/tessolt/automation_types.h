/// Automation types: results, strings, variants and the three interfaces that every object starts
/// from. They have the layout and the virtual table order of COM automation, so that a C caller and
/// a C++ caller see the same object. Everything here works in C11 and in C++20.
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
/// Stands in front of each function of the library.
#define TESSOLT_API extern "C" __attribute__((visibility("default")))
#else
#include <uchar.h>
#define TESSOLT_API __attribute__((visibility("default")))
#endif

typedef int32_t HRESULT;       ///< A result; negative means failure.
typedef int32_t LONG;          ///< A number of automation.
typedef uint32_t UINT;         ///< A count.
typedef uint16_t WORD;         ///< A set of flags.
typedef int32_t DISPID;        ///< The number of a property or method.
typedef uint32_t LCID;         ///< A locale; every call here ignores it.
typedef int16_t VARIANT_BOOL;  ///< VARIANT_TRUE or VARIANT_FALSE.
typedef uint16_t VARTYPE;      ///< One of the VT_ numbers, with or without VT_BYREF.
typedef int32_t SCODE;         ///< A result within a VARIANT.

#ifdef __cplusplus
namespace tessolt {
/// A count of references. Database headers have a wider global type of this name.
using ULONG = uint32_t;
}  // namespace tessolt
/// A number of a type, in C++ and in C.
#define TESSOLT_CAST(type, value) static_cast<type>(value)
#else
#define TESSOLT_CAST(type, value) ((type)(value))
#endif
/// A result from its number.
#define TESSOLT_RESULT(number) TESSOLT_CAST(HRESULT, number)

#define VARIANT_TRUE TESSOLT_CAST(VARIANT_BOOL, -1)  ///< True.
#define VARIANT_FALSE TESSOLT_CAST(VARIANT_BOOL, 0)  ///< False.

#define S_OK TESSOLT_RESULT(0)                              ///< Done.
#define S_FALSE TESSOLT_RESULT(1)                           ///< Done, and the answer is no.
#define E_NOTIMPL TESSOLT_RESULT(0x80004001)                ///< There is no such operation.
#define E_NOINTERFACE TESSOLT_RESULT(0x80004002)            ///< The object lacks the interface.
#define E_POINTER TESSOLT_RESULT(0x80004003)                ///< A place for a result is null.
#define E_FAIL TESSOLT_RESULT(0x80004005)                   ///< It failed.
#define E_UNEXPECTED TESSOLT_RESULT(0x8000FFFF)             ///< It failed where nothing can.
#define E_ACCESSDENIED TESSOLT_RESULT(0x80070005)           ///< The rights are missing.
#define E_OUTOFMEMORY TESSOLT_RESULT(0x8007000E)            ///< Memory has ended.
#define E_INVALIDARG TESSOLT_RESULT(0x80070057)             ///< An argument is none.
#define DISP_E_UNKNOWNINTERFACE TESSOLT_RESULT(0x80020001)  ///< No such interface.
#define DISP_E_MEMBERNOTFOUND TESSOLT_RESULT(0x80020003)    ///< There is no such member.
#define DISP_E_PARAMNOTFOUND TESSOLT_RESULT(0x80020004)     ///< There is no such argument.
#define DISP_E_TYPEMISMATCH TESSOLT_RESULT(0x80020005)      ///< An argument is of another type.
#define DISP_E_UNKNOWNNAME TESSOLT_RESULT(0x80020006)       ///< There is no such name.
#define DISP_E_NONAMEDARGS TESSOLT_RESULT(0x80020007)       ///< No arguments by name here.
#define DISP_E_BADVARTYPE TESSOLT_RESULT(0x80020008)        ///< An argument has no type.
#define DISP_E_EXCEPTION TESSOLT_RESULT(0x80020009)         ///< The member failed; EXCEPINFO tells.
#define DISP_E_OVERFLOW TESSOLT_RESULT(0x8002000A)          ///< A number is too large.
#define DISP_E_BADINDEX TESSOLT_RESULT(0x8002000B)          ///< There is no such index.
#define DISP_E_BADPARAMCOUNT TESSOLT_RESULT(0x8002000E)     ///< Too many or too few arguments.
#define DISP_E_PARAMNOTOPTIONAL TESSOLT_RESULT(0x8002000F)  ///< An argument is missing.
#define CLASS_E_NOAGGREGATION TESSOLT_RESULT(0x80040110)    ///< The class is for no outer object.
#define CLASS_E_CLASSNOTAVAILABLE TESSOLT_RESULT(0x80040111)  ///< There is no such class here.
#define REGDB_E_CLASSNOTREG TESSOLT_RESULT(0x80040154)        ///< There is no such class.
#define CO_E_CLASSSTRING TESSOLT_RESULT(0x800401F3)           ///< That is no class.
#define SELFREG_E_CLASS TESSOLT_RESULT(0x80040201)            ///< The registration failed.

/// Whether a result is none of a failure.
#define SUCCEEDED(result) (TESSOLT_RESULT(result) >= 0)
/// Whether a result is that of a failure.
#define FAILED(result) (TESSOLT_RESULT(result) < 0)

#define DISPID_VALUE TESSOLT_CAST(DISPID, 0)         ///< The default member.
#define DISPID_UNKNOWN TESSOLT_CAST(DISPID, -1)      ///< A name without a number.
#define DISPID_PROPERTYPUT TESSOLT_CAST(DISPID, -3)  ///< Names the value of a property write.

#define DISPATCH_METHOD TESSOLT_CAST(WORD, 1)          ///< Calls a method.
#define DISPATCH_PROPERTYGET TESSOLT_CAST(WORD, 2)     ///< Reads a property.
#define DISPATCH_PROPERTYPUT TESSOLT_CAST(WORD, 4)     ///< Writes a property.
#define DISPATCH_PROPERTYPUTREF TESSOLT_CAST(WORD, 8)  ///< The same with a reference.

/// A 128-bit identifier of an interface, a class or a library.
typedef struct GUID {
    uint32_t Data1;    ///< The first eight digits of its text.
    uint16_t Data2;    ///< The next four.
    uint16_t Data3;    ///< The next four.
    uint8_t Data4[8];  ///< The other bytes in their order.
} GUID;
typedef GUID IID;    ///< Of an interface.
typedef GUID CLSID;  ///< Of a class.

#ifdef __cplusplus
typedef const GUID& REFGUID;  ///< Passed as a pointer, as C callers write it.
#else
typedef const GUID* REFGUID;
#endif
typedef REFGUID REFIID;    ///< Of an interface, passed.
typedef REFGUID REFCLSID;  ///< Of a class, passed.

#ifdef __cplusplus
/// Whether two are the same.
constexpr bool operator==(const GUID& a, const GUID& b) {
    if (a.Data1 != b.Data1 || a.Data2 != b.Data2 || a.Data3 != b.Data3) {
        return false;
    }
    for (int i = 0; i < 8; ++i) {
        if (a.Data4[i] != b.Data4[i]) {
            return false;
        }
    }
    return true;
}
/// Stands in front of each named identifier.
#define TESSOLT_GUID_CONSTANT inline constexpr GUID
#else
#define TESSOLT_GUID_CONSTANT static const GUID
#endif

/// No interface.
TESSOLT_GUID_CONSTANT IID_NULL = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};
/// That of IUnknown.
TESSOLT_GUID_CONSTANT IID_IUnknown = {
    0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
/// That of IClassFactory.
TESSOLT_GUID_CONSTANT IID_IClassFactory = {
    0x00000001, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
/// That of IDispatch.
TESSOLT_GUID_CONSTANT IID_IDispatch = {
    0x00020400, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

/// One UTF-16 code unit.
typedef char16_t OLECHAR;
typedef OLECHAR* LPOLESTR;         ///< A text with a closing zero.
typedef const OLECHAR* LPCOLESTR;  ///< The same, not to be changed.

/// An automation string: UTF-16 units with a zero unit behind them and their byte count in the four
/// bytes in front of them. Null counts as the empty string. May hold zero units and lone
/// surrogates. Only the functions below make and free one.
typedef OLECHAR* BSTR;

/// A new string with a copy of the zero-terminated `text`. Null for null, or when memory ends.
TESSOLT_API BSTR SysAllocString(const OLECHAR* text);
/// A new string of `length` units copied from `text`, or zero units where `text` is null.
TESSOLT_API BSTR SysAllocStringLen(const OLECHAR* text, UINT length);
/// A new string of `length` bytes copied from `bytes`, or zero bytes where that is null.
TESSOLT_API BSTR SysAllocStringByteLen(const char* bytes, UINT length);
/// Frees a string; null does nothing.
TESSOLT_API void SysFreeString(BSTR text);
/// The length in units without the closing zero; 0 for null.
TESSOLT_API UINT SysStringLen(BSTR text);
/// The length in bytes without the closing zero; 0 for null.
TESSOLT_API UINT SysStringByteLen(BSTR text);

enum {
    VT_EMPTY = 0,      ///< Nothing was assigned.
    VT_NULL = 1,       ///< No valid value.
    VT_I2 = 2,         ///< int16_t
    VT_I4 = 3,         ///< int32_t
    VT_R4 = 4,         ///< float
    VT_R8 = 5,         ///< double
    VT_CY = 6,         ///< int64_t, an amount in ten-thousandths
    VT_DATE = 7,       ///< double, days since 30 December 1899 and parts of a day
    VT_BSTR = 8,       ///< automation string, owned
    VT_DISPATCH = 9,   ///< IDispatch pointer, one reference owned
    VT_ERROR = 10,     ///< a result; DISP_E_PARAMNOTFOUND stands for a missing argument
    VT_BOOL = 11,      ///< VARIANT_BOOL
    VT_VARIANT = 12,   ///< only together with VT_BYREF
    VT_UNKNOWN = 13,   ///< IUnknown pointer, one reference owned
    VT_DECIMAL = 14,   ///< DECIMAL, which lies over the whole VARIANT
    VT_I1 = 16,        ///< int8_t
    VT_UI1 = 17,       ///< uint8_t
    VT_UI2 = 18,       ///< uint16_t
    VT_UI4 = 19,       ///< uint32_t
    VT_I8 = 20,        ///< int64_t
    VT_UI8 = 21,       ///< uint64_t
    VT_INT = 22,       ///< int32_t
    VT_UINT = 23,      ///< uint32_t
    VT_BYREF = 0x4000  ///< the value is a pointer to one of the types above, not owned
};

/// A number of up to 96 bits, divided by ten to the power of `scale`.
typedef struct DECIMAL {
    uint16_t wReserved;  ///< Under it lies the type of the VARIANT.
    uint8_t scale;       ///< 0 to 28
    uint8_t sign;        ///< 0x80 for a negative number, else 0
    uint32_t Hi32;       ///< The upper 32 of its 96 bits.
    uint64_t Lo64;       ///< The lower 64.
} DECIMAL;

#ifdef __cplusplus
struct IUnknown;
struct IDispatch;
#else
typedef struct IUnknown IUnknown;
typedef struct IDispatch IDispatch;
#endif

/// A value with its type. `decVal` lies over both.
typedef struct VARIANT {
    __extension__ union {
        __extension__ struct {
            VARTYPE vt;
            WORD wReserved1;
            WORD wReserved2;
            WORD wReserved3;
            __extension__ union {
                int8_t cVal;
                uint8_t bVal;
                int16_t iVal;
                uint16_t uiVal;
                int32_t lVal;
                uint32_t ulVal;
                int64_t llVal;
                uint64_t ullVal;
                int32_t intVal;
                uint32_t uintVal;
                float fltVal;
                double dblVal;
                int64_t cyVal;
                double date;
                VARIANT_BOOL boolVal;
                SCODE scode;
                BSTR bstrVal;
                IUnknown* punkVal;
                IDispatch* pdispVal;
                int16_t* piVal;
                int32_t* plVal;
                double* pdblVal;
                VARIANT_BOOL* pboolVal;
                SCODE* pscode;
                BSTR* pbstrVal;
                DECIMAL* pdecVal;
                IUnknown** ppunkVal;
                IDispatch** ppdispVal;
                struct VARIANT* pvarVal;
                void* byref;
                void* pair[2];
            };
        };
        DECIMAL decVal;
    };
} VARIANT;
typedef VARIANT VARIANTARG;  ///< One argument.

/// Makes `value` VT_EMPTY without looking at what it held.
TESSOLT_API void VariantInit(VARIANT* value);
/// Frees what `value` owns and makes it VT_EMPTY. DISP_E_BADVARTYPE for a type not listed above.
TESSOLT_API HRESULT VariantClear(VARIANT* value);
/// Clears `target`, then copies `source` with strings copied and references added. A by-reference
/// value stays by reference.
TESSOLT_API HRESULT VariantCopy(VARIANT* target, const VARIANT* source);
/// As VariantCopy, with by-reference values followed to what they point to.
TESSOLT_API HRESULT VariantCopyInd(VARIANT* target, const VARIANT* source);
/// Converts `source` to `type` into `target`, which may be the same object and is left unchanged on
/// failure. DISP_E_TYPEMISMATCH when there is no such conversion, a text is no number, or a value
/// refers to itself; DISP_E_OVERFLOW when the value is out of range. Halves are rounded to the even
/// neighbour. Dates are written and read as "12/31/1999 11:59:59 PM" and read as
/// "1999-12-31 23:59:59" too. With 2 as `flags` a truth value becomes the text "True" or "False"
/// instead of "-1" or "0".
TESSOLT_API HRESULT VariantChangeType(VARIANT* target, const VARIANT* source, uint16_t flags,
                                      VARTYPE type);

/// Arguments of one call, the last one first; named arguments stand in front of the others.
typedef struct DISPPARAMS {
    VARIANTARG* rgvarg;         ///< The arguments, the last one first.
    DISPID* rgdispidNamedArgs;  ///< The numbers of those that are named, which come first.
    UINT cArgs;                 ///< How many arguments.
    UINT cNamedArgs;            ///< How many of them are named.
} DISPPARAMS;

/// What went wrong inside a call that returned DISP_E_EXCEPTION.
typedef struct EXCEPINFO {
    WORD wCode;                                       ///< 0: `scode` tells.
    WORD wReserved;                                   ///< 0.
    BSTR bstrSource;                                  ///< Who failed.
    BSTR bstrDescription;                             ///< What went wrong.
    BSTR bstrHelpFile;                                ///< Null.
    uint32_t dwHelpContext;                           ///< 0.
    void* pvReserved;                                 ///< Null.
    HRESULT (*pfnDeferredFillIn)(struct EXCEPINFO*);  ///< Null.
    SCODE scode;                                      ///< The result.
} EXCEPINFO;

#ifdef __cplusplus
struct ITypeInfo;

/// The root of all interfaces: counted references and the way to the other interfaces.
struct IUnknown {
    /// Gives `*object` as the interface `iid` with one reference added, or null and E_NOINTERFACE.
    virtual HRESULT QueryInterface(REFIID iid, void** object) = 0;
    /// Adds a reference; returns how many there are.
    virtual uint32_t AddRef() = 0;
    /// The object is gone once the last reference is released.
    virtual uint32_t Release() = 0;

protected:
    ~IUnknown() = default;
};

/// Calls by name and by number.
struct IDispatch : IUnknown {
    /// 1 where there is type information, else 0.
    virtual HRESULT GetTypeInfoCount(UINT* count) = 0;
    /// The type information of interface 0, which the caller releases.
    virtual HRESULT GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) = 0;
    /// The number of a member, and after it those of its arguments, by name in any case.
    virtual HRESULT GetIDsOfNames(REFIID reserved, LPOLESTR* names, UINT count, LCID locale,
                                  DISPID* ids) = 0;
    /// Reads or writes a property, or calls a method, by number.
    virtual HRESULT Invoke(DISPID id, REFIID reserved, LCID locale, WORD flags,
                           DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                           UINT* argumentError) = 0;

protected:
    ~IDispatch() = default;
};

/// Makes objects of one class.
struct IClassFactory : IUnknown {
    /// Makes an object, for `outer` where that is not null, as the interface `iid`.
    virtual HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** object) = 0;
    /// Keeps the library in use, for 1, or lets it go, for 0.
    virtual HRESULT LockServer(int32_t lock) = 0;

protected:
    ~IClassFactory() = default;
};

#else  // the same tables, spelled out for C
typedef struct ITypeInfo ITypeInfo;

typedef struct IUnknownVtbl {
    HRESULT (*QueryInterface)(IUnknown* self, REFIID iid, void** object);
    uint32_t (*AddRef)(IUnknown* self);
    uint32_t (*Release)(IUnknown* self);
} IUnknownVtbl;
struct IUnknown {
    const IUnknownVtbl* lpVtbl;
};

typedef struct IDispatchVtbl {
    HRESULT (*QueryInterface)(IDispatch* self, REFIID iid, void** object);
    uint32_t (*AddRef)(IDispatch* self);
    uint32_t (*Release)(IDispatch* self);
    HRESULT (*GetTypeInfoCount)(IDispatch* self, UINT* count);
    HRESULT (*GetTypeInfo)(IDispatch* self, UINT index, LCID locale, ITypeInfo** info);
    HRESULT(*GetIDsOfNames)
    (IDispatch* self, REFIID reserved, LPOLESTR* names, UINT count, LCID locale, DISPID* ids);
    HRESULT(*Invoke)
    (IDispatch* self, DISPID id, REFIID reserved, LCID locale, WORD flags, DISPPARAMS* parameters,
     VARIANT* result, EXCEPINFO* exception, UINT* argumentError);
} IDispatchVtbl;
struct IDispatch {
    const IDispatchVtbl* lpVtbl;
};

typedef struct IClassFactory IClassFactory;
typedef struct IClassFactoryVtbl {
    HRESULT (*QueryInterface)(IClassFactory* self, REFIID iid, void** object);
    uint32_t (*AddRef)(IClassFactory* self);
    uint32_t (*Release)(IClassFactory* self);
    HRESULT (*CreateInstance)(IClassFactory* self, IUnknown* outer, REFIID iid, void** object);
    HRESULT (*LockServer)(IClassFactory* self, int32_t lock);
} IClassFactoryVtbl;
struct IClassFactory {
    const IClassFactoryVtbl* lpVtbl;
};
#endif
