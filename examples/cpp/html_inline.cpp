// Sends HTML with an image in it and an attachment, both from memory.
#include <iostream>
#include <vector>

#include "account.h"

int main() try {
    const std::vector<unsigned char> image = {'G', 'I', 'F', '8', '9', 'a', 1,
                                              0,   1,   0,   0,   0,   0,   ';'};
    tessolt::Message m;
    m.from("ann@example.org").to("bob@example.org").subject("A picture");
    m.text("A picture is in the HTML.").html("<p>Look: <img src=\"cid:dot@example.org\"></p>");
    m.embed(image, "dot.gif", "dot@example.org").attach("a;b\r\n1;2\r\n", "table.csv");
    tessolt::SmtpSession(smtp_account()).send(m);
    std::cout << "sent\n";
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
