#include "foundation/wide_string.h"

#include "charset/ansi_text.h"
#include "platform/automation_string.h"
#include "platform/memory_pages.h"

namespace tessolt {

CZncStringW& CZncStringW::Assign(const OLECHAR* text) {
    return Assign(ViewOf(text));
}

CZncStringW& CZncStringW::Assign(const CZncStringW& text) {
    return this == &text ? *this : Assign(text.View());
}

CZncStringW& CZncStringW::Assign(std::u16string_view text) {
    const std::u16string_view whole = UpToZero(text);
    if (whole.size() > m_wstrText.capacity()) {
        platform::reserveLarge(m_wstrText, whole.size());
    }
    m_wstrText.assign(whole);
    m_lastToken.index = -1;
    m_pSource.reset();
    return *this;
}

CZncStringW& CZncStringW::Assign(std::u16string&& text) {
    m_pSource.reset();
    m_wstrText = std::move(text);
    m_wstrText.resize(UpToZero(std::u16string_view(m_wstrText)).size());
    m_lastToken.index = -1;
    return *this;
}

CZncStringW& CZncStringW::AssignBytes(const char* text) {
    return AssignBytes(ViewOf(text));
}

CZncStringW& CZncStringW::AssignBytes(std::string_view text) {
    // No byte but zero becomes a zero unit.
    m_wstrText = borvik::ansiToWide(UpToZero(text));
    m_pSource.reset();
    m_lastToken.index = -1;
    return *this;
}

CZncStringW& CZncStringW::AssignSource(std::unique_ptr<TextSource> source) {
    m_wstrText = {};
    m_pSource = std::move(source);
    m_lastToken.index = -1;
    return *this;
}

void CZncStringW::ReadSource() const {
    const bool isUtf8 = m_pSource->isUtf8();
    m_pSource->read([this, isUtf8](std::string_view text) {
        m_wstrText = isUtf8 ? borvik::utf8ToWidePaired(text) : borvik::ansiToWide(text);
    });
    m_pSource.reset();
}

CZncStringW& CZncStringW::Append(const OLECHAR* text) {
    return Append(ViewOf(text));
}

CZncStringW& CZncStringW::Append(const CZncStringW& text) {
    return Append(text.View());
}

CZncStringW& CZncStringW::Append(std::u16string_view text) {
    Whole().append(UpToZero(text));
    m_lastToken.index = -1;
    return *this;
}

void CZncStringW::Trim() {
    Assign(std::u16string(TrimmedText<OLECHAR>(View())));
}

void CZncStringW::Replace(const OLECHAR* find, const OLECHAR* with, bool matchCase) {
    ReplaceText(Whole(), ViewOf(find), ViewOf(with), matchCase);
    m_lastToken.index = -1;
}

void CZncStringW::GetToken(const OLECHAR* separator, const OLECHAR* defaultText,
                           CZncStringW& result, std::int32_t index) const {
    const std::u16string_view token = TokenOf(View(), ViewOf(separator), index, m_lastToken);
    result.Assign(std::u16string(token.empty() ? ViewOf(defaultText) : token));
}

const char* CZncStringW::GetAnsi() const {
    m_strAnsi = borvik::wideToAnsi(View());
    return m_strAnsi.c_str();
}

BSTR CZncStringW::AllocWide() const {
    return platform::allocBstr(View());
}

void WideToUtf8(const OLECHAR* text, CZncString& result) {
    const std::u16string_view wide = ViewOf(text);
    if (!wide.empty()) {
        result.Assign(borvik::wideToUtf8Paired(wide));
    }
}

void Utf8ToWide(const char* text, CZncStringW& result) {
    const std::string_view bytes = ViewOf(text);
    if (!bytes.empty()) {
        result.Assign(borvik::utf8ToWidePaired(bytes));
    }
}

}  // namespace tessolt
