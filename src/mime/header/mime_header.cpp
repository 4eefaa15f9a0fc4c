#include "mime/header/mime_header.h"

#include <algorithm>
#include <utility>

#include "base/ascii_text.h"
#include "base/data_buffer.h"
#include "charset/encoding_convert.h"
#include "charset/tables/code_pages.h"
#include "mime/header/header_charset_detector.h"
#include "mime/header/quoted_scan.h"
#include "mime/header/text_index.h"

namespace borvik {

namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::string_view kLineEnd = "\r\n";

void logInfo(LogBase* log, const char* text) {
    if (log != nullptr) {
        log->logInfo(text);
    }
}

/// Room for fields is made at once: so many bytes are one, and more than the most come with time.
constexpr std::size_t kUsualFieldBytes = 48;
constexpr std::size_t kMostReserved = 64;

/// Position of the first CRLF. Lines are short and mostly end in it, so the search is for the LF.
std::size_t findLineEnd(std::string_view text) {
    std::size_t feed = text.find('\n');
    while (feed != kNone && (feed == 0 || text[feed - 1] != '\r')) {
        feed = text.find('\n', feed + 1);
    }
    return feed == kNone ? kNone : feed - 1;
}

/// Text with CRLF for every CRLF and LF; other CRs are removed.
std::string withCrlf(std::string_view text) {
    std::string result;
    result.reserve(text.size() + text.size() / 32);
    while (!text.empty()) {
        const std::size_t feed = text.find('\n');
        for (std::string_view line = text.substr(0, feed); !line.empty();) {
            const std::size_t stop = line.find('\r');
            result += line.substr(0, stop);
            line.remove_prefix(stop == kNone ? line.size() : stop + 1);
        }
        if (feed != kNone) {
            result += kLineEnd;
        }
        text.remove_prefix(feed == kNone ? text.size() : feed + 1);
    }
    return result;
}

/// Position of the first blank line, by the forms that occur: the regular one first.
std::size_t findHeaderEnd(TextIndex& index, std::size_t begin) {
    for (const TextMark mark : {TextMark::kCrLfCrLf, TextMark::kLfCrLf, TextMark::kCrLfCr}) {
        const std::size_t hit = index.find(mark, begin);
        if (hit != kNone) {
            return hit;
        }
    }
    return kNone;
}

/// Unfolds the lines of a block and builds their fields.
class FieldReader {
public:
    FieldReader(std::uint32_t codePage, std::vector<MimeField>& fields, LogBase* log)
        : codePage_(codePage), fields_(fields), log_(log) {}

    void read(std::string_view block) {
        for (std::size_t lines = 0; !block.empty() && lines < MimeHeader::kMaxLines;) {
            const std::size_t end = findLineEnd(block);
            const std::string_view line = block.substr(0, end);
            block.remove_prefix(end == kNone ? block.size() : end + kLineEnd.size());
            if (!line.empty()) {
                ++lines;
                takeLine(line);
            }
        }
        if (!current_.empty()) {
            MimeField field;
            if (load(field)) {
                fields_.push_back(std::move(field));
            }
        }
        dropSuperseded();
    }

private:
    void takeLine(std::string_view line) {
        if (line.substr(0, kMailboxMark.size()) == kMailboxMark) {
            return;
        }
        if (line.front() == ' ' || line.front() == '\t') {
            unfold(line);
            return;
        }
        if (!current_.empty()) {
            finishField();
        }
        current_ = line;
        isUnfolded_ = false;
    }

    void unfold(std::string_view line) {
        if (!isUnfolded_) {
            unfolded_ = current_;
            isUnfolded_ = true;
        }
        // Words that a fold parts belong together; other text keeps its blank.
        const std::string_view text =
            line.substr(std::min(line.find_first_not_of(" \t"), line.size()));
        unfolded_ += text.substr(0, 2) == "=?" ? text : line;
        current_ = unfolded_;
    }

    bool load(MimeField& field) {
        if (codePage_ == kUtf8 || isAscii(current_)) {
            return field.loadFromUnfolded(current_);
        }
        logInfo(log_, "Converting header field to utf-8");
        converted_.clear();
        if (codePage_ == kNoCodePage) {
            EncodingConvert().convertAnsiTo(kUtf8, current_.data(), current_.size(), converted_);
        } else {
            EncodingConvert().convert(codePage_, kUtf8, current_, converted_);
        }
        return field.loadFromUnfolded(converted_.view());
    }

    /// Adds the field that was read; not for the last one of the block.
    void finishField() {
        MimeField field;
        if (!load(field)) {
            return;
        }
        if ((field.traits() & kLastOneCounts) != 0) {
            if (lastOne_ != kNone) {
                superseded_.push_back(lastOne_);
                lastOne_ = kNone;
            }
            if (trimmed(field.value()).empty()) {
                return;
            }
            lastOne_ = fields_.size();
            fields_.emplace_back(field.name(), field.value());
            return;
        }
        fields_.push_back(std::move(field));
    }

    /// Removes the fields that a later one replaced, all at once: one by one it would take a time
    /// that grows with the square of their number.
    void dropSuperseded() {
        if (superseded_.empty()) {
            return;
        }
        std::size_t kept = superseded_.front();
        auto next = superseded_.begin();
        for (std::size_t i = kept; i < fields_.size(); ++i) {
            if (next != superseded_.end() && *next == i) {
                ++next;
            } else {
                fields_[kept++] = std::move(fields_[i]);
            }
        }
        fields_.resize(kept);
    }

    /// Begins a line that mailbox files have in front of a header.
    static constexpr std::string_view kMailboxMark = "From ";

    std::uint32_t codePage_;
    std::vector<MimeField>& fields_;
    LogBase* log_;
    /// The field so far: a line of the block, or `unfolded_` for a folded field.
    std::string_view current_;
    std::string unfolded_;
    bool isUnfolded_ = false;
    DataBuffer converted_;
    /// Place of the field of which only the last one counts, and of those before it.
    std::size_t lastOne_ = kNone;
    std::vector<std::size_t> superseded_;
};

}  // namespace

void MimeHeader::clear() {
    fields_.clear();
    detectedCodePage_ = kNoCodePage;
}

void MimeHeader::ParseMimeHeader(std::string_view text, LogBase* log) {
    TextIndex index(text);
    ParseMimeHeader(index, 0, log);
}

void MimeHeader::ParseMimeHeader(TextIndex& index, std::size_t begin, LogBase* log,
                                 std::size_t end) {
    clear();
    const std::size_t headerEnd = findHeaderEnd(index, begin);
    if (headerEnd == kNone) {
        logInfo(log, "No end-of-header double CRLF found.");
        const std::size_t stop = std::min(index.textEnd(begin), end);
        const std::string copy = withCrlf(index.text().substr(begin, stop - begin));
        TextIndex copyIndex(copy);
        readBlock(copy, copyIndex, 0, log);
        return;
    }
    const std::string_view block = index.text().substr(begin, std::min(headerEnd, end) - begin);
    if (!block.empty() && findLineEnd(block) == kNone) {
        logInfo(log, "No CRLF's found in header.  Converting line endings to CRLF.");
        readBlock(withCrlf(block), index, begin, log);
        return;
    }
    readBlock(block, index, begin, log);
}

/// Reads a block with CRLF line ends. Charsets are hinted at from `textBegin` of the index on.
void MimeHeader::readBlock(std::string_view block, TextIndex& index, std::size_t textBegin,
                           LogBase* log) {
    const HeaderCharsetDetector::Result detected =
        HeaderCharsetDetector(block, index, textBegin, log).detect();
    detectedCodePage_ = detected.codePage;
    if (log != nullptr) {
        log->logDataInt("FinalCodePageDecision", static_cast<std::int32_t>(detectedCodePage_));
    }
    DataBuffer converted;
    if (detected.isIso2022Jp) {
        EncodingConvert().convert(kIso2022Jp2, kUtf8, block, converted);
        block = converted.view();
    }
    fields_.reserve(std::min(block.size() / kUsualFieldBytes + 1, kMostReserved));
    FieldReader(detectedCodePage_, fields_, log).read(block);
}

std::size_t MimeHeader::findEnd(TextIndex& index, std::size_t begin) {
    return std::min(findHeaderEnd(index, begin), index.text().size());
}

void MimeHeader::AssembleMimeHeader(std::string& out, const _bvCharset& charset,
                                    LogBase* log) const {
    _bvCharset target = charset;
    if (target.getCodePage() == kNoCodePage && detectedCodePage_ != kNoCodePage) {
        target.setByCodePage(detectedCodePage_);
    }
    if (target.getCodePage() == kUtf7) {
        target.setByCodePage(kUtf8);
    }
    // Most fields are written as they are held.
    constexpr std::size_t kAroundField = 4;
    const std::size_t begin = out.size();
    std::size_t expected = begin;
    for (const MimeField& field : fields_) {
        expected += field.size() + kAroundField;
    }
    out.reserve(expected);
    for (const MimeField& field : fields_) {
        field.emitField(out, target, log);
        out += kLineEnd;
    }
    while (out.size() >= begin + kLineEnd.size() && out.back() == '\n') {
        out.resize(out.size() - kLineEnd.size());
    }
}

std::optional<std::string_view> MimeHeader::fieldValue(std::string_view name) const {
    for (const MimeField& field : fields_) {
        if (!name.empty() && field.hasName(name)) {
            return field.value();
        }
    }
    return std::nullopt;
}

bool MimeHeader::getFieldValue(std::string_view name, std::string& out) const {
    const std::optional<std::string_view> value = fieldValue(name);
    out += value.value_or(std::string_view());
    return value.has_value();
}

bool MimeHeader::getParamValue(std::string_view fieldName, std::string_view paramName,
                               std::string& out) const {
    out.clear();
    std::string_view rest = fieldValue(fieldName).value_or(std::string_view());
    while (!rest.empty()) {
        const std::size_t length = lengthBefore(rest, ';', true);
        const std::string_view piece = rest.substr(0, length);
        rest.remove_prefix(std::min(length + 1, rest.size()));
        const std::size_t equals = piece.find('=');
        if (equals != kNone && equalsNoCase(trimmed(piece.substr(0, equals)), paramName)) {
            out = trimmed(withoutQuotes(trimmed(piece.substr(equals + 1))));
            return true;
        }
    }
    return false;
}

void MimeHeader::addField(std::string_view name, std::string_view value) {
    // Who adds fields one by one makes a message, with about so many.
    constexpr std::size_t kUsualFields = 12;
    if (trimmed(value).empty()) {
        return;
    }
    if (fields_.empty()) {
        fields_.reserve(kUsualFields);
    }
    fields_.emplace_back(name, value);
}

void MimeHeader::replaceField(std::string_view name, std::string_view value) {
    // The field in the list may be where the caller's views point.
    std::optional<MimeField> added;
    if (!trimmed(value).empty()) {
        added.emplace(name, value);
    }
    removeField(name);
    if (added) {
        fields_.push_back(std::move(*added));
    }
}

void MimeHeader::removeField(std::string_view name) {
    fields_.erase(std::remove_if(fields_.begin(), fields_.end(),
                                 [&](const MimeField& field) { return field.hasName(name); }),
                  fields_.end());
}

}  // namespace borvik
