#include <algorithm>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "base/ascii_text.h"
#include "message/ansi_units.h"
#include "message/canonical_text.h"
#include "message/message_date.h"
#include "message/message_id.h"
#include "message/znmail.h"
#include "platform/clock.h"

namespace tessolt {
namespace {

constexpr std::int32_t kShiftJisPage = 932;
/// The form in which Japanese mail travels (RFC 1468).
constexpr std::int32_t kJapaneseMailPage = 50220;

/// Attachments that were loaded may be multiparts in multiparts.
constexpr int kMaxCodedDepth = 100;
constexpr const char* kBlindCopyField = "Bcc";
constexpr const char* kMessageIdField = "Message-ID";
constexpr const char* kDateField = "Date";
constexpr const char* kRelatedType = "multipart/related;type=\"text/html\"";

struct PriorityText {
    const char* priority;      ///< Of the field X-Priority.
    const char* mailPriority;  ///< Of the field X-MSMail-Priority.
};

/// From priority 1 on.
constexpr PriorityText kPriorityTexts[] = {
    {"1 (Highest)", "High"}, {"2 (High)", "High"},  {"3 (Normal)", "Normal"},
    {"4 (Low)", "Low"},      {"5 (Lowest)", "Low"},
};
constexpr std::int32_t kLowestPriority = std::size(kPriorityTexts);

void appendBracketed(std::u16string_view address, std::string& out) {
    out += '<';
    AppendAnsi(address, out);
    out += '>';
}

/// Whether the body of a node is base64 or quoted-printable: ASCII in short lines.
bool isCoded(borvik::BvMime& part) {
    borvik::BvString text;
    part.GetHeaderField("Content-Transfer-Encoding", text);
    const std::string_view coding = text.x().utf8View();
    return borvik::equalsNoCase(coding, "base64") ||
           borvik::equalsNoCase(coding, "quoted-printable");
}

/// Shows `maker` what a boundary could meet in an attachment. The bodies that are coded anew can
/// hold none: base64 has no "_" and quoted-printable codes every "=".
void avoidAttachmentText(BoundaryMaker& maker, borvik::BvMime& part, std::uint32_t boundaries) {
    if (isCoded(part)) {
        borvik::BvString text;
        part.GetEntireHead(text);
        maker.avoid(text.x().utf8View(), boundaries);
    } else {
        // As bytes: a string would end at the first zero byte, which separates nothing.
        borvik::BvByteData bytes;
        if (!part.GetMimeBytes(bytes)) {
            throw std::bad_alloc();
        }
        maker.avoid(bytes.view(), boundaries);
    }
}

/// Codes every leaf of the part that can't travel as it stands. Multiparts have no coding of their
/// own (RFC 2045, section 6.4).
void makeSevenBit(borvik::BvMime& part, int depth) {
    const int count = part.NumParts();
    if (count > 0) {
        for (int i = 0; i < count && depth < kMaxCodedDepth; ++i) {
            makeSevenBit(*part.GetPart(i), depth + 1);
        }
        return;
    }
    if (isCoded(part)) {
        return;
    }
    borvik::BvByteData bytes;
    part.GetMimeBytes(bytes);
    if (!IsSevenBitText(bytes.view())) {
        part.Encoding("base64");
    }
}

}  // namespace

std::int32_t CZnMail::Encode() {
    if (m_pLoaded) {
        return EncodeLoaded();
    }
    MailTree before;
    try {
        m_pKept.reset();
        before = std::exchange(m_pMime, MailTree());
        BuildTree(m_lstAttachments);
        return kMailOk;
    } catch (const std::bad_alloc&) {
        // Half a message must not be saved or sent.
        m_pMime = std::move(before);
        return kMailNotBuilt;
    }
}

void CZnMail::BuildTree(const AttachmentList& attachments) {
    if (m_nEncoding == kShiftJisPage) {
        m_nEncoding = kJapaneseMailPage;
    }
    borvik::MimeDraft draft;
    AddAddressFields(draft);
    AppendHeaderText(m_wstrSubject.View(), false, draft.beginField("Subject"));
    draft.endField();
    AddDate(draft);
    AddMessageId(draft);
    AppendHeaderText(m_wstrOrganization.View(), false, draft.beginField("Organization"));
    draft.endField();
    draft.addHeaderField("MIME-Version", "1.0");
    AddPriorityFields(draft);
    draft.addHeaderField("X-Mailer", m_strMailer.View());
    AppendAnsi(m_wstrReadReceiptAddress.View(), draft.beginField("Disposition-Notification-To"));
    draft.endField();
    AddCustomHeaders(draft);
    BuildContent(std::move(draft), attachments);
}

void CZnMail::AddAddressFields(borvik::MimeDraft& draft) const {
    const auto addSender = [&](const char* name, std::string_view before) {
        std::string& value = draft.beginField(name).append(before);
        AppendMailbox(m_wstrFromName.View(), m_wstrFromAddress.View(), value);
        draft.endField();
    };
    if (!m_wstrReplyAddress.IsEmpty()) {
        appendBracketed(m_wstrReplyAddress.View(), draft.beginField("Reply-To"));
        draft.endField();
    } else if (!m_rules.onlyFieldsThatAreSet) {
        addSender("Reply-To", m_wstrFromName.IsEmpty() ? "\"\" " : "");
    }
    addSender("From", "");
    AddRecipientField("To", m_lstTo, draft);
    AddRecipientField("Cc", m_lstCc, draft);
    if (!m_rules.bccInEnvelopeOnly) {
        AddRecipientField(kBlindCopyField, m_lstBcc, draft);
    }
}

void CZnMail::AddRecipientField(const char* name, const RecipientList& list,
                                borvik::MimeDraft& draft) const {
    if (!list.empty()) {
        AppendRecipients(list, draft.beginField(name));
        draft.endField();
    }
}

void CZnMail::AddBlindCopies() {
    m_pKept.reset();
    if (m_pLoaded) {
        SetLoadedField(kBlindCopyField, FormatRecipients(m_lstBcc));
    } else {
        m_pMime->AddHeaderField(kBlindCopyField, FormatRecipients(m_lstBcc).c_str());
    }
}

void CZnMail::RemoveBlindCopies() {
    m_pKept.reset();
    if (m_pLoaded) {
        SetLoadedField(kBlindCopyField, {});
    } else {
        m_pMime->SetHeaderField(kBlindCopyField, "");
    }
}

CZnMail::Standing CZnMail::KeepStanding() const {
    return {m_pLoaded ? nullptr : std::make_unique<borvik::BvMime>(), m_pLoaded};
}

void CZnMail::FallBack(Standing before, std::string_view prefix) {
    m_pLoaded = std::move(before.loaded);
    if (!m_pLoaded) {
        m_pMime = std::move(before.blank);
    }
    std::erase_if(m_mapHeaders,
                  [prefix](const auto& entry) { return entry.first.starts_with(prefix); });
}

bool CZnMail::HasHeader(std::string_view name) const {
    return std::ranges::any_of(m_mapHeaders, [name](const auto& entry) {
        return borvik::equalsNoCase(borvik::trimmed(entry.first), name);
    });
}

void CZnMail::AddDate(borvik::MimeDraft& draft) const {
    if (!m_rules.onlyFieldsThatAreSet || !HasHeader(kDateField)) {
        int bias = 0;
        const platform::LocalTime now = platform::localTime(bias);
        AppendDate(now, bias, draft.beginField(kDateField));
        draft.endField();
    }
}

void CZnMail::AddMessageId(borvik::MimeDraft& draft) const {
    if (m_rules.messageId && !HasHeader(kMessageIdField)) {
        draft.addHeaderField(kMessageIdField, MakeMessageId(m_wstrFromAddress.GetAnsi()));
    }
}

void CZnMail::AddPriorityFields(borvik::MimeDraft& draft) const {
    const bool isKnown = m_nPriority >= 1 && m_nPriority <= kLowestPriority;
    const PriorityText& text = kPriorityTexts[(isKnown ? m_nPriority : kNormalPriority) - 1];
    draft.addHeaderField("X-Priority", text.priority);
    draft.addHeaderField("X-MSMail-Priority", text.mailPriority);
}

void CZnMail::AddCustomHeaders(borvik::MimeDraft& draft) const {
    for (const auto& [name, header] : m_mapHeaders) {
        AppendAnsi(header->m_wstrValue.View(), draft.beginField(header->m_wstrName.GetAnsi()));
        draft.endField();
    }
}

void CZnMail::AppendMailbox(std::u16string_view name, std::u16string_view address,
                            std::string& out) const {
    if (!name.empty()) {
        AppendHeaderText(name, true, out);
        out += ' ';
    }
    appendBracketed(address, out);
}

void CZnMail::AppendRecipients(const RecipientList& list, std::string& out) const {
    for (std::size_t i = 0; i < list.size(); ++i) {
        out += i == 0 ? "" : ", ";
        AppendMailbox(list.nameAt(i), list.addressAt(i), out);
    }
}

std::string CZnMail::FormatRecipients(const RecipientList& list) const {
    std::string text;
    AppendRecipients(list, text);
    return text;
}

void CZnMail::BuildContent(borvik::MimeDraft&& draft, const AttachmentList& attachments) {
    EncodedText plain = EncodeText(m_wstrBodyPlainText.View(), "text/plain");
    EncodedText html = EncodeText(m_wstrBodyHtml.View(), "text/html");
    DrawBoundary(plain, html, attachments);
    const bool hasBoth = !plain.bytes.empty() && !html.bytes.empty();
    if (attachments.empty() && !hasBoth) {
        ++m_uBoundaryCount;  // though it isn't needed
        if (!plain.bytes.empty() || !html.bytes.empty()) {
            draft.setBody(std::move(plain.bytes.empty() ? html : plain));
        }
        m_pMime = MailTree(std::move(draft));
        return;
    }
    m_pMime = draft.makeTree();
    const std::string boundary = NextBoundary();
    PartList images;
    PartList others;
    for (const auto& attachment : attachments) {
        const bool isImage = attachment->m_bInline && !html.bytes.empty();
        (isImage ? images : others).push_back(attachment->m_pPart.get());
    }
    if (!others.empty()) {
        MakeMultipart(*m_pMime, "multipart/mixed", boundary);
        AppendTextParts(plain, html, images);
        AppendParts(*m_pMime, others);
    } else if (hasBoth) {
        MakeMultipart(*m_pMime, "multipart/alternative", boundary);
        AppendText(*m_pMime, plain);
        AppendHtml(*m_pMime, html, images);
    } else {
        MakeMultipart(*m_pMime, kRelatedType, boundary);
        AppendText(*m_pMime, html);
        AppendParts(*m_pMime, images);
    }
}

void CZnMail::DrawBoundary(const EncodedText& plain, const EncodedText& html,
                           const AttachmentList& attachments) {
    BoundaryMaker maker;
    const bool hasBoth = !plain.bytes.empty() && !html.bytes.empty();
    const bool hasImages =
        !html.bytes.empty() &&
        std::ranges::any_of(attachments, [](const auto& each) { return each->m_bInline; });
    if (hasBoth || !attachments.empty()) {
        const std::uint32_t within =
            hasBoth && !attachments.empty() ? BoundaryMaker::kInner : BoundaryMaker::kOuter;
        const std::uint32_t boundaries =
            hasImages ? std::uint32_t{BoundaryMaker::kInnermost} : within;
        for (const EncodedText* text : {&plain, &html}) {
            if (!text->isBinary) {
                maker.avoid(text->bytes, boundaries);
            }
        }
        for (const auto& attachment : attachments) {
            avoidAttachmentText(maker, *attachment->m_pPart,
                                hasImages ? BoundaryMaker::kInnermost : BoundaryMaker::kOuter);
        }
    }
    m_uBoundaryCount = 0;
    m_strBoundary.Assign(maker.drawMiddle());
}

std::string CZnMail::NextBoundary() {
    return BoundaryMaker::boundary(++m_uBoundaryCount, m_strBoundary.View());
}

void CZnMail::AppendTextParts(const EncodedText& plain, const EncodedText& html,
                              const PartList& images) {
    if (!plain.bytes.empty() && !html.bytes.empty()) {
        borvik::BvMime alternative;
        MakeMultipart(alternative, "multipart/alternative", NextBoundary());
        AppendText(alternative, plain);
        AppendHtml(alternative, html, images);
        m_pMime->AppendPart(&alternative);
    } else if (!html.bytes.empty()) {
        AppendHtml(*m_pMime, html, images);
    } else if (!plain.bytes.empty()) {
        AppendText(*m_pMime, plain);
    }
}

/// Appends the HTML body, together with the images in it where it has any (RFC 2387).
void CZnMail::AppendHtml(borvik::BvMime& parent, const EncodedText& html, const PartList& images) {
    if (images.empty()) {
        AppendText(parent, html);
        return;
    }
    borvik::BvMime related;
    MakeMultipart(related, kRelatedType, NextBoundary());
    AppendText(related, html);
    AppendParts(related, images);
    parent.AppendPart(&related);
}

void CZnMail::AppendParts(borvik::BvMime& parent, const PartList& parts) const {
    for (const borvik::BvMime* part : parts) {
        parent.AppendPart(part);
        if (m_rules.canonicalText) {
            makeSevenBit(*parent.GetPart(parent.NumParts() - 1), 0);
        }
    }
}

void CZnMail::AppendText(borvik::BvMime& parent, const EncodedText& text) {
    borvik::BvMime part;
    borvik::setTextBody(part, text);
    parent.AppendPart(&part);
}

void CZnMail::MakeMultipart(borvik::BvMime& node, const char* contentType,
                            const std::string& boundary) {
    node.ContentType(contentType);
    node.Boundary(boundary.c_str());
}

}  // namespace tessolt
