#include <memory>

#include "message/znmail.h"

namespace tessolt {
namespace {

std::unique_ptr<CZnMailAttachment> copyOf(const CZnMailAttachment& attachment) {
    auto copy = std::make_unique<CZnMailAttachment>();
    copy->m_strFileName = attachment.m_strFileName;
    copy->m_strContentType = attachment.m_strContentType;
    copy->m_bInline = attachment.m_bInline;
    copy->m_pPart = attachment.m_pPart ? attachment.m_pPart->Copy() : nullptr;
    copy->m_pLoaded = attachment.m_pLoaded;
    return copy;
}

}  // namespace

void CZnMail::CopyFrom(const CZnMail& other) {
    m_rules = other.m_rules;
    m_strMailer = other.m_strMailer;
    m_wstrSubject = other.m_wstrSubject;
    m_wstrBodyPlainText = other.m_wstrBodyPlainText;
    m_wstrBodyHtml = other.m_wstrBodyHtml;
    m_wstrFromName = other.m_wstrFromName;
    m_wstrFromAddress = other.m_wstrFromAddress;
    m_wstrReplyAddress = other.m_wstrReplyAddress;
    m_wstrReadReceiptAddress = other.m_wstrReadReceiptAddress;
    m_wstrOrganization = other.m_wstrOrganization;
    m_lstTo = other.m_lstTo;
    m_lstCc = other.m_lstCc;
    m_lstBcc = other.m_lstBcc;
    m_uID = other.m_uID;
    m_nEncoding = other.m_nEncoding;
    m_nPriority = other.m_nPriority;
    m_lstAttachments.clear();
    for (const auto& attachment : other.m_lstAttachments) {
        m_lstAttachments.push_back(copyOf(*attachment));
    }
    m_mapHeaders.clear();
    for (const auto& [name, header] : other.m_mapHeaders) {
        m_mapHeaders.emplace(name, std::make_unique<CZnMailHeader>(*header));
    }
    m_pMime = other.m_pMime.Copy();
    m_strBoundary = other.m_strBoundary;
    m_uBoundaryCount = other.m_uBoundaryCount;
    m_uContentId = other.m_uContentId;
    m_pKept = other.m_pKept;
    m_pLoaded = other.m_pLoaded;
}

}  // namespace tessolt
