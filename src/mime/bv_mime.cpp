#include "mime/bv_mime.h"

#include <optional>
#include <utility>

#include "base/ascii_text.h"
#include "charset/tables/code_pages.h"
#include "mime/cls_mime.h"
#include "platform/code_page.h"
#include "text/outward_strings.h"

namespace borvik {

namespace {

/// A string argument of the boundary as UTF-8; where it stands unless it needs conversion.
class Argument {
public:
    Argument(const char* text, bool isUtf8) : view_(text == nullptr ? "" : text) {
        const bool isUtf8Already = !isUtf8 && (platform::GetACP() == kUtf8 || isAscii(view_));
        if (!isUtf8Already) {
            XString& converted = converted_.emplace();
            converted.setFromEither(text, isUtf8);
            view_ = converted.utf8View();
        }
    }

    Argument(const Argument&) = delete;
    Argument& operator=(const Argument&) = delete;

    std::string_view view() const { return view_; }

private:
    std::optional<XString> converted_;
    std::string_view view_;
};

}  // namespace

BvMime::BvMime() : impl_(std::make_unique<ClsMime>()) {}

BvMime::BvMime(std::unique_ptr<ClsMime> impl) : impl_(std::move(impl)) {}

BvMime::~BvMime() = default;

bool BvMime::LoadMime(const char* text) {
    // The bulk of a message is parsed where it stands if it needs no conversion.
    const std::string_view given(text == nullptr ? "" : text);
    if (!utf8_ && platform::GetACP() == kUtf8) {
        // These are the bytes that came off the wire, each part in the charset of its label.
        return impl_->loadMimeText(given, false);
    }
    const bool isUtf8Already = isAscii(given) || (utf8_ && !given.starts_with("\xEF\xBB\xBF"));
    return impl_->loadMimeText(isUtf8Already ? given : Argument(text, utf8_).view(), true);
}

bool BvMime::LoadMimeFile(const char* path) {
    XString file;
    file.setPath(path, utf8_);
    return impl_->loadMimeFile(file);
}

bool BvMime::SaveMime(const char* path) {
    XString file;
    file.setPath(path, utf8_);
    return impl_->saveMime(file);
}

bool BvMime::SaveBody(const char* path) {
    XString file;
    file.setPath(path, utf8_);
    return impl_->saveBody(file);
}

bool BvMime::GetMime(BvString& out) {
    bool isBytes = false;
    return GetMime(out, isBytes);
}

bool BvMime::GetMime(BvString& out, bool& isBytes) {
    return impl_->getMime(out.x(), isBytes);
}

bool BvMime::GetMimeBytes(BvByteData& out) {
    return impl_->getMimeBytes(out.data());
}

bool BvMime::GetMimePieces(MimePieces& out) {
    return impl_->getMimePieces(out);
}

std::size_t BvMime::TextSizeEstimate() {
    return impl_->textSizeEstimate();
}

bool BvMime::GetEntireHead(BvString& out) {
    impl_->getEntireHead(out.x());
    return true;
}

bool BvMime::GetHeaderField(const char* name, BvString& out) {
    return impl_->getHeaderField(Argument(name, utf8_).view(), out.x());
}

void BvMime::ReadHeaderField(std::string_view name, std::string& out) {
    impl_->readHeaderField(name, out);
}

bool BvMime::AddHeaderField(const char* name, const char* value) {
    impl_->addHeaderField(Argument(name, utf8_).view(), Argument(value, utf8_).view());
    return true;
}

bool BvMime::SetHeaderField(const char* name, const char* value) {
    impl_->setHeaderField(Argument(name, utf8_).view(), Argument(value, utf8_).view());
    return true;
}

int BvMime::NumParts() {
    return impl_->numParts();
}

std::unique_ptr<BvMime> BvMime::GetPart(int index) {
    std::unique_ptr<ClsMime> part = impl_->getPart(index);
    return part == nullptr ? nullptr : std::make_unique<BvMime>(std::move(part));
}

bool BvMime::AppendPart(const BvMime* part) {
    if (part == nullptr) {
        return false;
    }
    impl_->appendPart(*part->impl_);
    return true;
}

bool BvMime::GetBodyBinary(BvByteData& out) {
    impl_->getBodyBinary(out.data());
    return true;
}

bool BvMime::GetBodyDecoded(BvString& out) {
    impl_->getBodyDecoded(out.x());
    return true;
}

std::size_t BvMime::BodySize() {
    return impl_->bodySize();
}

void BvMime::ReadBody(const std::function<void(std::string_view)>& take) {
    if (!impl_->readBody(take)) {
        BvString text;
        GetBodyDecoded(text);
        const std::string_view ansi = text.x().ansiView();
        take(ansi.substr(0, ansi.find('\0')));
    }
}

std::unique_ptr<BvMime> BvMime::Share() {
    return std::make_unique<BvMime>(impl_->share());
}

std::unique_ptr<BvMime> BvMime::Copy() const {
    return std::make_unique<BvMime>(impl_->copy());
}

void BvMime::SetBody(const char* text) {
    impl_->setBody(Argument(text, utf8_).view());
}

bool BvMime::SetBodyFromBinary(const BvByteData& bytes) {
    BvByteData copy;
    return copy.append(bytes.getData(), bytes.getSize()) && SetBodyFromBinary(std::move(copy));
}

bool BvMime::SetBodyFromBinary(BvByteData&& bytes) {
    impl_->setBodyFromBinary(std::move(bytes.data()));
    return true;
}

void BvMime::ContentType(BvString& out) {
    impl_->contentType(out.x());
}
void BvMime::Name(BvString& out) {
    impl_->name(out.x());
}
void BvMime::Filename(BvString& out) {
    impl_->filename(out.x());
}

void BvMime::ContentType(const char* value) {
    impl_->setContentType(Argument(value, utf8_).view());
}
void BvMime::Encoding(const char* value) {
    impl_->setEncoding(Argument(value, utf8_).view());
}
void BvMime::Disposition(const char* value) {
    impl_->setDisposition(Argument(value, utf8_).view());
}
void BvMime::Boundary(const char* value) {
    impl_->setBoundary(Argument(value, utf8_).view());
}

BvString& BvMime::nextResult() {
    if (resultRing_ == nullptr) {
        resultRing_ = std::make_unique<std::array<BvString, kResultRingSize>>();
    }
    ringPosition_ = (ringPosition_ + 1) % kResultRingSize;
    BvString& slot = (*resultRing_)[ringPosition_];
    slot.utf8Mode = utf8_;
    slot.clear();
    return slot;
}

const char* BvMime::header(const char* name) {
    BvString& result = nextResult();
    return GetHeaderField(name, result) ? result.getString() : nullptr;
}

const char* BvMime::entireHead() {
    BvString& result = nextResult();
    GetEntireHead(result);
    return result.getString();
}

const char* BvMime::getMime() {
    BvString& result = nextResult();
    return GetMime(result) ? result.getString() : nullptr;
}

const char* BvMime::bodyDecoded() {
    BvString& result = nextResult();
    GetBodyDecoded(result);
    return result.getString();
}

const char* BvMime::contentType() {
    BvString& result = nextResult();
    ContentType(result);
    return result.getString();
}

const char* BvMime::filename() {
    BvString& result = nextResult();
    Filename(result);
    return result.getString();
}

const char* BvMime::name() {
    BvString& result = nextResult();
    Name(result);
    return result.getString();
}

}  // namespace borvik
