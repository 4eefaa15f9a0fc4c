// No mail without TLS: STARTTLS where the server offers it, or nothing is sent.
#include <iostream>

#include "account.h"

int main() {
    tessolt::SmtpOptions options = smtp_account();
    options.port = std::stoi(setting("SMTP_CLEAR_PORT", "587"));
    options.security = tessolt::Security::starttls;
    try {
        tessolt::SmtpSession smtp(options);
        std::cout << smtp.tls().version << " with " << smtp.tls().names << '\n';
    } catch (const tessolt::Error& error) {
        std::cout << error.what() << '\n';
    }
}
