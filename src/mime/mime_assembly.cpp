#include <algorithm>
#include <new>

#include "base/ascii_text.h"
#include "charset/encoding_convert.h"
#include "charset/tables/code_pages.h"
#include "mime/coding/base64.h"
#include "mime/coding/content_coding.h"
#include "mime/message_loader.h"
#include "mime/mime_message2.h"

namespace borvik {

namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kBlankLine = "\r\n\r\n";
constexpr std::string_view kPreamble = "This is a multi-part message in MIME format.\r\n\r\n";

/// Room to reserve for the header block and the boundary line of a node.
constexpr std::size_t kUsualHeaderBytes = 512;

/// A text that lacks a piece must not be taken for the whole.
void require(bool fits) {
    if (!fits) {
        throw std::bad_alloc();
    }
}

using LongBodies = MimeMessage2::LongBodies;

bool isLong(std::string_view bytes, const LongBodies* left) {
    return left != nullptr && bytes.size() >= MimePieces::kLeastLong;
}

/// Appends bytes that go out as they are, unless they are long and `left` is there for them.
bool leaveOrAppend(std::string_view bytes, DataBuffer& out, LongBodies* left) {
    if (!isLong(bytes, left)) {
        return out.append(bytes);
    }
    left->push_back({out.getSize(), bytes, false});
    return true;
}

void logInfo(LogBase* log, const char* text) {
    if (log != nullptr) {
        log->logInfo(text);
    }
}

}  // namespace

void MimeMessage2::assembleHeader(std::string& out, LogBase* log) const {
    header_.AssembleMimeHeader(out, charset(), log);
}

void MimeMessage2::writeHeaderBlock(DataBuffer& out, LogBase* log) const {
    std::string block;
    assembleHeader(block, log);
    require(out.append(block));
    require(out.append(kBlankLine));
}

void MimeMessage2::writeBoundaryLine(DataBuffer& out, bool closing) const {
    require(out.append("--"));
    require(out.appendStringBuffer(boundary()));
    require(out.append(closing ? "--\r\n" : kLineEnd));
}

void MimeMessage2::getMimeTextDb(DataBuffer& out, LogBase* log) const {
    out.ensureCapacity(out.getSize() + textSizeEstimate());
    writeWhole(out, log, nullptr);
}

void MimeMessage2::getMimePieces(MimePieces& out, LogBase* log) const {
    writeWhole(out.rest, log, &out.longBodies);
}

void MimeMessage2::writeWhole(DataBuffer& out, LogBase* log, LongBodies* left) const {
    writeHeaderBlock(out, log);
    if (!parts_.empty()) {
        require(out.append(kPreamble));
    }
    getMimeBodyRecursive(out, log, left);
}

void MimeMessage2::getMimeText(StringBuffer& out, LogBase* log) const {
    DataBuffer text;
    getMimeTextDb(text, log);
    if (out.empty()) {
        require(text.appendByte('\0') && out.takeBytes(text));
    } else {
        require(out.appendDataBuffer(text));
    }
}

void MimeMessage2::getMimeBodyRecursive(DataBuffer& out, LogBase* log, LongBodies* left) const {
    if (parts_.empty()) {
        getMimeBodyEncodedDb(out, log, left);
        return;
    }
    if (isSignedMultipart()) {
        writeSignedParts(out, log, left);
        return;
    }
    for (const auto& part : parts_) {
        writeBoundaryLine(out, false);
        part->writeHeaderBlock(out, log);
        part->getMimeBodyRecursive(out, log, left);
        require(out.append(kLineEnd));
    }
    writeBoundaryLine(out, true);
}

void MimeMessage2::writeSignedParts(DataBuffer& out, LogBase* log, LongBodies* left) const {
    const MimeMessage2& content = *parts_.front();
    writeBoundaryLine(out, false);
    if (content.rawSignedText().empty()) {
        // Not read from a text, so that there is nothing yet that a signature holds for.
        content.writeHeaderBlock(out, log);
        content.getMimeBodyRecursive(out, log, left);
    } else {
        require(leaveOrAppend(content.rawSignedText().view(), out, left));
    }
    require(out.append(kLineEnd));
    writeBoundaryLine(out, false);
    if (const MimeMessage2* const signature = getPart(1)) {
        signature->writeHeaderBlock(out, log);
        signature->getMimeBodyRecursive(out, log, left);
        require(out.append(kLineEnd));
    }
    writeBoundaryLine(out, true);
}

void MimeMessage2::getMimeBodyEncodedDb(DataBuffer& out, LogBase* log, LongBodies* left) const {
    DataBuffer converted;
    const std::string_view source = bodyForWire(converted, log);
    left = converted.empty() ? left : nullptr;
    if (encoding().equalsNoCase("base64")) {
        logInfo(log, "Appending base64 encoded body..");
        if (isLong(source, left)) {
            left->push_back({out.getSize(), source, true});
            return;
        }
        require(ContentCoding::encodeBase64Mime(source, out));
    } else if (encoding().equalsNoCase("quoted-printable")) {
        logInfo(log, "Appending quoted-printable encoded body..");
        require(ContentCoding::encodeQuotedPrintable(source, out));
    } else {
        logInfo(log, "Appending body with no encoding..");
        require(leaveOrAppend(source, out, left));
    }
}

/// The stored body in the charset that it goes out in; `converted` may be what the view points at.
std::string_view MimeMessage2::bodyForWire(DataBuffer& converted, LogBase* log) const {
    std::uint32_t codePage = charset().getCodePage();
    const bool isText =
        contentType().beginsWith("text/") || contentType().containsNoCase("application/xml");
    if (codePage == kNoCodePage || codePage == kUtf8 || !isText) {
        return body_.view();
    }
    logInfo(log, "Converting text from stored utf-8 to target code page.");
    if (codePage == kUsAscii) {
        codePage = kIsoLatin1;
    }
    if (isAsciiCompatible(codePage) && body_.isAscii()) {
        return body_.view();
    }
    EncodingConvert().convert(kUtf8, codePage, body_.view(), converted);
    return converted.view();
}

void MimeMessage2::getMimeBody8Bit(DataBuffer& out, std::uint32_t codePage) const {
    if (codePage == kNoCodePage || codePage == kUtf8) {
        require(out.appendBuffer(body_));
    } else {
        EncodingConvert().convert(kUtf8, codePage, body_.view(), out);
    }
}

std::size_t MimeMessage2::textSizeEstimate() const {
    std::size_t size = kUsualHeaderBytes + rawSignedText().getSize();
    if (parts_.empty()) {
        const std::size_t bytes = body_.getSize();
        size += encoding().equalsNoCase("base64") ? base64LinesSize(bytes) : bytes;
    }
    for (const auto& part : parts_) {
        size += part->textSizeEstimate();
    }
    return std::min(size, DataBuffer::kMaxSize);
}

void MimeMessage2::loadCopy(const MimeMessage2& source, LogBase* log) {
    DataBuffer text;
    MessageLoader loader(false, false, log);
    if (source.parts_.empty() && source.encoding().equalsNoCase("base64")) {
        // What base64 would turn the body into and back again is the body.
        source.writeHeaderBlock(text, log);
        DataBuffer converted;
        const std::string_view body = source.bodyForWire(converted, log);
        auto storage = converted.empty() ? source.sharedBody() : nullptr;
        if (loader.loadBase64Leaf(*this, text.view(), body, std::move(storage))) {
            return;
        }
        text.clear();
    }
    source.getMimeTextDb(text, log);
    loader.load(*this, text.view());
}

}  // namespace borvik
