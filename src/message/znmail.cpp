#include "message/znmail.h"

#include <algorithm>
#include <utility>

#include "base/ascii_text.h"
#include "charset/ansi_text.h"
#include "foundation/text_operations.h"
#include "message/address_text.h"

namespace tessolt {

std::string_view AnsiTextOf(borvik::BvString& text) {
    // ASCII is the same in both forms, and most mail is nothing else.
    const std::string_view utf8 = text.x().utf8View();
    return UpToZero(borvik::isAscii(utf8) ? utf8 : text.x().ansiView());
}

CZnMail::CZnMail(const char* objectName) : CZncBase(objectName) {
    Clear();
}

void CZnMail::Clear() {
    m_pMime = std::make_unique<borvik::BvMime>();
    m_uBoundaryCount = 0;
    m_nPriority = kNormalPriority;
    m_nEncoding = 0;
    m_uContentId = 0;
    for (CZncStringW* text : {&m_wstrSubject, &m_wstrBodyPlainText, &m_wstrBodyHtml,
                              &m_wstrFromName, &m_wstrFromAddress, &m_wstrReplyAddress,
                              &m_wstrReadReceiptAddress, &m_wstrOrganization}) {
        text->Assign(std::u16string());
    }
    m_lstTo.clear();
    m_lstCc.clear();
    m_lstBcc.clear();
    m_lstAttachments.clear();
    m_mapHeaders.clear();
}

std::int32_t CZnMail::AddTo(std::u16string_view addresses, std::u16string_view displayName) {
    return AddRecipients(m_lstTo, addresses, displayName) ? kMailOk : kMailBadToAddress;
}

std::int32_t CZnMail::AddCc(std::u16string_view addresses, std::u16string_view displayName) {
    return AddRecipients(m_lstCc, addresses, displayName) ? kMailOk : kMailBadCcAddress;
}

std::int32_t CZnMail::AddBcc(std::u16string_view addresses, std::u16string_view displayName) {
    return AddRecipients(m_lstBcc, addresses, displayName) ? kMailOk : kMailBadBccAddress;
}

bool CZnMail::AddRecipients(RecipientList& list, std::u16string_view addresses,
                            std::u16string_view displayName) {
    std::u16string commaList(TrimmedText(UpToZero(addresses)));
    std::ranges::replace_if(
        commaList, [](char16_t unit) { return unit == u';' || unit == u'|'; }, u',');
    const auto tokens = ListTokens(std::u16string_view(commaList), u',');
    const bool allValid = std::ranges::all_of(tokens, [](std::u16string_view token) {
        return IsValidEmailAddress(borvik::wideToAnsi(TrimmedText(token)));
    });
    if (tokens.empty() || !allValid) {
        return false;
    }
    for (const std::u16string_view token : tokens) {
        const std::u16string address(TrimmedText(token));
        std::u16string name =
            tokens.size() == 1 ? std::u16string(TrimmedText(displayName)) : address;
        list.push_back(std::make_unique<CZnMailRecipient>(std::move(name), address));
    }
    return true;
}

void CZnMail::AddHeader(std::string_view name, std::string_view value) {
    auto header = std::make_unique<CZnMailHeader>();
    header->m_wstrName.AssignBytes(name);
    header->m_wstrValue.AssignBytes(value);
    m_mapHeaders.insert_or_assign(std::string(UpToZero(name)), std::move(header));
}

std::int32_t CZnMail::CheckForSending() {
    m_wstrFromAddress.Trim();
    if (!m_wstrFromAddress.IsEmpty() && !IsValidEmailAddress(m_wstrFromAddress.GetAnsi())) {
        return kMailBadFromAddress;
    }
    return m_lstTo.empty() ? kMailNoToRecipients : kMailOk;
}

std::string CZnMail::JoinAddresses(const RecipientList& list) {
    std::string joined;
    for (const auto& recipient : list) {
        if (!joined.empty()) {
            joined += ';';
        }
        joined += borvik::wideToAnsi(recipient->m_wstrAddress.View());
    }
    return joined;
}

CZncString& CZnMail::GetSource(CZncString& out) const {
    borvik::BvString text;
    return out.Assign(GetSource(text));
}

std::string_view CZnMail::GetSource(borvik::BvString& storage) const {
    m_pMime->GetMime(storage);
    return AnsiTextOf(storage);
}

std::size_t CZnMail::GetSourceSize() const {
    borvik::BvString text;
    return GetSource(text).size();
}

CZncString& CZnMail::GetHead(CZncString& out) const {
    borvik::BvString text;
    m_pMime->GetEntireHead(text);
    return out.Assign(AnsiTextOf(text));
}

CZncString& CZnMail::GetHeader(const char* name, CZncString& out) const {
    borvik::BvString text;
    m_pMime->GetHeaderField(name, text);
    return out.Assign(AnsiTextOf(text));
}

std::int32_t CZnMail::LoadFromText(const char* text) {
    Clear();
    return m_pMime->LoadMime(text) ? Decode() : kMailTextLoadFailed;
}

std::int32_t CZnMail::LoadFromFile(const char* path) {
    Clear();
    return m_pMime->LoadMimeFile(path) ? Decode() : kMailFileLoadFailed;
}

std::int32_t CZnMail::SaveToFile(const char* path) const {
    return m_pMime->SaveMime(path) ? kMailOk : kMailFileSaveFailed;
}

}  // namespace tessolt
