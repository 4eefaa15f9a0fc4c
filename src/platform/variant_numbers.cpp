#include "platform/variant_numbers.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>
#include <string_view>

#include "platform/ascii_text.h"
#include "platform/automation_string.h"
#include "platform/variant_dates.h"

namespace platform {
namespace {

/// As `flags` of VariantChangeType: truth values become "True" and "False" instead of "-1" and "0".
constexpr std::uint16_t kAlphaBool = 0x02;
/// Significant digits of numbers as text, and as decimals.
constexpr int kDoubleDigits = 15;
constexpr int kFloatDigits = 7;

__extension__ using Integer = __int128;
__extension__ using Magnitude = unsigned __int128;

constexpr int kDecimalBits = 96;
constexpr Magnitude kDecimalEnd = Magnitude{1} << kDecimalBits;
constexpr unsigned kMostScale = 28;
constexpr std::uint8_t kNegativeSign = 0x80;
constexpr unsigned kCurrencyScale = 4;
constexpr double kIntegerLimit = 1e30;

/// What a variant holds as a number: a real number and, where it is one, the decimal fraction that
/// it is exactly.
struct Number {
    double real = 0;
    int digits = kDoubleDigits;  ///< of the real number that count
    bool isExact = false;
    bool isNegative = false;
    Magnitude magnitude = 0;  ///< of the fraction, below 2^96
    unsigned scale = 0;       ///< decimal places of `magnitude`
};

Magnitude powerOfTen(unsigned exponent) {
    Magnitude power = 1;
    for (unsigned i = 0; i < exponent; ++i) {
        power *= 10;
    }
    return power;
}

/// The quotient by a power of ten, halves rounded to the even neighbour.
Magnitude divided(Magnitude value, unsigned exponent) {
    const Magnitude divisor = powerOfTen(exponent);
    const Magnitude quotient = value / divisor;
    const Magnitude twice = value % divisor * 2;
    const bool up = twice > divisor || (twice == divisor && (quotient & 1) != 0);
    return quotient + (up ? 1 : 0);
}

void setExact(Number& number, Magnitude magnitude, bool negative, unsigned scale) {
    number.isExact = true;
    number.isNegative = negative;
    number.magnitude = magnitude;
    number.scale = scale;
    const auto value =
        static_cast<long double>(magnitude) / static_cast<long double>(powerOfTen(scale));
    number.real = static_cast<double>(negative ? -value : value);
}

void setInteger(Number& number, Integer value, unsigned scale = 0) {
    const bool negative = value < 0;
    setExact(number, static_cast<Magnitude>(negative ? -value : value), negative, scale);
}

/// The parts of a number as people write it.
struct Notation {
    bool isNegative = false;
    std::string_view whole;
    std::string_view fraction;
    std::int64_t exponent = 0;
};

std::string_view takeDigits(std::string_view& text) {
    const auto end = std::find_if_not(text.begin(), text.end(), isDigit);
    const std::string_view digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(digits.size());
    return digits;
}

bool takeSign(std::string_view& text) {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    return negative;
}

bool takeNotation(std::string_view text, Notation& notation) {
    constexpr std::int64_t kFarExponent = 1'000'000'000;
    notation.isNegative = takeSign(text);
    notation.whole = takeDigits(text);
    if (text.starts_with('.')) {
        text.remove_prefix(1);
        notation.fraction = takeDigits(text);
    }
    if (notation.whole.empty() && notation.fraction.empty()) {
        return false;
    }
    if (!text.empty() && (text.front() | 0x20) == 'e') {
        text.remove_prefix(1);
        const bool negative = takeSign(text);
        const std::string_view digits = takeDigits(text);
        if (digits.empty()) {
            return false;
        }
        for (const char digit : digits) {
            notation.exponent = std::min(notation.exponent * 10 + (digit - '0'), kFarExponent);
        }
        notation.exponent = negative ? -notation.exponent : notation.exponent;
    }
    return text.empty();
}

/// The number as an exact fraction where it is one of up to 96 bits.
void findExact(const Notation& notation, Number& number) {
    std::string digits(notation.whole);
    digits.append(notation.fraction);
    std::int64_t scale = static_cast<std::int64_t>(notation.fraction.size()) - notation.exponent;
    while (scale > 0 && !digits.empty() && digits.back() == '0') {
        digits.pop_back();
        --scale;
    }
    digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size()));
    if (digits.empty()) {
        scale = 0;
    }
    const std::int64_t zeros = scale < 0 ? -scale : 0;
    if (scale > kMostScale || digits.size() + static_cast<std::uint64_t>(zeros) > kMostScale + 1) {
        return;
    }
    digits.append(static_cast<std::size_t>(zeros), '0');
    Magnitude magnitude = 0;
    for (const char digit : digits) {
        magnitude = magnitude * 10 + static_cast<unsigned>(digit - '0');
    }
    if (magnitude < kDecimalEnd) {
        setExact(number, magnitude, notation.isNegative,
                 scale > 0 ? static_cast<unsigned>(scale) : 0);
    }
}

/// Whether a number that lies beyond all real ones does so by its size, and not by its smallness.
bool isHuge(const Notation& notation) {
    const std::size_t first = notation.whole.find_first_not_of('0');
    const std::size_t zeros = notation.fraction.find_first_not_of('0');
    const std::int64_t place = first != std::string_view::npos
                                   ? static_cast<std::int64_t>(notation.whole.size() - first)
                                   : -static_cast<std::int64_t>(zeros);
    return place + notation.exponent > 0;
}

HRESULT parseHex(std::string_view digits, Number& number) {
    std::uint32_t value = 0;
    const char* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, value, 16);
    if (error == std::errc::result_out_of_range) {
        return DISP_E_OVERFLOW;
    }
    setInteger(number, static_cast<std::int32_t>(value));
    return error == std::errc() && stop == end ? S_OK : DISP_E_TYPEMISMATCH;
}

/// The text of a variant in ASCII without the blanks around it; empty when it has other characters.
std::string asciiOf(const VARIANT& source) {
    const std::u16string_view units = bstrView(source.bstrVal);
    if (std::any_of(units.begin(), units.end(), [](char16_t unit) { return unit >= 0x80; })) {
        return {};
    }
    return std::string(trimmedBlanks(std::string(units.begin(), units.end())));
}

/// A number as people write it: blanks around, a sign, a fraction, an exponent, or &H and digits.
HRESULT parseNumber(const std::string& text, Number& number) {
    if (text.size() > 2 && text[0] == '&' && (text[1] | 0x20) == 'h') {
        return parseHex(std::string_view(text).substr(2), number);
    }
    Notation notation;
    if (!takeNotation(text, notation)) {
        return DISP_E_TYPEMISMATCH;
    }
    findExact(notation, number);
    const char* const begin = text.data() + (text.front() == '+' ? 1 : 0);
    const auto [stop, error] = std::from_chars(begin, text.data() + text.size(), number.real);
    if (error == std::errc::result_out_of_range) {
        if (isHuge(notation)) {
            return DISP_E_OVERFLOW;
        }
        setExact(number, 0, false, 0);
    }
    return S_OK;
}

void setReal(Number& number, double value, int digits) {
    number.real = value;
    number.digits = digits;
}

HRESULT toNumber(const VARIANT& source, Number& number) {
    switch (source.vt) {
        case VT_EMPTY:
            setInteger(number, 0);
            return S_OK;
        case VT_I1:
            setInteger(number, source.cVal);
            return S_OK;
        case VT_UI1:
            setInteger(number, source.bVal);
            return S_OK;
        case VT_I2:
        case VT_BOOL:
            setInteger(number, source.iVal);
            return S_OK;
        case VT_UI2:
            setInteger(number, source.uiVal);
            return S_OK;
        case VT_I4:
        case VT_INT:
            setInteger(number, source.lVal);
            return S_OK;
        case VT_UI4:
        case VT_UINT:
            setInteger(number, source.ulVal);
            return S_OK;
        case VT_I8:
            setInteger(number, source.llVal);
            return S_OK;
        case VT_UI8:
            setInteger(number, source.ullVal);
            return S_OK;
        case VT_CY:
            setInteger(number, source.cyVal, kCurrencyScale);
            return S_OK;
        case VT_R4:
            setReal(number, source.fltVal, kFloatDigits);
            return S_OK;
        case VT_R8:
        case VT_DATE:
            setReal(number, source.dblVal, kDoubleDigits);
            return S_OK;
        case VT_DECIMAL:
            if (source.decVal.scale > kMostScale || (source.decVal.sign & ~kNegativeSign) != 0) {
                return DISP_E_TYPEMISMATCH;
            }
            setExact(number, Magnitude{source.decVal.Hi32} << 64 | source.decVal.Lo64,
                     source.decVal.sign != 0, source.decVal.scale);
            return S_OK;
        case VT_BSTR:
            return parseNumber(asciiOf(source), number);
        default:
            return DISP_E_TYPEMISMATCH;
    }
}

/// The number times ten to the power of `scale`, rounded, as automation rounds.
HRESULT roundTo(const Number& number, unsigned scale, Integer lowest, Integer highest,
                Integer& result) {
    if (number.isExact) {
        const Magnitude size = number.scale >= scale
                                   ? divided(number.magnitude, number.scale - scale)
                                   : number.magnitude * powerOfTen(scale - number.scale);
        result = static_cast<Integer>(size);
        result = number.isNegative ? -result : result;
    } else {
        const double rounded = std::nearbyint(number.real * static_cast<double>(powerOfTen(scale)));
        if (!(std::abs(rounded) < kIntegerLimit)) {
            return DISP_E_OVERFLOW;
        }
        result = static_cast<Integer>(rounded);
    }
    return result >= lowest && result <= highest ? S_OK : DISP_E_OVERFLOW;
}

template <typename Value>
HRESULT toInteger(const VARIANT& source, const Number& number, Value& place) {
    using Limits = std::numeric_limits<Value>;
    if (source.vt == VT_BOOL) {
        place = static_cast<Value>(source.boolVal);  // true has every bit set
        return S_OK;
    }
    Integer result = 0;
    const HRESULT status = roundTo(number, 0, Limits::min(), Limits::max(), result);
    place = static_cast<Value>(result);
    return status;
}

HRESULT toCurrency(const Number& number, std::int64_t& place) {
    Integer result = 0;
    const HRESULT status = roundTo(number, kCurrencyScale, std::numeric_limits<std::int64_t>::min(),
                                   std::numeric_limits<std::int64_t>::max(), result);
    place = static_cast<std::int64_t>(result);
    return status;
}

HRESULT toFloat(const Number& number, float& place) {
    if (std::abs(number.real) > static_cast<double>(std::numeric_limits<float>::max())) {
        return DISP_E_OVERFLOW;
    }
    place = static_cast<float>(number.real);
    return S_OK;
}

HRESULT toDecimal(Number number, DECIMAL& place) {
    if (!number.isExact) {
        if (!(std::abs(number.real) < static_cast<double>(kDecimalEnd))) {
            return DISP_E_OVERFLOW;
        }
        char buffer[64];
        const auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, number.real,
                                                std::chars_format::scientific, number.digits - 1);
        Notation notation;
        if (error == std::errc() &&
            takeNotation({buffer, static_cast<std::size_t>(end - buffer)}, notation)) {
            findExact(notation, number);
        }
        if (!number.isExact) {  // too small for its digits
            Integer rounded = 0;
            roundTo(number, kMostScale, std::numeric_limits<Integer>::min(),
                    std::numeric_limits<Integer>::max(), rounded);
            setInteger(number, rounded, kMostScale);
        }
    }
    place = {};
    place.scale = static_cast<std::uint8_t>(number.scale);
    place.sign = number.isNegative && number.magnitude != 0 ? kNegativeSign : 0;
    place.Hi32 = static_cast<std::uint32_t>(number.magnitude >> 64);
    place.Lo64 = static_cast<std::uint64_t>(number.magnitude);
    return S_OK;
}

HRESULT toDate(const VARIANT& source, double& place) {
    Number number;
    if (source.vt == VT_BSTR) {
        return parseDate(asciiOf(source), place) ? S_OK : DISP_E_TYPEMISMATCH;
    }
    const HRESULT status = toNumber(source, number);
    place = number.real;
    return SUCCEEDED(status) && !isDateInRange(place) ? DISP_E_OVERFLOW : status;
}

HRESULT toBool(const VARIANT& source, VARIANT_BOOL& truth) {
    if (source.vt == VT_BSTR) {
        const std::string text = loweredText(asciiOf(source));
        const bool isTrue = text == "true" || text == "#true#";
        if (isTrue || text == "false" || text == "#false#") {
            truth = isTrue ? VARIANT_TRUE : VARIANT_FALSE;
            return S_OK;
        }
    }
    Number number;
    const HRESULT result = toNumber(source, number);
    const bool isZero = number.isExact ? number.magnitude == 0 : number.real == 0;
    truth = isZero ? VARIANT_FALSE : VARIANT_TRUE;
    return result;
}

std::string exactText(const Number& number) {
    std::string digits;
    for (Magnitude rest = number.magnitude; rest != 0; rest /= 10) {
        digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(rest % 10)));
    }
    if (digits.size() <= number.scale) {
        digits.insert(0, number.scale + 1 - digits.size(), '0');
    }
    if (number.scale > 0) {
        digits.insert(digits.size() - number.scale, 1, '.');
        digits.erase(digits.find_last_not_of('0') + 1);
        digits.erase(digits.find_last_not_of('.') + 1);
    }
    return number.isNegative && number.magnitude != 0 ? "-" + digits : digits;
}

std::string realText(const Number& number) {
    char buffer[64];
    const auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, number.real,
                                            std::chars_format::general, number.digits);
    std::string text(buffer, error == std::errc() ? end : buffer);
    std::replace(text.begin(), text.end(), 'e', 'E');
    return text;
}

/// The text of anything but a text.
HRESULT numberText(const VARIANT& source, std::uint16_t flags, std::string& text) {
    if (source.vt == VT_EMPTY) {
        return S_OK;
    }
    if (source.vt == VT_BOOL && (flags & kAlphaBool) != 0) {
        text = source.boolVal ? "True" : "False";
        return S_OK;
    }
    Number number;
    const HRESULT status = toNumber(source, number);
    if (FAILED(status)) {
        return status;
    }
    if (source.vt == VT_DATE && !isDateInRange(number.real)) {
        return DISP_E_OVERFLOW;
    }
    text = source.vt == VT_DATE ? dateText(number.real)
           : number.isExact     ? exactText(number)
                                : realText(number);
    return S_OK;
}

/// Converts a number to one of the number types.
HRESULT store(const VARIANT& source, const Number& number, VARTYPE type, VARIANT& target) {
    switch (type) {
        case VT_I1:
            return toInteger(source, number, target.cVal);
        case VT_UI1:
            return toInteger(source, number, target.bVal);
        case VT_I2:
            return toInteger(source, number, target.iVal);
        case VT_UI2:
            return toInteger(source, number, target.uiVal);
        case VT_I4:
        case VT_INT:
            return toInteger(source, number, target.lVal);
        case VT_UI4:
        case VT_UINT:
            return toInteger(source, number, target.ulVal);
        case VT_I8:
            return toInteger(source, number, target.llVal);
        case VT_UI8:
            return toInteger(source, number, target.ullVal);
        case VT_CY:
            return toCurrency(number, target.cyVal);
        case VT_R4:
            return toFloat(number, target.fltVal);
        case VT_R8:
            target.dblVal = number.real;
            return S_OK;
        case VT_DECIMAL:
            return toDecimal(number, target.decVal);
        default:
            return DISP_E_BADVARTYPE;
    }
}

}  // namespace

HRESULT toNumericType(const VARIANT& source, VARTYPE type, VARIANT& target) {
    HRESULT status = S_OK;
    if (type == VT_BOOL) {
        status = toBool(source, target.boolVal);
    } else if (type == VT_DATE) {
        status = toDate(source, target.date);
    } else {
        Number number;
        status = toNumber(source, number);
        status = SUCCEEDED(status) ? store(source, number, type, target) : status;
    }
    target.vt = SUCCEEDED(status) ? type : static_cast<VARTYPE>(VT_EMPTY);
    return status;
}

HRESULT toText(const VARIANT& source, std::uint16_t flags, BSTR& result) {
    if (source.vt == VT_BSTR) {
        result = allocBstr(bstrView(source.bstrVal));
        return result ? S_OK : E_OUTOFMEMORY;
    }
    std::string text;
    const HRESULT status = numberText(source, flags, text);
    if (FAILED(status)) {
        return status;
    }
    result = allocBstr(std::u16string(text.begin(), text.end()));
    return result ? S_OK : E_OUTOFMEMORY;
}

}  // namespace platform
