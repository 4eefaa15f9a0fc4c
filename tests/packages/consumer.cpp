// What a program does with the installed library: makes a message, reads it back and prints it.
#include <tessolt/tessolt.h>

#include <iostream>

int main() {
    using tessolt::Text;
    auto message = tessolt::CreateObject<tessolt::IEMailMessage>("Tessolt.EMailMessage");
    if (!message) {
        return 1;
    }
    message->put_Subject(Text("Grüße"));
    message->AddTo(Text("bob@example.org"), Text("Bob"));
    message->Encode();
    Text subject;
    Text source;
    message->get_Subject(subject.put());
    message->get_MessageSource(source.put());
    std::cout << subject.utf8() << '\n';
    return source.utf8().find("bob@example.org") == std::string::npos;
}
