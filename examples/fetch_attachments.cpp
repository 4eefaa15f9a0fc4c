// Lists every message of a mailbox and saves its attachments into a folder:
//   fetch_attachments HOST:PORT USER PASSWORD FOLDER
#include "example_support.h"

namespace {

/// A name that is safe to put behind the folder: what the sender wrote decides no path.
std::string safeName(const std::string& given, LONG message, LONG attachment) {
    std::string name = given.substr(given.find_last_of("/\\") + 1);
    if (name.empty() || name == "." || name == "..") {
        name = "unnamed";
    }
    return std::to_string(message) + "-" + std::to_string(attachment) + "-" + name;
}

void saveAttachments(tessolt::IEMailMessage& mail, LONG message, const std::string& folder) {
    const LONG count = example::number(mail, &tessolt::IEMailMessage::CountAttachments);
    for (LONG i = 1; i <= count; ++i) {
        tessolt::Text name;
        mail.GetAttachmentName(i, name.put());
        const std::string path = folder + "/" + safeName(name.utf8(), message, i);
        mail.SaveAttachment(i, tessolt::Text(path));
        example::check(mail, "SaveAttachment");
        std::cout << "  saved " << path << '\n';
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::cerr << "usage: fetch_attachments HOST:PORT USER PASSWORD FOLDER\n";
        return 2;
    }
    return example::runProgram([argv] {
        const example::Server server = example::parseServer(argv[1]);
        auto pop3 = example::create<tessolt::IPop3>("Tessolt.Pop3");
        pop3->put_HostPort(server.port);
        pop3->Connect(tessolt::Text(server.host), tessolt::Text(argv[2]), tessolt::Text(argv[3]));
        example::check(*pop3, "Connect");
        const LONG count = example::number(*pop3, &tessolt::IPop3::CountMessages);
        for (LONG id = 1; id <= count; ++id) {
            tessolt::Value value;
            pop3->GetEmailMessage(id, value.put());
            example::check(*pop3, "GetEmailMessage");
            auto mail = value.object<tessolt::IEMailMessage>();
            std::cout << id << ": " << example::text(*mail, &tessolt::IEMailMessage::get_Subject)
                      << '\n';
            saveAttachments(*mail, id, argv[4]);
        }
        pop3->Disconnect();
    });
}
