#include "platform/variant.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>

#include "platform/automation_string.h"

namespace platform {
namespace {

/// An object that counts its references and has IUnknown and IDispatch.
class Counted : public IDispatch {
public:
    virtual ~Counted() = default;
    HRESULT QueryInterface(REFIID iid, void** object) override {
        *object = iid == IID_IUnknown || iid == IID_IDispatch ? this : nullptr;
        references += *object ? 1 : 0;
        return *object ? S_OK : E_NOINTERFACE;
    }
    ULONG AddRef() override { return ++references; }
    ULONG Release() override { return --references; }
    HRESULT GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return E_NOTIMPL;
    }
    ULONG references = 0;
};

Variant number(double value) {
    Variant result;
    result.setR8(value);
    return result;
}
Variant integer(std::int32_t value) {
    Variant result;
    result.setI4(value);
    return result;
}
Variant text(std::u16string_view value) {
    Variant result;
    result.setText(value);
    return result;
}
Variant truth(bool value) {
    Variant result;
    result.setBool(value);
    return result;
}
Variant bare(VARTYPE type) {
    Variant result;
    result.vt = type;
    return result;
}
Variant missing() {
    Variant result;
    result.setMissing();
    return result;
}

/// A value as a test writes it: its type and what it says.
std::string shown(const VARIANT& value) {
    switch (value.vt) {
        case VT_I2:
            return "I2 " + std::to_string(value.iVal);
        case VT_I4:
            return "I4 " + std::to_string(value.lVal);
        case VT_R8:
            return "R8 " + std::to_string(value.dblVal);
        case VT_BOOL:
            return value.boolVal == VARIANT_TRUE ? "true" : value.boolVal == 0 ? "false" : "bad";
        case VT_BSTR: {
            const std::u16string_view units = bstrView(value.bstrVal);
            return "'" + std::string(units.begin(), units.end()) + "'";
        }
        default:
            return "type " + std::to_string(value.vt);
    }
}

TEST(Bstr, KeepsLengthZeroUnitsAndLoneSurrogates) {
    const std::u16string units(u"a\0\xD800z", 4);
    const OwnedBstr copy(SysAllocStringLen(units.data(), 4));
    EXPECT_EQ(bstrView(copy.get()), units);
    EXPECT_EQ(copy.get()[4], 0);
    EXPECT_EQ(SysStringByteLen(copy.get()), 8u);
    const OwnedBstr odd(SysAllocStringByteLen("abc", 3));
    EXPECT_EQ(SysStringLen(odd.get()), 1u);
    EXPECT_EQ(odd.get()[1], u'c');
    const OwnedBstr empty(SysAllocStringLen(nullptr, 3));
    EXPECT_EQ(bstrView(empty.get()), std::u16string_view(u"\0\0\0", 3));
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    SysFreeString(nullptr);
}

TEST(Variant, ConvertsAsAutomationDoes) {
    struct Case {
        Variant source;
        VARTYPE type;
        HRESULT result;
        const char* shown;
    };
    const Case cases[] = {
        {bare(VT_EMPTY), VT_I4, S_OK, "I4 0"},
        {bare(VT_EMPTY), VT_BSTR, S_OK, "''"},
        {bare(VT_EMPTY), VT_BOOL, S_OK, "false"},
        {bare(VT_NULL), VT_I4, DISP_E_TYPEMISMATCH, nullptr},
        {missing(), VT_BSTR, DISP_E_TYPEMISMATCH, nullptr},
        {integer(-70000), VT_BSTR, S_OK, "'-70000'"},
        {integer(-70000), VT_I2, DISP_E_OVERFLOW, nullptr},
        {integer(5), VT_BOOL, S_OK, "true"},
        {number(2.5), VT_I4, S_OK, "I4 2"},
        {number(3.5), VT_I2, S_OK, "I2 4"},
        {number(2147483647.5), VT_I4, DISP_E_OVERFLOW, nullptr},
        {number(std::numeric_limits<double>::quiet_NaN()), VT_I4, DISP_E_OVERFLOW, nullptr},
        {number(0.1), VT_BSTR, S_OK, "'0.1'"},
        {number(1e20), VT_BSTR, S_OK, "'1E+20'"},
        {truth(true), VT_I4, S_OK, "I4 -1"},
        {truth(true), VT_BSTR, S_OK, "'-1'"},
        {text(u" +12.5 "), VT_I4, S_OK, "I4 12"},
        {text(u"&HFFFFFFFF"), VT_I4, S_OK, "I4 -1"},
        {text(u"1e3"), VT_R8, S_OK, "R8 1000.000000"},
        {text(u"TRUE"), VT_BOOL, S_OK, "true"},
        {text(u"0"), VT_BOOL, S_OK, "false"},
        {text(u"yes"), VT_BOOL, DISP_E_TYPEMISMATCH, nullptr},
        {text(u""), VT_I4, DISP_E_TYPEMISMATCH, nullptr},
        {text(u"inf"), VT_R8, DISP_E_TYPEMISMATCH, nullptr},
        {text(u"12 34"), VT_I4, DISP_E_TYPEMISMATCH, nullptr},
        {text(u"\u0661"), VT_I4, DISP_E_TYPEMISMATCH, nullptr},
        {text(u"99999999999"), VT_I4, DISP_E_OVERFLOW, nullptr},
        {text(u"x"), VT_DISPATCH, DISP_E_TYPEMISMATCH, nullptr},
        {integer(1), VT_VARIANT, DISP_E_BADVARTYPE, nullptr},
    };
    for (const Case& c : cases) {
        Variant target = text(u"untouched");
        EXPECT_EQ(VariantChangeType(&target, &c.source, 0, c.type), c.result)
            << shown(c.source) << " to " << c.type;
        EXPECT_EQ(shown(target), c.shown ? c.shown : "'untouched'") << shown(c.source);
    }
    Variant inPlace = truth(true);
    EXPECT_EQ(VariantChangeType(&inPlace, &inPlace, 2, VT_BSTR), S_OK);
    EXPECT_EQ(shown(inPlace), "'True'");
}

TEST(Variant, FollowsReferences) {
    std::int16_t small = -3;
    VARIANT inner{};
    inner.vt = VT_I2 | VT_BYREF;
    inner.piVal = &small;
    VARIANT outer{};
    outer.vt = VT_VARIANT | VT_BYREF;
    outer.pvarVal = &inner;
    Variant result;
    EXPECT_EQ(VariantChangeType(&result, &outer, 0, VT_BSTR), S_OK);
    EXPECT_EQ(shown(result), "'-3'");
    Variant reference(outer);
    EXPECT_EQ(reference.vt, VT_VARIANT | VT_BYREF);
    BSTR owned = SysAllocString(u"kept");
    VARIANT byRef{};
    byRef.vt = VT_BSTR | VT_BYREF;
    byRef.pbstrVal = &owned;
    EXPECT_EQ(VariantCopyInd(&result, &byRef), S_OK);
    EXPECT_NE(result.bstrVal, owned);
    EXPECT_EQ(shown(result), "'kept'");
    SysFreeString(owned);
    VARIANT foreign{};
    foreign.vt = 0x2000 | VT_I4;
    EXPECT_EQ(VariantClear(&foreign), DISP_E_BADVARTYPE);
    EXPECT_EQ(VariantCopy(&result, &foreign), DISP_E_BADVARTYPE);
    EXPECT_EQ(shown(result), "'kept'");
}

TEST(Variant, CountsTheReferencesItHolds) {
    Counted object;
    {
        Variant held;
        held.setDispatch(&object);
        Variant copy = held;
        EXPECT_EQ(object.references, 2u);
        Variant unknown;
        EXPECT_EQ(VariantChangeType(&unknown, &held, 0, VT_UNKNOWN), S_OK);
        EXPECT_EQ(object.references, 3u);
        const Variant moved = std::move(copy);
        copy = held;
        EXPECT_EQ(object.references, 4u);
        held.setDispatch(&object);
        EXPECT_EQ(object.references, 4u);
        VARIANT plain{};
        held.detachTo(&plain);
        EXPECT_EQ(held.vt, VT_EMPTY);
        EXPECT_EQ(VariantClear(&plain), S_OK);
        EXPECT_EQ(object.references, 3u);
        Variant nothing;
        nothing.setDispatch(nullptr);
        EXPECT_EQ(VariantChangeType(&nothing, &nothing, 0, VT_UNKNOWN), S_OK);
    }
    EXPECT_EQ(object.references, 0u);
}

}  // namespace
}  // namespace platform
