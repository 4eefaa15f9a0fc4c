#include "mime/message_loader.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "base/ascii_text.h"
#include "charset/encoding_convert.h"
#include "charset/tables/code_pages.h"
#include "mime/body_decoding.h"
#include "mime/boundary_search.h"
#include "mime/html_help.h"
#include "mime/mime_message2.h"
#include "platform/code_page.h"

namespace borvik {

namespace {

constexpr std::size_t npos = std::string_view::npos;
constexpr std::string_view kCrlf = "\r\n";
constexpr std::string_view kBlankLine = "\r\n\r\n";
constexpr std::string_view kWhiteSpace = " \t\r\n";

/// Headers may read on behind their parts' ends for so many times the length of the whole text, and
/// a little more for short ones.
constexpr std::size_t kReadAheadFactor = 4;
constexpr std::size_t kReadAheadBase = std::size_t{1} << 20;

/// A charset of two-byte units is not believed when no zero byte stands in so many first bytes.
constexpr std::size_t kUtf16ProbeBytes = 1000;

bool holdsZero(std::string_view text) {
    return text.find('\0') != npos;
}

bool contains(std::string_view text, std::string_view wanted) {
    return text.find(wanted) != npos;
}

bool isUtf16(std::uint32_t codePage) {
    return codePage == kUtf16Le || codePage == kUtf16Be;
}

std::string lowered(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(), asciiLower);
    return out;
}

/// What the Content-Type field, in lower case, says about how a leaf is to be read.
struct LeafKind {
    explicit LeafKind(std::string_view type)
        : isEmpty(type.empty()),
          isEdifact(contains(type, "application/edifact")),
          isBinary(!isEdifact && (contains(type, "image/") || contains(type, "audio/") ||
                                  contains(type, "video/") || contains(type, "application/"))),
          isText(contains(type, "text/") || contains(type, "application/xml")),
          isHtml(contains(type, "text/html")) {}

    bool isEmpty;
    bool isEdifact;
    bool isBinary;
    bool isText;
    bool isHtml;
};

/// A boundary that only fits as 8-bit text of the ANSI code page gives way to one of plain
/// characters.
std::string plainBoundary(std::string_view boundary) {
    std::string out(boundary);
    for (char& c : out) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte > 0x80) {
            const char low = static_cast<char>(byte - 0x80);
            c = low < '0' ? '0' : (low > 'z' ? 'z' : low);
        }
    }
    return out;
}

}  // namespace

/// What setting the body of a leaf goes by.
struct MessageLoader::Leaf {
    std::string_view text;
    /// The bytes that base64 text stands for, if they are known already.
    const std::string_view* decoded;
    LeafKind kind;
    bool isAttachment;
    bool isLabelledUtf16;
    /// Nobody reads the text again.
    bool usesUp;

    /// Whether the bytes may be converted by their label.
    bool isText() const {
        const bool mayBe = !isAttachment && (kind.isText || kind.isEmpty);
        const bool mayHoldZeros = kind.isText && isLabelledUtf16;
        return mayBe && (mayHoldZeros || !holdsZero(text));
    }
};

/// The parts of a multipart as its boundary cuts them out of the text.
struct MessageLoader::PartRange {
    std::size_t begin;
    std::size_t end;
    std::string boundary;
    bool bareLf;
    /// Where the first separator stands.
    std::size_t first;

    BoundaryTail lineEnd() const { return bareLf ? BoundaryTail::kLf : BoundaryTail::kCrLf; }
    BoundarySearch search(ParsedText& text) const {
        return {text.boundaries(), end, boundary, lineEnd()};
    }
    /// Finds the first separator; false when there is none.
    bool find(ParsedText& text) {
        const BoundarySearch::Hit hit = search(text).next(begin);
        first = hit.closing ? npos : hit.position;
        return first != npos;
    }
};

bool MessageLoader::load(MimeMessage2& node, std::string_view text,
                         std::shared_ptr<DataBuffer> storage) {
    storage_ = std::move(storage);
    if (text.data() == nullptr) {
        node.clear();
        return false;
    }
    readAheadLeft_ = kReadAheadFactor * text.size() + kReadAheadBase;
    ParsedText parsed(text);
    NodeText source(parsed, 0, text.size());
    return loadNode(node, source, 1);
}

bool MessageLoader::loadNode(MimeMessage2& node, NodeText& source, int level) {
    node.clear();
    const std::size_t headerEnd = locateHeaderEnd(source, fromText_, log_);
    if (headerEnd == npos) {
        log("End-of-header not found.");
        return takeAsHeader(node, source.upToZero());
    }
    log("Found end-of-header.");
    const std::string_view text = source.text().text();
    if (headerEnd > source.begin()) {
        const std::size_t stop = mayReadAhead(source) ? npos : source.end();
        node.header_.ParseMimeHeader(source.text(), source.begin(), log_, stop);
        node.cacheAll(lastFields_);
    }
    std::size_t bodyStart = headerEnd;
    for (int i = 0; i < 2 && text.substr(bodyStart).starts_with(kCrlf); ++i) {
        bodyStart += kCrlf.size();
    }
    if (bodyStart < source.end()) {
        parseMimeBody(node, source.text(), bodyStart, source.end(), level);
    }
    return true;
}

bool MessageLoader::takeAsHeader(MimeMessage2& node, std::string_view text) {
    if (text.size() > kMostHeaderBytes) {
        log("Header larger than 20MB?  This cannot be MIME...");
        return false;
    }
    log("Assuming the entire MIME message is a header with no body.");
    node.header_.ParseMimeHeader(text, log_);
    node.cacheAll(lastFields_);
    return true;
}

bool MessageLoader::mayReadAhead(NodeText& source) {
    const std::size_t headerEnd = MimeHeader::findEnd(source.text(), source.begin());
    if (headerEnd <= source.end()) {
        return true;
    }
    const std::size_t ahead = headerEnd - source.end();
    if (ahead > readAheadLeft_) {
        readAheadLeft_ = 0;
        return false;
    }
    readAheadLeft_ -= ahead;
    return true;
}

void MessageLoader::parseMimeBody(MimeMessage2& node, ParsedText& text, std::size_t begin,
                                  std::size_t end, int level) {
    const bool asMultipart = level <= kMostLevels && node.isMultipart() && !node.boundary().empty();
    if (asMultipart) {
        if (!parseMultipart(node, text, begin, end, level)) {
            decode8BitBody(text.text().substr(begin, end - begin), node.charset().getCodePage(),
                           true, false, node.body_);
        }
        return;
    }
    parseLeaf(node, text.text().substr(begin, end - begin), nullptr);
}

bool MessageLoader::parseMultipart(MimeMessage2& node, ParsedText& text, std::size_t begin,
                                   std::size_t end, int level) {
    constexpr std::string_view kAlternative = "=_alternative";
    PartRange range{begin, end, std::string(node.boundary().view()), false, npos};
    bool found = range.find(text);
    if (!found) {
        range.bareLf = true;
        found = range.find(text);
    }
    range.bareLf = found && range.bareLf;
    const std::size_t alternative = range.boundary.find(kAlternative);
    if (!found && alternative != npos) {
        std::string spaced = range.boundary;
        spaced.insert(alternative + kAlternative.size(), " ");
        range.first = borvik::find(text.text().substr(0, end), spaced, begin);
        found = range.first != npos;
        if (found) {
            node.editFields().content.boundary.setString(spaced);
            range.boundary = std::move(spaced);
        }
    }
    bool fixBoundary = false;
    if (!found && !isAscii(range.boundary)) {
        // When the ANSI page is UTF-8, the text has it in the page that the header was read in.
        const std::uint32_t ansiPage = platform::GetACP();
        DataBuffer raw;
        EncodingConvert().convert(kUtf8,
                                  ansiPage == kUtf8 ? node.header_.detectedCodePage() : ansiPage,
                                  range.boundary, raw);
        range.boundary.assign(raw.view());
        fixBoundary = true;
        found = !range.boundary.empty() && range.find(text);
    }
    if (!found) {
        return false;
    }
    parseParts(node, text, range, level);
    if (fixBoundary) {
        node.setBoundary(plainBoundary(node.boundary().view()));
    }
    return true;
}

void MessageLoader::parseParts(MimeMessage2& node, ParsedText& text, const PartRange& range,
                               int level) {
    // Between two separators stand a line end, the part, a line end and "--". A part keeps its last
    // line end when lines end in bare LFs.
    const std::size_t lineEnd = boundaryTailText(range.lineEnd()).size();
    constexpr std::size_t kShortestSegment = 5;

    const BoundarySearch search = range.search(text);
    bool isSigned = node.isSignedMultipart();
    std::size_t at = range.first + range.boundary.size();
    while (true) {
        const BoundarySearch::Hit next = search.next(at);
        // Without a separator the text is cut off as if one came right behind its end.
        const std::size_t stop = next.position == npos ? range.end + lineEnd : next.position;
        if (stop >= at + lineEnd + kShortestSegment) {
            auto part = std::make_unique<MimeMessage2>();
            const std::size_t start = at + lineEnd;
            const std::size_t end = stop - 2 * lineEnd;
            NodeText source(text, start, end);
            keptTexts_ += isSigned ? 1 : 0;
            loadNode(*part, source, level + 1);
            keptTexts_ -= isSigned ? 1 : 0;
            if (isSigned) {
                part->setRawSignedText(text.text().substr(start, end - start));
                isSigned = false;
            }
            node.addPart(std::move(part));
        }
        if (next.closing || next.position == npos) {
            break;
        }
        at = next.position + range.boundary.size();
    }
}

bool MessageLoader::loadBase64Leaf(MimeMessage2& node, std::string_view headerBlock,
                                   std::string_view bytes, std::shared_ptr<DataBuffer> storage) {
    storage_ = std::move(storage);
    node.clear();
    const std::size_t headerSize = headerBlock.size() - kBlankLine.size();
    const bool isPlain = headerSize > 0 && isAscii(headerBlock) && !holdsZero(headerBlock) &&
                         !headerBlock.starts_with(kCrlf) &&
                         find(headerBlock, kBlankLine) == headerSize;
    if (!isPlain || bytes.empty()) {
        return false;
    }
    node.header_.ParseMimeHeader(headerBlock, log_);
    node.cacheAll(lastFields_);
    const bool isMultipart = node.isMultipart() && !node.boundary().empty();
    if (isMultipart || !node.encoding().equalsNoCase("base64")) {
        node.clear();
        return false;
    }
    parseLeaf(node, {}, &bytes);
    return true;
}

void MessageLoader::parseLeaf(MimeMessage2& node, std::string_view text,
                              const std::string_view* decoded) {
    const std::string type = lowered(node.header_.fieldValue("Content-Type").value_or(""));
    Leaf leaf{text, decoded, LeafKind(type), node.isAttachment(), false, false};
    // Unlabelled HTML may be decoded twice.
    leaf.usesUp = (leaf.isAttachment || !leaf.kind.isHtml) && keptTexts_ == 0 && isInStorage(text);
    const std::size_t start = std::min(text.find_first_not_of(kWhiteSpace), text.size());
    const bool isMarkedHtml = beginsWithNoCase(text.substr(start), "<x-html>");

    if (leaf.kind.isBinary) {
        log("clearing charset based on content-type.");
        log("treating body as binary (non-character) data.");
        node.clearCharset();
    }
    if (leaf.isAttachment && !leaf.kind.isEdifact) {
        log("treating body as binary data because of attachment status.");
        node.clearCharset();
    }

    std::uint32_t codePage = node.charset().getCodePage();
    leaf.isLabelledUtf16 = isUtf16(codePage);
    if (codePage == kUsAscii) {
        codePage = kIsoLatin1;
    }
    std::optional<std::uint32_t> decodedFrom;
    bool relabel = false;
    if (!leaf.isAttachment && leaf.kind.isHtml && node.charset().getCodePage() == kNoCodePage) {
        log("No charset specified.  Trying to get HTML charset via META tag..");
        relabel = setBodyByEncoding(node, leaf, codePage);
        decodedFrom = codePage;
        codePage = charsetFromHtml(node, codePage);
    }
    if (bodyIsUtf8_) {
        codePage = kUtf8;
    }
    if (decodedFrom != codePage) {
        relabel = setBodyByEncoding(node, leaf, codePage) || relabel;
    }
    if (relabel) {
        node.setCharset("windows-1252");
    }
    if (isMarkedHtml && !node.contentType().equals("text/html")) {
        ContentTypeParams& content = node.editFields().content;
        content.clear();
        content.mediaType.setString("text/html");
        node.rebuildContentType(true);
    }
}

std::uint32_t MessageLoader::charsetFromHtml(MimeMessage2& node, std::uint32_t codePage) {
    const std::string_view body = node.body_.view();
    std::string name = HtmlHelp::metaCharset(body);
    if (name.empty()) {
        return codePage;
    }
    if (log_ != nullptr) {
        log_->logData("charsetFromMetaTag", name.c_str());
    }
    const bool saysUtf16 = equalsNoCase(name, "unicode") || equalsNoCase(name, "utf-16");
    if (saysUtf16 && !holdsZero(body.substr(0, kUtf16ProbeBytes))) {
        log("Must not really be unicode HTML, no zero bytes found...");
        name = "windows-1252";
    }
    node.editFields().content.charset.setByName(name.c_str());
    return node.charset().getCodePage();
}

bool MessageLoader::setBodyByEncoding(MimeMessage2& node, const Leaf& leaf,
                                      std::uint32_t codePage) {
    const StringBuffer& encoding = node.encoding();
    if (encoding.equalsNoCase("base64")) {
        if (leaf.decoded == nullptr) {
            decodeBase64Body(leaf.text, codePage, leaf.usesUp, node.body_);
        } else {
            if (borrows(*leaf.decoded)) {
                node.body_.borrow(leaf.decoded->data(), leaf.decoded->size());
            } else {
                node.body_.assign(*leaf.decoded);
            }
            convertBase64Body(codePage, node.body_);
            node.bodyStorage_ = node.body_.isBorrowed() ? storage_ : nullptr;
        }
        return false;
    }
    if (encoding.equalsNoCase("quoted-printable")) {
        return decodeQuotedPrintableBody(leaf.text, codePage, node.body_);
    }

    const bool isText = leaf.isText();
    const bool isBinary = encoding.equalsNoCase("binary");
    decode8BitBody(leaf.text, codePage, isText, borrows(leaf.text), node.body_);
    node.bodyStorage_ = node.body_.isBorrowed() ? storage_ : nullptr;
    if (isBinary && node.contentType().equalsNoCase("message/rfc822")) {
        node.setEncoding("8bit");
    }
    return false;
}

bool MessageLoader::isInStorage(std::string_view text) const {
    if (storage_ == nullptr) {
        return false;
    }
    const std::less_equal<> isNotBehind;
    const std::string_view whole = storage_->view();
    return isNotBehind(whole.data(), text.data()) &&
           isNotBehind(text.data() + text.size(), whole.data() + whole.size());
}

bool MessageLoader::borrows(std::string_view text) const {
    constexpr std::size_t kWorthIt = std::size_t{1} << 16;
    return text.size() >= kWorthIt && isInStorage(text) && text.size() >= storage_->getSize() / 2;
}

void MessageLoader::log(const char* text) {
    if (log_ != nullptr) {
        log_->logInfo(text);
    }
}

}  // namespace borvik
