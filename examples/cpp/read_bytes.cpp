// Reads a message that is in memory: standard input here.
#include <tessolt/mail.h>

#include <iostream>
#include <iterator>

int main() try {
    const std::string bytes(std::istreambuf_iterator<char>(std::cin), {});
    const tessolt::Message m = tessolt::Message::parse(bytes);
    std::cout << m.from_name() << " <" << m.from_address() << ">: " << m.subject() << '\n';
    std::cout << m.text();
    for (const tessolt::Attachment& a : m.attachments()) {
        std::cout << a.name() << ", " << a.content_type() << ", " << a.bytes().size() << " bytes\n";
    }
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
