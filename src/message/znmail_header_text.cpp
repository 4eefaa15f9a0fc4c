#include <utility>

#include "charset/ansi_text.h"
#include "charset/charset_registry.h"
#include "foundation/base64.h"
#include "message/znmail.h"

namespace tessolt {
namespace {

constexpr std::uint32_t kJapaneseMailPageWithKana = 50221;
constexpr std::string_view kJapaneseMailCharset = "iso-2022-jp";
constexpr std::string_view kUtf8Charset = "utf-8";
constexpr char16_t kFirstLatin = 0x80;
constexpr char16_t kFirstWide = 0x100;

std::string base64Of(std::string_view bytes) {
    CZncString text;
    CZncBase64().Encode(bytes.data(), static_cast<std::uint32_t>(bytes.size()), text);
    return text.TakeString();
}

}  // namespace

TextClass CZnMail::ClassifyText(std::u16string_view text) {
    // The bits of all units together reach as far as the largest of them.
    char16_t bits = 0;
    for (const char16_t unit : text) {
        bits |= unit;
    }
    return bits >= kFirstWide ? TextWide : bits >= kFirstLatin ? TextLatin : TextAscii;
}

std::string_view CZnMail::CharsetForCodePage(std::uint32_t codePage) {
    return codePage == kJapaneseMailPageWithKana ? kJapaneseMailCharset
                                                 : borvik::CharsetNaming::preferredName(codePage);
}

std::uint32_t CZnMail::LabelCodePage() const {
    return m_nEncoding != 0 ? static_cast<std::uint32_t>(m_nEncoding) : borvik::ansiCodePage();
}

std::string CZnMail::EncodeHeaderText(std::u16string_view text, bool quoted) const {
    std::string_view charset;
    std::string encoded;
    switch (ClassifyText(text)) {
        case TextAscii:
            encoded = borvik::wideToAnsi(text);
            break;
        case TextLatin:
            charset = CharsetForCodePage(LabelCodePage());
            encoded =
                "=?" + std::string(charset) + "?B?" + base64Of(borvik::wideToAnsi(text)) + "?=";
            break;
        case TextWide:
            encoded = "=?" + std::string(kUtf8Charset) + "?B?" +
                      base64Of(borvik::wideToUtf8Paired(text)) + "?=";
            break;
    }
    return quoted ? "\"" + encoded + "\"" : encoded;
}

CZnMail::EncodedText CZnMail::EncodeText(std::u16string_view text,
                                         std::string_view contentType) const {
    const TextClass textClass = ClassifyText(text);
    EncodedText encoded;
    encoded.contentType = contentType;
    encoded.isBinary = textClass != TextAscii;
    if (textClass == TextWide) {
        encoded.bytes = borvik::wideToUtf8Paired(text);
    } else {
        encoded.bytes = borvik::wideToAnsi(text);
    }
    if (encoded.isBinary) {
        encoded.contentType.append(";charset=")
            .append(textClass == TextWide ? kUtf8Charset : CharsetForCodePage(LabelCodePage()));
    }
    return encoded;
}

void CZnMail::SetTextBody(borvik::BvMime& node, std::u16string_view text,
                          std::string_view contentType) const {
    SetTextBody(node, EncodeText(text, contentType));
}

void CZnMail::SetTextBody(borvik::BvMime& node, const EncodedText& text) {
    if (text.isBinary) {
        borvik::BvByteData bytes;
        bytes.append(text.bytes.data(), text.bytes.size());
        node.SetBodyFromBinary(std::move(bytes));
    } else {
        node.SetBody(text.bytes.c_str());
    }
    node.ContentType(text.contentType.c_str());
    node.Encoding(text.isBinary ? "base64" : "7bit");
}

}  // namespace tessolt
