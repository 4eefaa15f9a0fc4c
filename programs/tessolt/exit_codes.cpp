#include "exit_codes.h"

namespace tessolt::shell {

int exitCodeOf(LONG cause, LONG number) {
    constexpr LONG kFirstFileNumber = 37601;
    constexpr LONG kLastFileNumber = 37614;
    constexpr LONG kLastTemporaryReply = 499;
    struct Kind {
        LONG first;  ///< Of the causes.
        int code;
    };
    constexpr Kind kKinds[] = {{TESSOLT_CAUSE_FILE_MISSING, kFile},
                               {TESSOLT_CAUSE_SENDER_REFUSED, kRefused},
                               {TESSOLT_CAUSE_LOGIN_REFUSED, kNoLogin},
                               {TESSOLT_CAUSE_TLS_NOT_SPOKEN, kNotSafe},
                               {TESSOLT_CAUSE_NAME_UNKNOWN, kNoConnection}};
    if (cause == TESSOLT_CAUSE_TRY_LATER || cause == TESSOLT_CAUSE_MAILBOX_LOCKED ||
        (number > 0 && number <= kLastTemporaryReply)) {
        return kLater;
    }
    for (const Kind& kind : kKinds) {
        if (cause >= kind.first) {
            return kind.code;
        }
    }
    return number >= kFirstFileNumber && number <= kLastFileNumber ? kFile : kOther;
}

}  // namespace tessolt::shell
