// Sends from several threads, each with a session of its own.
#include <iostream>
#include <thread>
#include <vector>

#include "account.h"

int main() {
    std::vector<std::thread> threads;
    for (int i = 1; i <= 4; ++i) {
        threads.emplace_back([i] {
            tessolt::Message m;
            m.from("ann@example.org").to("bob@example.org").subject("Thread " + std::to_string(i));
            tessolt::SmtpSession smtp(std::nothrow, smtp_account());
            const tessolt::Status sent = smtp.send(std::nothrow, m.text("Hello.\r\n"));
            std::cout << (sent ? "sent\n" : sent.description + '\n');
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}
