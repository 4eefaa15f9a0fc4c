/// What the objects tell about the build that they belong to.
#pragma once

/// As a macro, since the longer texts are made of it.
#define TESSOLT_BUILD_TEXT "4.0.1.11129 (x64)"
#define TESSOLT_MODULE_TEXT "Queltx64.dll"

namespace tessolt {

inline constexpr const char* kVersionText = "4.0 (x64)";
inline constexpr const char* kBuildText = TESSOLT_BUILD_TEXT;
inline constexpr const char* kModuleText = TESSOLT_MODULE_TEXT;
/// The `X-Mailer` of a message made by `EMailMessage`.
inline constexpr const char* kMailerText = "Tessolt " TESSOLT_BUILD_TEXT;

}  // namespace tessolt
