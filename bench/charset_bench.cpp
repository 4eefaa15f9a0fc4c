// Charset conversion against the C library's iconv and ICU, in turn in one run: 8 MB texts in both
// directions, to UTF-8 and to UTF-16. Then the cost of a first use, and time at n and 2n for
// hostile input. Exits with 1 when a bar is missed.

#include <iconv.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unicode/ucnv.h>
#include <unicode/ustring.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/data_buffer.h"
#include "charset/encoding_convert.h"
#include "charset/tables/code_pages.h"
#include "charset/tables/conversion_tables.h"
#include "peer_timing.h"
#include "sample_texts.h"

namespace {

using borvik::DataBuffer;
using borvik::EncodingConvert;

constexpr std::size_t kTextSize = 8 * 1024 * 1024;
constexpr double kWantedRatio = 2.0;

using bench::kChinese;
using bench::kFrench;
using bench::kJapanese;
using bench::kKorean;
using bench::kRussian;
using bench::kTraditional;

struct Charset {
    const char* label;
    std::uint32_t codePage;
    const char* iconvName;
    const char* icuName;
    std::string_view sample;
};

const Charset kCharsets[] = {
    {"1252", 1252, "CP1252", "windows-1252", kFrench},
    {"1251", 1251, "CP1251", "windows-1251", kRussian},
    {"932", 932, "CP932", "windows-932", kJapanese},
    {"936", 936, "CP936", "windows-936", kChinese},
    {"949", 949, "UHC", "windows-949", kKorean},
    {"950", 950, "BIG5", "windows-950", kTraditional},
    {"euc-jp", 51932, "EUC-JP", "EUC-JP", kJapanese},
    {"iso-2022-jp", 50220, "ISO-2022-JP", "ISO-2022-JP", kJapanese},
    {"utf-7 Latin", 65000, "UTF-7", "UTF-7", kFrench},
    {"utf-7 Japanese", 65000, "UTF-7", "UTF-7", kJapanese},
    {"utf-16 Latin", 1200, "UTF-16LE", "UTF-16LE", kFrench},
    {"utf-16 Cyrillic", 1200, "UTF-16LE", "UTF-16LE", kRussian},
    {"utf-16 Japanese", 1200, "UTF-16LE", "UTF-16LE", kJapanese},
};

double millisecondsOf(const std::function<void()>& work) {
    return bench::seconds(work) * 1e3;
}

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "%s\n", what.c_str());
    std::exit(2);
}

/// One conversion by each of the three, ready to be repeated.
class Contest {
public:
    Contest(std::uint32_t from, std::uint32_t to, const char* iconvFrom, const char* iconvTo,
            const char* icuFrom, const char* icuTo, const std::string& input)
        : from_(from), to_(to), input_(input), out_(3 * input.size() + 64) {
        iconv_ = iconv_open(iconvTo, iconvFrom);
        UErrorCode error = U_ZERO_ERROR;
        icuFrom_ = ucnv_open(icuFrom, &error);
        icuTo_ = ucnv_open(icuTo, &error);
        if (iconv_ == reinterpret_cast<iconv_t>(-1) || U_FAILURE(error)) {
            fail(std::string("no peer for ") + iconvFrom + " or " + icuFrom);
        }
    }
    Contest(const Contest&) = delete;
    Contest& operator=(const Contest&) = delete;
    ~Contest() {
        iconv_close(iconv_);
        ucnv_close(icuFrom_);
        ucnv_close(icuTo_);
    }

    void runOurs() {
        ours_.clear();
        if (!EncodingConvert().convert(from_, to_, input_, ours_)) {
            fail("we dropped characters");
        }
    }

    void runIconv() {
        char* in = const_cast<char*>(input_.data());
        std::size_t inLeft = input_.size();
        char* out = out_.data();
        std::size_t outLeft = out_.size();
        if (iconv(iconv_, &in, &inLeft, &out, &outLeft) == static_cast<std::size_t>(-1)) {
            fail("iconv failed");
        }
        iconv(iconv_, nullptr, nullptr, &out, &outLeft);
    }

    /// The quickest of its interfaces for the pair: the string functions between UTF-8 and UTF-16,
    /// one converter where the other side is UTF-16, and two with a pivot else.
    void runIcu() {
        UErrorCode error = U_ZERO_ERROR;
        const auto* units = reinterpret_cast<const UChar*>(input_.data());
        auto* wide = reinterpret_cast<UChar*>(out_.data());
        const auto size = static_cast<std::int32_t>(input_.size());
        const auto room = static_cast<std::int32_t>(out_.size());
        std::int32_t length = 0;
        if (from_ == borvik::kUtf16Le && to_ == borvik::kUtf8) {
            u_strToUTF8(out_.data(), room, &length, units, size / 2, &error);
        } else if (from_ == borvik::kUtf8 && to_ == borvik::kUtf16Le) {
            u_strFromUTF8(wide, room / 2, &length, input_.data(), size, &error);
        } else if (to_ == borvik::kUtf16Le) {
            ucnv_toUChars(icuFrom_, wide, room / 2, input_.data(), size, &error);
        } else if (from_ == borvik::kUtf16Le) {
            ucnv_fromUChars(icuTo_, out_.data(), room, units, size / 2, &error);
        } else {
            char* out = out_.data();
            const char* in = input_.data();
            UChar pivot[4096];
            UChar* source = pivot;
            UChar* target = pivot;
            ucnv_convertEx(icuTo_, icuFrom_, &out, out + room, &in, in + size, pivot, &source,
                           &target, pivot + std::size(pivot), 1, 1, &error);
        }
        if (U_FAILURE(error)) {
            fail(std::string("ICU failed: ") + u_errorName(error));
        }
    }

private:
    std::uint32_t from_;
    std::uint32_t to_;
    const std::string& input_;
    std::vector<char> out_;
    DataBuffer ours_;
    iconv_t iconv_;
    UConverter* icuFrom_;
    UConverter* icuTo_;
};

/// False when we are not fast enough.
bool measure(const std::string& label, Contest& contest, std::size_t inputSize) {
    contest.runOurs();
    return bench::compare(label, static_cast<double>(inputSize) / 1e6, [&] { contest.runOurs(); },
                          {{"iconv", [&] { contest.runIconv(); }},
                           {"ICU", [&] { contest.runIcu(); }}}) >= kWantedRatio;
}

std::string converted(std::uint32_t from, std::uint32_t to, const std::string& input) {
    DataBuffer out;
    if (!EncodingConvert().convert(from, to, input, out)) {
        fail("a sample is not in its charset");
    }
    return std::string(out.view());
}

bool measureCharset(const Charset& charset) {
    const std::string utf8 = bench::makeText(charset.sample, kTextSize);
    const std::string coded = converted(borvik::kUtf8, charset.codePage, utf8);
    const std::string label = charset.label;
    bool good = true;
    {
        Contest toUtf8(charset.codePage, borvik::kUtf8, charset.iconvName, "UTF-8", charset.icuName,
                       "UTF-8", coded);
        good = measure(label + " to utf-8", toUtf8, coded.size()) && good;
        Contest fromUtf8(borvik::kUtf8, charset.codePage, "UTF-8", charset.iconvName, "UTF-8",
                         charset.icuName, utf8);
        good = measure("utf-8 to " + label, fromUtf8, utf8.size()) && good;
    }
    if (charset.codePage == borvik::kUtf16Le) {
        return good;
    }
    const std::string units = converted(borvik::kUtf8, borvik::kUtf16Le, utf8);
    Contest toUnits(charset.codePage, borvik::kUtf16Le, charset.iconvName, "UTF-16LE",
                    charset.icuName, "UTF-16LE", coded);
    good = measure(label + " to utf-16", toUnits, coded.size()) && good;
    Contest fromUnits(borvik::kUtf16Le, charset.codePage, "UTF-16LE", charset.iconvName, "UTF-16LE",
                      charset.icuName, units);
    return measure("utf-16 to " + label, fromUnits, units.size()) && good;
}

long peakKilobytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

struct FirstUse {
    double milliseconds;
    long peakKilobytes;
};

/// Loads one table in a process of its own, so that it is a first use, and its memory alone is
/// seen.
FirstUse measureFirstUse(std::uint32_t page, bool decode) {
    int ends[2];
    if (pipe(ends) != 0) {
        fail("no pipe");
    }
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        const long before = peakKilobytes();
        const double taken = millisecondsOf([&] {
            if (decode ? borvik::decodeTable(page) == nullptr
                       : borvik::encodeTable(page) == nullptr) {
                fail("no table");
            }
        });
        const FirstUse use{taken, peakKilobytes() - before};
        _exit(write(ends[1], &use, sizeof use) == sizeof use ? 0 : 1);
    }
    FirstUse use{};
    close(ends[1]);
    if (read(ends[0], &use, sizeof use) != sizeof use) {
        fail("a first use failed");
    }
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return use;
}

/// The medians of a few processes for each page; false when one misses its bar.
bool measureFirstUses() {
    constexpr double kMostMilliseconds = 0.3;
    constexpr std::uint32_t kShown[] = {1252, 932, 936, 949, 950, 1361, 10001, 51932, 51949};
    constexpr int kUses = 5;
    std::vector<double> all;
    for (std::uint32_t page = 1; page <= 0xFFFF; ++page) {
        for (const bool decode : {true, false}) {
            if (!borvik::hasTable(page)) {
                continue;
            }
            std::vector<double> taken;
            long peak = 0;
            for (int i = 0; i < kUses; ++i) {
                const FirstUse use = measureFirstUse(page, decode);
                taken.push_back(use.milliseconds);
                peak = std::max(peak, use.peakKilobytes);
            }
            all.push_back(bench::median(taken));
            if (std::ranges::find(kShown, page) != std::end(kShown)) {
                std::printf("%6u %s: %5.3f ms, peak %4ld KB\n", page, decode ? "decode" : "encode",
                            all.back(), peak);
            }
        }
    }
    const double worst = *std::ranges::max_element(all);
    std::printf("all %zu tables: %5.3f ms, the slowest %5.3f ms%s\n", all.size(),
                bench::median(all), worst, worst < kMostMilliseconds ? "" : "  MISSED");
    return worst < kMostMilliseconds;
}

/// Time at n and 2n, the best of a few runs each.
bool measureGrowth(const char* label, std::uint32_t from, std::uint32_t to,
                   std::string_view pattern) {
    constexpr std::size_t kSmall = 2 * 1024 * 1024;
    constexpr double kMostGrowth = 3;
    double taken[2] = {1e9, 1e9};
    for (int run = 0; run < 5; ++run) {
        for (const std::size_t factor : {1U, 2U}) {
            std::string input;
            while (input.size() < factor * kSmall) {
                input += pattern;
            }
            DataBuffer out;
            double& best = taken[factor - 1];
            best = std::min(
                best, millisecondsOf([&] { EncodingConvert().convert(from, to, input, out); }));
        }
    }
    const double growth = taken[1] / taken[0];
    std::printf("%-36s n %6.2f ms  2n %6.2f ms  %4.2fx%s\n", label, taken[0], taken[1], growth,
                growth > kMostGrowth ? "  MISSED" : "");
    return growth <= kMostGrowth;
}

bool measureHostileInput() {
    bool good = true;
    const auto check = [&good](const char* label, std::uint32_t from, std::uint32_t to,
                               std::string_view pattern) {
        good = measureGrowth(label, from, to, pattern) && good;
    };
    check("1252, undefined bytes", 1252, 65001, "\x81");
    check("932, lead bytes alone", 932, 65001, "\x81 \x81");
    check("936, bytes that begin nothing", 936, 1200, "\xFF");
    check("utf-8, bytes that begin nothing", 65001, 1252, "\xFF\x80");
    check("utf-8, nothing that 1252 has", 65001, 1252, "\xE6\x97\xA5");
    check("utf-7, empty runs", 65000, 65001, "+-");
    check("utf-7, short runs", 65000, 65001, "+AOk-");
    check("to utf-7, short runs", 65001, 65000, "a\xC3\xA9");
    check("iso-2022-jp, escapes alone", 50220, 65001, "\x1B$B\x1B(B");
    check("iso-2022-jp, escape a character", 50220, 65001, "\x1B$BF|\x1B(Ba");
    check("to iso-2022-jp, escape a character", 932, 50220,
          "\x93\xFA"
          "a");
    check("to iso-2022-jp, half-width katakana", 932, 50220, "\xB1\n");
    check("iso-2022-kr, shifts alone", 50225, 65001, "\x0E\x0F\x1B");
    check("utf-32, bytes that begin nothing", 65001, 65005, "a\xC3\xA9");
    check("mac arabic, one run", 10004, 65001, "\xB1");
    return good;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view only = argc > 1 ? argv[1] : "";
    bool good = true;
    if (only.empty()) {
        std::puts("First use:");
        good = measureFirstUses() && good;
    }
    std::puts("\nTexts of 8 MB, medians; the ratio is to the faster peer:");
    for (const Charset& charset : kCharsets) {
        if (std::string_view(charset.label).find(only) != std::string_view::npos) {
            good = measureCharset(charset) && good;
        }
    }
    if (only.empty()) {
        std::puts("\nHostile input:");
        good = measureHostileInput() && good;
    }
    return good ? 0 : 1;
}
