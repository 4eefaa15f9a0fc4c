/// Dates of variants as text: "12/31/1999 11:59:59 PM", without the date on the day 0 and without
/// the time at midnight. A date is the number of days since 30 December 1899; its fraction, without
/// the sign, is the time of the day.
#pragma once

#include <string>
#include <string_view>

namespace platform {

/// Whether a date lies in the years 100 to 9999.
bool isDateInRange(double date);

/// The text of a date within the range.
std::string dateText(double date);

/// Reads a date in the form above or as "1999-12-31 23:59:59", a date alone or a time alone; years
/// of two digits are those from 1930 to 2029. False for anything else.
bool parseDate(std::string_view text, double& date);

}  // namespace platform
