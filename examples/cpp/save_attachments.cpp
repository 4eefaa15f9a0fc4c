// Saves the attachments of a file into a folder: save_attachments FILE FOLDER
#include <tessolt/mail.h>

#include <iostream>

int main(int argc, char** argv) try {
    const tessolt::Message m = tessolt::Message::load(argc > 1 ? argv[1] : "mail.eml");
    for (const tessolt::Attachment& a : m.attachments()) {
        // Whatever name the sender gave: never outside of the folder, and over no other file.
        std::cout << a.save_to(argc > 2 ? argv[2] : ".").string() << '\n';
    }
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
