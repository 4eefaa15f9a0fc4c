// A mail host to try the other examples on: one mailbox in memory, until standard input ends.
//   mail_host USER PASSWORD [CERTIFICATE]
// It prints where it listens, a line each: "smtp HOST:PORT", "pop3 ...", and with TLS from the
// start "smtps ..." and "pop3s ...". The certificate that it shows there is written into the file
// CERTIFICATE.
#include <fstream>
#include <iostream>
#include <string>

#include "example_support.h"
#include "loopback_host.h"

int main(int argc, char** argv) {
    if (argc != 3 && argc != 4) {
        std::cerr << "usage: mail_host USER PASSWORD [CERTIFICATE]\n";
        return 2;
    }
    return example::runProgram([argc, argv] {
        const loopback::LoopbackHost host(argv[1], argv[2]);
        if (argc == 4) {
            std::ofstream(argv[3]) << host.certificatePem();
        }
        std::cout << "smtp 127.0.0.1:" << host.smtpPort() << '\n'
                  << "pop3 127.0.0.1:" << host.pop3Port() << '\n'
                  << "smtps localhost:" << host.smtpsPort() << '\n'
                  << "pop3s localhost:" << host.pop3sPort() << std::endl;
        for (std::string line; std::getline(std::cin, line);) {
        }
    });
}
