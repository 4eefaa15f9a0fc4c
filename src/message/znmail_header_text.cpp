#include <limits>
#include <new>
#include <utility>

#include "base/data_buffer.h"
#include "charset/ansi_text.h"
#include "charset/charset_registry.h"
#include "charset/encoding_convert.h"
#include "charset/tables/code_pages.h"
#include "charset/unit_scan.h"
#include "foundation/base64.h"
#include "message/ansi_units.h"
#include "message/canonical_text.h"
#include "message/znmail.h"
#include "platform/memory_pages.h"

namespace tessolt {
namespace {

constexpr std::uint32_t kJapaneseMailPageWithKana = 50221;
constexpr std::string_view kJapaneseMailCharset = "iso-2022-jp";
constexpr std::string_view kUtf8Charset = "utf-8";
constexpr char16_t kFirstLatin = 0x80;
constexpr char16_t kFirstWide = 0x100;

std::string base64Of(std::string_view bytes) {
    CZncString text;
    if (bytes.size() > std::numeric_limits<std::uint32_t>::max() ||
        CZncBase64().Encode(bytes.data(), static_cast<std::uint32_t>(bytes.size()), text) != 0) {
        throw std::bad_alloc();
    }
    return text.TakeString();
}

/// Fills `bytes` with the text in `codePage`; false when a character has no place there.
bool convertWhole(std::u16string_view text, std::uint32_t codePage, std::string& bytes) {
    const std::string_view units(reinterpret_cast<const char*>(text.data()),
                                 text.size() * sizeof(char16_t));
    borvik::DataBuffer converted;
    if (!borvik::EncodingConvert().convert(borvik::kUtf16Le, codePage, units, converted)) {
        return false;
    }
    bytes = converted.view();
    return true;
}

}  // namespace

TextClass CZnMail::ClassifyText(std::u16string_view text) {
    const char16_t bits = borvik::bitsOfUnits(text);
    return bits >= kFirstWide ? TextWide : bits >= kFirstLatin ? TextLatin : TextAscii;
}

std::string_view CZnMail::CharsetForCodePage(std::uint32_t codePage) {
    return codePage == kJapaneseMailPageWithKana ? kJapaneseMailCharset
                                                 : borvik::CharsetNaming::preferredName(codePage);
}

CZnMail::LabelledText CZnMail::LabelText(std::u16string_view text) const {
    const TextClass textClass = ClassifyText(text);
    if (textClass == TextAscii) {
        LabelledText labelled{.bytes = {}, .charset = {}, .isAscii = true};
        platform::reserveLarge(labelled.bytes, text.size());
        AppendNarrow(text, labelled.bytes);
        return labelled;
    }
    const std::uint32_t ansiPage = borvik::ansiCodePage();
    const std::uint32_t labelPage =
        m_nEncoding != 0 ? static_cast<std::uint32_t>(m_nEncoding) : ansiPage;
    const std::string_view charset = CharsetForCodePage(labelPage);
    if (textClass == TextLatin && ansiPage != borvik::kUtf8) {
        return {.bytes = borvik::wideToAnsi(text), .charset = charset};
    }
    std::string bytes;
    if (textClass == TextLatin && convertWhole(text, labelPage, bytes) && !charset.empty()) {
        return {.bytes = std::move(bytes), .charset = charset};
    }
    return {.bytes = borvik::wideToUtf8Paired(text), .charset = kUtf8Charset};
}

std::string CZnMail::EncodeHeaderText(std::u16string_view text, bool quoted) const {
    std::string encoded;
    AppendHeaderText(text, quoted, encoded);
    return encoded;
}

void CZnMail::AppendHeaderText(std::u16string_view text, bool quoted, std::string& out) const {
    const std::string_view quote = quoted ? "\"" : "";
    out += quote;
    if (ClassifyText(text) == TextAscii) {
        AppendNarrow(text, out);
    } else {
        const LabelledText labelled = LabelText(text);
        out.append("=?").append(labelled.charset).append("?B?");
        out.append(base64Of(labelled.bytes)).append("?=");
    }
    out += quote;
}

CZnMail::EncodedText CZnMail::EncodeText(std::u16string_view text,
                                         std::string_view contentType) const {
    if (m_rules.canonicalText && !HasOnlyCrlf(text)) {
        return EncodeCanonicalText(WithCrlfLineEnds(text), contentType);
    }
    return EncodeCanonicalText(text, contentType);
}

CZnMail::EncodedText CZnMail::EncodeCanonicalText(std::u16string_view text,
                                                  std::string_view contentType) const {
    LabelledText labelled = LabelText(text);
    EncodedText encoded;
    encoded.bytes = std::move(labelled.bytes);
    encoded.contentType = contentType;
    encoded.isBinary = !labelled.isAscii;
    if (encoded.isBinary) {
        encoded.contentType.append(";charset=").append(labelled.charset);
    }
    if (m_rules.canonicalText && !encoded.isBinary && !IsSevenBitText(encoded.bytes)) {
        encoded.coding = "quoted-printable";
    }
    return encoded;
}

}  // namespace tessolt
