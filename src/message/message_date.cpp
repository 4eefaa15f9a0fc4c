#include "message/message_date.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <iterator>

namespace tessolt {

namespace {

constexpr const char* kDayNames[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr const char* kMonthNames[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr int kMinutesPerHour = 60;
/// hhmm read as a decimal number has 40 more for each hour than the minutes it stands for.
constexpr int kDecimalGapPerHour = 40;
constexpr std::size_t kDateCapacity = 96;

}  // namespace

std::string FormatDate(const platform::LocalTime& time, int bias) {
    const int offset = -(kDecimalGapPerHour * (bias / kMinutesPerHour)) - bias;
    char text[kDateCapacity];
    const int length = std::snprintf(
        text, sizeof text, "%s, %d %s %04d %02d:%02d:%02d %c%4.4d",
        kDayNames[static_cast<unsigned>(time.dayOfWeek) % std::size(kDayNames)], time.day,
        kMonthNames[static_cast<unsigned>(time.month - 1) % std::size(kMonthNames)], time.year,
        time.hour, time.minute, time.second, offset > 0 ? '+' : '-', std::abs(offset));
    return {text, static_cast<std::size_t>(length)};
}

}  // namespace tessolt
