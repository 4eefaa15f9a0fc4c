#pragma once

#include <tessolt/message_data.h>

#include <optional>

#include "foundation/rules_from_settings.h"

namespace tessolt {

/// The rules of a TESSOLT_RULES_ number, with what the settings of single rules change about them;
/// nothing for another number.
inline std::optional<MailRules> chosenRules(LONG number) {
    switch (number) {
        case TESSOLT_RULES_CLASSIC:
            return MailRules::classic();
        case TESSOLT_RULES_CURRENT:
            return withSingleSettings(MailRules::current());
        default:
            return std::nullopt;
    }
}

}  // namespace tessolt
