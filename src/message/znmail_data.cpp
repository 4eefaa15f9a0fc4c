#include <algorithm>
#include <new>
#include <string>

#include "base/ascii_text.h"
#include "charset/ansi_text.h"
#include "message/loaded_message.h"
#include "message/znmail.h"
#include "reading/field_text.h"
#include "reading/letter.h"

/// What a record holds, as bytes and fields.

namespace tessolt {
namespace {

std::string lowerWord(std::string_view value) {
    std::string word(borvik::trimmed(value.substr(0, value.find(';'))));
    std::ranges::transform(word, word.begin(), borvik::asciiLower);
    return word;
}

/// A Content-ID without its brackets.
std::string bareId(std::string_view value) {
    value = borvik::trimmed(value);
    const bool hasBrackets = value.size() >= 2 && value.front() == '<' && value.back() == '>';
    return std::string(hasBrackets ? value.substr(1, value.size() - 2) : value);
}

std::string fieldOf(const CZnMailAttachment& attachment, const char* name) {
    if (attachment.m_pLoaded) {
        const LoadedPart& loaded = *attachment.m_pLoaded;
        return std::string(loaded.loaded->message.field(loaded.part(), name).value_or(""));
    }
    borvik::BvString text;
    attachment.m_pPart->GetHeaderField(name, text);
    return std::string(text.x().utf8View());
}

}  // namespace

std::vector<MailField> CZnMail::GetFields() const {
    borvik::BvByteData storage;
    const std::string_view bytes = m_pLoaded ? m_pLoaded->text() : GetSourceBytes(storage);
    const reading::Message message(bytes);
    const std::string label = reading::labelOf(message);
    std::vector<MailField> fields;
    for (const reading::Field& field : message.fields(message.root())) {
        fields.push_back({std::string(field.name),
                          borvik::utf8ToWidePaired(reading::headerText(field.value, label)),
                          std::string(field.value)});
    }
    return fields;
}

std::string_view CZnMail::GetLoadedBytes() const {
    return m_pLoaded ? std::string_view(m_pLoaded->source) : std::string_view();
}

bool CZnMail::SetInline(std::int32_t number, std::string_view contentId) {
    const CZnMailAttachment* found = FindAttachment(number);
    if (!found || !found->m_pPart) {
        return false;
    }
    m_pKept.reset();  // the part may stand in the tree
    CZnMailAttachment& attachment = *m_lstAttachments[static_cast<std::size_t>(number) - 1];
    borvik::BvMime& part = *attachment.m_pPart;
    part.SetHeaderField("Content-ID", ("<" + std::string(contentId) + ">").c_str());
    part.Disposition(("inline;filename=\"" + attachment.m_strFileName + "\"").c_str());
    attachment.m_bInline = true;
    return true;
}

std::int32_t CZnMail::GetAttachmentBytes(std::int32_t number, borvik::BvByteData& bytes) const try {
    const CZnMailAttachment* attachment = FindAttachment(number);
    if (!attachment) {
        return kMailBadAttachmentNumber;
    }
    if (!attachment->m_pLoaded) {
        attachment->m_pPart->GetBodyBinary(bytes);
        return kMailOk;
    }
    return bytes.data().append(LoadedAttachmentBytes(*attachment)) ? kMailOk
                                                                   : kMailAttachmentDecodeFailed;
} catch (const std::bad_alloc&) {
    return kMailAttachmentDecodeFailed;
}

std::int32_t CZnMail::GetAttachmentType(std::int32_t number, std::string& type,
                                        std::string& contentId, std::string& disposition) const {
    const CZnMailAttachment* attachment = FindAttachment(number);
    if (!attachment) {
        return kMailBadAttachmentNumber;
    }
    type = lowerWord(attachment->m_strContentType);
    contentId = bareId(fieldOf(*attachment, "Content-ID"));
    disposition = lowerWord(fieldOf(*attachment, "Content-Disposition"));
    return kMailOk;
}

}  // namespace tessolt
