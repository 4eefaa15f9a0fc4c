// What a program does with the installed library: makes a message, by the front end and by the
// objects, reads it back and prints it.
#include <tessolt/mail.h>

#ifdef __has_include
#if __has_include(<sqltypes.h>)
#include <sqltypes.h>
#endif
#endif

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
    const std::string mime = tessolt::Message().to("bob@example.org").text("Hello.").mime();
    if (tessolt::Message::parse(mime).to().at(0) != "bob@example.org") {
        return 1;
    }
    std::cout << subject << '\n';
    return source.utf8().find("bob@example.org") == std::string::npos;
}
