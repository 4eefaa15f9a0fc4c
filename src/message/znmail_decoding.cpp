#include "base/ascii_text.h"
#include "charset/ansi_text.h"
#include "message/address_text.h"
#include "message/znmail.h"

namespace tessolt {
namespace {

/// Parts this deep below the root and deeper are left out; the root is at depth 0.
constexpr int kMaxWalkDepth = 5;

/// Sets `field` unless the text is empty.
void assignUtf8(CZncStringW& field, std::string_view utf8) {
    if (!utf8.empty()) {
        field.Assign(borvik::utf8ToWidePaired(utf8));
    }
}

/// A list may have very many entries: their texts must not keep the room that converting took.
std::u16string compactWide(std::string_view utf8) {
    std::u16string text = borvik::utf8ToWidePaired(utf8);
    text.shrink_to_fit();
    return text;
}

void assignBody(CZncStringW& field, borvik::BvMime& node) {
    borvik::BvString text;
    node.GetBodyDecoded(text);
    field.AssignBytes(AnsiTextOf(text));
}

}  // namespace

std::int32_t CZnMail::Decode() {
    borvik::BvString text;
    m_pMime->GetHeaderField("Subject", text);
    m_wstrSubject.Assign(text.x().wideView());

    m_pMime->GetHeaderField("From", text);
    const NamedAddress sender = SplitDisplayForm(text.x().utf8View());
    assignUtf8(m_wstrFromAddress, sender.address);
    assignUtf8(m_wstrFromName, sender.name);

    m_pMime->GetHeaderField("Reply-To", text);
    assignUtf8(m_wstrReplyAddress, AddressOfDisplayForm(text.x().utf8View()));

    m_pMime->GetHeaderField("Disposition-Notification-To", text);
    m_wstrReadReceiptAddress.Assign(text.x().wideView());

    m_pMime->GetHeaderField("Organization", text);
    m_wstrOrganization.Assign(text.x().wideView());

    ParseAddressField("To", m_lstTo);
    ParseAddressField("Cc", m_lstCc);
    ParseAddressField("Bcc", m_lstBcc);
    WalkParts(m_pMime, 0);
    return kMailOk;
}

void CZnMail::ParseAddressField(const char* field, RecipientList& list) {
    borvik::BvString text;
    m_pMime->GetHeaderField(field, text);
    for (const std::string& piece : SplitAddressList(text.x().utf8View())) {
        if (!piece.empty()) {
            const NamedAddress entry = SplitListedAddress(piece);
            list.push_back(std::make_unique<CZnMailRecipient>(compactWide(entry.name),
                                                              compactWide(entry.address)));
        }
    }
}

bool CZnMail::WalkParts(std::unique_ptr<borvik::BvMime>& node, int depth) {
    if (depth == kMaxWalkDepth) {
        return true;
    }
    borvik::BvString contentTypeText;
    borvik::BvString fileNameText;
    borvik::BvString nameText;
    node->ContentType(contentTypeText);
    node->Filename(fileNameText);
    node->Name(nameText);
    const std::string_view contentType = AnsiTextOf(contentTypeText);
    const std::string_view fileName = AnsiTextOf(fileNameText);
    const std::string_view name = AnsiTextOf(nameText);
    const bool isNameless = fileName.empty() && name.empty();

    if (borvik::beginsWithNoCase(contentType, "multipart")) {
        const int count = node->NumParts();
        for (int i = 0; i < count; ++i) {
            if (auto part = node->GetPart(i)) {
                WalkParts(part, depth + 1);
            }
        }
        return true;
    }
    if (isNameless && borvik::beginsWithNoCase(contentType, "text/html")) {
        assignBody(m_wstrBodyHtml, *node);
        return true;
    }
    const bool isPlainText = isNameless && borvik::beginsWithNoCase(contentType, "text/plain");
    if (isPlainText || depth == 0) {
        assignBody(m_wstrBodyPlainText, *node);
        return true;
    }
    auto attachment = std::make_unique<CZnMailAttachment>();
    attachment->m_strFileName.Assign(fileName.empty() ? name : fileName);
    attachment->m_strContentType.Assign(contentType);
    attachment->m_pPart = std::move(node);
    m_lstAttachments.push_back(std::move(attachment));
    return false;
}

}  // namespace tessolt
