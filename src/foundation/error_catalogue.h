/// The numbers that reach `LastError`, their texts, and how the engines' results become them.
#pragma once

#include <cstdint>
#include <string_view>

#include "foundation/narrow_string.h"

namespace tessolt {

/// Numbers that the automation layer sets itself.
enum ErrorNumber : std::int32_t {
    kErrorNone = 0,
    kErrorUnmapped = -1,     ///< An engine's result that has no number.
    kErrorNoObject = 15010,  ///< No message object given, or no place for one.
    kErrorInvalidArgument = 36002,
    kErrorAlreadyConnected = 36500,
    kErrorSecureWhileConnected = 37712,
};

/// The text of a number; "Generic Error" for one without a text.
std::string_view ErrorText(std::int32_t number);
/// Assigns the text of a number to `result` and returns it.
CZncString& GetDescription(std::int32_t number, CZncString& result);

/// The number for a result of the SMTP engine; reply codes from 354 to 592 stand for themselves.
std::int32_t MapSmtpError(std::int32_t result);
/// The number for a result of the POP3 engine; 700 to 732 stand for themselves.
std::int32_t MapPop3Error(std::int32_t result);
/// The number for a result of the message model.
std::int32_t MapMailError(std::int32_t result);

}  // namespace tessolt
