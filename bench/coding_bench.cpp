// Quoted-printable against GMime, and the UTF-16 of the library's texts against ICU, by script. The
// public column is what the shared library exports, the core one the engine behind it.

#include <gmime/gmime.h>
#include <tessolt/text_conversion.h>
#include <unicode/ustring.h>

#include <random>

#include "base/data_buffer.h"
#include "charset/ansi_text.h"
#include "charset/encoding_convert.h"
#include "charset/tables/code_pages.h"
#include "mime/coding/content_coding.h"
#include "peer_timing.h"
#include "sample_texts.h"

namespace {

using borvik::ContentCoding;
using borvik::DataBuffer;

constexpr std::size_t kTextSize = 4 * 1024 * 1024;
constexpr double kMega = 1e6;

struct Script {
    const char* name;
    std::string_view sample;
};

constexpr Script kScripts[] = {
    {"ASCII", bench::kEnglish},     {"Latin", bench::kFrench},  {"Cyrillic", bench::kRussian},
    {"Japanese", bench::kJapanese}, {"Korean", bench::kKorean}, {"emoji", bench::kEmoji},
};

void codeByGmime(bool encode, const std::string& text, std::string& out) {
    GMimeEncoding state;
    if (encode) {
        g_mime_encoding_init_encode(&state, GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE);
    } else {
        g_mime_encoding_init_decode(&state, GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE);
    }
    out.resize(g_mime_encoding_outlen(&state, text.size()));
    out.resize(g_mime_encoding_flush(&state, text.data(), text.size(), out.data()));
}

void compareQuotedPrintable(const std::string& name, const std::string& text) {
    DataBuffer ours;
    std::string theirs;
    bench::compare("quoted-printable encode, " + name, static_cast<double>(text.size()) / kMega,
                   [&] {
                       ours.clear();
                       ContentCoding::encodeQuotedPrintable(text, ours);
                   },
                   {{"GMime", [&] { codeByGmime(true, text, theirs); }}});
    DataBuffer encoded;
    ContentCoding::encodeQuotedPrintable(text, encoded);
    const std::string coded(encoded.view());
    bench::compare("quoted-printable decode, " + name, static_cast<double>(coded.size()) / kMega,
                   [&] {
                       ours.clear();
                       ContentCoding::decodeQuotedPrintable(coded, ours);
                   },
                   {{"GMime", [&] { codeByGmime(false, coded, theirs); }}});
}

void compareUtf16(const std::string& name, const std::string& utf8) {
    const std::u16string units = borvik::utf8ToWidePaired(utf8);
    const auto room = static_cast<std::int32_t>(3 * utf8.size());
    const double size = static_cast<double>(utf8.size()) / kMega;
    std::u16string wide(utf8.size(), u'\0');
    std::string narrow(3 * utf8.size(), '\0');
    bench::comparePublic(
        "UTF-8 to UTF-16, " + name, size,
        [&] {
            wide.resize(TessoltUtf16Length(utf8.data(), utf8.size()));
            TessoltUtf8ToUtf16(utf8.data(), utf8.size(), wide.data(), wide.size());
        },
        [&] { borvik::utf8ToWidePaired(utf8); },
        {{"ICU", [&] {
              UErrorCode error = U_ZERO_ERROR;
              u_strFromUTF8WithSub(wide.data(), static_cast<std::int32_t>(wide.size()), nullptr,
                                   utf8.data(), static_cast<std::int32_t>(utf8.size()), 0xFFFD,
                                   nullptr, &error);
          }}});
    bench::comparePublic(
        "UTF-16 to UTF-8, " + name, size,
        [&] {
            const std::size_t length = TessoltUtf8Length(units.data(), units.size());
            TessoltUtf16ToUtf8(units.data(), units.size(), narrow.data(), length);
        },
        [&] { borvik::wideToUtf8Paired(units); },
        {{"ICU", [&] {
              UErrorCode error = U_ZERO_ERROR;
              u_strToUTF8WithSub(narrow.data(), room, nullptr, units.data(),
                                 static_cast<std::int32_t>(units.size()), 0xFFFD, nullptr, &error);
          }}});
}

}  // namespace

int main() {
    g_mime_init();
    for (const Script& script : kScripts) {
        compareQuotedPrintable(script.name, bench::makeText(script.sample, kTextSize));
    }
    DataBuffer latin;
    borvik::EncodingConvert().convert(borvik::kUtf8, borvik::kWindowsLatin1,
                                      bench::makeText(bench::kFrench, kTextSize), latin);
    compareQuotedPrintable("Latin in 1252", std::string(latin.view()));
    std::mt19937 random(1);
    std::string bytes(kTextSize, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random());
    }
    compareQuotedPrintable("random bytes", bytes);
    for (const Script& script : kScripts) {
        compareUtf16(script.name, bench::makeText(script.sample, kTextSize));
    }
    g_mime_shutdown();
}
