#include "mime/header/header_charset_detector.h"

#include <algorithm>

#include "base/ascii_text.h"
#include "base/data_buffer.h"
#include "charset/ansi_text.h"
#include "charset/charset_registry.h"
#include "charset/encoding_convert.h"
#include "charset/tables/code_pages.h"
#include "mime/coding/encoded_word_reader.h"
#include "mime/header/text_index.h"

namespace borvik {

namespace {

constexpr std::size_t kNone = std::string_view::npos;

constexpr std::uint32_t kIsoLatin2 = 28592;
constexpr std::uint32_t kKoi8R = 20866;
constexpr std::uint32_t kKoi8U = 21866;
constexpr std::uint32_t kIso8859Base = 28590;
constexpr std::uint32_t kWindows125xBase = 1250;

struct Hint {
    TextMark mark;
    std::uint32_t codePage;
};

constexpr Hint kHints[] = {
    {TextMark::kGb2312, kGbk},          {TextMark::kShiftJis, kShiftJis},
    {TextMark::kWindows31j, kShiftJis}, {TextMark::kKsC5601, kKoreanUhc},
    {TextMark::kWindows874, 874},       {TextMark::kBig5, kBig5},
    {TextMark::kEucKr, kEucKr},
};

/// Hints that share the front of their names: they are searched for only where that front occurs.
struct HintFamily {
    TextMark front;
    Hint first;  // the marks and pages of the others count up from here
    std::uint32_t count;
};
constexpr HintFamily kHintFamilies[] = {
    {TextMark::kIso8859, {TextMark::kIso8859_2, kIsoLatin2}, 8},
    {TextMark::kWindows125, {TextMark::kWindows1250, kWindows125xBase}, 8},
};
constexpr Hint kKoi8Hints[] = {{TextMark::kKoi8R, kKoi8R}, {TextMark::kKoi8U, kKoi8U}};

constexpr TextMark markBehind(TextMark mark, std::uint32_t steps) {
    return static_cast<TextMark>(static_cast<std::uint32_t>(mark) + steps);
}

}  // namespace

HeaderCharsetDetector::Result HeaderCharsetDetector::detect() {
    const bool hasWords = findWordMark(header_, "qb") != kNone;
    if (hasWords && findWordMark(header_, "q") != kNone) {
        logInfo("Header contains Q-encoding.");
        return {pageOfEncodedWord("q", "DetectedCodePageQ"), false};
    }
    if (hasWords) {
        logInfo("Header contains B-encoding.");
        return {pageOfEncodedWord("b", "DetectedCodePageB"), false};
    }
    if (!isAscii(header_)) {
        logInfo("Header contains 8bit chars");
        return {detect8BitCodePage(), false};
    }
    logInfo("Header is entirely 7-bit");
    const std::string_view escaped = header_.substr(std::min(header_.find('\x1B'), header_.size()));
    if (find(escaped, "\x1B$B") != kNone || find(escaped, "\x1B(B") != kNone) {
        logInfo("Detected iso-2022-jp in 7bit header.");
        return {kUtf8, true};
    }
    return {kNoCodePage, false};
}

/// The page of the charset in the first encoded word, taken from the first "=?" to the next mark of
/// the coding behind it.
std::uint32_t HeaderCharsetDetector::pageOfEncodedWord(std::string_view lowerLetter,
                                                       const char* logTag) const {
    const std::size_t begin = find(header_, "=?");
    if (begin == kNone) {
        return kNoCodePage;
    }
    const std::string_view behind = header_.substr(begin + 2);
    const std::size_t length = findWordMark(behind, lowerLetter);
    if (length == kNone) {
        return kNoCodePage;
    }
    const std::uint32_t codePage = CharsetNaming::lookUp(behind.substr(0, length));
    logPage(logTag, codePage);
    return codePage;
}

std::uint32_t HeaderCharsetDetector::detect8BitCodePage() {
    std::uint32_t codePage = hintInHeader();
    if (codePage == kNoCodePage) {
        codePage = hintInText();
    }
    if (codePage != kNoCodePage) {
        logPage("DetectedCodePage", codePage);
        return codePage;
    }
    return guessFromBytes();
}

std::uint32_t HeaderCharsetDetector::hintInHeader() const {
    constexpr std::string_view kWindows = "windows-125";
    constexpr std::string_view kIso = "iso-8859-";
    const auto digitBehind = [this](std::size_t at) {
        return at < header_.size() && header_[at] >= '0' && header_[at] <= '8' ? header_[at] - '0'
                                                                               : -1;
    };
    std::size_t hit = findNoCase(header_, kWindows);
    if (hit != kNone) {
        logInfo("Detecting windows-125* code page.");
        const int digit = digitBehind(hit + kWindows.size());
        return digit < 0 ? kNoCodePage : probe(kWindows125xBase + static_cast<unsigned>(digit));
    }
    hit = findNoCase(header_, kIso);
    if (hit != kNone) {
        logInfo("Detecting iso-8859-* code page.");
        const int digit = digitBehind(hit + kIso.size());
        return digit < 1 ? kNoCodePage : probe(kIso8859Base + static_cast<unsigned>(digit));
    }
    if (holds("koi8-r")) {
        return probe(kKoi8R);
    }
    return holds("koi8-u") ? probe(kKoi8U) : kNoCodePage;
}

std::uint32_t HeaderCharsetDetector::hintInText() {
    std::uint32_t codePage = kNoCodePage;
    const auto try_ = [&](const Hint& hint) {
        if (codePage == kNoCodePage && index_.find(hint.mark, textBegin_) != kNone) {
            codePage = probe(hint.codePage);
        }
    };
    for (const Hint& hint : kHints) {
        try_(hint);
    }
    for (const HintFamily& family : kHintFamilies) {
        if (codePage == kNoCodePage && index_.find(family.front, textBegin_) != kNone) {
            for (std::uint32_t i = 0; i < family.count; ++i) {
                try_({markBehind(family.first.mark, i), family.first.codePage + i});
            }
        }
    }
    if (codePage == kNoCodePage && index_.find(TextMark::kKoi8, textBegin_) != kNone) {
        for (const Hint& hint : kKoi8Hints) {
            try_(hint);
        }
    }
    return codePage;
}

std::uint32_t HeaderCharsetDetector::guessFromBytes() const {
    if (looksLikeUtf8()) {
        logInfo("Probably utf-8");
        return kUtf8;
    }
    logInfo("No code page detected yet, check to see if header is valid ANSI...");
    const std::uint32_t ansi = ansiCodePage();
    // Between equal pages everything converts, so that UTF-8 has to be looked at.
    if (ansi == kUtf8 ? isWellFormedUtf8(header_) : probe(ansi) != kNoCodePage) {
        return ansi;
    }
    logInfo("Not ANSI, checking some common code pages...");
    const std::uint32_t latin1 = probe(kIsoLatin1);
    return latin1 != kNoCodePage ? latin1 : probe(kIsoLatin2);
}

/// Whether a lead byte of the Latin characters of UTF-8 has an 8-bit byte behind it.
bool HeaderCharsetDetector::looksLikeUtf8() const {
    for (std::size_t i = 0; i + 1 < header_.size(); ++i) {
        const auto lead = static_cast<unsigned char>(header_[i]);
        if (lead == 0xC3 || lead == 0xC2) {
            ++i;
            if (static_cast<unsigned char>(header_[i]) >= 0x80) {
                return true;
            }
        }
    }
    return false;
}

bool HeaderCharsetDetector::holds(std::string_view name) const {
    return findNoCase(header_, name) != kNone;
}

/// The page itself when every byte of the header has a character in it, else 0.
std::uint32_t HeaderCharsetDetector::probe(std::uint32_t codePage) const {
    DataBuffer converted;
    return EncodingConvert().convert(codePage, kUtf8, header_, converted) ? codePage : kNoCodePage;
}

void HeaderCharsetDetector::logInfo(const char* text) const {
    if (log_ != nullptr) {
        log_->logInfo(text);
    }
}

void HeaderCharsetDetector::logPage(const char* tag, std::uint32_t codePage) const {
    if (log_ != nullptr) {
        log_->logDataInt(tag, static_cast<std::int32_t>(codePage));
    }
}

}  // namespace borvik
