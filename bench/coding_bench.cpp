// Quoted-printable against GMime, and the UTF-16 of the library's texts against ICU, by script. The
// public column is the library's `Text`, the core one the engine behind it.

#include <gmime/gmime.h>
#include <tessolt/tessolt.h>
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
using tessolt::Text;

constexpr std::size_t kTextSize = 4 * 1024 * 1024;
constexpr std::size_t kMessageSize = 20000;
constexpr int kRepeats = 200;
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

/// Texts as long as those of messages, many times.
std::function<void()> times(const std::function<void()>& work) {
    return [work] {
        for (int i = 0; i < kRepeats; ++i) {
            work();
        }
    };
}

void compareUtf16(const std::string& name, const std::string& utf8) {
    const Text text(utf8);
    const std::u16string_view units = text.view();
    const auto length = static_cast<std::int32_t>(utf8.size());
    const auto unitLength = static_cast<std::int32_t>(units.size());
    const double size = static_cast<double>(utf8.size()) * kRepeats / kMega;
    const auto fromIcu = [&] {
        UErrorCode error = U_ZERO_ERROR;
        std::int32_t wanted = 0;
        u_strFromUTF8WithSub(nullptr, 0, &wanted, utf8.data(), length, 0xFFFD, nullptr, &error);
        error = U_ZERO_ERROR;
        std::u16string out(static_cast<std::size_t>(wanted), u'\0');
        u_strFromUTF8WithSub(out.data(), wanted, nullptr, utf8.data(), length, 0xFFFD, nullptr,
                             &error);
    };
    const auto toIcu = [&] {
        UErrorCode error = U_ZERO_ERROR;
        std::int32_t wanted = 0;
        u_strToUTF8WithSub(nullptr, 0, &wanted, units.data(), unitLength, 0xFFFD, nullptr, &error);
        error = U_ZERO_ERROR;
        std::string out(static_cast<std::size_t>(wanted), '\0');
        u_strToUTF8WithSub(out.data(), wanted, nullptr, units.data(), unitLength, 0xFFFD, nullptr,
                           &error);
    };
    bench::comparePublic("UTF-8 to UTF-16, " + name, size, times([&] { Text made(utf8); }),
                         times([&] { borvik::utf8ToWidePaired(utf8); }), {{"ICU", times(fromIcu)}});
    bench::comparePublic("UTF-16 to UTF-8, " + name, size, times([&] { text.utf8(); }),
                         times([&] { borvik::wideToUtf8Paired(units); }), {{"ICU", times(toIcu)}});
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
        compareUtf16(script.name, bench::makeText(script.sample, kMessageSize));
    }
    g_mime_shutdown();
}
