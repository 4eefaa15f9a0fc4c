#include "platform/variant.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>

#include "platform/automation_string.h"
#include "support/variants.h"

namespace platform {
namespace {

using support::boolean;
using support::integer;
using support::missing;
using support::ofType;
using support::real;
using support::string;

/// An object that has IUnknown and IDispatch.
class Counted : public support::DispatchStub {
public:
    HRESULT QueryInterface(REFIID iid, void** object) override {
        *object = iid == IID_IUnknown || iid == IID_IDispatch ? this : nullptr;
        references += *object ? 1 : 0;
        return *object ? S_OK : E_NOINTERFACE;
    }
};

/// A value of an integer type, or of VT_CY in ten-thousandths.
Variant whole(VARTYPE type, std::int64_t value) {
    Variant result;
    result.llVal = value;
    result.vt = type;
    return result;
}
/// VT_R4 or VT_DATE.
Variant realOf(VARTYPE type, double value) {
    Variant result = real(value);
    if (type == VT_R4) {
        result.fltVal = static_cast<float>(value);
    }
    result.vt = type;
    return result;
}
Variant decimal(std::uint64_t low, std::uint8_t scale, bool negative = false) {
    Variant result;
    result.decVal = {0, scale, static_cast<std::uint8_t>(negative ? 0x80 : 0), 0, low};
    result.vt = VT_DECIMAL;
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
        case VT_I1:
            return "I1 " + std::to_string(value.cVal);
        case VT_UI1:
            return "UI1 " + std::to_string(value.bVal);
        case VT_UI2:
            return "UI2 " + std::to_string(value.uiVal);
        case VT_UI4:
        case VT_UINT:
            return "UI4 " + std::to_string(value.ulVal);
        case VT_I8:
        case VT_CY:
            return "I8 " + std::to_string(value.llVal);
        case VT_UI8:
            return "UI8 " + std::to_string(value.ullVal);
        case VT_R4:
            return "R4 " + std::to_string(value.fltVal);
        case VT_DATE:
            return "R8 " + std::to_string(value.date);
        case VT_DECIMAL:
            return (value.decVal.sign ? "-" : "") + std::to_string(value.decVal.Hi32) + ":" +
                   std::to_string(value.decVal.Lo64) + "/" + std::to_string(value.decVal.scale);
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
    const struct {
        Variant source;
        VARTYPE type;
        HRESULT result;
        const char* shown;
    } cases[] = {
        {ofType(VT_EMPTY), VT_I4, S_OK, "I4 0"},
        {ofType(VT_EMPTY), VT_BSTR, S_OK, "''"},
        {ofType(VT_EMPTY), VT_BOOL, S_OK, "false"},
        {ofType(VT_NULL), VT_I4, DISP_E_TYPEMISMATCH, nullptr},
        {missing(), VT_BSTR, DISP_E_TYPEMISMATCH, nullptr},
        {integer(-70000), VT_BSTR, S_OK, "'-70000'"},
        {integer(-70000), VT_I2, DISP_E_OVERFLOW, nullptr},
        {integer(5), VT_BOOL, S_OK, "true"},
        {real(2.5), VT_I4, S_OK, "I4 2"},
        {real(3.5), VT_I2, S_OK, "I2 4"},
        {real(2147483647.0), VT_I4, S_OK, "I4 2147483647"},
        {real(2147483647.5), VT_I4, DISP_E_OVERFLOW, nullptr},
        {real(-2147483648.5), VT_I4, S_OK, "I4 -2147483648"},
        {real(-2147483648.75), VT_I4, DISP_E_OVERFLOW, nullptr},
        {real(4294967295.0), VT_UI4, S_OK, "UI4 4294967295"},
        {real(4294967296.0), VT_UI4, DISP_E_OVERFLOW, nullptr},
        {real(std::numeric_limits<double>::quiet_NaN()), VT_I4, DISP_E_OVERFLOW, nullptr},
        {real(0.1), VT_BSTR, S_OK, "'0.1'"},
        {real(1e20), VT_BSTR, S_OK, "'1E+20'"},
        {boolean(true), VT_I4, S_OK, "I4 -1"},
        {boolean(true), VT_BSTR, S_OK, "'-1'"},
        {string(u" +12.5 "), VT_I4, S_OK, "I4 12"},
        {string(u"&HFFFFFFFF"), VT_I4, S_OK, "I4 -1"},
        {string(u"1e3"), VT_R8, S_OK, "R8 1000.000000"},
        {string(u"TRUE"), VT_BOOL, S_OK, "true"},
        {string(u"0"), VT_BOOL, S_OK, "false"},
        {string(u"yes"), VT_BOOL, DISP_E_TYPEMISMATCH, nullptr},
        {string(u""), VT_I4, DISP_E_TYPEMISMATCH, nullptr},
        {string(u"inf"), VT_R8, DISP_E_TYPEMISMATCH, nullptr},
        {string(u"12 34"), VT_I4, DISP_E_TYPEMISMATCH, nullptr},
        {string(u"\u0661"), VT_I4, DISP_E_TYPEMISMATCH, nullptr},
        {string(u"99999999999"), VT_I4, DISP_E_OVERFLOW, nullptr},
        {string(u"+-5"), VT_I4, DISP_E_TYPEMISMATCH, nullptr},
        {string(u"1e-400"), VT_R8, S_OK, "R8 0.000000"},
        {string(u"-0.001e-400"), VT_I4, S_OK, "I4 0"},
        {string(u"1e400"), VT_R8, DISP_E_OVERFLOW, nullptr},
        {string(u"1e"), VT_R8, DISP_E_TYPEMISMATCH, nullptr},
        {string(u"9223372036854775807"), VT_I8, S_OK, "I8 9223372036854775807"},
        {string(u"2.5e0"), VT_UI8, S_OK, "UI8 2"},
        {string(u"-1"), VT_UI4, DISP_E_OVERFLOW, nullptr},
        {string(u"12.34565"), VT_CY, S_OK, "I8 123456"},
        {string(u"-1.50"), VT_DECIMAL, S_OK, "-0:15/1"},
        {string(u"79228162514264337593543950336"), VT_DECIMAL, DISP_E_OVERFLOW, nullptr},
        {string(u"79228162514264337593543950335"), VT_DECIMAL, S_OK,
         "4294967295:18446744073709551615/0"},
        {string(u"12/31/1999 6:00:00 PM"), VT_DATE, S_OK, "R8 36525.750000"},
        {string(u"1899-12-29T06:00"), VT_DATE, S_OK, "R8 -1.250000"},
        {string(u"2/29/99"), VT_DATE, DISP_E_TYPEMISMATCH, nullptr},
        {string(u"12:61"), VT_DATE, DISP_E_TYPEMISMATCH, nullptr},
        {integer(3000000), VT_DATE, DISP_E_OVERFLOW, nullptr},
        {realOf(VT_DATE, 36525.75), VT_BSTR, S_OK, "'12/31/1999 6:00:00 PM'"},
        {realOf(VT_DATE, 36525), VT_BSTR, S_OK, "'12/31/1999'"},
        {realOf(VT_DATE, -1.25), VT_BSTR, S_OK, "'12/29/1899 6:00:00 AM'"},
        {realOf(VT_DATE, 0), VT_BSTR, S_OK, "'12:00:00 AM'"},
        {realOf(VT_DATE, 1e9), VT_BSTR, DISP_E_OVERFLOW, nullptr},
        {realOf(VT_DATE, 25.5), VT_I4, S_OK, "I4 26"},
        {realOf(VT_R4, 0.1), VT_BSTR, S_OK, "'0.1'"},
        {realOf(VT_R4, 0.1), VT_DECIMAL, S_OK, "0:1/1"},
        {real(1e39), VT_R4, DISP_E_OVERFLOW, nullptr},
        {real(1e29), VT_DECIMAL, DISP_E_OVERFLOW, nullptr},
        {real(-1e-28), VT_DECIMAL, S_OK, "-0:1/28"},
        {real(1e15), VT_CY, DISP_E_OVERFLOW, nullptr},
        {whole(VT_CY, -12500), VT_BSTR, S_OK, "'-1.25'"},
        {whole(VT_CY, 25000), VT_I1, S_OK, "I1 2"},
        {decimal(1005, 2, true), VT_BSTR, S_OK, "'-10.05'"},
        {decimal(35, 1), VT_I4, S_OK, "I4 4"},
        {decimal(300, 0), VT_UI1, DISP_E_OVERFLOW, nullptr},
        {decimal(1, 29), VT_I4, DISP_E_TYPEMISMATCH, nullptr},
        {whole(VT_UI8, -1), VT_BSTR, S_OK, "'18446744073709551615'"},
        {whole(VT_UI8, -1), VT_I8, DISP_E_OVERFLOW, nullptr},
        {whole(VT_I1, -1), VT_I4, S_OK, "I4 -1"},
        {whole(VT_UI1, 255), VT_I4, S_OK, "I4 255"},
        {whole(VT_UI2, 65535), VT_I2, DISP_E_OVERFLOW, nullptr},
        {whole(VT_UINT, 7), VT_BOOL, S_OK, "true"},
        {whole(VT_INT, -7), VT_I4, S_OK, "I4 -7"},
        {boolean(true), VT_UI1, S_OK, "UI1 255"},
        {boolean(true), VT_UI4, S_OK, "UI4 4294967295"},
        {boolean(true), VT_I8, S_OK, "I8 -1"},
        {string(u"x"), VT_DISPATCH, DISP_E_TYPEMISMATCH, nullptr},
        {integer(1), VT_VARIANT, DISP_E_BADVARTYPE, nullptr},
    };
    for (const auto& c : cases) {
        Variant target = string(u"untouched");
        EXPECT_EQ(VariantChangeType(&target, &c.source, 0, c.type), c.result)
            << shown(c.source) << " to " << c.type;
        EXPECT_EQ(shown(target), c.shown ? c.shown : "'untouched'") << shown(c.source);
    }
    Variant inPlace = boolean(true);
    EXPECT_EQ(VariantChangeType(&inPlace, &inPlace, 2, VT_BSTR), S_OK);
    EXPECT_EQ(shown(inPlace), "'True'");
}

TEST(Variant, FollowsReferences) {
    std::int16_t small = -3;
    Variant inner = ofType(VT_I2 | VT_BYREF, &small);
    Variant outer = ofType(VT_VARIANT | VT_BYREF, &inner);
    Variant result;
    EXPECT_EQ(VariantChangeType(&result, &outer, 0, VT_BSTR), S_OK);
    EXPECT_EQ(shown(result), "'-3'");
    Variant reference(outer);
    EXPECT_EQ(reference.vt, VT_VARIANT | VT_BYREF);
    BSTR owned = SysAllocString(u"kept");
    const Variant byRef = ofType(VT_BSTR | VT_BYREF, &owned);
    EXPECT_EQ(VariantCopyInd(&result, &byRef), S_OK);
    EXPECT_NE(result.bstrVal, owned);
    EXPECT_EQ(shown(result), "'kept'");
    DECIMAL amount = {0, 1, 0, 0, 25};
    const Variant decimalRef = ofType(VT_DECIMAL | VT_BYREF, &amount);
    EXPECT_EQ(VariantChangeType(&result, &decimalRef, 0, VT_BSTR), S_OK);
    EXPECT_EQ(shown(result), "'2.5'");
    inner.vt = outer.vt = VT_VARIANT | VT_BYREF;
    inner.pvarVal = &outer;
    EXPECT_EQ(VariantChangeType(&result, &outer, 0, VT_I4), DISP_E_TYPEMISMATCH);
    outer.pvarVal = &outer;
    EXPECT_EQ(VariantCopyInd(&result, &inner), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(shown(result), "'2.5'");
    SysFreeString(owned);
    VARIANT foreign{};
    foreign.vt = 0x2000 | VT_I4;
    EXPECT_EQ(VariantClear(&foreign), DISP_E_BADVARTYPE);
    EXPECT_EQ(VariantCopy(&result, &foreign), DISP_E_BADVARTYPE);
    EXPECT_EQ(shown(result), "'2.5'");
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
