#include "message/znmail.h"

#include <algorithm>
#include <functional>
#include <new>
#include <optional>
#include <utility>

#include "base/ascii_text.h"
#include "charset/ansi_text.h"
#include "charset/tables/code_pages.h"
#include "foundation/text_operations.h"
#include "message/address_text.h"
#include "message/ansi_units.h"
#include "message/loaded_message.h"
#include "message/wire_text.h"

namespace tessolt {
namespace {

/// A longer text is written anew each time: to keep it would take as much memory as the message.
constexpr std::size_t kMostKeptSource = 262144;

}  // namespace

std::string_view AnsiTextOf(borvik::BvString& text) {
    return UpToZero(text.x().ansiView());
}

CZnMail::CZnMail(const char* objectName) : CZncBase(objectName) {}

void CZnMail::Clear() {
    m_pMime = MailTree();
    m_pLoaded.reset();
    m_pKept.reset();
    ClearFields();
}

void CZnMail::ClearFields() {
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
    const std::u16string_view given = TrimmedText(UpToZero(addresses));
    const auto isSeparator = [](char16_t unit) {
        return unit == u';' || unit == u'|' || unit == u',';
    };
    if (std::ranges::none_of(given, isSeparator)) {
        const bool isValid = IsValidEmailAddress(given);
        if (isValid) {
            list.add(TrimmedText(UpToZero(displayName)), given);
        }
        return isValid;
    }
    std::u16string commaList(given);
    std::ranges::replace_if(commaList, isSeparator, u',');
    const auto tokens = ListTokens(std::u16string_view(commaList), u',');
    const bool allValid = std::ranges::all_of(
        tokens, [](std::u16string_view token) { return IsValidEmailAddress(TrimmedText(token)); });
    if (tokens.empty() || !allValid) {
        return false;
    }
    for (const std::u16string_view token : tokens) {
        const std::u16string_view address = TrimmedText(token);
        list.add(tokens.size() == 1 ? TrimmedText(UpToZero(displayName)) : address, address);
    }
    return true;
}

void CZnMail::AddHeader(std::string_view name, std::string_view value) {
    auto header = std::make_unique<CZnMailHeader>();
    header->m_wstrName.AssignBytes(name);
    header->m_wstrValue.AssignBytes(value);
    m_mapHeaders.insert_or_assign(std::string(UpToZero(name)), std::move(header));
}

void CZnMail::RemoveHeaders(std::string_view prefix) {
    auto entry = m_mapHeaders.lower_bound(prefix);
    while (entry != m_mapHeaders.end() && entry->first.starts_with(prefix)) {
        m_pKept.reset();
        if (m_pLoaded) {
            SetLoadedField(entry->first, {});
        } else {
            m_pMime->SetHeaderField(entry->first.c_str(), "");
        }
        entry = m_mapHeaders.erase(entry);
    }
}

std::int32_t CZnMail::CheckForSending() {
    m_wstrFromAddress.Trim();
    if (!m_wstrFromAddress.IsEmpty() && !IsValidEmailAddress(m_wstrFromAddress.View())) {
        return kMailBadFromAddress;
    }
    return m_lstTo.empty() ? kMailNoToRecipients : kMailOk;
}

std::string CZnMail::JoinAddresses(const RecipientList& list) {
    std::string joined;
    for (const auto& recipient : list) {
        joined.append(AnsiOf(recipient->m_wstrAddress.View())).append(1, ';');
    }
    joined.resize(joined.find_last_not_of(';') + 1);
    return joined;
}

CZncString& CZnMail::GetSource(CZncString& out) const {
    borvik::BvString text;
    return out.Assign(GetSource(text));
}

std::string_view CZnMail::GetSource(borvik::BvString& storage) const {
    if (m_pLoaded) {
        return m_pLoaded->text();
    }
    try {
        if (const auto kept = Kept()) {
            return kept->text;
        }
        return m_pMime->GetMime(storage) ? AnsiTextOf(storage) : std::string_view();
    } catch (const std::bad_alloc&) {
        return {};
    }
}

std::shared_ptr<const CZnMail::KeptText> CZnMail::Kept() const {
    if (m_pKept) {
        return m_pKept;
    }
    const auto& draft = m_pMime.Draft();
    if (draft) {
        if (draft->bodySize() > kMostKeptSource) {
            return nullptr;
        }
        auto text = std::make_shared<KeptText>();
        text->isBytes = draft->writeText(text->text, text->headSize);
        if (text->isBytes) {
            m_pKept = std::move(text);
            return m_pKept;
        }
    }
    if (m_pMime->TextSizeEstimate() > kMostKeptSource) {
        return nullptr;
    }
    borvik::BvString storage;
    bool isBytes = false;
    auto text = std::make_shared<KeptText>();
    text->text = m_pMime->GetMime(storage, isBytes) ? AnsiTextOf(storage) : std::string_view();
    text->isBytes = isBytes && borvik::isAscii(storage.x().utf8View());
    m_pKept = text->text.empty() ? nullptr : std::move(text);
    return m_pKept;
}

std::shared_ptr<const CZnMail::KeptText> CZnMail::KeptBytes() const try {
    const auto kept = Kept();
    return kept && kept->isBytes ? kept : nullptr;
} catch (const std::bad_alloc&) {
    return nullptr;
}

void CZnMail::GetWireText(WireText& text) const {
    if (m_pLoaded) {
        text.SetWhole(LoadedWireText(LoadedOutward()->text(), text.Storage()), m_pLoaded);
    } else if (borvik::ansiCodePage() != borvik::kUtf8) {
        text.SetWhole(GetSource(text.Storage()));
    } else if (const auto kept = KeptBytes()) {
        text.SetWhole(kept->text, kept);
    } else if (borvik::MimePieces& pieces = text.Pieces();
               // The text form would be UTF-8 throughout, whatever the labels of 8-bit parts say.
               !FillPieces(pieces) || pieces.size() > borvik::StringBuffer::kMaxSize) {
        pieces = {};
    }
}

bool CZnMail::FillPieces(borvik::MimePieces& pieces) const {
    const std::shared_ptr<const borvik::MimeDraft> draft = m_pMime.Draft();
    if (draft && draft->writePieces(pieces)) {
        pieces.tree = draft;
        return true;
    }
    return m_pMime->GetMimePieces(pieces);
}

std::size_t CZnMail::GetSourceSize() const {
    borvik::BvString text;
    return GetSource(text).size();
}

CZncString& CZnMail::GetHead(CZncString& out) const {
    if (m_pLoaded) {
        std::string_view head = m_pLoaded->message.root().header;
        head = head.substr(0, head.find_last_not_of("\r\n") + 1);
        return out.Assign(head);
    }
    if (m_pMime.Draft()) {
        const auto kept = Kept();
        if (kept && kept->headSize > 0) {
            return out.Assign(std::string_view(kept->text).substr(0, kept->headSize));
        }
    }
    borvik::BvString text;
    m_pMime->GetEntireHead(text);
    return out.Assign(AnsiTextOf(text));
}

CZncString& CZnMail::GetHeader(const char* name, CZncString& out) const {
    if (m_pLoaded) {
        return out.Assign(borvik::wideToAnsi(GetHeaderText(name)));
    }
    borvik::BvString text;
    m_pMime->GetHeaderField(name, text);
    return out.Assign(AnsiTextOf(text));
}

std::int32_t CZnMail::LoadAnew(const std::function<bool()>& load, std::int32_t failure) {
    try {
        Clear();
        return load() ? Decode() : failure;
    } catch (const std::bad_alloc&) {
        // What the message had more must not be taken for absent.
        ClearFields();
        return failure;
    }
}

std::int32_t CZnMail::LoadFromText(const char* text) {
    if (m_rules.standardReading) {
        return LoadFromBytes(text ? text : "");
    }
    return LoadAnew([&] { return m_pMime->LoadMime(text); }, kMailTextLoadFailed);
}

std::int32_t CZnMail::LoadFromBytes(std::string text) {
    if (!m_rules.standardReading) {
        return LoadFromText(text.c_str());
    }
    return LoadAnew(
        [&] {
            m_pLoaded = std::make_shared<const LoadedMessage>(std::move(text));
            return true;
        },
        kMailTextLoadFailed);
}

std::int32_t CZnMail::LoadFromFile(std::u16string_view path) {
    return LoadAnew(
        [&] {
            const std::optional<std::string> ansi = AnsiOfExactly(UpToZero(path));
            if (!m_rules.standardReading) {
                return ansi && m_pMime->LoadMimeFile(ansi->c_str());
            }
            borvik::BvByteData bytes;
            if (!ansi || !bytes.loadFile(ansi->c_str())) {
                return false;
            }
            m_pLoaded = std::make_shared<const LoadedMessage>(std::string(bytes.view()));
            return true;
        },
        kMailFileLoadFailed);
}

std::int32_t CZnMail::SaveToFile(std::u16string_view path) const {
    try {
        const std::optional<std::string> ansi = AnsiOfExactly(UpToZero(path));
        if (!ansi) {
            return kMailFileSaveFailed;
        }
        const auto kept = m_pLoaded ? nullptr : KeptBytes();
        if (!m_pLoaded && !kept) {
            return m_pMime->SaveMime(ansi->c_str()) ? kMailOk : kMailFileSaveFailed;
        }
        const std::shared_ptr<const LoadedMessage> outward = kept ? nullptr : LoadedOutward();
        const std::string_view text = kept ? std::string_view(kept->text) : outward->text();
        borvik::BvByteData bytes;
        bytes.data().borrow(text.data(), text.size());
        return bytes.getSize() == text.size() && bytes.saveFile(ansi->c_str())
                   ? kMailOk
                   : kMailFileSaveFailed;
    } catch (const std::bad_alloc&) {
        return kMailFileSaveFailed;
    }
}

}  // namespace tessolt
