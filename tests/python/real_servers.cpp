// Postfix and Dovecot for the Python tests, until standard input ends. It prints the ports for
// SMTP, STARTTLS, SMTP over TLS, POP3 and POP3 over TLS, and the file with the certificate of all;
// or why there are none.
#include <iostream>
#include <string>

#include "integration/mail_servers.h"

int main() {
    const tessolt::test::MailServers servers;
    if (!servers.problem().empty()) {
        std::cerr << servers.problem() << '\n';
        return 1;
    }
    std::cout << servers.smtpPort << ' ' << servers.startTlsPort << ' ' << servers.smtpsPort << ' '
              << servers.pop3Port << ' ' << servers.pop3sPort << ' ' << servers.certificate()
              << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
    }
}
