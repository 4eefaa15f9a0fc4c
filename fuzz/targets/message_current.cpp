#include <string>

#include "harness.h"
#include "message/znmail.h"
#include "reading/addresses.h"
#include "reading/field_text.h"
#include "reading/letter.h"
#include "reading/parameters.h"
#include "text/outward_strings.h"

namespace fuzz {
namespace {

using namespace tessolt;

/// What a run changes of the message.
enum Choice : std::uint8_t { kSubject = 1, kBody = 2, kAttachment = 4, kByFile = 8 };

/// Every part lies in its parent, in order, and every text can be asked for.
void checkParts(const reading::Message& message) {
    const auto parts = message.parts();
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const reading::Part& part = parts[i];
        require(part.end > i && part.end <= parts.size());
        if (i > 0) {
            const std::string_view around = parts[part.parent].body;
            require(part.header.data() >= around.data());
            require(part.body.empty() ||
                    part.body.data() + part.body.size() <= around.data() + around.size());
            require(part.depth <= reading::Message::kMaxDepth);
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

void checkAttachments(const CZnMail& mail) {
    for (std::int32_t i = 1; i <= mail.GetAttachmentCount(); ++i) {
        borvik::BvByteData bytes;
        std::uint32_t size = 0;
        std::u16string name;
        require(mail.GetAttachmentBytes(i, bytes) == kMailOk);
        require(mail.GetAttachmentSize(i, size) == kMailOk);
        require(mail.GetAttachmentNameText(i, name) == kMailOk);
    }
}

/// A new subject changes nothing else; it stays when other things change.
void checkSubject(CZnMail& mail) {
    const std::int32_t attachments = mail.GetAttachmentCount();
    const std::u16string plain(mail.m_wstrBodyPlainText.View());
    mail.m_wstrSubject.Assign(u"changed");
    mail.Encode();
    CZnMail again;
    again.m_rules = MailRules::current();
    again.LoadFromBytes(sourceOf(mail));
    require(again.m_wstrSubject.View() == u"changed");
    require(again.GetAttachmentCount() == attachments);
    require(again.m_wstrBodyPlainText.View() == plain);
}

void checkChanges(CZnMail& mail, std::uint8_t choice) {
    const std::int32_t attachments = mail.GetAttachmentCount();
    if ((choice & kBody) != 0) {
        mail.m_wstrBodyPlainText.Assign(u"changed");
        mail.Encode();
        require(mail.GetAttachmentCount() == attachments);
    }
    if ((choice & kAttachment) != 0) {
        constexpr std::string_view kContent = "some\0bytes\r";
        borvik::BvByteData bytes;
        bytes.append(kContent.data(), kContent.size());
        require(mail.AddBytes(std::move(bytes), u"n.bin", "application/x-test") == kMailOk);
        mail.Encode();
        require(mail.GetAttachmentCount() == attachments + 1);
        borvik::BvByteData read;
        require(mail.GetAttachmentBytes(attachments + 1, read) == kMailOk);
        require(read.view() == kContent);
    }
}

}  // namespace

/// Reads the bytes by current rules, writes them unchanged, and with changes.
void fuzzMessageCurrent(Input input) {
    const std::uint8_t choice = input.choice();
    const std::string bytes(input.rest());
    checkParts(reading::Message(bytes));
    CZnMail mail;
    mail.m_rules = MailRules::current();
    mail.m_rules.bccInEnvelopeOnly = false;
    if ((choice & kByFile) != 0) {
        scratchFile("message", bytes);
        const std::string path = scratchFolder() + "/message";
        require(mail.LoadFromFile(std::u16string(path.begin(), path.end())) == kMailOk);
    } else {
        require(mail.LoadFromBytes(bytes) == kMailOk);
    }
    mail.Encode();
    require(bytes.ends_with(sourceOf(mail)));
    checkAttachments(mail);
    if ((choice & kSubject) != 0) {
        checkSubject(mail);
    }
    checkChanges(mail, choice);
}

}  // namespace fuzz
