#pragma once

#include <string>
#include <string_view>

#include "reading/message.h"

namespace tessolt {

/// Whether the lines of a text are short enough to travel (RFC 5322, section 2.1.1), and ASCII
/// unless `takesEightBit` says that more is taken (RFC 6152).
bool CanTravel(std::string_view text, bool takesEightBit);

/// The message with each part that can't travel in quoted-printable, or in base64 when it is no
/// text. All else stays as it came: its result can't travel either when a header was the cause.
std::string WithPartsCoded(const reading::Message& message, bool takesEightBit);

}  // namespace tessolt
