/// The named values of the system, as plain C and C++ constants. `EMailConstants` offers the same
/// to scripts.
#pragma once

/// Calls X(name, dispid, value) for each value in the order of `IEMailConstants`.
#define TESSOLT_EMAIL_CONSTANTS(X)                     \
    X(EMAIL_MESSAGE_PRIORITY_HIGHEST, 13, 1)           \
    X(EMAIL_MESSAGE_PRIORITY_HIGH, 14, 2)              \
    X(EMAIL_MESSAGE_PRIORITY_MEDIUM, 15, 3)            \
    X(EMAIL_MESSAGE_PRIORITY_LOW, 16, 4)               \
    X(EMAIL_MESSAGE_PRIORITY_LOWEST, 17, 5)            \
    X(EMAIL_MESSAGE_ENCODING_DEFAULT, 49, 0)           \
    X(EMAIL_MESSAGE_ENCODING_THAI, 50, 874)            \
    X(EMAIL_MESSAGE_ENCODING_JAPANESE, 51, 50220)      \
    X(EMAIL_MESSAGE_ENCODING_CHINESE_SIMP, 52, 936)    \
    X(EMAIL_MESSAGE_ENCODING_KOREAN, 53, 949)          \
    X(EMAIL_MESSAGE_ENCODING_CHINESE_TRAD, 54, 950)    \
    X(EMAIL_MESSAGE_ENCODING_CENTRALEUROPE, 55, 28592) \
    X(EMAIL_MESSAGE_ENCODING_RUSSIAN, 56, 28595)       \
    X(EMAIL_MESSAGE_ENCODING_WESTERN, 57, 1252)        \
    X(EMAIL_MESSAGE_ENCODING_GREEK, 58, 28597)         \
    X(EMAIL_MESSAGE_ENCODING_TURKISH, 59, 28593)       \
    X(EMAIL_MESSAGE_ENCODING_HEBREW, 60, 28598)        \
    X(EMAIL_MESSAGE_ENCODING_ARABIC, 61, 28596)        \
    X(EMAIL_MESSAGE_ENCODING_BALTIC, 62, 28594)        \
    X(EMAIL_MESSAGE_ENCODING_VIETNAMESE, 63, 1258)     \
    X(EMAIL_MESSAGE_ENCODING_UTF7, 64, 65000)          \
    X(EMAIL_MESSAGE_ENCODING_UTF8, 65, 65001)          \
    X(SMTP_AUTH_AUTO, 80, 0)                           \
    X(SMTP_AUTH_PLAIN, 81, 1)                          \
    X(SMTP_AUTH_LOGIN, 82, 2)                          \
    X(SMTP_AUTH_MD5CRAM, 83, 3)                        \
    X(POP3_AUTH_PLAIN, 90, 1)                          \
    X(POP3_AUTH_APOP, 91, 2)                           \
    X(POP3_AUTH_AUTO, 92, 0)

/// One of the list.
#define TESSOLT_CONSTANT(name, dispid, value) name = (value),
/// The named values.
enum EMailConstant { TESSOLT_EMAIL_CONSTANTS(TESSOLT_CONSTANT) };
#undef TESSOLT_CONSTANT
