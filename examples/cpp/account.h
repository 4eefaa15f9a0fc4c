// The account that the examples use. All but the host and the password is what most providers have.
#pragma once

#include <tessolt/mail.h>

#include <cstdlib>
#include <string>

inline std::string setting(const char* name, const char* usual) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : usual;
}

inline tessolt::SessionOptions account(const char* port) {
    tessolt::SessionOptions options;
    options.host = setting("MAIL_HOST", "mail.example.org");
    options.user = setting("MAIL_USER", "ann");
    options.password = setting("MAIL_PASSWORD", "");
    options.port = std::stoi(setting(port, "0"));  // 0 is the usual one: 465, and 995 for POP3
    options.security = tessolt::Security::tls;
    return options;
}

inline tessolt::SmtpOptions smtp_account() {
    return account("SMTP_PORT");
}
inline tessolt::Pop3Options pop3_account() {
    return account("POP3_PORT");
}
