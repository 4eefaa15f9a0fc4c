#include "mime/header/field_writer.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/ascii_text.h"
#include "base/data_buffer.h"
#include "charset/charset_registry.h"
#include "charset/encoding_convert.h"
#include "charset/tables/code_pages.h"
#include "mime/coding/byte_set.h"
#include "mime/coding/content_coding.h"
#include "mime/header/field_folder.h"
#include "mime/header/quoted_scan.h"

namespace borvik {

namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::string_view kColon = ": ";

// Lengths of lines. They don't follow from one another: each was chosen for its own case.
constexpr std::size_t kSegmentLength = 66;     // a 7-bit segment below it goes in as it is
constexpr std::size_t kParamLineLength = 65;   // parameters below it stay on one line
constexpr std::size_t kParamBreakLength = 35;  // from here on parameters begin a line
constexpr std::size_t kAddressRun = 41;        // after this much text a fold ends the address

constexpr std::string_view kFold = "\r\n\t";
constexpr ByteSet kLineBreakers(std::string_view("\r\n\0", 3));

constexpr std::uint32_t kIso2022LastForMarks = 50230;
constexpr std::uint32_t kWindowsThai = 874;
constexpr std::uint32_t kIsoLatin2 = 28592;
constexpr std::uint32_t kHzGb2312 = 52936;
constexpr std::uint32_t kFirstMultiByteRange = 50001;

/// Code pages whose text goes into B words.
bool takesBWords(std::uint32_t codePage) {
    constexpr std::array<std::uint32_t, 11> kPages = {
        kShiftJis, kGbk,     kKoreanUhc, kBig5,          kWindowsThai, kJohab,
        kHzGb2312, kUtf16Le, kUtf16Be,   kWindowsArabic, kIsoArabic};
    return std::find(kPages.begin(), kPages.end(), codePage) != kPages.end() ||
           (codePage >= kFirstMultiByteRange && codePage < kUtf7);
}

bool isIso2022(std::uint32_t codePage) {
    return codePage >= kIso2022Jp && codePage <= kIso2022Kr;
}

/// Wider than what `isIso2022` tells: charsets in which "(B" and "$)" may switch between sets.
bool mayHoldIso2022Marks(std::uint32_t codePage) {
    return codePage >= kIso2022Jp && codePage <= kIso2022LastForMarks;
}

bool isStateful(std::uint32_t codePage) {
    return codePage == kUtf7 || mayHoldIso2022Marks(codePage);
}

bool hasIso2022Marks(std::string_view data) {
    return find(data, "(B") != kNone || find(data, "$)") != kNone;
}

/// Takes a value to the page in which it is to be written. False when it must not be: characters
/// would be lost, or the bytes could be taken for something else, as line breaks above all. Those
/// of the value itself are gone, but a stateful or EBCDIC charset may make new ones.
bool convertForHeader(std::uint32_t codePage, std::string_view value, DataBuffer& out) {
    return EncodingConvert::keepsAscii(codePage) &&
           EncodingConvert().convert(kUtf8, codePage, value, out) &&
           kLineBreakers.findIn(out.view()) == kNone;
}

HeaderCharset charsetOf(std::uint32_t codePage) {
    return {codePage, CharsetNaming::preferredName(codePage)};
}

void trimEnds(std::string& text) {
    const std::string_view kept = trimmed(text);
    const auto front = static_cast<std::size_t>(kept.data() - text.data());
    text.resize(front + kept.size());
    text.erase(0, front);
}

/// Appends `line` to the finished lines as a line of its own.
void flushLine(std::string_view line, std::string& out) {
    if (!out.empty()) {
        trimEnds(out);
        out += kFold;
        line.remove_prefix(std::min(line.find_first_not_of('\t'), line.size()));
    }
    out += line;
}

constexpr ByteSet kQuotedInParams(" '\t;=");
constexpr ByteSet kParamDelimiters("=;");

bool needsQuotes(std::string_view value) {
    return !value.empty() &&
           (value.front() == '=' || value.front() == '-' || kQuotedInParams.findIn(value) != kNone);
}

/// Begins a new line behind the finished ones, if there are any, with what `line` holds.
void finishParamLine(std::string& out, std::string& line, std::string& params) {
    if (!out.empty()) {
        out += kFold;
    }
    out += line;
    line.swap(params);
}

}  // namespace

/// An address within a segment: everything from `start` to `stop`, both counted in.
struct FieldWriter::Address {
    enum class Kind : std::uint8_t { kFound, kMissing, kNoAddress };
    Kind kind;
    std::size_t start = 0;
    std::size_t stop = 0;
};

/// What is left of a segment while addresses are taken off its front. What the steps ask about the
/// whole rest is found out once, as the last position of each thing: 100,000 addresses would be
/// scanned 100,000 times otherwise.
class FieldWriter::Remainder {
public:
    Remainder(std::string_view data, bool stateful) : data_(data) {
        if (!isAscii(data)) {
            highEnd_ = data.size();
            while (static_cast<unsigned char>(data[highEnd_ - 1]) < 0x80) {
                --highEnd_;
            }
        }
        if (stateful) {
            marksEnd_ = std::max(data.rfind("(B") + 1, data.rfind("$)") + 1);
            angleEnd_ = data.rfind('<') + 1;
            const std::size_t lastText = data.find_last_not_of(" \t\r\n");
            innerBlankEnd_ = lastText == kNone ? 0 : data.rfind(' ', lastText) + 1;
        }
    }

    std::string_view text() const { return data_.substr(begin_); }
    bool empty() const { return begin_ == data_.size(); }
    void dropFront(std::size_t count) { begin_ += count; }

    bool ascii() const { return highEnd_ <= begin_; }
    // For stateful charsets only:
    bool hasMarks() const { return marksEnd_ > begin_; }
    bool hasAngle() const { return angleEnd_ > begin_; }
    /// Whether a blank stands between other characters.
    bool hasInnerBlank() const {
        return innerBlankEnd_ > data_.find_first_not_of(" \t\r\n", begin_) &&
               innerBlankEnd_ > begin_;
    }

private:
    std::string_view data_;
    std::size_t begin_ = 0;
    // One behind the last position of each, 0 when there is none.
    std::size_t highEnd_ = 0;
    std::size_t marksEnd_ = 0;
    std::size_t angleEnd_ = 0;
    std::size_t innerBlankEnd_ = 0;
};

bool FieldWriter::writePlain(std::string_view name, std::string_view value,
                             std::string& out) const {
    const bool isPlain = (charset_.codePage == kNoCodePage || charset_.codePage == kUtf8) &&
                         !is(kKeepsBlanks) && !name.empty() &&
                         name.size() + kColon.size() + value.size() < kSegmentLength &&
                         trimmed(name).data() == name.data() && isAscii(value) &&
                         (is(kFreeTextField) || value.find(';') == kNone);
    if (isPlain) {
        const std::size_t begin = out.size();
        out += name;
        out += kColon;
        out += value;
        out.resize(begin + trimmed(std::string_view(out).substr(begin)).size());
    }
    return isPlain;
}

void FieldWriter::write(std::string_view name, std::string_view value, std::string& out) {
    if (writePlain(name, value, out)) {
        return;
    }
    std::string field;
    field.reserve(name.size() + value.size() + kColon.size());
    field += name;
    field += kColon;
    encodeValue(value, field);
    // This also removes a fold behind the last address.
    out += is(kKeepsBlanks) ? std::string_view(field) : trimmed(field);
}

void FieldWriter::logInfo(const char* text) const {
    if (log_ != nullptr) {
        log_->logInfo(text);
    }
}

void FieldWriter::encodeValue(std::string_view value, std::string& out) {
    if (takesBWords(charset_.codePage)) {
        encodeMultiByte(value, out);
    } else {
        encodeSingleByte(value, out);
    }
}

void FieldWriter::encodeMultiByte(std::string_view value, std::string& out) {
    if (isIso2022(charset_.codePage) && isAscii(value)) {
        out += value;
        return;
    }
    DataBuffer converted;
    if (convertForHeader(charset_.codePage, value, converted)) {
        encodeHeaderValue({false, charset_}, converted.view(), out);
        return;
    }
    encodeHeaderValue({false, charsetOf(kUtf8)}, value, out);
}

void FieldWriter::encodeSingleByte(std::string_view value, std::string& out) {
    const std::uint32_t codePage = charset_.codePage;
    if (codePage == kUsAscii && isAscii(value)) {
        logInfo("Appending 7bit value. (us-ascii)");
        FieldFolder(traits_, noFold_).foldSevenBit(value, log_, out);
    } else if (codePage == kUsAscii) {
        logInfo("Appending 8bit utf-8 value. (us-ascii email)");
        encodeHeaderValue({false, charsetOf(kUtf8)}, value, out);
    } else if (codePage == kUtf8) {
        encodeHeaderValue({false, charset_}, value, out);
    } else if (codePage == kNoCodePage) {
        encodeHeaderValue({true, charset_}, value, out);
    } else {
        DataBuffer converted;
        if (convertForHeader(codePage, value, converted)) {
            encodeHeaderValue({true, charset_}, converted.view(), out);
            return;
        }
        converted.clear();
        if ((codePage == kIsoLatin1 || codePage == kWindowsLatin1) &&
            EncodingConvert().convert(kUtf8, kIsoLatin2, value, converted)) {
            encodeHeaderValue({true, charsetOf(kIsoLatin2)}, converted.view(), out);
            return;
        }
        std::string unlabelled;
        encodeHeaderValue({true, charsetOf(kUtf8)}, value, unlabelled);
        out += unlabelled.empty() ? value : std::string_view(unlabelled);
    }
}

void FieldWriter::encodeHeaderValue(const Coding& coding, std::string_view data, std::string& out) {
    if (data.empty()) {
        return;
    }
    bool noSplit = is(kFreeTextField);
    if (!noSplit && mayHoldIso2022Marks(coding.charset.codePage) && !is(kAlwaysSplit)) {
        noSplit = hasIso2022Marks(data);
    }
    const std::size_t semicolon = noSplit ? kNone : data.find(';');
    if (semicolon == kNone) {
        encodeSegment(coding, false, data, out);
        return;
    }
    std::string line = std::move(out);
    out.clear();
    encodeSegment(coding, false, data.substr(0, semicolon), line);
    line += ';';
    const std::string_view rest = data.substr(semicolon + 1);
    if (rest.empty()) {
        out += line;
        return;
    }
    if (line.size() >= kParamBreakLength) {
        flushLine(line, out);
        line.clear();
    }
    std::string params;
    encodeParams(coding, rest, out, line, params);
    if (line.size() + params.size() < kParamLineLength) {
        const bool parted = !params.empty() && params.front() == ' ';
        if (!line.empty() && line.back() == ';' && !parted) {
            line += ' ';
        }
        line += params;
    } else {
        flushLine(line, out);
        line = std::move(params);
    }
    if (!line.empty()) {
        flushLine(line, out);
    }
}

void FieldWriter::encodeParams(const Coding& coding, std::string_view data, std::string& out,
                               std::string& line, std::string& params) {
    while (!data.empty()) {
        const std::size_t stop = kParamDelimiters.findIn(data);
        params += data.substr(0, stop);
        if (stop == kNone) {
            return;
        }
        params += data[stop];
        const bool hasValue = data[stop] == '=';
        data.remove_prefix(stop + 1);
        if (hasValue) {
            const std::size_t length = lengthBefore(data, ';', false);
            params += encodeParamValue(coding, data.substr(0, length));
            data.remove_prefix(length);
            if (data.empty()) {
                return;
            }
            params += ';';
            data.remove_prefix(1);
        }
        if (data.empty()) {
            return;
        }
        if (line.size() + params.size() < kParamLineLength) {
            line += params;
        } else {
            finishParamLine(out, line, params);
        }
        params.clear();
    }
}

std::string FieldWriter::encodeParamValue(const Coding& coding, std::string_view value) {
    std::string written;
    encodeSegment(coding, true, withoutQuotes(trimmed(value)), written);
    return needsQuotes(written) ? '"' + written + '"' : written;
}

void FieldWriter::encodeSegment(const Coding& coding, bool isParam, std::string_view data,
                                std::string& out) {
    const bool stateful = isStateful(coding.charset.codePage);
    std::size_t mark = out.size();
    for (Remainder rest(data, stateful); !rest.empty();) {
        const bool forced = stateful && encodedThoughAscii(coding, isParam, rest);
        const bool commaSafe = stateful && is(kAddressField);
        const std::string_view text = rest.text();
        if (is(kWrittenRaw)) {
            out += text;
            return;
        }
        if (rest.ascii() && !forced) {
            writeAscii(text, out);
            return;
        }
        const Address address = findAddress(coding, text);
        if (address.kind == Address::Kind::kMissing && is(kRawWithoutAddress)) {
            out += text;
            return;
        }
        if (address.kind != Address::Kind::kFound) {
            encodeText(coding, commaSafe, text, out);
            return;
        }
        if (address.start > 0) {
            writeDisplayName(coding, commaSafe, text.substr(0, address.start), out);
        }
        out += text.substr(address.start, address.stop + 1 - address.start);
        if (is(kAddressField) || out.size() - mark >= kAddressRun) {
            out += kFold;
            mark = out.size();
        }
        rest.dropFront(address.stop + 1);
    }
}

/// Whether even 7-bit text takes the way of encoded words. For stateful charsets only.
bool FieldWriter::encodedThoughAscii(const Coding& coding, bool isParam,
                                     const Remainder& data) const {
    if (is(kEncodedIfStateful)) {
        return true;
    }
    if (isParam && mayHoldIso2022Marks(coding.charset.codePage) && data.hasMarks()) {
        return true;
    }
    return is(kAddressField) && data.hasAngle() && data.hasInnerBlank();
}

void FieldWriter::writeAscii(std::string_view data, std::string& out) const {
    if (out.size() + data.size() < kSegmentLength) {
        out += data;
        return;
    }
    const bool behindFold =
        std::string_view(out).substr(out.size() - std::min(out.size(), kFold.size())) == kFold;
    FieldFolder(traits_, noFold_)
        .foldSegment(is(kAddressField) && behindFold ? trimmed(data) : data, out);
}

void FieldWriter::encodeText(const Coding& coding, bool commaSafe, std::string_view text,
                             std::string& out) const {
    if (coding.useQ) {
        ContentCoding(commaSafe).encodeQValue(text, coding.charset.codePage, coding.charset.name,
                                              out);
    } else {
        ContentCoding::encodeBValue(text, coding.charset.codePage, coding.charset.name, out);
    }
}

void FieldWriter::writeDisplayName(const Coding& coding, bool commaSafe, std::string_view name,
                                   std::string& out) const {
    const bool quoted = name.size() > 2 && name.front() == '"' && name.back() == '"';
    const std::string_view text = quoted ? name.substr(1, name.size() - 2) : name;
    std::string encoded;
    encodeText(coding, commaSafe, text, encoded);
    // What needs no coding needs its quotes: a comma in it would part two addresses.
    const std::string_view written = encoded == text ? name : std::string_view(encoded);
    out += is(kAddressField) ? trimmed(written) : written;
}

/// Where the scan for an address ends: at a "<", or at the "," that ends one without brackets.
std::size_t FieldWriter::findAddressMark(const Coding& coding, std::string_view data) {
    // Within a double-byte run of ISO-2022 a "<" is half of a character.
    const bool hasRuns = mayHoldIso2022Marks(coding.charset.codePage);
    bool inRun = false;
    bool seenAt = false;
    for (std::size_t i = 0; i < data.size(); ++i) {
        const char c = data[i];
        if ((c == ',' && seenAt) || (c == '<' && !(hasRuns && inRun))) {
            return i;
        }
        seenAt = seenAt || c == '@';
        if (c == '\x1B' && i + 1 < data.size()) {
            inRun = data[i + 1] == '$' || (inRun && data[i + 1] != '(');
        }
    }
    return kNone;
}

FieldWriter::Address FieldWriter::findAddress(const Coding& coding, std::string_view data) const {
    const std::size_t mark = is(kFreeTextField) ? kNone : findAddressMark(coding, data);
    if (mark == kNone) {
        return {Address::Kind::kMissing};
    }
    const bool isBracket = data[mark] == '<';
    std::size_t start = isBracket ? mark : 0;
    std::size_t stop = isBracket ? data.find('>', mark + 1) : mark;
    if (start + 1 == data.size()) {
        return {Address::Kind::kMissing};
    }
    if (stop == kNone || (isBracket && data.substr(start, stop - start).find('@') == kNone)) {
        return {Address::Kind::kNoAddress};
    }
    if (start > 0 && data[start - 1] == ' ') {
        --start;
    }
    while (stop + 1 < data.size() && (data[stop + 1] == ' ' || data[stop + 1] == ',')) {
        ++stop;
    }
    return {Address::Kind::kFound, start, stop};
}

}  // namespace borvik
