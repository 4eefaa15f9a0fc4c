// Fetches every message over TLS into a folder, and deletes what was saved: fetch_and_delete FOLDER
#include <fstream>
#include <iostream>

#include "account.h"

int main(int argc, char** argv) try {
    const std::filesystem::path folder = argc > 1 ? argv[1] : ".";
    tessolt::Pop3Session mailbox(pop3_account());
    for (const tessolt::Message& mail : mailbox.messages()) {
        const auto path = folder / (tessolt::safe_name(mail.unique_id()) + ".eml");
        if (std::ofstream(path, std::ios::binary) << mail.raw() << std::flush) {
            mailbox.erase(mail);  // done by the server when the session ends
            std::cout << "saved " << path.string() << '\n';
        }
    }
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
