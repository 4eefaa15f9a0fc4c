#pragma once

#include <string_view>

namespace tessolt {

/// How the header fields begin that `Queue` adds for whoever sends the file: the server's settings,
/// which no recipient may see.
inline constexpr std::string_view kQueueFieldPrefix = "X-ZnQueueService-RemoveBeforeSending-";

}  // namespace tessolt
