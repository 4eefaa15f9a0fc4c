#include "mime/mime_message2.h"

#include <algorithm>
#include <new>
#include <utility>

#include "base/ascii_text.h"
#include "charset/tables/code_pages.h"
#include "mime/boundary_gen.h"
#include "mime/coding/content_coding.h"
#include "mime/message_loader.h"
#include "mime/part_index.h"

namespace borvik {

namespace {

constexpr std::string_view kContentPrefix = "Content-";
constexpr std::string_view kContentType = "Content-Type";
constexpr std::string_view kContentDisposition = "Content-Disposition";
constexpr std::string_view kContentTransferEncoding = "Content-Transfer-Encoding";
constexpr std::string_view kContentId = "Content-ID";

/// The fields that are taken apart.
constexpr std::size_t kContentTypeField = 0;
constexpr std::size_t kContentIdField = 1;
constexpr std::size_t kContentDispositionField = 2;
constexpr std::size_t kTransferEncodingField = 3;
constexpr std::array kContentNames = {kContentType, kContentId, kContentDisposition,
                                      kContentTransferEncoding};

/// The value of a field that is one token, without what a ";" sets off.
void setToken(StringBuffer& out, std::string_view value) {
    const std::string_view token = trimmed(value);
    out.setString(token.substr(0, token.find(';')));
}

}  // namespace

MimeMessage2::MimeMessage2() = default;
MimeMessage2::~MimeMessage2() = default;

const MimeMessage2::ContentFields& MimeMessage2::noFields() {
    static const ContentFields kNone;
    return kNone;
}

MimeMessage2::ContentFields& MimeMessage2::editFields() {
    if (fields_ == nullptr) {
        fields_ = std::make_shared<ContentFields>();
    } else if (fields_.use_count() > 1) {
        fields_ = std::make_shared<ContentFields>(*fields_);
    }
    return *fields_;
}

void MimeMessage2::clearCharset() {
    if (fields().content.charset.getCodePage() != kNoCodePage) {
        editFields().content.charset.clear();
    }
}

const DataBuffer& MimeMessage2::rawSignedText() const {
    static const DataBuffer kNone;
    return rawSignedText_ == nullptr ? kNone : *rawSignedText_;
}

void MimeMessage2::setRawSignedText(std::string_view text) {
    rawSignedText_ = std::make_unique<DataBuffer>();
    rawSignedText_->assign(text);
}

void MimeMessage2::addPart(std::unique_ptr<MimeMessage2> part) {
    MimeMessage2& added = *part;
    parts_.push_back(std::move(part));
    if (index_ != nullptr) {
        added.setIndex(index_);
        index_->add(added);
    }
}

void MimeMessage2::setIndex(PartIndex* index) {
    index_ = index;
    for (const auto& part : parts_) {
        part->setIndex(index);
    }
}

MimeMessage2* MimeMessage2::findPartById(std::uint64_t id) {
    if (getObjectId() == id) {
        return this;
    }
    for (const auto& part : parts_) {
        if (MimeMessage2* const found = part->findPartById(id)) {
            return found;
        }
    }
    return nullptr;
}

void MimeMessage2::clear() {
    rawSignedText_.reset();
    if (body_.isBorrowed()) {
        body_ = DataBuffer();
    }
    body_.clear();
    bodyStorage_.reset();
    header_.clear();
    fields_.reset();
    if (index_ != nullptr && !parts_.empty()) {
        index_->forget();
    }
    parts_.clear();
}

bool MimeMessage2::isBlank() const {
    return fields_ == nullptr && header_.fields().empty() && parts_.empty() && body_.empty() &&
           rawSignedText_ == nullptr;
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
                               encoding().equalsNoCase("8bit") && !body_.isAscii() &&
                               charset().getCodePage() != kNoCodePage;
    if (goesOutAs8Bit) {
        out.setString(charset().getName());
        return true;
    }
    for (const auto& part : parts_) {
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
    if (!beginsWithNoCase(fieldName, kContentPrefix)) {
        return;
    }
    for (std::size_t i = 0; i < kContentNames.size(); ++i) {
        if (equalsNoCase(fieldName, kContentNames[i])) {
            cacheField(i);
        }
    }
}

void MimeMessage2::setContentType(std::string_view text) {
    editFields().content.mediaType.setString(text);
    rebuildContentType(false);
}

void MimeMessage2::setCharset(const _bvCharset& charset) {
    editFields().content.charset.copyFrom(charset);
    rebuildContentType(true);
}

void MimeMessage2::setCharset(const char* name) {
    _bvCharset charset;
    charset.setByName(name);
    setCharset(charset);
}

void MimeMessage2::setBoundary(std::string_view text) {
    editFields().content.boundary.setString(trimmed(text));
    rebuildContentType(true);
}

void MimeMessage2::setEncoding(std::string_view word) {
    editFields().encoding.setString(word);
    header_.replaceField(kContentTransferEncoding, word);
    cacheField(kTransferEncodingField);
}

void MimeMessage2::setContentDisposition(std::string_view word, std::string_view filename) {
    ContentDispositionParams& disposition = editFields().disposition;
    disposition.disposition.setString(word);
    disposition.filename.setString(filename);
    const bool removes = word.empty() && filename.empty();
    header_.replaceField(kContentDisposition,
                         removes ? std::string_view() : disposition.format().view());
    cacheField(kContentDispositionField);
}

void MimeMessage2::setBodyRaw(std::string_view bytes) {
    body_.assign(bytes);
    bodyStorage_.reset();
}

void MimeMessage2::setBodyRaw(DataBuffer&& bytes) {
    body_ = std::move(bytes);
    bodyStorage_.reset();
}

std::shared_ptr<DataBuffer> MimeMessage2::sharedBody() const {
    constexpr std::size_t kWorthIt = std::size_t{1} << 16;
    if (body_.getSize() < kWorthIt) {
        return nullptr;
    }
    if (!body_.isBorrowed()) {
        bodyStorage_ = std::make_shared<DataBuffer>(std::move(body_));
        body_.borrow(bodyStorage_->getData(), bodyStorage_->getSize());
    }
    return bodyStorage_;
}

void MimeMessage2::copyFrom(const MimeMessage2& source) {
    header_ = source.header_;
    if (source.fields_ != nullptr) {
        fields_ = std::make_shared<ContentFields>(*source.fields_);
    }
    if (source.rawSignedText_ != nullptr) {
        setRawSignedText(source.rawSignedText_->view());
    }
    bodyStorage_ = source.sharedBody();
    if (bodyStorage_ != nullptr) {
        body_.borrow(source.body_.getData(), source.body_.getSize());
    } else if (!body_.assign(source.body_.view())) {
        throw std::bad_alloc();
    }
    for (const auto& part : source.parts_) {
        auto copy = std::make_unique<MimeMessage2>();
        copy->copyFrom(*part);
        addPart(std::move(copy));
    }
}

void MimeMessage2::newMultipartMixed() {
    clear();
    editFields().content.mediaType.setString("multipart/mixed");
    editFields().content.boundary.setString(BoundaryGen::generate());
    rebuildContentType(true);
}

void MimeMessage2::rebuildContentType(bool defaultCharset) {
    header_.replaceField(kContentType, fields().content.format(defaultCharset).view());
}

void MimeMessage2::cacheAll(LastFields& last) {
    CodedValues coded;
    readContentValues(coded);
    if (fields_ == nullptr && std::ranges::equal(coded.values, last.values)) {
        fields_ = last.fields;
        return;
    }
    for (std::size_t i = 0; i < kContentNames.size(); ++i) {
        takeContentValue(i, coded.values[i]);
        last.values[i] = coded.values[i];
    }
    last.fields = fields_;
}

/// Finds the decoded values of the content fields in one walk over the header.
void MimeMessage2::readContentValues(CodedValues& coded) const {
    std::array<bool, kContentNames.size()> found{};
    for (const MimeField& field : header_.fields()) {
        if (!beginsWithNoCase(field.name(), kContentPrefix)) {
            continue;
        }
        for (std::size_t i = 0; i < kContentNames.size(); ++i) {
            if (!found[i] && field.hasName(kContentNames[i])) {
                found[i] = true;
                coded.values[i] = field.value();
            }
        }
    }
    for (std::size_t i = 0; i < kContentNames.size(); ++i) {
        if (hasWordMark(coded.values[i])) {
            getHeaderDecoded(kContentNames[i], coded.decoded[i]);
            coded.values[i] = coded.decoded[i];
        }
    }
}

/// Takes a value apart, an empty one only when there is something to replace.
void MimeMessage2::takeContentValue(std::size_t field, std::string_view value) {
    if (fields_ == nullptr && value.empty()) {
        return;
    }
    ContentFields& fields = editFields();
    switch (field) {
        case kContentTypeField:
            fields.content.parse(value);
            break;
        case kContentIdField:
            setToken(fields.contentId, value);
            break;
        case kContentDispositionField:
            fields.disposition.parse(value);
            break;
        default:
            setToken(fields.encoding, value);
    }
}

void MimeMessage2::cacheField(std::size_t field) {
    std::string value;
    getHeaderDecoded(kContentNames[field], value);
    takeContentValue(field, value);
}

bool MimeMessage2::LoadMimeComplete2(std::string_view text, bool fromText, LogBase* log,
                                     bool bodyIsUtf8, std::shared_ptr<DataBuffer> storage) {
    return MessageLoader(fromText, bodyIsUtf8, log).load(*this, text, std::move(storage));
}

}  // namespace borvik
