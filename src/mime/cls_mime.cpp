#include "mime/cls_mime.h"

#include <algorithm>
#include <mutex>
#include <new>
#include <utility>

#include "base/ascii_text.h"
#include "charset/encoding_convert.h"
#include "charset/tables/code_pages.h"
#include "platform/code_page.h"
#include "text/buffer_files.h"
#include "text/file_sys.h"

namespace borvik {

namespace {

using TreeLock = std::lock_guard<BorvikCritSec>;

/// A string whose first bytes are ASCII is taken to have been so before it became UTF-8.
constexpr std::size_t kProbeOnLoad = 100'000;
/// A text whose first bytes are ASCII is not searched for 8-bit parts.
constexpr std::size_t kProbeOnRead = 50'000;

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// A header for text that begins with a boundary line, followed by the text.
std::string withHeader(std::string_view boundary, std::string_view text) {
    std::string out("Content-Type: multipart/mixed;\r\n\tboundary=\"");
    out.append(boundary).append("\"\r\n");
    if (text.front() == '\n') {
        out += '\r';
    } else if (text.front() != '\r') {
        out.append("\r\n");
    }
    return out.append(text);
}

/// UTF-16 with its mark, as far as the first character shows it.
bool isUtf16Text(std::string_view bytes) {
    return bytes.size() > 4 && bytes.starts_with("\xFF\xFE") && bytes[3] == '\0';
}

/// Makes the bytes the text, up to the first zero byte, without a copy. `bytes` loses its storage.
void moveIntoText(DataBuffer& bytes, XString& out) {
    out.clear();
    if (bytes.empty() || bytes.view().front() == '\0') {
        return;
    }
    if (bytes.getSize() > StringBuffer::kMaxSize) {
        throw std::bad_alloc();
    }
    bytes.appendByte('\0');
    if (bytes.view().starts_with(kByteOrderMark)) {
        out.setFromUtf8(bytes.getData());
        return;
    }
    StringBuffer& text = out.editUtf8();
    text.takeBytes(bytes);
    text.truncateAtChar('\0');
}

}  // namespace

/// One public operation: begins its log, and ends it with its outcome.
class ClsMime::Method {
public:
    Method(ClsMime& object, const char* name) : object_(object) { object.enterMethod(name); }
    ~Method() {
        object_.logSuccess(ok_);
        if (LogBase* const log = object_.activeLog()) {
            log->leaveContext();
        }
    }

    Method(const Method&) = delete;
    Method& operator=(const Method&) = delete;

    bool end(bool ok) {
        ok_ = ok;
        return ok;
    }

private:
    ClsMime& object_;
    bool ok_ = true;
};

template <class Work>
auto ClsMime::onMyPart(Work&& work) {
    while (true) {
        {
            const TreeLock lock(*tree_);
            if (MimeMessage2* const part = tree_->find(partId_)) {
                return work(*part);
            }
        }
        if (LogBase* const log = activeLog()) {
            log->logInfo("Internal MIME part no longer exists within the MIME document.");
        }
        initNew();
    }
}

template <class Work>
void ClsMime::changeMyPart(Work&& work) {
    onMyPart([&](MimeMessage2& part) {
        tree_->noteChange();
        work(part);
    });
}

/// False when `work` runs out of memory, or makes more than a text holds.
template <class Work>
bool ClsMime::tellsMemory(Work&& work) {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        if (LogBase* const log = activeLog()) {
            log->logError("Too low on memory...");
        }
        return false;
    }
}

ClsMime::ClsMime() {
    initNew();
}

ClsMime::ClsMime(SharedMime& tree, std::uint64_t partId) : tree_(&tree), partId_(partId) {
    tree.incRefCount();
}

ClsMime::~ClsMime() {
    leaveTree();
}

void ClsMime::leaveTree() {
    if (tree_ != nullptr) {
        std::exchange(tree_, nullptr)->release();
    }
}

void ClsMime::initNew() {
    auto tree = std::make_unique<SharedMime>();
    leaveTree();
    tree_ = tree.release();
    tree_->incRefCount();
    partId_ = tree_->root().getObjectId();
}

bool ClsMime::isOnlyOneOnRoot() const {
    return tree_->getRefCount() == 1 && tree_->root().getObjectId() == partId_;
}

bool ClsMime::isBlank() {
    const TreeLock lock(*tree_);
    return isOnlyOneOnRoot() && tree_->root().isBlank();
}

bool ClsMime::findBoundaryIfNoHeader(std::string_view text, std::string& boundary) {
    constexpr std::string_view kDashes = "--";
    const std::size_t start = text.find_first_not_of(" \t\r\n");
    if (start == std::string_view::npos || !text.substr(start).starts_with(kDashes)) {
        return false;
    }
    const std::string_view line = text.substr(start + kDashes.size());
    const std::size_t end = line.find_first_of("\r\n");
    if (end == std::string_view::npos) {
        return false;
    }
    boundary.assign(line.substr(0, end));
    return true;
}

bool ClsMime::parseInto(std::string_view text, bool fromText, bool bodyIsUtf8,
                        std::shared_ptr<DataBuffer> storage) {
    std::string boundary;
    std::string completed;
    if (findBoundaryIfNoHeader(text, boundary)) {
        if (LogBase* const log = activeLog()) {
            log->logInfo("MIME has no header.  Auto-detecting boundary string...");
        }
        completed = withHeader(boundary, text);
        text = completed;
    }
    if (!isBlank()) {
        initNew();
    }
    const TreeLock lock(*tree_);
    tree_->noteChange();
    const bool mayBeUtf8 = bodyIsUtf8 && !isAscii(text.substr(0, kProbeOnLoad));
    return tree_->root().LoadMimeComplete2(text, fromText, activeLog(), mayBeUtf8,
                                           std::move(storage));
}

bool ClsMime::loadMimeText(std::string_view text, bool bodyIsUtf8) {
    Method method(*this, "LoadMime");
    parseInto(text, true, bodyIsUtf8);
    return true;
}

bool ClsMime::loadMimeBinary(std::string_view bytes, std::shared_ptr<DataBuffer> storage) {
    DataBuffer converted;
    if (isUtf16Text(bytes)) {
        EncodingConvert().convert(kUtf16Le, kUtf8, bytes, converted);
        bytes = converted.view();
    }
    return parseInto(bytes.data() == nullptr ? std::string_view("") : bytes, false, false,
                     std::move(storage));
}

bool ClsMime::loadMimeFile(XString& path) {
    Method method(*this, "LoadMimeFile");
    return method.end(tellsMemory([&] {
        auto file = std::make_shared<DataBuffer>();
        return loadFile(*file, path.getUtf8(), activeLog()) && loadMimeBinary(file->view(), file);
    }));
}

bool ClsMime::saveMime(XString& path) {
    Method method(*this, "SaveMime");
    DataBuffer text;
    return method.end(buildText(text) &&
                      FileSys::writeFile(path, text.getData(), text.getSize(), activeLog()));
}

bool ClsMime::getMimeBytes(DataBuffer& out) {
    Method method(*this, "GetMimeBytes");
    return method.end(buildText(out));
}

bool ClsMime::getMimePieces(MimePieces& out) {
    Method method(*this, "GetMimePieces");
    return method.end(tellsMemory([&] {
        onMyPart([&](const MimeMessage2& part) {
            part.getMimePieces(out, activeLog());
            if (!out.longBodies.empty()) {
                out.tree = std::make_shared<const ClsMime>(*tree_, partId_);
            }
        });
        return true;
    }));
}

bool ClsMime::buildText(DataBuffer& out) {
    return tellsMemory([&] {
        out.clear();
        onMyPart([&](const MimeMessage2& part) { part.getMimeTextDb(out, activeLog()); });
        return true;
    });
}

bool ClsMime::getMime(XString& out, bool& isBytes) {
    Method method(*this, "GetMime");
    isBytes = false;
    const bool built = tellsMemory([&] {
        isBytes = showText(out);
        return true;
    });
    if (!built) {
        out.clear();
    }
    return method.end(built);
}

/// True when the text is the bytes of the node.
bool ClsMime::showText(XString& out) {
    DataBuffer text;
    StringBuffer charset;
    onMyPart([&](const MimeMessage2& part) {
        part.getMimeTextDb(text, activeLog());
        if (isAscii(text.view().substr(0, kProbeOnRead)) ||
            findNoCase(text.view(), "8bit") == std::string_view::npos) {
            return;
        }
        LogBase* const log = activeLog();
        const bool hasCharset = tree_->findFirst8BitCharset(charset) && !charset.equals("utf-8");
        if (!hasCharset) {
            charset.clear();
        }
        if (log != nullptr) {
            log->logInfo("This is 8bit MIME.");
            if (hasCharset) {
                log->logData("totalMimeCharset", charset.getString());
            } else {
                log->logInfo("Interpreting character data as utf-8.");
            }
        }
    });
    if (charset.empty()) {
        const std::size_t size = text.getSize();
        moveIntoText(text, out);
        return out.utf8Length() == size;
    }
    if (!text.appendByte('\0')) {
        throw std::bad_alloc();
    }
    out.clear();
    out.appendInCharset(text.getData(), charset.getString());
    return false;
}

std::size_t ClsMime::textSizeEstimate() {
    return onMyPart([](const MimeMessage2& part) { return part.textSizeEstimate(); });
}

void ClsMime::getEntireHead(XString& out) {
    Method method(*this, "GetEntireHead");
    std::string block;
    onMyPart([&](const MimeMessage2& part) { part.assembleHeader(block, activeLog()); });
    out.setFromUtf8(block.c_str());
}

bool ClsMime::getHeaderField(std::string_view name, XString& out) {
    Method method(*this, "GetHeaderField");
    std::string value;
    const bool found =
        onMyPart([&](const MimeMessage2& part) { return part.getHeaderDecoded(name, value); });
    out.setFromUtf8(value.c_str());
    return method.end(found);
}

void ClsMime::readHeaderField(std::string_view name, std::string& out) {
    Method method(*this, "GetHeaderField");
    method.end(
        onMyPart([&](const MimeMessage2& part) { return part.getHeaderDecoded(name, out); }));
    out.resize(std::min(out.find('\0'), out.size()));
    out.erase(0, out.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0);
}

void ClsMime::addHeaderField(std::string_view name, std::string_view value) {
    Method method(*this, "AddHeaderField");
    changeMyPart([&](MimeMessage2& part) { part.addHeaderField(name, value); });
}

void ClsMime::setHeaderField(std::string_view name, std::string_view value) {
    Method method(*this, "SetHeaderField");
    changeMyPart([&](MimeMessage2& part) { part.setHeaderField(name, value); });
}

int ClsMime::numParts() {
    return onMyPart([](const MimeMessage2& part) { return part.getNumParts(); });
}

std::unique_ptr<ClsMime> ClsMime::getPart(int index) {
    Method method(*this, "GetPart");
    auto part = onMyPart([&](const MimeMessage2& mine) {
        const MimeMessage2* const child = mine.getPart(index);
        if (child != nullptr) {
            return std::make_unique<ClsMime>(*tree_, child->getObjectId());
        }
        if (LogBase* const log = activeLog()) {
            log->logError("Failed to get MIME message part");
            log->logDataInt("num_parts", mine.getNumParts());
            log->logDataInt("requested_part_index", index);
        }
        return std::unique_ptr<ClsMime>();
    });
    method.end(part != nullptr);
    return part;
}

void ClsMime::appendPart(ClsMime& other) {
    Method method(*this, "AppendPart");
    const bool isMultipart = onMyPart([&](const MimeMessage2& part) {
        LogBase* const log = activeLog();
        if (!part.isMultipart() && log != nullptr) {
            log->logData("content_type", part.contentType().getString());
            log->logInfo("Not already multipart, therefore changing to multipart/mixed...");
        }
        return part.isMultipart();
    });
    if (!isMultipart) {
        convertToMultipart();
    }
    // Never under both locks: two objects may append each other.
    auto copy = std::make_unique<MimeMessage2>();
    other.onMyPart([&](const MimeMessage2& source) { copy->loadCopy(source, activeLog()); });
    changeMyPart([&](MimeMessage2& part) { part.addPart(std::move(copy)); });
}

void ClsMime::convertToMultipart() {
    auto copy = std::make_unique<MimeMessage2>();
    onMyPart([&](const MimeMessage2& part) { copy->loadCopy(part, activeLog()); });
    initNew();
    changeMyPart([&](MimeMessage2& root) {
        root.newMultipartMixed();
        root.addPart(std::move(copy));
    });
}

void ClsMime::getBodyBinary(DataBuffer& out) {
    Method method(*this, "GetBodyBinary");
    onMyPart([&](const MimeMessage2& part) { out.assign(part.body().view()); });
}

bool ClsMime::saveBody(XString& path) {
    Method method(*this, "SaveBody");
    bool written = false;
    onMyPart([&](const MimeMessage2& part) {
        const std::string_view body = part.body().view();
        written = FileSys::writeFile(path, body.data(), body.size(), activeLog());
    });
    return method.end(written);
}

void ClsMime::getBodyDecoded(XString& out) {
    Method method(*this, "GetBodyDecoded");
    DataBuffer body;
    onMyPart([&](const MimeMessage2& part) {
        body.ensureCapacity(part.body().getSize() + 1);  // with its zero byte
        part.getMimeBody8Bit(body, kNoCodePage);
        if (part.contentType().beginsWith("text/")) {
            body.replaceByte('\0', ' ');
        }
    });
    moveIntoText(body, out);
}

std::size_t ClsMime::bodySize() {
    return onMyPart([](const MimeMessage2& part) { return part.body().getSize(); });
}

bool ClsMime::readBody(const std::function<void(std::string_view)>& take) {
    return onMyPart([&](const MimeMessage2& part) {
        std::string_view body = part.body().view();
        const bool isThat = (platform::GetACP() == kUtf8 || isAscii(body)) &&
                            body.find('\0') == std::string_view::npos;
        if (isThat) {
            body.remove_prefix(body.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0);
            take(body);
        }
        return isThat;
    });
}

std::unique_ptr<ClsMime> ClsMime::share() {
    return onMyPart(
        [&](const MimeMessage2&) { return std::make_unique<ClsMime>(*tree_, partId_); });
}

std::unique_ptr<ClsMime> ClsMime::copy() {
    auto made = std::make_unique<ClsMime>();
    // Nobody else knows the new tree, so it needs no lock.
    onMyPart([&](const MimeMessage2& part) { made->tree_->root().copyFrom(part); });
    return made;
}

void ClsMime::setBody(std::string_view text) {
    Method method(*this, "SetBody");
    changeMyPart([&](MimeMessage2& part) { part.setBodyRaw(text); });
}

void ClsMime::setBodyFromBinary(DataBuffer&& bytes) {
    Method method(*this, "SetBodyFromBinary");
    changeMyPart([&](MimeMessage2& part) {
        part.setBodyRaw(std::move(bytes));
        part.setEncoding("base64");
    });
}

void ClsMime::contentType(XString& out) {
    onMyPart([&](const MimeMessage2& part) {
        std::string type(part.contentType().view());
        std::transform(type.begin(), type.end(), type.begin(), asciiLower);
        out.setFromUtf8(type.c_str());
    });
}

void ClsMime::name(XString& out) {
    onMyPart([&](const MimeMessage2& part) { out.setFromUtf8(part.name().getString()); });
}

void ClsMime::filename(XString& out) {
    onMyPart([&](const MimeMessage2& part) { out.setFromUtf8(part.filename().getString()); });
}

void ClsMime::setContentType(std::string_view value) {
    changeMyPart([&](MimeMessage2& part) { part.setContentType(value); });
}

void ClsMime::setEncoding(std::string_view value) {
    changeMyPart([&](MimeMessage2& part) { part.setEncoding(trimmed(value)); });
}

void ClsMime::setDisposition(std::string_view value) {
    changeMyPart([&](MimeMessage2& part) {
        const std::string_view word = trimmed(value);
        const std::string filename(trimmed(part.filename().view()));
        part.setContentDisposition(word, word.empty() ? std::string_view() : filename);
    });
}

void ClsMime::setBoundary(std::string_view value) {
    changeMyPart([&](MimeMessage2& part) { part.setBoundary(value); });
}

}  // namespace borvik
