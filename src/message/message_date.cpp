#include "message/message_date.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <string_view>

namespace tessolt {

namespace {

constexpr std::string_view kDayNames[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::string_view kMonthNames[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr int kMinutesPerHour = 60;
/// hhmm read as a decimal number has 40 more for each hour than the minutes it stands for.
constexpr int kDecimalGapPerHour = 40;
/// A sign and all digits.
constexpr std::size_t kNumberCapacity = std::numeric_limits<int>::digits10 + 2;
/// Seven numbers, and what stands around them.
constexpr std::size_t kDateCapacity = 7 * kNumberCapacity + 20;
constexpr int kYearDigits = 4;
constexpr int kZoneDigits = 4;

constexpr int kTen = 10;

/// Decimal digits with zeros in front, up to a width that counts a sign. Returns the place behind.
char* writeNumber(int number, int width, char* out) {
    if (width == 2 && number >= 0 && number < kTen * kTen) {
        *out++ = static_cast<char>('0' + number / kTen);
        *out++ = static_cast<char>('0' + number % kTen);
        return out;
    }
    char digits[kNumberCapacity];
    const char* begin = digits;
    const char* const end = std::to_chars(digits, std::end(digits), number).ptr;
    const auto length = end - begin;
    if (number < 0) {
        *out++ = *begin++;
    }
    for (auto missing = width - length; missing > 0; --missing) {
        *out++ = '0';
    }
    return std::copy(begin, end, out);
}

char* writeText(std::string_view text, char* out) {
    return std::copy(text.begin(), text.end(), out);
}

}  // namespace

void AppendDate(const platform::LocalTime& time, int bias, std::string& text) {
    const int offset = -(kDecimalGapPerHour * (bias / kMinutesPerHour)) - bias;
    char date[kDateCapacity];
    char* out = date;
    out = writeText(kDayNames[static_cast<unsigned>(time.dayOfWeek) % std::size(kDayNames)], out);
    out = writeNumber(time.day, 1, writeText(", ", out));
    *out++ = ' ';
    out =
        writeText(kMonthNames[static_cast<unsigned>(time.month - 1) % std::size(kMonthNames)], out);
    *out++ = ' ';
    out = writeNumber(time.year, kYearDigits, out);
    *out++ = ' ';
    out = writeNumber(time.hour, 2, out);
    *out++ = ':';
    out = writeNumber(time.minute, 2, out);
    *out++ = ':';
    out = writeNumber(time.second, 2, out);
    out = writeText(offset > 0 ? " +" : " -", out);
    out = writeNumber(std::abs(offset), kZoneDigits, out);
    text.append(date, static_cast<std::size_t>(out - date));
}

std::string FormatDate(const platform::LocalTime& time, int bias) {
    std::string text;
    AppendDate(time, bias, text);
    return text;
}

}  // namespace tessolt
