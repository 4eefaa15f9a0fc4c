// A mail host to try the other examples on: one mailbox in memory, until standard input ends.
//   mail_host USER PASSWORD
// It prints where it listens: "smtp HOST:PORT" and "pop3 HOST:PORT".
#include <iostream>
#include <string>

#include "example_support.h"
#include "loopback_host.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: mail_host USER PASSWORD\n";
        return 2;
    }
    return example::runProgram([argv] {
        const loopback::LoopbackHost host(argv[1], argv[2]);
        std::cout << "smtp 127.0.0.1:" << host.smtpPort() << '\n'
                  << "pop3 127.0.0.1:" << host.pop3Port() << std::endl;
        for (std::string line; std::getline(std::cin, line);) {
        }
    });
}
