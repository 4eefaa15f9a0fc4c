#include "mime/mime_draft.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <new>
#include <utility>

#include "base/ascii_text.h"
#include "base/data_buffer.h"
#include "charset/tables/code_pages.h"
#include "mime/bv_mime.h"
#include "mime/coding/base64.h"
#include "mime/coding/content_coding.h"
#include "mime/header/mime_field.h"
#include "mime/mime_pieces.h"
#include "platform/code_page.h"
#include "text/outward_strings.h"

namespace borvik {

namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kColon = ": ";
constexpr std::string_view kContentPrefix = "Content-";
constexpr std::string_view kQuotedPrintable = "quoted-printable";

/// Room for the fields of a usual message.
constexpr std::size_t kUsualFieldBytes = 640;
/// A field below this length is never folded.
constexpr std::size_t kShortField = 66;

/// Stands behind a name and behind a value, where the text has two characters as well.
constexpr std::string_view kMark("\0\0", 2);

/// Whether any of the bytes, but for zero ones, makes a field one that isn't written as it is
/// given: it is no 7-bit character that can be seen, begins parameters, or may be part of an
/// encoded word.
bool holdsOdd(std::string_view text) {
    constexpr std::size_t kBlock = 32;
    constexpr unsigned char kPrintable = '~' - ' ';
    std::array<unsigned char, kBlock> odd{};
    const auto look = [&odd](const char* bytes, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            const char c = bytes[i];
            const auto place = static_cast<unsigned char>(c - ' ');
            odd[i] = static_cast<unsigned char>(odd[i] | ((place > kPrintable) & (c != '\0')) |
                                                (c == '=') | (c == ';'));
        }
    };
    for (; text.size() >= kBlock; text.remove_prefix(kBlock)) {
        std::array<char, kBlock> block;
        std::memcpy(block.data(), text.data(), kBlock);
        look(block.data(), kBlock);
    }
    look(text.data(), text.size());
    return odd != std::array<unsigned char, kBlock>{};
}

bool isShort(std::string_view name, std::string_view value) {
    return name.size() + kColon.size() + value.size() < kShortField && !name.empty();
}

/// `hasOdd` as `holdsOdd` says of both.
void writeField(std::string_view name, std::string_view value, bool hasOdd, std::string& text) {
    if (!hasOdd && isShort(name, value)) {
        text.append(name).append(kColon).append(value);
    } else {
        MimeField(name, value).emitField(text, _bvCharset());
    }
    text.append(kLineEnd);
}

}  // namespace

void setTextBody(BvMime& node, const TextBody& body) {
    if (body.isBinary) {
        BvByteData bytes;
        if (!bytes.append(body.bytes.data(), body.bytes.size())) {
            throw std::bad_alloc();
        }
        node.SetBodyFromBinary(std::move(bytes));
    } else {
        node.SetBody(body.bytes.c_str());
    }
    node.ContentType(body.contentType.c_str());
    node.Encoding(body.isBinary ? "base64" : body.coding);
}

std::string& MimeDraft::beginField(std::string_view name) {
    if (fields_.empty()) {
        fields_.reserve(kUsualFieldBytes);
    }
    name = trimmed(name);
    if (!name.empty() && asciiLower(name.front()) == 'c') {
        hasContentField_ = hasContentField_ || beginsWithNoCase(name, kContentPrefix);
    }
    nameAt_ = fields_.size();
    valueAt_ = nameAt_ + name.size() + kMark.size();
    return fields_.append(name).append(kMark);
}

void MimeDraft::endField() {
    std::string_view value = std::string_view(fields_).substr(valueAt_);
    value = trimmed(value.substr(0, value.find('\0')));
    if (value.empty()) {
        fields_.resize(nameAt_);
        return;
    }
    const auto front = static_cast<std::size_t>(value.data() - fields_.data()) - valueAt_;
    fields_.resize(valueAt_ + front + value.size());
    fields_.erase(valueAt_, front);
    fields_.append(kMark);
}

void MimeDraft::setBody(TextBody&& body) {
    body_ = std::move(body);
    hasBody_ = true;
}

template <class Take>
void MimeDraft::forEachField(Take&& take) const {
    for (std::size_t at = 0; at < fields_.size();) {
        const std::string_view name(fields_.data() + at);
        const std::string_view value(name.data() + name.size() + kMark.size());
        take(name, value);
        at += name.size() + value.size() + kMark.size() + kMark.size();
    }
}

bool MimeDraft::isWritable() const {
    return !hasContentField_ && platform::GetACP() == kUtf8;
}

void MimeDraft::writeHead(std::string& text) const {
    if (!writePlainFields(text)) {
        forEachField([&text](std::string_view name, std::string_view value) {
            writeField(name, value, holdsOdd(name) || holdsOdd(value), text);
        });
    }
    if (hasBody_) {
        writeField("Content-Type", body_.contentType, holdsOdd(body_.contentType), text);
        writeField("Content-Transfer-Encoding", body_.isBinary ? "base64" : body_.coding, false,
                   text);
    }
    text.resize(text.find_last_not_of(kLineEnd) + 1);
}

/// The short way when all fields are as they are given: in one piece. False, with nothing written,
/// when one isn't. `text` is empty before.
bool MimeDraft::writePlainFields(std::string& text) const {
    if (holdsOdd(fields_)) {
        return false;
    }
    text = fields_;
    char* const begin = text.data();
    bool allShort = true;
    forEachField([&](std::string_view name, std::string_view value) {
        allShort = allShort && isShort(name, value);
        const std::ptrdiff_t nameEnd = name.data() + name.size() - fields_.data();
        const std::ptrdiff_t valueEnd = value.data() + value.size() - fields_.data();
        std::ranges::copy(kColon, begin + nameEnd);
        std::ranges::copy(kLineEnd, begin + valueEnd);
    });
    if (!allShort) {
        text.clear();
    }
    return allShort;
}

std::string_view MimeDraft::bodyBytes() const {
    return body_.isBinary ? std::string_view(body_.bytes) : body_.bytes.c_str();
}

bool MimeDraft::writeText(std::string& text, std::size_t& headSize) const {
    if (!isWritable()) {
        return false;
    }
    const std::string_view bytes = bodyBytes();
    const std::size_t bodySize = body_.isBinary ? base64LinesSize(bytes.size()) : bytes.size();
    text.reserve(fields_.size() + kUsualFieldBytes + bodySize);
    writeHead(text);
    headSize = text.size();
    text.append(kLineEnd).append(kLineEnd);
    if (body_.isBinary) {
        const std::size_t begin = text.size();
        text.resize(begin + bodySize);
        encodeBase64Lines(bytes, text.data() + begin);
    } else if (body_.coding == kQuotedPrintable) {
        DataBuffer coded;
        if (!ContentCoding::encodeQuotedPrintable(bytes, coded)) {
            throw std::bad_alloc();
        }
        text.append(coded.view());
    } else {
        text.append(bytes);
    }
    return isAscii(std::string_view(text).substr(0, headSize)) &&
           text.find('\0') == std::string::npos;
}

bool MimeDraft::writePieces(MimePieces& out) const {
    const std::string_view bytes = bodyBytes();
    const bool isCoded = !body_.isBinary && body_.coding == kQuotedPrintable;
    if (!isWritable() || isCoded || bytes.size() < MimePieces::kLeastLong) {
        return false;
    }
    std::string head;
    writeHead(head);
    head.append(kLineEnd).append(kLineEnd);
    if (!out.rest.append(head)) {
        throw std::bad_alloc();
    }
    out.longBodies.push_back({out.rest.getSize(), bytes, body_.isBinary});
    return true;
}

std::unique_ptr<BvMime> MimeDraft::makeTree() const {
    auto tree = std::make_unique<BvMime>();
    forEachField([&tree](std::string_view name, std::string_view value) {
        tree->AddHeaderField(name.data(), value.data());
    });
    if (hasBody_) {
        setTextBody(*tree, body_);
    }
    return tree;
}

}  // namespace borvik
