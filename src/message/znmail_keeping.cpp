#include <algorithm>
#include <cstddef>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "base/ascii_text.h"
#include "charset/ansi_text.h"
#include "message/boundary_maker.h"
#include "message/canonical_text.h"
#include "message/loaded_message.h"
#include "message/queue_fields.h"
#include "message/travel_coding.h"
#include "message/wire_text.h"
#include "message/znmail.h"
#include "text/outward_strings.h"

/// Encoding a record that was loaded, under current rules: what wasn't changed since stays as it
/// came, byte for byte.

namespace tessolt {

/// What differs between a record and the message that it was loaded from.
struct CZnMail::LoadedChanges {
    std::vector<std::string_view> fields;  ///< Names of the fields that must be written anew.
    bool content = false;
    /// The caller's doing, and not what the rules or `Queue` ask for.
    bool isEdited = false;

    bool any() const { return content || !fields.empty(); }

    bool covers(std::string_view name) const {
        if (borvik::beginsWithNoCase(name, "Content-") ||
            borvik::equalsNoCase(name, "MIME-Version")) {
            if (content) {
                return true;
            }
        }
        return std::ranges::any_of(
            fields, [name](std::string_view field) { return borvik::equalsNoCase(field, name); });
    }
};

namespace {

constexpr std::string_view kLineEnd = "\r\n";

/// Fields that no message may lack; a loaded one without them gets them once it is written anew.
constexpr std::string_view kRequiredFields[] = {"Date", "MIME-Version", "Message-ID"};

bool sameRecipients(const RecipientList& a, const RecipientList& b) {
    bool isSame = a.size() == b.size();
    for (std::size_t i = 0; isSame && i < a.size(); ++i) {
        isSame = a.nameAt(i) == b.nameAt(i) && a.addressAt(i) == b.addressAt(i);
    }
    return isSame;
}

bool sameText(const CZncStringW& a, const CZncStringW& b) {
    return a.View() == b.View();
}

/// A body that nobody has read yet is the loaded one.
bool sameBody(const CZncStringW& body, const CZncStringW& loaded) {
    return body.GetSource() != nullptr || sameText(body, loaded);
}

bool sameAttachments(const AttachmentList& a, const AttachmentList& b) {
    return std::ranges::equal(a, b, [](const auto& left, const auto& right) {
        return left->m_pLoaded != nullptr && right->m_pLoaded != nullptr &&
               left->m_pLoaded->loaded == right->m_pLoaded->loaded &&
               left->m_pLoaded->number == right->m_pLoaded->number;
    });
}

bool contains(const reading::Message& message, std::string_view name) {
    return message.field(message.root(), name).has_value();
}

void appendField(const reading::Field& field, std::string& out) {
    out.append(field.name).append(":").append(field.value).append(kLineEnd);
}

/// A loaded part as it stands within a multipart. The message itself is one by its content fields.
std::string partText(const CZnMailAttachment& attachment) {
    const reading::Message& message = attachment.m_pLoaded->loaded->message;
    const reading::Part& part = attachment.m_pLoaded->part();
    std::string text;
    if (!message.field(part, "Content-Type")) {
        text.append("Content-Type: ").append(part.type).append("/").append(part.subtype);
        text.append(kLineEnd);
    }
    for (const reading::Field& field : message.fields(part)) {
        if (attachment.m_pLoaded->number != 0 || borvik::beginsWithNoCase(field.name, "Content-")) {
            appendField(field, text);
        }
    }
    return text.append(kLineEnd).append(part.body);
}

/// What was composed anew, as fields and the text behind them.
struct Composed {
    explicit Composed(std::string_view text) : message(text) {}
    const reading::Message message;
    std::string type = {};  ///< Value of Content-Type when it isn't that of `message`.
    std::string body = {};
};

/// Puts the letter and the attachments into one multipart.
void addAttachments(Composed& composed, const AttachmentList& attachments) {
    const reading::Part& letter = composed.message.root();
    std::vector<std::string> parts;
    if (!letter.body.empty()) {
        std::string text;
        for (const reading::Field& field : composed.message.fields(letter)) {
            if (borvik::beginsWithNoCase(field.name, "Content-")) {
                appendField(field, text);
            }
        }
        parts.push_back(text.append(kLineEnd).append(letter.body));
    }
    for (const auto& attachment : attachments) {
        if (attachment->m_pLoaded) {
            parts.push_back(partText(*attachment));
        } else {
            borvik::BvByteData bytes;
            if (!attachment->m_pPart->GetMimeBytes(bytes)) {
                throw std::bad_alloc();
            }
            parts.emplace_back(bytes.view());
        }
    }
    BoundaryMaker maker;
    for (const std::string& part : parts) {
        maker.avoid(part, BoundaryMaker::kOuter);
    }
    const std::string boundary = BoundaryMaker::boundary(BoundaryMaker::kOuter, maker.drawMiddle());
    composed.type = " multipart/mixed;\r\n\tboundary=\"" + boundary + "\"";
    for (const std::string& part : parts) {
        composed.body.append("--").append(boundary).append(kLineEnd);
        composed.body.append(part).append(kLineEnd);
    }
    composed.body.append("--").append(boundary).append("--").append(kLineEnd);
}

/// Appends the new fields of that name.
void appendComposedFields(const Composed& composed, std::string_view name, std::string& out) {
    if (borvik::equalsNoCase(name, "Content-Transfer-Encoding") && !composed.type.empty()) {
        return;
    }
    if (borvik::equalsNoCase(name, "Content-Type") && !composed.type.empty()) {
        appendField({name, composed.type}, out);
        return;
    }
    for (const reading::Field& field : composed.message.fields(composed.message.root())) {
        if (borvik::equalsNoCase(field.name, name)) {
            appendField(field, out);
        }
    }
}

/// A header that is put together; fields that were composed anew come once each.
struct MergedHeader {
    explicit MergedHeader(const Composed& anew) : composed(anew) {}

    void write(std::string_view name) {
        const bool isNew = std::ranges::none_of(
            written, [name](std::string_view done) { return borvik::equalsNoCase(done, name); });
        if (isNew) {
            written.push_back(name);
            appendComposedFields(composed, name, text);
        }
    }

    const Composed& composed;
    std::string text = {};
    std::vector<std::string_view> written = {};
};

bool isRequiredField(std::string_view name) {
    return std::ranges::any_of(kRequiredFields, [name](std::string_view field) {
        return borvik::equalsNoCase(field, name);
    });
}

}  // namespace

CZnMail::LoadedChanges CZnMail::ChangesSince(const CZnMail& before) const {
    LoadedChanges changes;
    const auto note = [&changes](bool isSame, std::initializer_list<std::string_view> names) {
        if (!isSame) {
            changes.fields.insert(changes.fields.end(), names);
            changes.isEdited = true;
        }
    };
    note(sameText(m_wstrSubject, before.m_wstrSubject), {"Subject"});
    note(sameText(m_wstrFromName, before.m_wstrFromName) &&
             sameText(m_wstrFromAddress, before.m_wstrFromAddress),
         {"From"});
    note(sameText(m_wstrReplyAddress, before.m_wstrReplyAddress), {"Reply-To"});
    note(sameText(m_wstrReadReceiptAddress, before.m_wstrReadReceiptAddress),
         {"Disposition-Notification-To"});
    note(sameText(m_wstrOrganization, before.m_wstrOrganization), {"Organization"});
    note(sameRecipients(m_lstTo, before.m_lstTo), {"To"});
    note(sameRecipients(m_lstCc, before.m_lstCc), {"Cc"});
    const bool showsBlindCopies =
        m_rules.bccInEnvelopeOnly && contains(before.m_pLoaded->message, "Bcc");
    note(sameRecipients(m_lstBcc, before.m_lstBcc), {"Bcc"});
    if (showsBlindCopies) {
        changes.fields.emplace_back("Bcc");
    }
    note(m_nPriority == before.m_nPriority,
         {"X-Priority", "X-MSMail-Priority", "Importance", "Priority"});
    for (const auto& header : m_mapHeaders) {
        changes.fields.emplace_back(header.first);
        changes.isEdited = changes.isEdited || !header.first.starts_with(kQueueFieldPrefix);
    }
    changes.content = !sameBody(m_wstrBodyPlainText, before.m_wstrBodyPlainText) ||
                      !sameBody(m_wstrBodyHtml, before.m_wstrBodyHtml) ||
                      !sameAttachments(m_lstAttachments, before.m_lstAttachments) ||
                      m_nEncoding != before.m_nEncoding;
    return changes;
}

std::int32_t CZnMail::EncodeLoaded() try {
    const std::shared_ptr<const LoadedMessage> loaded = m_pLoaded;
    CZnMail before;
    before.m_rules = m_rules;
    before.m_pLoaded = loaded;
    before.DecodeLoaded();
    const LoadedChanges changes = ChangesSince(before);
    if (changes.any() || !m_rules.keepLoadedMessage) {
        StandOn(MergeChanges(changes, loaded->message));
    }
    return kMailOk;
} catch (const std::bad_alloc&) {
    return kMailNotBuilt;  // what stood still stands
}

/// The loaded message with what was changed in it.
std::string CZnMail::MergeChanges(const LoadedChanges& changes, const reading::Message& message) {
    const std::string source = ComposeAnew();
    Composed composed(source);
    composed.body = composed.message.root().body;
    if (!m_lstAttachments.empty()) {
        composed.body.clear();
        addAttachments(composed, m_lstAttachments);
    }
    MergedHeader header(composed);
    if (m_rules.keepLoadedMessage) {
        for (const reading::Field& field : message.fields(message.root())) {
            if (changes.covers(field.name)) {
                header.write(field.name);
            } else {
                appendField(field, header.text);
            }
        }
    }
    for (const reading::Field& field : composed.message.fields(composed.message.root())) {
        const bool isRequired = (changes.isEdited || changes.content) &&
                                isRequiredField(field.name) && !contains(message, field.name);
        if (isRequired || changes.covers(field.name) || !m_rules.keepLoadedMessage) {
            header.write(field.name);
        }
    }
    if (changes.content && !composed.type.empty()) {
        header.write("Content-Type");
    }
    const bool keepsBody = m_rules.keepLoadedMessage && !changes.content;
    header.text.append(kLineEnd);
    return header.text.append(keepsBody ? message.root().body : std::string_view(composed.body));
}

/// The fields of the record as a message of its own, without attachments.
std::string CZnMail::ComposeAnew() {
    m_pMime = std::make_unique<borvik::BvMime>();
    BuildTree({});
    borvik::BvByteData bytes;
    if (!m_pMime->GetMimeBytes(bytes)) {
        throw std::bad_alloc();
    }
    m_pMime = std::make_unique<borvik::BvMime>();
    return std::string(bytes.view());
}

void CZnMail::SetLoadedField(std::string_view name, std::string_view value) {
    const reading::Message& message = m_pLoaded->message;
    if (value.empty() && !contains(message, name)) {
        return;
    }
    std::string text;
    for (const reading::Field& field : message.fields(message.root())) {
        if (!borvik::equalsNoCase(field.name, name)) {
            appendField(field, text);
        }
    }
    if (!value.empty()) {
        text.append(name).append(": ").append(value).append(kLineEnd);
    }
    StandOn(text.append(kLineEnd).append(message.root().body));
}

std::shared_ptr<const LoadedMessage> CZnMail::LoadedOutward() const {
    bool isRemoved = false;
    std::string kept;
    if (m_rules.queueHeadersRemoved) {
        kept = WithoutFields(m_pLoaded->text(),
                             {"X-ZnQueueService-RemoveBeforeSending-Host",
                              "X-ZnQueueService-RemoveBeforeSending-Port",
                              "X-ZnQueueService-RemoveBeforeSending-Secure",
                              "X-ZnQueueService-RemoveBeforeSending-Account",
                              "X-ZnQueueService-RemoveBeforeSending-Password"},
                             isRemoved);
    }
    return isRemoved ? std::make_shared<const LoadedMessage>(std::move(kept)) : m_pLoaded;
}

void CZnMail::GetWireText(WireText& text, bool takesEightBit, bool& canTravel) const {
    canTravel = true;
    if (!m_pLoaded) {
        GetWireText(text);
        return;
    }
    const std::shared_ptr<const LoadedMessage> outward = LoadedOutward();
    canTravel = !m_rules.canonicalText || CanTravel(outward->text(), takesEightBit);
    if (canTravel) {
        text.SetWhole(LoadedWireText(outward->text(), text.Storage()), m_pLoaded);
        return;
    }
    const std::string coded = WithPartsCoded(outward->message, takesEightBit);
    canTravel = CanTravel(coded, takesEightBit);
    text.SetWhole(LoadedWireText(coded, text.Storage()));
}

/// The text with the line ends of the wire, in `storage` unless it is that of the record.
std::string_view CZnMail::LoadedWireText(std::string_view text, borvik::BvString& storage) const {
    const bool isReady = !m_rules.canonicalText || HasOnlyCrlf(text);
    if (isReady && text.data() == m_pLoaded->text().data()) {
        return text;
    }
    borvik::StringBuffer& wire = storage.x().editUtf8();
    wire.clear();
    if (isReady) {
        return wire.append(text) ? wire.view() : std::string_view();
    }
    bool isWhole = true;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find_first_of(kLineEnd, begin), text.size());
        const bool hasEnd = end < text.size();
        isWhole = isWhole && wire.append(text.substr(begin, end - begin)) &&
                  (!hasEnd || wire.append(kLineEnd));
        begin = end + (text.substr(end).starts_with(kLineEnd) ? kLineEnd.size() : 1);
    }
    return isWhole ? wire.view() : std::string_view();
}

void CZnMail::StandOn(std::string text) {
    CZnMail after;
    after.m_pLoaded = std::make_shared<const LoadedMessage>(std::move(text));
    after.DecodeLoaded();
    if (after.m_lstAttachments.size() == m_lstAttachments.size()) {
        m_lstAttachments = std::move(after.m_lstAttachments);
    }
    m_pLoaded = std::move(after.m_pLoaded);
}

}  // namespace tessolt
