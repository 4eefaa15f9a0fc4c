#pragma once

#include <string>
#include <string_view>

#include "charset/ansi_text.h"
#include "message/znmail.h"

namespace support {

inline std::string utf8(const tessolt::CZncStringW& text) {
    return borvik::wideToUtf8Paired(text.View());
}

inline std::u16string wide(std::string_view text) {
    return borvik::utf8ToWidePaired(text);
}

/// The recipients as "name <address>" in UTF-8, joined by "|".
inline std::string showRecipients(const tessolt::RecipientList& list) {
    std::string shown;
    for (const auto& recipient : list) {
        shown += shown.empty() ? "" : "|";
        shown += utf8(recipient->m_wstrName) + " <" + utf8(recipient->m_wstrAddress) + ">";
    }
    return shown;
}

/// The MIME text of the message as it stands.
inline std::string sourceOf(const tessolt::CZnMail& mail) {
    tessolt::CZncString source;
    return mail.GetSource(source).GetString();
}

inline std::size_t countOf(std::string_view text, std::string_view wanted) {
    std::size_t count = 0;
    for (auto at = text.find(wanted); at != text.npos; at = text.find(wanted, at + 1)) {
        ++count;
    }
    return count;
}

}  // namespace support
