// Sends 1,000 messages over one connection, and tells how far it is.
#include <iostream>

#include "account.h"

int main() try {
    tessolt::SmtpSession smtp(smtp_account());
    for (int i = 1; i <= 1000; ++i) {
        tessolt::Message m;
        m.from("ann@example.org").to("bob@example.org").subject("Letter " + std::to_string(i));
        smtp.send(m.text("Hello.\r\n"), [i](tessolt::Progress p) {
            std::cout << '\r' << i << " of 1000, " << p.done << " of " << p.all << " bytes";
            return true;  // false would cancel
        });
    }
    std::cout << "\nsent 1000\n";
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
