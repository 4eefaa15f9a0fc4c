#include "reading/message_cutter.h"

#include <algorithm>
#include <utility>

#include "base/ascii_text.h"
#include "reading/parameters.h"

namespace tessolt::reading {
namespace {

constexpr std::string_view kDashes = "--";
constexpr std::string_view kBlanks = " \t\r";

constexpr bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

constexpr bool isNameByte(char c) {
    return c > ' ' && c <= '~' && c != ':';
}

/// Splits a line at its colon; blanks in front of that are obsolete but known (RFC 5322 4.5).
bool splitField(std::string_view line, Field& field) {
    std::size_t length = 0;
    while (length < line.size() && isNameByte(line[length])) {
        ++length;
    }
    std::size_t colon = length;
    while (colon < line.size() && isBlank(line[colon])) {
        ++colon;
    }
    if (length == 0 || colon == line.size() || line[colon] != ':') {
        return false;
    }
    field = {line.substr(0, length), line.substr(colon + 1)};
    return true;
}

/// Codings that leave the text as it is, so that what is within can be cut.
bool isPlainCoding(std::string_view coding) {
    coding = borvik::trimmed(coding);
    return !borvik::equalsNoCase(coding, "base64") &&
           !borvik::equalsNoCase(coding, "quoted-printable");
}

}  // namespace

MessageCutter::MessageCutter(Message& message)
    : message_(message),
      text_(message.text_),
      lineEnd_(message.text_.find('\n') == std::string_view::npos ? '\r' : '\n') {}

void MessageCutter::run() {
    place_ = text_.size() - withoutMboxLine(text_).size();
    beginParts(0);
    Line line{};
    while (!levels_.empty() && nextDashes(line)) {
        Separator separator{};
        if (findSeparator(line, separator)) {
            passSeparator(line, separator);
        } else {
            place_ = line.next;
        }
    }
    if (open_.empty()) {
        endLeaf(text_.size());
    }
    while (!open_.empty()) {
        closeInnermost(text_.size());
    }
}

MessageCutter::Line MessageCutter::lineAt(std::size_t begin) const {
    const std::size_t found = text_.find(lineEnd_, begin);
    if (found == std::string_view::npos) {
        return {begin, text_.size(), text_.size()};
    }
    const bool isPair = lineEnd_ == '\n' && found > begin && text_[found - 1] == '\r';
    return {begin, found - (isPair ? 1 : 0), found + 1};
}

bool MessageCutter::nextDashes(Line& line) const {
    std::size_t begin = place_;
    while (begin < text_.size()) {
        if (text_.compare(begin, kDashes.size(), kDashes) == 0) {
            line = lineAt(begin);
            return true;
        }
        const std::size_t found = text_.find(lineEnd_, begin);
        if (found == std::string_view::npos) {
            break;
        }
        begin = found + 1;
    }
    return false;
}

void MessageCutter::beginParts(std::uint32_t parent) {
    bool isWithin = true;
    while (isWithin) {
        const auto number = static_cast<std::uint32_t>(message_.parts_.size());
        Part part;
        part.parent = parent;
        part.end = number + 1;
        if (number != 0) {
            part.depth = message_.parts_[parent].depth + 1;
            ++message_.parts_[parent].childCount;
        }
        readHeader(part);
        readType(part);
        part.body = slice(place_, place_);
        message_.parts_.push_back(part);
        isWithin = openPart(number);
        parent = number;
    }
}

void MessageCutter::readHeader(Part& part) {
    const std::size_t begin = place_;
    part.firstField = static_cast<std::uint32_t>(message_.fields_.size());
    std::size_t end = begin;
    while (place_ < text_.size()) {
        const Line line = lineAt(place_);
        if (line.begin == line.end) {
            place_ = line.next;
            break;
        }
        if (!readHeaderLine(part, line)) {
            break;
        }
        place_ = line.next;
        end = place_;
    }
    part.fieldCount = static_cast<std::uint32_t>(message_.fields_.size()) - part.firstField;
    part.header = slice(begin, end);
}

bool MessageCutter::readHeaderLine(Part& part, const Line& line) {
    Separator ignored{};
    if (findSeparator(line, ignored)) {
        return false;
    }
    const bool hasField = message_.fields_.size() > part.firstField;
    if (isBlank(text_[line.begin])) {
        if (hasField) {
            std::string_view& value = message_.fields_.back().value;
            value = slice(offsetOf(value), line.end);
        }
        return hasField;
    }
    Field field;
    if (!splitField(slice(line.begin, line.end), field)) {
        return false;
    }
    message_.fields_.push_back(field);
    return true;
}

void MessageCutter::readType(Part& part) const {
    const bool isDigest =
        !message_.parts_.empty() && message_.parts_[part.parent].isType("multipart", "digest");
    part.type = isDigest ? "message" : "text";
    part.subtype = isDigest ? "rfc822" : "plain";
    const auto value = message_.field(part, "Content-Type");
    if (!value) {
        return;
    }
    const MediaType type = mediaTypeOf(*value);
    if (!type.subtype.empty()) {
        part.type = type.type;
        part.subtype = type.subtype;
    } else {
        // RFC 2045 5.2 asks for this where the field can't be read.
        part.type = "text";
        part.subtype = "plain";
    }
}

bool MessageCutter::openPart(std::uint32_t number) {
    const Part& part = message_.parts_[number];
    if (part.depth >= Message::kMaxDepth) {
        return false;
    }
    if (part.isType("message", "rfc822") || part.isType("message", "global") ||
        part.isType("message", "news")) {
        const auto coding = message_.field(part, "Content-Transfer-Encoding");
        if (!isPlainCoding(coding.value_or(std::string_view()))) {
            return false;
        }
        open_.push_back({number, {}, false});
        return true;
    }
    if (!part.isType("multipart")) {
        return false;
    }
    const auto type = message_.field(part, "Content-Type");
    std::string boundary = rawParameter(type.value_or(std::string_view()), "boundary");
    boundary.erase(
        borvik::trimmed(boundary, kBlanks).empty() ? 0 : boundary.find_last_not_of(kBlanks) + 1);
    if (!boundary.empty()) {
        levels_[boundary].push_back(open_.size());
        longestBoundary_ = std::max(longestBoundary_, boundary.size());
        open_.push_back({number, std::move(boundary), true});
    }
    return false;
}

bool MessageCutter::findSeparator(const Line& line, Separator& found) const {
    if (levels_.empty() || text_.compare(line.begin, kDashes.size(), kDashes) != 0) {
        return false;
    }
    std::string_view name = slice(line.begin + kDashes.size(), line.end);
    while (!name.empty() && kBlanks.find(name.back()) != std::string_view::npos) {
        name.remove_suffix(1);
    }
    if (name.size() > longestBoundary_ + kDashes.size()) {
        return false;
    }
    auto level = levels_.find(name);
    found.closes = level == levels_.end() && name.ends_with(kDashes);
    if (found.closes) {
        name.remove_suffix(kDashes.size());
        level = levels_.find(name);
    }
    if (level == levels_.end()) {
        return false;
    }
    found.level = level->second.back();
    return true;
}

void MessageCutter::passSeparator(const Line& line, const Separator& separator) {
    const std::size_t end = endBefore(line.begin);
    while (open_.size() - 1 > separator.level) {
        closeInnermost(end);
    }
    OpenPart& open = open_.back();
    Part& part = message_.parts_[open.part];
    if (!open.isBetween) {
        endLeaf(end);
    } else if (part.childCount == 0) {
        part.preamble = slice(offsetOf(part.body), end);
    }
    place_ = line.next;
    open.isBetween = separator.closes;
    if (separator.closes) {
        open.closedAt = place_;
        forget(open);
        open.boundary.clear();
    } else {
        beginParts(open.part);
    }
}

void MessageCutter::forget(const OpenPart& part) {
    const auto levels = levels_.find(part.boundary);
    if (levels == levels_.end()) {
        return;
    }
    levels->second.pop_back();
    if (levels->second.empty()) {
        levels_.erase(levels);
    }
}

void MessageCutter::closeInnermost(std::size_t end) {
    const OpenPart open = std::move(open_.back());
    open_.pop_back();
    forget(open);
    if (!open.isBetween) {
        endLeaf(end);
    }
    Part& part = message_.parts_[open.part];
    part.body = slice(offsetOf(part.body), end);
    part.end = static_cast<std::uint32_t>(message_.parts_.size());
    if (part.childCount == 0) {
        part.preamble = part.body;
    } else if (open.closedAt != 0) {
        part.epilogue = slice(open.closedAt, end);
    }
    if (!open_.empty()) {
        open_.back().isBetween = true;
    }
}

void MessageCutter::endLeaf(std::size_t end) {
    Part& part = message_.parts_.back();
    part.body = slice(offsetOf(part.body), end);
}

std::size_t MessageCutter::endBefore(std::size_t begin) const {
    std::size_t end = begin;
    if (end > 0 && text_[end - 1] == lineEnd_) {
        --end;
        if (lineEnd_ == '\n' && end > 0 && text_[end - 1] == '\r') {
            --end;
        }
    }
    return end;
}

std::string_view MessageCutter::slice(std::size_t begin, std::size_t end) const {
    return text_.substr(begin, std::max(begin, end) - begin);
}

std::size_t MessageCutter::offsetOf(std::string_view view) const {
    return static_cast<std::size_t>(view.data() - text_.data());
}

}  // namespace tessolt::reading
