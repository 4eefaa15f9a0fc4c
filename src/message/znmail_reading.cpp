#include <algorithm>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <utility>

#include "base/ascii_text.h"
#include "charset/ansi_text.h"
#include "message/loaded_message.h"
#include "message/znmail.h"
#include "reading/addresses.h"
#include "reading/field_text.h"
#include "reading/letter.h"
#include "text/outward_strings.h"

/// The record under current rules: what was loaded is kept as text, and read by src/reading.

namespace tessolt {
namespace {

using reading::Message;

constexpr std::int32_t kHighestPriority = 1;
constexpr std::int32_t kLowestPriority = 5;

/// Fields that tell a priority by a word or a number, the one that says most first.
constexpr const char* kPriorityFields[] = {"X-Priority", "Importance", "X-MSMail-Priority",
                                           "Priority"};

struct PriorityWord {
    std::string_view word;
    std::int32_t priority;
};
constexpr PriorityWord kPriorityWords[] = {
    {"high", kHighestPriority},
    {"urgent", kHighestPriority},
    {"low", kLowestPriority},
    {"non-urgent", kLowestPriority},
};

/// A zero would end the text for many a caller.
std::u16string wideText(std::string_view utf8) {
    std::u16string text = borvik::utf8ToWidePaired(utf8);
    if (utf8.find('\0') != std::string_view::npos) {
        std::ranges::replace(text, u'\0', u' ');
    }
    text.shrink_to_fit();
    return text;
}

/// The text of some parts of a loaded message, decoded whenever it is read.
class LoadedText : public TextSource {
public:
    LoadedText(std::shared_ptr<const LoadedMessage> loaded, reading::PartNumbers parts)
        : loaded_(std::move(loaded)), parts_(std::move(parts)) {}
    bool isUtf8() const override { return true; }
    void read(const std::function<void(std::string_view)>& take) override {
        std::string text = reading::textOf(loaded_->message, parts_);
        if (text.find('\0') != std::string::npos) {
            std::ranges::replace(text, '\0', ' ');  // as in `wideText`
        }
        take(text);
    }

private:
    std::shared_ptr<const LoadedMessage> loaded_;
    reading::PartNumbers parts_;
};

std::int32_t priorityOf(const Message& message) {
    for (const char* field : kPriorityFields) {
        const std::string_view value = borvik::trimmed(message.field(field));
        if (!value.empty() && value.front() >= '0' + kHighestPriority &&
            value.front() <= '0' + kLowestPriority) {
            return value.front() - '0';
        }
        for (const PriorityWord& row : kPriorityWords) {
            if (borvik::equalsNoCase(value, row.word)) {
                return row.priority;
            }
        }
    }
    return CZnMail::kNormalPriority;
}

/// The mailboxes of all fields of that name.
RecipientList recipientsOf(const Message& message, std::string_view name, std::string_view label) {
    RecipientList list;
    for (const reading::Field& field : message.fields(message.root())) {
        if (!borvik::equalsNoCase(field.name, name)) {
            continue;
        }
        for (const reading::Mailbox& mailbox : reading::mailboxes(field.value, label)) {
            list.add(wideText(mailbox.name), wideText(mailbox.address));
        }
    }
    return list;
}

reading::Mailbox firstMailbox(const Message& message, std::string_view name,
                              std::string_view label) {
    auto found = reading::mailboxes(message.field(name), label);
    return found.empty() ? reading::Mailbox() : std::move(found.front());
}

}  // namespace

void CZnMail::DecodeLoaded() {
    const Message& message = m_pLoaded->message;
    const std::string label = reading::labelOf(message);
    const auto text = [&](std::string_view name) {
        return wideText(reading::headerText(message.field(name), label));
    };
    m_wstrSubject.Assign(text("Subject"));
    m_wstrOrganization.Assign(text("Organization"));
    const reading::Mailbox sender = firstMailbox(message, "From", label);
    m_wstrFromName.Assign(wideText(sender.name));
    m_wstrFromAddress.Assign(wideText(sender.address));
    m_wstrReplyAddress.Assign(wideText(firstMailbox(message, "Reply-To", label).address));
    m_wstrReadReceiptAddress.Assign(
        wideText(firstMailbox(message, "Disposition-Notification-To", label).address));
    m_lstTo = recipientsOf(message, "To", label);
    m_lstCc = recipientsOf(message, "Cc", label);
    m_lstBcc = recipientsOf(message, "Bcc", label);
    m_nPriority = priorityOf(message);

    reading::Letter letter = reading::letterOf(message);
    m_wstrBodyPlainText.AssignSource(
        std::make_unique<LoadedText>(m_pLoaded, std::move(letter.plain)));
    m_wstrBodyHtml.AssignSource(std::make_unique<LoadedText>(m_pLoaded, std::move(letter.html)));
    m_lstAttachments.clear();
    for (const std::uint32_t number : letter.attachments) {
        AddLoadedAttachment(number);
    }
}

void CZnMail::AddLoadedAttachment(std::uint32_t part) {
    const Message& message = m_pLoaded->message;
    const reading::Part& found = message.parts()[part];
    const std::string name = reading::nameOf(message, found);
    std::string type = std::string(found.type) + "/" + std::string(found.subtype);
    std::ranges::transform(type, type.begin(), borvik::asciiLower);
    auto attachment = std::make_unique<CZnMailAttachment>();
    attachment->m_strFileName = borvik::utf8ToAnsi(name);
    attachment->m_strContentType = type;
    attachment->m_pLoaded =
        std::make_shared<const LoadedPart>(LoadedPart{m_pLoaded, part, wideText(name)});
    m_lstAttachments.push_back(std::move(attachment));
}

std::string CZnMail::LoadedAttachmentBytes(const CZnMailAttachment& attachment) {
    return reading::bodyBytes(attachment.m_pLoaded->loaded->message, attachment.m_pLoaded->part());
}

std::string_view CZnMail::LoadedAttachmentSource(const CZnMailAttachment& attachment) {
    return attachment.m_pLoaded->part().whole();
}

std::u16string CZnMail::GetHeaderText(const char* name) const {
    if (m_pLoaded) {
        const Message& message = m_pLoaded->message;
        return wideText(reading::headerText(message.field(name), reading::labelOf(message)));
    }
    CZncString text;
    return borvik::ansiToWide(GetHeader(name, text).View());
}

std::int32_t CZnMail::GetAttachmentNameText(std::int32_t number, std::u16string& out) const {
    CZncString name;
    const std::int32_t result = GetAttachmentName(number, name);
    const CZnMailAttachment* attachment = FindAttachment(number);
    out = attachment && attachment->m_pLoaded ? attachment->m_pLoaded->name
                                              : borvik::ansiToWide(name.View());
    return result;
}

std::string_view CZnMail::GetSourceBytes(borvik::BvByteData& storage) const {
    if (m_pLoaded) {
        return m_pLoaded->text();
    }
    if (const auto kept = KeptBytes()) {
        return storage.append(kept->text.data(), kept->text.size()) ? storage.view()
                                                                    : std::string_view();
    }
    return m_pMime->GetMimeBytes(storage) ? storage.view() : std::string_view();
}

std::int32_t CZnMail::CheckForSaving() {
    return m_pLoaded ? static_cast<std::int32_t>(kMailOk) : CheckForSending();
}

}  // namespace tessolt
