/// Tessolt from C++: e-mail through four objects.
///
/// Objects are made by name, and go when their last pointer does:
///
///     auto message = tessolt::CreateObject<tessolt::IEMailMessage>("Tessolt.EMailMessage");
///     auto smtp = tessolt::CreateObject<tessolt::ISmtp>("Tessolt.Smtp");
///
/// A message is filled by its properties and methods. Texts are UTF-8 or UTF-16 literals in a
/// `Text`; what a method can do without, such as a display name here, may be left out:
///
///     using tessolt::Text;
///     message->put_FromAddress(Text("ann@example.org"));
///     message->put_Subject(Text("Grüße, Привет, 你好 😀"));
///     message->put_BodyPlainText(Text("Hello."));
///     message->AddTo(Text("bob@example.org"), Text("Bob"));
///     message->AddAttachment(Text("/home/ann/Отчёт 日本.pdf"));
///
/// Then a connection takes it. The third line asks how it went, which any call may be followed by:
///
///     smtp->Connect(Text("mail.example.org"), Text("ann"), Text("secret"));
///     smtp->Send(tessolt::Value(message));
///     LONG error = 0;
///     smtp->get_LastError(&error);
///     if (error != 0) {
///         Text why;
///         smtp->GetErrorDescription(error, why.put());
///         std::cerr << why.utf8() << '\n';
///     }
///     smtp->Disconnect();
///
/// Reading a mailbox goes the same way. A fetched message comes in a `Value`, which holds no object
/// when there is none:
///
///     auto pop3 = tessolt::CreateObject<tessolt::IPop3>("Tessolt.Pop3");
///     pop3->Connect(Text("mail.example.org"), Text("ann"), Text("secret"));
///     LONG count = 0;
///     pop3->CountMessages(&count);
///     for (LONG id = 1; id <= count; ++id) {
///         tessolt::Value value;
///         pop3->GetEmailMessage(id, value.put());
///         if (auto mail = value.object<tessolt::IEMailMessage>()) {
///             Text subject;
///             mail->get_Subject(subject.put());
///             std::cout << subject.utf8() << '\n';
///         }
///     }
///     pop3->Disconnect();
///
/// Each object belongs to one thread at a time; threads with objects of their own run side by side.
/// interfaces.h tells what every property and method does.
#pragma once

#include <tessolt/automation_types.h>
#include <tessolt/email_constants.h>
#include <tessolt/error_numbers.h>
#include <tessolt/guids.h>
#include <tessolt/interfaces.h>
#include <tessolt/message_data.h>
#include <tessolt/server.h>
#include <tessolt/text_argument.h>
#include <tessolt/text_conversion.h>
#include <tessolt/transfer.h>
#include <tessolt/type_info.h>
#include <tessolt/values.h>

namespace tessolt {

/// A new object of the class with this ProgID, "Tessolt.Smtp" or "Tessolt.Smtp.1" for instance, in
/// any case. Null when there is no such class or it lacks the interface; `*result` then tells
/// which.
template <class Interface>
ComPtr<Interface> CreateObject(const Text& progId, HRESULT* result = nullptr) {
    ComPtr<Interface> object;
    CLSID classId = {};
    HRESULT status = CLSIDFromProgID(progId.get(), &classId);
    if (SUCCEEDED(status)) {
        status = CoCreateInstance(classId, nullptr, 0, kInterfaceId<Interface>, object.putVoid());
    }
    if (result) {
        *result = status;
    }
    return object;
}

}  // namespace tessolt
