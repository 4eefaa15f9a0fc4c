#include <memory>
#include <string>

#include "harness.h"
#include "message/znmail.h"
#include "mime/bv_mime.h"
#include "mime/cls_mime.h"
#include "mime/mime_message2.h"
#include "text/outward_strings.h"

namespace fuzz {
namespace {

using borvik::BvMime;
using borvik::BvString;
using borvik::ClsMime;
using borvik::MimeMessage2;

/// What a run does beside loading and writing.
enum Choice : std::uint8_t {
    kFromText = 1,
    kBodyIsUtf8 = 2,
    kByFile = 4,
    kAppends = 8,
    kByMail = 16,
};

/// Asks for everything that the message model reads of a node, and of those below it.
void walk(BvMime& node) {
    for (const char* name : {"Subject", "To", "Date", "Content-Type", "Received"}) {
        BvString value;
        node.GetHeaderField(name, value);
        value.getAnsi();
    }
    node.entireHead();
    node.contentType();
    node.name();
    node.filename();
    node.bodyDecoded();
    for (int i = 0; i < node.NumParts(); ++i) {
        const std::unique_ptr<BvMime> part = node.GetPart(i);
        walk(*part);
    }
}

std::string rendered(const MimeMessage2& node) {
    borvik::DataBuffer text;
    node.getMimeTextDb(text, nullptr);
    return std::string(text.view());
}

/// Each header within holds the fields that were set, and no other.
void checkHeaders(const MimeMessage2& node) {
    std::string header;
    node.assembleHeader(header, nullptr);
    std::size_t fields = 0;
    require(isHeader(header, fields) && fields <= node.header().fields().size());
    for (int i = 0; i < node.getNumParts(); ++i) {
        checkHeaders(*node.getPart(i));
    }
}

/// The text written from a tree is read as a tree that is written as the same text.
void checkWriting(const MimeMessage2& node) {
    const std::string text = rendered(node);
    require(rendered(node) == text);
    checkHeaders(node);
    MimeMessage2 reread;
    require(reread.LoadMimeComplete2(text, false, nullptr, false));
    MimeMessage2 copy;
    copy.loadCopy(node, nullptr);
    require(rendered(copy) == rendered(reread));
}

void checkFile(std::string_view bytes, const std::string& expected) {
    const std::string path = scratchFile("message", bytes);
    BvMime file;
    require(file.LoadMimeFile(path.c_str()));
    walk(file);
    borvik::BvByteData text;
    require(file.GetMimeBytes(text) && text.view() == expected);
}

void checkMail(std::string_view bytes) {
    tessolt::CZnMail mail;
    mail.LoadFromBytes(std::string(bytes));
    mail.Encode();
    borvik::BvByteData storage;
    mail.GetSourceBytes(storage);
    for (std::int32_t i = 1; i <= mail.GetAttachmentCount(); ++i) {
        borvik::BvByteData content;
        mail.GetAttachmentBytes(i, content);
    }
}

}  // namespace

/// Loads the bytes by classic rules, as a file or as a string, walks the tree and writes it.
void fuzzMessageClassic(Input input) {
    const std::uint8_t choice = input.choice();
    const std::string_view bytes = input.rest();
    MimeMessage2 node;
    if (node.LoadMimeComplete2(bytes, (choice & kFromText) != 0, nullptr,
                               (choice & kBodyIsUtf8) != 0)) {
        checkWriting(node);
    }
    auto loaded = std::make_unique<ClsMime>();
    require(loaded->loadMimeBinary(bytes));
    const std::string text = rendered(loaded->tree().root());
    BvMime tree(std::move(loaded));
    walk(tree);
    if ((choice & kByFile) != 0) {
        checkFile(bytes, text);
    }
    if ((choice & kAppends) != 0) {
        BvMime string;
        string.LoadMime(std::string(bytes).c_str());
        walk(string);
        tree.AppendPart(&string);
        tree.getMime();
    }
    if ((choice & kByMail) != 0) {
        checkMail(bytes);
    }
}

}  // namespace fuzz
