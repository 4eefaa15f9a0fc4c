// Small pieces of work, whose instructions tell more than their time does on a busy machine:
//
//     calls_bench               the time of each
//     calls_bench ROW           one of them, a hundred times within `countedCalls`
//
// The latter is for `valgrind --tool=callgrind --toggle-collect=countedCalls`.

#include <tessolt/tessolt.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "base/data_buffer.h"
#include "charset/encoding_convert.h"
#include "charset/tables/code_pages.h"
#include "mime/coding/content_coding.h"
#include "peer_timing.h"
#include "sample_texts.h"

namespace {

using borvik::ContentCoding;
using borvik::DataBuffer;
using borvik::EncodingConvert;
using tessolt::IEMailMessage;
using tessolt::Text;

constexpr int kCalls = 100;
constexpr std::size_t kTextSize = 4096;

struct Row {
    std::string name;
    std::function<void()> work;
};

std::function<void()> conversion(std::uint32_t from, std::uint32_t to, std::string_view sample) {
    DataBuffer coded;
    EncodingConvert().convert(borvik::kUtf8, from, bench::makeText(sample, kTextSize), coded);
    return [from, to, text = std::string(coded.view())] {
        DataBuffer out;
        EncodingConvert().convert(from, to, text, out);
    };
}

std::function<void()> encoding(bool (*encode)(std::string_view, DataBuffer&),
                               std::string_view sample) {
    return [encode, text = bench::makeText(sample, kTextSize)] {
        DataBuffer out;
        encode(text, out);
    };
}

std::function<void()> texts(std::string_view sample) {
    return [text = bench::makeText(sample, kTextSize)] { Text(text).utf8(); };
}

tessolt::ComPtr<IEMailMessage> compose() {
    auto message = tessolt::CreateObject<IEMailMessage>(u"Tessolt.EMailMessage");
    message->put_FromAddress(Text("ann@example.org"));
    message->put_Subject(
        Text("Gr\xC3\xBC\xC3\x9F"
             "e"));
    message->put_BodyPlainText(Text(bench::makeText(bench::kFrench, kTextSize)));
    message->AddTo(Text("bob@example.org"), Text("Bob"));
    return message;
}

std::vector<Row> makeRows(const std::string& saved) {
    using borvik::kUtf8;
    return {
        {"object, made and freed",
         [] { tessolt::CreateObject<IEMailMessage>(u"Tessolt.EMailMessage"); }},
        {"message, composed and encoded", [] { compose()->Encode(); }},
        {"message, loaded and its text read",
         [saved] {
             auto message = tessolt::CreateObject<IEMailMessage>(u"Tessolt.EMailMessage");
             message->LoadMIME(Text(saved));
             Text text;
             message->get_BodyPlainText(text.put());
         }},
        {"Text from and to UTF-8, Latin", texts(bench::kFrench)},
        {"Text from and to UTF-8, Japanese", texts(bench::kJapanese)},
        {"Text from and to UTF-8, emoji", texts(bench::kEmoji)},
        {"quoted-printable encode, Latin",
         encoding(ContentCoding::encodeQuotedPrintable, bench::kFrench)},
        {"quoted-printable encode, Cyrillic",
         encoding(ContentCoding::encodeQuotedPrintable, bench::kRussian)},
        {"base64 encode", encoding(ContentCoding::encodeBase64Mime, bench::kRussian)},
        {"1252 to UTF-8", conversion(borvik::kWindowsLatin1, kUtf8, bench::kFrench)},
        {"1251 to UTF-8", conversion(1251, kUtf8, bench::kRussian)},
        {"1251 to UTF-16", conversion(1251, borvik::kUtf16Le, bench::kRussian)},
        {"gb2312 to UTF-8", conversion(borvik::kGbk, kUtf8, bench::kChinese)},
        {"iso-2022-jp to UTF-8", conversion(borvik::kIso2022Jp, kUtf8, bench::kJapanese)},
        {"UTF-8 to iso-2022-jp", conversion(kUtf8, borvik::kIso2022Jp, bench::kJapanese)},
        {"UTF-7 to UTF-8, Japanese", conversion(borvik::kUtf7, kUtf8, bench::kJapanese)},
    };
}

}  // namespace

extern "C" __attribute__((noinline)) void countedCalls(const std::function<void()>& work) {
    for (int i = 0; i < kCalls; ++i) {
        work();
    }
}

int main(int argc, char** argv) {
    const std::string saved =
        std::filesystem::temp_directory_path() / ("calls-" + std::to_string(::getpid()) + ".eml");
    compose()->SaveMIME(Text(saved));
    int found = 0;
    for (const Row& row : makeRows(saved)) {
        if (argc > 1 && row.name != argv[1]) {
            continue;
        }
        ++found;
        row.work();
        const double taken = bench::seconds([&] { countedCalls(row.work); });
        std::printf("%-40s %8.2f us\n", row.name.c_str(), taken / kCalls * 1e6);
    }
    std::filesystem::remove(saved);
    return found == 0 ? 2 : 0;
}
