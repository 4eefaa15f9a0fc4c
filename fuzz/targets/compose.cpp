#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/ascii_text.h"
#include "charset/ansi_text.h"
#include "harness.h"
#include "message/wire_text.h"
#include "message/znmail.h"
#include "reading/field_text.h"
#include "reading/letter.h"
#include "text/outward_strings.h"

namespace fuzz {
namespace {

using namespace tessolt;

enum Choice : std::uint8_t { kCurrentRules = 1, kRawUnits = 2, kUtf8 = 4 };

/// The fields that a message is written with, but for those that the caller names.
constexpr std::string_view kOwnFields[] = {"date",
                                           "from",
                                           "to",
                                           "cc",
                                           "bcc",
                                           "reply-to",
                                           "subject",
                                           "organization",
                                           "mime-version",
                                           "message-id",
                                           "x-mailer",
                                           "x-priority",
                                           "x-msmail-priority",
                                           "importance",
                                           "priority",
                                           "disposition-notification-to",
                                           "return-receipt-to",
                                           "content-type",
                                           "content-transfer-encoding",
                                           "content-disposition",
                                           "content-id"};

bool isOwn(std::string_view name) {
    return std::any_of(std::begin(kOwnFields), std::end(kOwnFields),
                       [&](std::string_view own) { return borvik::equalsNoCase(name, own); });
}

/// No field is there that nobody has set: `custom` others at most.
void checkHeader(std::string_view source, std::size_t custom) {
    const std::string_view header = source.substr(0, source.find("\r\n\r\n"));
    std::size_t count = 0;
    require(isHeader(header, count));
    const reading::Message message(source);
    std::size_t others = 0;
    for (const reading::Field& field : message.fields(message.root())) {
        others += isOwn(field.name) ? 0 : 1;
    }
    require(others <= custom);
}

/// Whether a field of that name is one to every reader, and none of the message's own. What a
/// program names otherwise may end the header.
bool isFieldName(std::string_view name) {
    return !name.empty() && !isOwn(name) && std::all_of(name.begin(), name.end(), [](char c) {
        return c > ' ' && c <= '~' && c != ':';
    });
}

/// Whether a text has one meaning in a header whatever reads it.
bool isPlain(std::u16string_view text) {
    return !text.empty() && text.front() != ' ' && text.back() != ' ' &&
           text.find(u"=?") == text.npos && text.find(u"  ") == text.npos &&
           std::all_of(text.begin(), text.end(), [](char16_t unit) {
               return unit >= ' ' && unit != 0x7F && unit < 0x2000 && (unit < 0x80 || unit > 0xA0);
           });
}

struct Content {
    std::u16string subject;
    std::u16string plain;
    std::string attachment;
    /// By classic rules an escape in the file name has the part's header read as ISO-2022-JP.
    bool isGarbled = false;
};

void checkReading(std::string_view source, const Content& content, bool isUtf8) {
    const reading::Message message(source);
    const reading::Letter letter = reading::letterOf(message);
    if (!content.attachment.empty() && !content.isGarbled) {
        require(letter.attachments.size() == 1);
        const reading::Part& part = message.parts()[letter.attachments[0]];
        require(reading::bodyBytes(message, part) == content.attachment);
    }
    if (isUtf8 && isPlain(content.subject)) {
        require(reading::headerText(message.field("Subject")) ==
                borvik::wideToUtf8Paired(content.subject));
    }
    if (isUtf8 && isPlain(content.plain)) {
        const std::string plain = reading::textOf(message, letter.plain);
        std::string_view text = plain;
        while (text.ends_with("\r\n")) {
            text.remove_suffix(2);
        }
        require(text == borvik::wideToUtf8Paired(content.plain));
    }
}

}  // namespace

/// Composes a message of the pieces, writes it and reads it.
void fuzzCompose(Input input) {
    constexpr std::int32_t kUtf8Page = 65001;
    const std::uint8_t choice = input.choice();
    const auto pages = codePages();
    const std::uint32_t page = pages[input.choice() % pages.size()];
    const bool raw = (choice & kRawUnits) != 0;
    const bool isUtf8 = (choice & kUtf8) != 0;
    CZnMail mail;
    if ((choice & kCurrentRules) != 0) {
        mail.m_rules = MailRules::current();
    }
    mail.m_nEncoding = isUtf8 ? kUtf8Page : static_cast<std::int32_t>(page);
    Content content;
    content.subject = input.wide(raw);
    content.plain = input.wide(raw);
    mail.m_wstrSubject.Assign(content.subject);
    mail.m_wstrBodyPlainText.Assign(content.plain);
    mail.m_wstrBodyHtml.Assign(input.wide(raw));
    mail.m_wstrFromName.Assign(input.wide(raw));
    mail.m_wstrFromAddress.Assign(input.wide(raw));
    mail.m_wstrReplyAddress.Assign(input.wide(raw));
    mail.m_wstrReadReceiptAddress.Assign(input.wide(raw));
    mail.m_wstrOrganization.Assign(input.wide(raw));
    const std::u16string address = input.wide(raw);
    const std::u16string name = input.wide(raw);
    mail.AddTo(address, name);
    mail.AddCc(name, address);
    mail.m_lstBcc.add(name, address);
    const std::string fieldName(input.piece());
    mail.AddHeader(fieldName, input.piece());
    const std::u16string fileName = input.wide(raw);
    const std::string type(input.piece());
    content.attachment = input.rest();
    content.isGarbled = (choice & kCurrentRules) == 0 && fileName.find(u'\x1B') != fileName.npos;
    if (!content.attachment.empty()) {
        borvik::BvByteData bytes;
        bytes.append(content.attachment.data(), content.attachment.size());
        require(mail.AddBytes(std::move(bytes), fileName, "application/octet-stream") == kMailOk);
    }
    require(mail.Encode() == kMailOk);
    borvik::BvByteData storage;
    const std::string source(mail.GetSourceBytes(storage));
    checkHeader(source, 1);
    if (isFieldName(fieldName)) {
        checkReading(source, content, isUtf8);
    }
    WireText wire;
    mail.GetWireText(wire);
    std::uint64_t size = 0;
    for (std::string_view piece = wire.Next(); !piece.empty(); piece = wire.Next()) {
        size += piece.size();
    }
    require(size == wire.Size());
}

}  // namespace fuzz
