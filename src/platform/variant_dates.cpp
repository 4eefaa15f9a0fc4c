#include "platform/variant_dates.h"

#include <chrono>
#include <cmath>
#include <cstdio>

#include "platform/ascii_text.h"

namespace platform {
namespace {

using std::chrono::sys_days;
using std::chrono::year_month_day;

constexpr sys_days kDayZero{std::chrono::year{1899} / 12 / 30};
constexpr double kFirstDate = -657434;
constexpr double kDateEnd = 2958466;
constexpr int kSecondsPerMinute = 60;
constexpr int kSecondsPerHour = 3600;
constexpr int kSecondsPerDay = 86400;
constexpr int kHalfDayHours = 12;
constexpr int kCenturyBreak = 30;

/// Reads a text from its start on.
class Scanner {
public:
    explicit Scanner(std::string_view text) : rest_(text) {}

    void skipBlanks() {
        while (take(' ') || take('\t')) {
        }
    }
    bool take(char wanted) {
        const bool found = !rest_.empty() && rest_.front() == wanted;
        rest_.remove_prefix(found ? 1 : 0);
        return found;
    }
    bool takeWord(std::string_view lowerCase) {
        for (std::size_t i = 0; i < lowerCase.size(); ++i) {
            if (i == rest_.size() || (rest_[i] | 0x20) != lowerCase[i]) {
                return false;
            }
        }
        rest_.remove_prefix(lowerCase.size());
        return true;
    }
    /// A number of at most four digits.
    bool takeNumber(int& number, std::size_t& digits) {
        constexpr std::size_t kMostDigits = 4;
        number = 0;
        for (digits = 0; digits < kMostDigits && !rest_.empty() && isDigit(rest_.front());
             ++digits) {
            number = number * 10 + (rest_.front() - '0');
            rest_.remove_prefix(1);
        }
        return digits > 0;
    }
    bool takeNumber(int& number) {
        std::size_t digits = 0;
        return takeNumber(number, digits);
    }
    bool atEnd() const { return rest_.empty(); }

private:
    std::string_view rest_;
};

/// The time behind its hour.
bool parseTime(Scanner& text, int hour, int& seconds) {
    int minute = 0;
    int second = 0;
    if (!text.takeNumber(minute) || (text.take(':') && !text.takeNumber(second))) {
        return false;
    }
    text.skipBlanks();
    const bool isMorning = text.takeWord("am");
    const bool isEvening = !isMorning && text.takeWord("pm");
    if (isMorning || isEvening) {
        if (hour < 1 || hour > kHalfDayHours) {
            return false;
        }
        hour = hour % kHalfDayHours + (isEvening ? kHalfDayHours : 0);
    }
    seconds = hour * kSecondsPerHour + minute * kSecondsPerMinute + second;
    return hour < 24 && minute < kSecondsPerMinute && second < kSecondsPerMinute;
}

/// The day behind its first number and the separator.
bool parseDay(Scanner& text, int first, std::size_t firstDigits, char separator, double& day) {
    int second = 0;
    int third = 0;
    std::size_t thirdDigits = 0;
    if (!text.takeNumber(second) || !text.take(separator) || !text.takeNumber(third, thirdDigits)) {
        return false;
    }
    const bool yearFirst = firstDigits > 2;
    int year = yearFirst ? first : third;
    if (!yearFirst && thirdDigits <= 2) {
        year += year < kCenturyBreak ? 2000 : 1900;
    }
    const year_month_day date = std::chrono::year{year} /
                                static_cast<unsigned>(yearFirst ? second : first) /
                                static_cast<unsigned>(yearFirst ? third : second);
    day = date.ok() ? static_cast<double>((sys_days{date} - kDayZero).count()) : kDateEnd;
    return isDateInRange(day);
}

}  // namespace

bool isDateInRange(double date) {
    return date >= kFirstDate && date < kDateEnd;
}

std::string dateText(double date) {
    double day = std::trunc(date);
    double seconds = std::round(std::abs(date - day) * kSecondsPerDay);
    if (seconds >= kSecondsPerDay) {
        day += 1;
        seconds = 0;
    }
    char text[64] = "";
    int length = 0;
    if (day != 0) {
        const year_month_day civil{kDayZero + std::chrono::days(static_cast<int>(day))};
        length =
            std::snprintf(text, sizeof text, "%u/%u/%04d%s", static_cast<unsigned>(civil.month()),
                          static_cast<unsigned>(civil.day()), static_cast<int>(civil.year()),
                          seconds > 0 ? " " : "");
    }
    if (day == 0 || seconds > 0) {
        const int time = static_cast<int>(seconds);
        const int hour = time / kSecondsPerHour;
        const int shown = hour % kHalfDayHours == 0 ? kHalfDayHours : hour % kHalfDayHours;
        std::snprintf(text + length, sizeof text - static_cast<std::size_t>(length),
                      "%d:%02d:%02d %s", shown, time / kSecondsPerMinute % kSecondsPerMinute,
                      time % kSecondsPerMinute, hour < kHalfDayHours ? "AM" : "PM");
    }
    return text;
}

bool parseDate(std::string_view text, double& date) {
    Scanner scanner(text);
    scanner.skipBlanks();
    int number = 0;
    std::size_t digits = 0;
    double day = 0;
    int seconds = 0;
    if (!scanner.takeNumber(number, digits)) {
        return false;
    }
    bool hasTime = scanner.take(':');
    if (!hasTime) {
        const char separator = scanner.take('/') ? '/' : '-';
        if ((separator == '-' && !scanner.take('-')) ||
            !parseDay(scanner, number, digits, separator, day)) {
            return false;
        }
        if (!scanner.takeWord("t")) {
            scanner.skipBlanks();
        }
        hasTime = !scanner.atEnd();
        if (hasTime && (!scanner.takeNumber(number) || !scanner.take(':'))) {
            return false;
        }
    }
    if (hasTime && !parseTime(scanner, number, seconds)) {
        return false;
    }
    scanner.skipBlanks();
    const double time = static_cast<double>(seconds) / kSecondsPerDay;
    date = day < 0 ? day - time : day + time;
    return scanner.atEnd();
}

}  // namespace platform
