// Sends one message with a file attached:
//   send_attachment HOST:PORT USER PASSWORD FROM TO FILE
#include "example_support.h"

int main(int argc, char** argv) {
    if (argc != 7) {
        std::cerr << "usage: send_attachment HOST:PORT USER PASSWORD FROM TO FILE\n";
        return 2;
    }
    return example::runProgram([argv] {
        const example::Server server = example::parseServer(argv[1]);

        auto message = example::create<tessolt::IEMailMessage>("Tessolt.EMailMessage");
        message->put_FromAddress(tessolt::Text(argv[4]));
        message->put_Subject(tessolt::Text("A file for you 📎"));
        message->put_BodyPlainText(
            tessolt::Text("Die Datei hängt an. Файл приложен. 文件在附件中。\r\n"));
        message->AddTo(tessolt::Text(argv[5]), tessolt::Text());
        example::check(*message, "AddTo");
        message->AddAttachment(tessolt::Text(argv[6]));
        example::check(*message, "AddAttachment");

        auto smtp = example::create<tessolt::ISmtp>("Tessolt.Smtp");
        smtp->put_HostPort(server.port);
        smtp->Connect(tessolt::Text(server.host), tessolt::Text(argv[2]), tessolt::Text(argv[3]));
        example::check(*smtp, "Connect");
        smtp->Send(tessolt::Value(message));
        example::check(*smtp, "Send");
        smtp->Disconnect();
        std::cout << "sent to " << argv[5] << '\n';
    });
}
