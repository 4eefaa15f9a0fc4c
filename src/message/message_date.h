#pragma once

#include <string>

#include "platform/clock.h"

namespace tessolt {

/// A date as header fields show it (RFC 5322, section 3.3), like "Tue, 5 Mar 2024 14:03:09 +0100".
/// `bias` is what leads from local time to UTC, in minutes. A zone at Greenwich shows as "-0000".
std::string FormatDate(const platform::LocalTime& time, int bias);
void AppendDate(const platform::LocalTime& time, int bias, std::string& text);

}  // namespace tessolt
