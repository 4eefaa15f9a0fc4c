#include "message/message_date.h"

#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <limits>

namespace tessolt {

namespace {

constexpr const char* kDayNames[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr const char* kMonthNames[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr int kMinutesPerHour = 60;
/// hhmm read as a decimal number has 40 more for each hour than the minutes it stands for.
constexpr int kDecimalGapPerHour = 40;
constexpr std::size_t kDateCapacity = 40;
constexpr int kYearDigits = 4;
constexpr int kZoneDigits = 4;

constexpr int kTen = 10;

/// Decimal digits with zeros in front, up to a width that counts a sign.
void appendNumber(int number, int width, std::string& text) {
    if (width == 2 && number >= 0 && number < kTen * kTen) {
        text += static_cast<char>('0' + number / kTen);
        text += static_cast<char>('0' + number % kTen);
        return;
    }
    char digits[std::numeric_limits<int>::digits10 + 2];
    const char* const begin = number < 0 ? digits + 1 : digits;
    const char* const end = std::to_chars(digits, std::end(digits), number).ptr;
    text.append(digits, static_cast<std::size_t>(begin - digits));
    for (auto missing = width - (end - digits); missing > 0; --missing) {
        text += '0';
    }
    text.append(begin, static_cast<std::size_t>(end - begin));
}

}  // namespace

std::string FormatDate(const platform::LocalTime& time, int bias) {
    const int offset = -(kDecimalGapPerHour * (bias / kMinutesPerHour)) - bias;
    std::string text;
    text.reserve(kDateCapacity);
    text += kDayNames[static_cast<unsigned>(time.dayOfWeek) % std::size(kDayNames)];
    text += ", ";
    appendNumber(time.day, 1, text);
    text += ' ';
    text += kMonthNames[static_cast<unsigned>(time.month - 1) % std::size(kMonthNames)];
    text += ' ';
    appendNumber(time.year, kYearDigits, text);
    text += ' ';
    appendNumber(time.hour, 2, text);
    text += ':';
    appendNumber(time.minute, 2, text);
    text += ':';
    appendNumber(time.second, 2, text);
    text += offset > 0 ? " +" : " -";
    appendNumber(std::abs(offset), kZoneDigits, text);
    return text;
}

}  // namespace tessolt
