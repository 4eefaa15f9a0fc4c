/// The registration scripts, by the number of their resource.
#pragma once

#include <string_view>

namespace tessolt {

inline constexpr int kApplicationScript = 101;
inline constexpr int kEMailMessageScript = 102;
inline constexpr int kSmtpScript = 103;
inline constexpr int kPop3Script = 104;
inline constexpr int kEMailConstantsScript = 105;

/// The text of a script; empty for a number without one. The four classes share theirs, which wants
/// the replacements CLASS, CLSID and LIBID beside MODULE and APPID.
std::string_view registrationScript(int resource);

/// Registers the type library, with LIBID, LIBRARY, VERSION and MODULE.
extern const std::string_view kTypeLibraryScript;
/// Registers one of its interfaces, with IID, INTERFACE, LIBID and VERSION.
extern const std::string_view kInterfaceScript;

}  // namespace tessolt
