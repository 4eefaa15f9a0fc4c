// Shows what a message file holds:
//   read_message FILE.eml
#include "example_support.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: read_message FILE.eml\n";
        return 2;
    }
    return example::runProgram([argv] {
        using tessolt::IEMailMessage;
        auto mail = example::create<IEMailMessage>("Tessolt.EMailMessage");
        mail->LoadMIME(tessolt::Text(argv[1]));
        example::check(*mail, "LoadMIME");
        std::cout << "From:    " << example::text(*mail, &IEMailMessage::get_FromName) << " <"
                  << example::text(*mail, &IEMailMessage::get_FromAddress) << ">\n"
                  << "To:      " << example::text(*mail, &IEMailMessage::get_ToAddress) << '\n'
                  << "Date:    " << example::text(*mail, &IEMailMessage::get_Date) << '\n'
                  << "Subject: " << example::text(*mail, &IEMailMessage::get_Subject) << "\n\n"
                  << example::text(*mail, &IEMailMessage::get_BodyPlainText) << '\n';
        const LONG count = example::number(*mail, &IEMailMessage::CountAttachments);
        for (LONG i = 1; i <= count; ++i) {
            tessolt::Text name;
            mail->GetAttachmentName(i, name.put());
            std::cout << "Attachment " << i << ": " << name.utf8() << '\n';
        }
    });
}
