// What a wrong password looks like.
#include <iostream>

#include "account.h"

int main() {
    tessolt::SmtpOptions options = smtp_account();
    options.password = "wrong";
    try {
        tessolt::SmtpSession smtp(options);
    } catch (const tessolt::Error& error) {
        std::cout << error.what() << '\n';  // one line for people
        const bool refused = error.number() == TESSOLT_ERROR_SMTP_LOGIN_FAILED;
        std::cout << (refused ? "refused with " : "failed with ") << error.reply().code << '\n';
    }
}
