#include <utility>

#include "base/ascii_text.h"
#include "message/address_text.h"
#include "message/ansi_units.h"
#include "message/znmail.h"

namespace tessolt {
namespace {

/// Parts this deep below the root and deeper are left out; the root is at depth 0.
constexpr int kMaxWalkDepth = 5;

/// Sets `field` unless the text is empty.
void assignUtf8(CZncStringW& field, std::string_view utf8) {
    if (!utf8.empty()) {
        field.Assign(WideOf(utf8));
    }
}

void assignHeader(CZncStringW& field, borvik::BvMime& root, const char* name) {
    std::string text;
    root.ReadHeaderField(name, text);
    field.Assign(WideOf(text));
}

/// The body of a node in a tree that was loaded.
class LoadedBody : public TextSource {
public:
    explicit LoadedBody(std::unique_ptr<borvik::BvMime> node) : node_(std::move(node)) {}
    void read(const std::function<void(std::string_view)>& take) override { node_->ReadBody(take); }

private:
    std::unique_ptr<borvik::BvMime> node_;
};

/// The text of a small body.
class CopiedBody : public TextSource {
public:
    explicit CopiedBody(std::string_view text) : text_(text) {}
    void read(const std::function<void(std::string_view)>& take) override { take(text_); }

private:
    std::string text_;
};

void assignBody(CZncStringW& field, borvik::BvMime& node) {
    // A copy of less takes no more memory than a tree that is kept for it.
    constexpr std::size_t kLarge = std::size_t{1} << 16;
    if (node.BodySize() < kLarge) {
        node.ReadBody([&field](std::string_view text) {
            field.AssignSource(std::make_unique<CopiedBody>(UpToZero(text)));
        });
    } else {
        field.AssignSource(std::make_unique<LoadedBody>(node.Share()));
    }
}

}  // namespace

std::int32_t CZnMail::Decode() {
    if (m_pLoaded) {
        DecodeLoaded();
        return kMailOk;
    }
    assignHeader(m_wstrSubject, *m_pMime, "Subject");
    assignHeader(m_wstrReadReceiptAddress, *m_pMime, "Disposition-Notification-To");
    assignHeader(m_wstrOrganization, *m_pMime, "Organization");

    std::string text;
    m_pMime->ReadHeaderField("From", text);
    const NamedAddress sender = SplitDisplayForm(text);
    assignUtf8(m_wstrFromAddress, sender.address);
    assignUtf8(m_wstrFromName, sender.name);

    m_pMime->ReadHeaderField("Reply-To", text);
    assignUtf8(m_wstrReplyAddress, AddressOfDisplayForm(text));

    ParseAddressField("To", m_lstTo);
    ParseAddressField("Cc", m_lstCc);
    ParseAddressField("Bcc", m_lstBcc);
    WalkParts(m_pMime.Handle(), 0);
    return kMailOk;
}

void CZnMail::ParseAddressField(const char* field, RecipientList& list) {
    std::string text;
    m_pMime->ReadHeaderField(field, text);
    AddressListReader pieces(text);
    for (std::string piece; pieces.next(piece);) {
        if (!piece.empty()) {
            const NamedAddress entry = SplitListedAddress(piece);
            list.add(WideOf(entry.name), WideOf(entry.address));
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
    attachment->m_strFileName.assign(fileName.empty() ? name : fileName);
    attachment->m_strContentType.assign(contentType);
    attachment->m_pPart = std::move(node);
    m_lstAttachments.push_back(std::move(attachment));
    return false;
}

}  // namespace tessolt
