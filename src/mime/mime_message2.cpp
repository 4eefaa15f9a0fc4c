#include "mime/mime_message2.h"

#include <utility>

#include "base/ascii_text.h"
#include "charset/code_pages.h"
#include "mime/boundary_gen.h"
#include "mime/content_coding.h"
#include "mime/message_loader.h"
#include "mime/part_index.h"

namespace borvik {

namespace {

constexpr std::string_view kContentType = "Content-Type";
constexpr std::string_view kContentDisposition = "Content-Disposition";
constexpr std::string_view kContentTransferEncoding = "Content-Transfer-Encoding";
constexpr std::string_view kContentId = "Content-ID";

/// The value of a field that is one token, without what a ";" sets off.
void setToken(StringBuffer& out, std::string_view value) {
    const std::string_view token = trimmed(value);
    out.setString(token.substr(0, token.find(';')));
}

}  // namespace

MimeMessage2::MimeMessage2() = default;
MimeMessage2::~MimeMessage2() = default;

void MimeMessage2::addPart(std::unique_ptr<MimeMessage2> part) {
    MimeMessage2& added = *part;
    if (!parts_.append(std::move(part)) || index_ == nullptr) {
        return;
    }
    added.setIndex(index_);
    index_->add(added);
}

void MimeMessage2::setIndex(PartIndex* index) {
    index_ = index;
    for (MimeMessage2* part : parts_) {
        part->setIndex(index);
    }
}

MimeMessage2* MimeMessage2::findPartById(std::uint64_t id) {
    if (getObjectId() == id) {
        return this;
    }
    for (MimeMessage2* part : parts_) {
        if (MimeMessage2* const found = part->findPartById(id)) {
            return found;
        }
    }
    return nullptr;
}

void MimeMessage2::removeParts() {
    if (index_ != nullptr) {
        for (const MimeMessage2* part : parts_) {
            index_->remove(*part);
        }
    }
    parts_.deleteAll();
}

void MimeMessage2::clear() {
    rawSignedText_.clear();
    body_.clear();
    header_.clear();
    content_.clear();
    disposition_.clear();
    encoding_.clear();
    contentId_.clear();
    removeParts();
}

bool MimeMessage2::isMultipart() const {
    return contentType().beginsWithNoCase("multipart");
}

bool MimeMessage2::isSignedMultipart() const {
    if (!contentType().equalsNoCase("multipart/signed")) {
        return false;
    }
    std::string protocol;
    header_.getParamValue(kContentType, "protocol", protocol);
    return !equalsNoCase(protocol, "application/pgp-signature");
}

bool MimeMessage2::isAttachment() const {
    return disposition().equalsNoCase("attachment");
}

bool MimeMessage2::getHeaderDecoded(std::string_view name, std::string& out) const {
    out.clear();
    if (!header_.getFieldValue(name, out)) {
        return false;
    }
    for (const auto hasMark : {hasBWordMark, hasQWordMark}) {
        if (hasMark(out)) {
            ContentCoding::decodeEncodedWords(out);
        }
    }
    return true;
}

bool MimeMessage2::findFirst8BitCharset(StringBuffer& out) const {
    const bool goesOutAs8Bit = contentType().beginsWithNoCase("text/") &&
                               encoding_.equalsNoCase("8bit") && !body_.isAscii() &&
                               charset().getCodePage() != kNoCodePage;
    if (goesOutAs8Bit) {
        out.setString(charset().getName());
        return true;
    }
    for (const MimeMessage2* part : parts_) {
        if (part->findFirst8BitCharset(out)) {
            return true;
        }
    }
    return false;
}

void MimeMessage2::setHeaderField(std::string_view name, std::string_view value) {
    header_.replaceField(trimmed(name), trimmed(value));
    refreshAfter(trimmed(name));
}

void MimeMessage2::addHeaderField(std::string_view name, std::string_view value) {
    header_.addField(trimmed(name), trimmed(value));
    refreshAfter(trimmed(name));
}

void MimeMessage2::refreshAfter(std::string_view fieldName) {
    if (equalsNoCase(fieldName, kContentType)) {
        cacheContentType();
    } else if (equalsNoCase(fieldName, kContentDisposition)) {
        cacheContentDisposition();
    } else if (equalsNoCase(fieldName, kContentId)) {
        cacheContentId();
    } else if (equalsNoCase(fieldName, kContentTransferEncoding)) {
        cacheTransferEncoding();
    }
}

void MimeMessage2::setContentType(std::string_view text) {
    content_.mediaType.setString(text);
    rebuildContentType(false);
}

void MimeMessage2::setCharset(const _bvCharset& charset) {
    content_.charset.copyFrom(charset);
    rebuildContentType(true);
}

void MimeMessage2::setCharset(const char* name) {
    _bvCharset charset;
    charset.setByName(name);
    setCharset(charset);
}

void MimeMessage2::setBoundary(std::string_view text) {
    content_.boundary.setString(trimmed(text));
    rebuildContentType(true);
}

void MimeMessage2::setEncoding(std::string_view word) {
    encoding_.setString(word);
    header_.replaceField(kContentTransferEncoding, word);
    cacheTransferEncoding();
}

void MimeMessage2::setContentDisposition(std::string_view word, std::string_view filename) {
    disposition_.disposition.setString(word);
    disposition_.filename.setString(filename);
    const bool removes = word.empty() && filename.empty();
    header_.replaceField(kContentDisposition,
                         removes ? std::string_view() : disposition_.format().view());
    cacheContentDisposition();
}

void MimeMessage2::setBodyText(XString& text) {
    body_.assign(text.getUtf8Buffer().view());
}

void MimeMessage2::setBodyRaw(std::string_view bytes) {
    body_.assign(bytes);
}

void MimeMessage2::setBodyRaw(DataBuffer&& bytes) {
    body_ = std::move(bytes);
}

void MimeMessage2::newMultipartMixed() {
    clear();
    content_.mediaType.setString("multipart/mixed");
    content_.boundary.setString(BoundaryGen::generate());
    rebuildContentType(true);
}

void MimeMessage2::rebuildContentType(bool defaultCharset) {
    header_.replaceField(kContentType, content_.format(defaultCharset).view());
}

void MimeMessage2::cacheAll() {
    cacheContentType();
    cacheContentId();
    cacheContentDisposition();
    cacheTransferEncoding();
}

void MimeMessage2::cacheContentType() {
    std::string value;
    getHeaderDecoded(kContentType, value);
    content_.parse(value);
}

void MimeMessage2::cacheContentId() {
    std::string value;
    getHeaderDecoded(kContentId, value);
    setToken(contentId_, value);
}

void MimeMessage2::cacheContentDisposition() {
    std::string value;
    getHeaderDecoded(kContentDisposition, value);
    disposition_.parse(value);
}

void MimeMessage2::cacheTransferEncoding() {
    std::string value;
    getHeaderDecoded(kContentTransferEncoding, value);
    setToken(encoding_, value);
}

bool MimeMessage2::LoadMimeComplete2(std::string_view text, bool fromText, LogBase* log,
                                     bool bodyIsUtf8) {
    return MessageLoader(fromText, bodyIsUtf8, log).load(*this, text);
}

}  // namespace borvik
