#include <string>

#include "base/ascii_text.h"
#include "charset/ansi_text.h"
#include "message/message_date.h"
#include "message/znmail.h"
#include "platform/clock.h"

namespace tessolt {
namespace {

constexpr std::int32_t kShiftJisPage = 932;
/// The form in which Japanese mail travels (RFC 1468).
constexpr std::int32_t kJapaneseMailPage = 50220;

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

std::string bracketed(const CZncStringW& address) {
    return "<" + borvik::wideToAnsi(address.View()) + ">";
}

/// Shows `maker` what a boundary could meet in an attachment. The bodies that are coded anew can
/// hold none: base64 has no "_" and quoted-printable codes every "=".
void avoidAttachmentText(BoundaryMaker& maker, borvik::BvMime& part) {
    borvik::BvString text;
    part.GetHeaderField("Content-Transfer-Encoding", text);
    const std::string_view coding = text.x().utf8View();
    if (borvik::equalsNoCase(coding, "base64") ||
        borvik::equalsNoCase(coding, "quoted-printable")) {
        part.GetEntireHead(text);
        maker.avoid(text.x().utf8View(), BoundaryMaker::kOuter);
    } else {
        // As bytes: a string would end at the first zero byte, which separates nothing.
        borvik::BvByteData bytes;
        part.GetMimeBytes(bytes);
        maker.avoid(bytes.view(), BoundaryMaker::kOuter);
    }
}

}  // namespace

std::int32_t CZnMail::Encode() {
    m_pMime = std::make_unique<borvik::BvMime>();
    if (m_nEncoding == kShiftJisPage) {
        m_nEncoding = kJapaneseMailPage;
    }
    AddAddressFields();
    AddField("Subject", EncodeHeaderText(m_wstrSubject.View(), false));
    AddField("Date", FormatDate(platform::localTime(), platform::timeZoneBias()));
    AddField("Organization", EncodeHeaderText(m_wstrOrganization.View(), false));
    AddField("MIME-Version", "1.0");
    AddPriorityFields();
    AddField("X-Mailer", m_strMailer.GetString());
    AddField("Disposition-Notification-To", borvik::wideToAnsi(m_wstrReadReceiptAddress.View()));
    AddCustomHeaders();
    BuildContent();
    return kMailOk;
}

void CZnMail::AddField(const char* name, const std::string& value) {
    m_pMime->AddHeaderField(name, value.c_str());
}

void CZnMail::AddAddressFields() {
    AddField("Reply-To", m_wstrReplyAddress.IsEmpty()
                             ? EncodeHeaderText(m_wstrFromName.View(), true) + " " +
                                   bracketed(m_wstrFromAddress)
                             : bracketed(m_wstrReplyAddress));
    AddField("From", FormatMailbox(m_wstrFromName, m_wstrFromAddress));
    AddField("To", FormatRecipients(m_lstTo));
    AddField("Cc", FormatRecipients(m_lstCc));
    AddField("Bcc", FormatRecipients(m_lstBcc));
}

void CZnMail::AddPriorityFields() {
    const bool isKnown = m_nPriority >= 1 && m_nPriority <= kLowestPriority;
    const PriorityText& text = kPriorityTexts[(isKnown ? m_nPriority : kNormalPriority) - 1];
    AddField("X-Priority", text.priority);
    AddField("X-MSMail-Priority", text.mailPriority);
}

void CZnMail::AddCustomHeaders() {
    for (const auto& [name, header] : m_mapHeaders) {
        AddField(header->m_wstrName.GetAnsi(), borvik::wideToAnsi(header->m_wstrValue.View()));
    }
}

std::string CZnMail::FormatMailbox(const CZncStringW& name, const CZncStringW& address) const {
    return name.IsEmpty() ? bracketed(address)
                          : EncodeHeaderText(name.View(), true) + " " + bracketed(address);
}

std::string CZnMail::FormatRecipients(const RecipientList& list) const {
    std::string text;
    for (const auto& recipient : list) {
        if (!text.empty()) {
            text += ", ";
        }
        text += FormatMailbox(recipient->m_wstrName, recipient->m_wstrAddress);
    }
    return text;
}

void CZnMail::BuildContent() {
    const EncodedText plain = EncodeText(m_wstrBodyPlainText.View(), "text/plain");
    const EncodedText html = EncodeText(m_wstrBodyHtml.View(), "text/html");
    DrawBoundary(plain, html);
    const std::string boundary = NextBoundary();
    if (!m_lstAttachments.empty()) {
        MakeMultipart(*m_pMime, "multipart/mixed", boundary);
        AppendTextParts(plain, html);
        for (const auto& attachment : m_lstAttachments) {
            m_pMime->AppendPart(attachment->m_pPart.get());
        }
    } else if (!plain.bytes.empty() && !html.bytes.empty()) {
        MakeMultipart(*m_pMime, "multipart/alternative", boundary);
        AppendText(*m_pMime, plain);
        AppendText(*m_pMime, html);
    } else if (!plain.bytes.empty() || !html.bytes.empty()) {
        SetTextBody(*m_pMime, plain.bytes.empty() ? html : plain);
    }
}

void CZnMail::DrawBoundary(const EncodedText& plain, const EncodedText& html) {
    BoundaryMaker maker;
    const bool hasBoth = !plain.bytes.empty() && !html.bytes.empty();
    if (hasBoth || !m_lstAttachments.empty()) {
        const std::uint32_t boundaries =
            hasBoth && !m_lstAttachments.empty() ? BoundaryMaker::kInner : BoundaryMaker::kOuter;
        for (const EncodedText* text : {&plain, &html}) {
            if (!text->isBinary) {
                maker.avoid(text->bytes, boundaries);
            }
        }
        for (const auto& attachment : m_lstAttachments) {
            avoidAttachmentText(maker, *attachment->m_pPart);
        }
    }
    m_uBoundaryCount = 0;
    m_strBoundary.Assign(maker.drawMiddle());
}

std::string CZnMail::NextBoundary() {
    return BoundaryMaker::boundary(++m_uBoundaryCount, m_strBoundary.View());
}

void CZnMail::AppendTextParts(const EncodedText& plain, const EncodedText& html) {
    if (!plain.bytes.empty() && !html.bytes.empty()) {
        borvik::BvMime alternative;
        MakeMultipart(alternative, "multipart/alternative", NextBoundary());
        AppendText(alternative, plain);
        AppendText(alternative, html);
        m_pMime->AppendPart(&alternative);
    } else if (!plain.bytes.empty() || !html.bytes.empty()) {
        AppendText(*m_pMime, plain.bytes.empty() ? html : plain);
    }
}

void CZnMail::AppendText(borvik::BvMime& parent, const EncodedText& text) {
    borvik::BvMime part;
    SetTextBody(part, text);
    parent.AppendPart(&part);
}

void CZnMail::MakeMultipart(borvik::BvMime& node, const char* contentType,
                            const std::string& boundary) {
    node.ContentType(contentType);
    node.Boundary(boundary.c_str());
}

}  // namespace tessolt
