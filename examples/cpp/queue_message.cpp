// Leaves a message in the queue folder, from which tessolt-queue sends it.
#include <iostream>

#include "account.h"

int main() try {
    tessolt::Message m;
    m.from("ann@example.org")
        .to("bob@example.org")
        .subject("Later")
        .text("Sent when it can be.\r\n");
    tessolt::queue(m, smtp_account());
    std::cout << "queued\n";
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
