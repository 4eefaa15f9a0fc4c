// Leaves a message in the queue folder of the settings, for a service to send:
//   queue_message HOST:PORT FROM TO
#include "example_support.h"

int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "usage: queue_message HOST:PORT FROM TO\n";
        return 2;
    }
    return example::runProgram([argv] {
        const example::Server server = example::parseServer(argv[1]);
        auto message = example::create<tessolt::IEMailMessage>("Tessolt.EMailMessage");
        message->put_FromAddress(tessolt::Text(argv[2]));
        message->put_Subject(tessolt::Text("Später, позже, 稍后 🕐"));
        message->put_BodyPlainText(
            tessolt::Text("Wartet in der Schlange. Ждёт в очереди. 在队列中等待。\r\n"));
        message->AddTo(tessolt::Text(argv[3]), tessolt::Text());
        example::check(*message, "AddTo");

        auto smtp = example::create<tessolt::ISmtp>("Tessolt.Smtp");
        smtp->Queue(tessolt::Value(message), tessolt::Text(server.host), server.port, 0,
                    tessolt::Text(), tessolt::Text());
        example::check(*smtp, "Queue");
        std::cout << "queued for " << argv[3] << '\n';
    });
}
