#include "harness.h"

namespace fuzz {

void fuzzAddresses(Input input);
void fuzzBase64(Input input);
void fuzzCompose(Input input);
void fuzzConvert(Input input);
void fuzzEncodedWords(Input input);
void fuzzField(Input input);
void fuzzHeaderBlock(Input input);
void fuzzHtmlCharset(Input input);
void fuzzIniFile(Input input);
void fuzzInvoke(Input input);
void fuzzMessageClassic(Input input);
void fuzzMessageCurrent(Input input);
void fuzzParameters(Input input);
void fuzzPop3Session(Input input);
void fuzzQueueFile(Input input);
void fuzzQuotedPrintable(Input input);
void fuzzRegistrationScript(Input input);
void fuzzSettingsFile(Input input);
void fuzzSmtpSession(Input input);
void fuzzTlsRecords(Input input);

std::span<const Target> targets() {
    static constexpr Target kTargets[] = {
        {"addresses", fuzzAddresses, {}},
        {"base64", fuzzBase64, {}},
        {"compose", fuzzCompose, {}},
        {"convert", fuzzConvert, {}},
        {"encoded_words", fuzzEncodedWords, {}},
        {"field", fuzzField, {}},
        {"header_block", fuzzHeaderBlock, {}},
        {"html_charset", fuzzHtmlCharset, {}},
        {"ini_file", fuzzIniFile, {}},
        {"invoke", fuzzInvoke, {}},
        {"message_classic", fuzzMessageClassic, {}},
        {"message_current", fuzzMessageCurrent, {}},
        {"parameters", fuzzParameters, {}},
        {"pop3_session", fuzzPop3Session, {}},
        {"queue_file", fuzzQueueFile, {}},
        {"quoted_printable", fuzzQuotedPrintable, {}},
        // The settings are read anew for each key: scripts are the library's own, and short.
        {"registration_script",
         fuzzRegistrationScript,
         {.work = {20'000'000, 5000}, .longest = 512}},
        {"settings_file", fuzzSettingsFile, {}},
        {"smtp_session", fuzzSmtpSession, {}},
        // A handshake, whatever the input is.
        {"tls_records", fuzzTlsRecords, {.memory = {1 << 20, 64}, .work = {1'000'000, 5000}}},
    };
    return kTargets;
}

}  // namespace fuzz
