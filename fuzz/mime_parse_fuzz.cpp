#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "mime/bv_mime.h"
#include "mime/cls_mime.h"
#include "mime/coding/base64.h"
#include "mime/coding/quoted_printable_decoding.h"
#include "mime/mime_message2.h"
#include "text/outward_strings.h"

namespace {

using borvik::BvMime;
using borvik::BvString;
using borvik::ClsMime;
using borvik::DataBuffer;
using borvik::MimeMessage2;

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
    DataBuffer text;
    node.getMimeTextDb(text, nullptr);
    return std::string(text.view());
}

int countNodes(const MimeMessage2& node) {
    int count = 1;
    for (int i = 0; i < node.getNumParts(); ++i) {
        count += countNodes(*node.getPart(i));
    }
    return count;
}

void check(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// The wide forms of the body codings against the plain ones.
void checkCodings(std::string_view bytes) {
    DataBuffer wide;
    DataBuffer plain;
    check(borvik::appendDecodedQuotedPrintable(bytes, wide));
    check(borvik::scalar::appendDecodedQuotedPrintable(bytes, plain));
    check(wide.view() == plain.view());
    std::string wideBytes(borvik::base64DecodeRoom(bytes.size()), '\0');
    std::string plainBytes = wideBytes;
    wideBytes.erase(borvik::decodeBase64Run(bytes, wideBytes.data()) - wideBytes.data());
    plainBytes.erase(borvik::scalar::decodeBase64Run(bytes, plainBytes.data()) - plainBytes.data());
    check(wideBytes == plainBytes);
}

}  // namespace

/// Loads the bytes as a file and as a string, walks the tree, writes it, and reads that again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    checkCodings(bytes);
    auto loaded = std::make_unique<ClsMime>();
    loaded->loadMimeBinary(bytes);
    const std::string text = rendered(loaded->tree().root());
    check(rendered(loaded->tree().root()) == text);

    MimeMessage2 reread;
    check(reread.LoadMimeComplete2(text, false, nullptr, false));
    check(countNodes(reread) >= 1);
    MimeMessage2 copy;
    copy.loadCopy(loaded->tree().root(), nullptr);
    check(rendered(copy) == rendered(reread));

    BvMime file(std::move(loaded));
    walk(file);
    BvMime string;
    string.LoadMime(std::string(bytes).c_str());
    walk(string);
    string.getMime();
    file.AppendPart(&string);
    file.getMime();
    return 0;
}
