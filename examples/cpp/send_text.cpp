// Sends a text.
#include <iostream>

#include "account.h"

int main() try {
    tessolt::Message m;
    m.from("ann@example.org", "Ann").to("bob@example.org", "Bob");
    m.subject("Grüße 👋").text("Dear Bob,\r\nHello.\r\n");
    tessolt::SmtpSession(smtp_account()).send(m);
    std::cout << "sent\n";
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
