#pragma once

#include "base/mail_rules.h"

namespace tessolt {

/// The rules that the settings give to the automation objects: current ones where `Rules` under
/// HKEY_LOCAL_MACHINE\Software\Merivane\Tessolt is "current", in any case, or the settings can't be
/// read, else the classic ones. To be asked once, where an object is made.
MailRules rulesFromSettings();

/// The rules with what the settings of single rules change about them: `AllowPlainText` = "1" lets
/// credentials pass in the clear, and `VerifyServer` tells whether certificates are checked.
MailRules withSingleSettings(MailRules rules);

}  // namespace tessolt
