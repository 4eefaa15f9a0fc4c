/// What users can do about failures.
#pragma once

#include <cstdint>
#include <string_view>

namespace tessolt {

/// The advice for a TESSOLT_CAUSE, or for a number of the error catalogue; empty for any other.
std::string_view AdviceFor(std::int32_t number);

}  // namespace tessolt
