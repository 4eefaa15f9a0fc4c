#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "message/znmail.h"
#include "reading/addresses.h"
#include "reading/field_text.h"
#include "reading/letter.h"
#include "reading/parameters.h"
#include "text/outward_strings.h"

namespace {

using namespace tessolt;

void check(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// Every part lies in its parent, in order, and every text can be asked for.
void checkParts(const reading::Message& message) {
    const auto parts = message.parts();
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const reading::Part& part = parts[i];
        check(part.end > i && part.end <= parts.size());
        if (i > 0) {
            const std::string_view around = parts[part.parent].body;
            check(part.header.data() >= around.data());
            check(part.body.empty() ||
                  part.body.data() + part.body.size() <= around.data() + around.size());
            check(part.depth <= reading::Message::kMaxDepth);
        }
        reading::nameOf(message, part);
        reading::bodyText(message, part);
        for (const reading::Field& field : message.fields(part)) {
            reading::mailboxes(field.value);
            reading::headerText(field.value);
            reading::parameter(field.value, "name");
        }
    }
}

std::string sourceOf(const CZnMail& mail) {
    borvik::BvByteData bytes;
    return std::string(mail.GetSourceBytes(bytes));
}

}  // namespace

/// Reads the bytes, keeps them when nothing is changed, and writes them with a new subject.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    checkParts(reading::Message(bytes));
    CZnMail mail;
    mail.m_rules = MailRules::current();
    mail.m_rules.bccInEnvelopeOnly = false;
    check(mail.LoadFromBytes(bytes) == kMailOk);
    mail.Encode();
    check(bytes.ends_with(sourceOf(mail)));
    const std::int32_t attachments = mail.GetAttachmentCount();
    const std::u16string plain(mail.m_wstrBodyPlainText.View());
    mail.m_wstrSubject.Assign(u"changed");
    mail.Encode();
    CZnMail again;
    again.m_rules = MailRules::current();
    again.LoadFromBytes(sourceOf(mail));
    check(again.m_wstrSubject.View() == u"changed");
    check(again.GetAttachmentCount() == attachments);
    check(again.m_wstrBodyPlainText.View() == plain);
    again.m_wstrBodyPlainText.Assign(u"changed");
    again.Encode();
    check(again.GetAttachmentCount() == attachments);
    return 0;
}
