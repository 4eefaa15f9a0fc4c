#pragma once

#include <string>
#include <string_view>

#include "base/ascii_text.h"
#include "mime/mime_message2.h"

namespace borvik {

/// A tree in one line: a leaf as its type (and its charset, if it has one) with its body, a
/// multipart as its type with its parts in brackets.
inline std::string describe(const MimeMessage2& node) {
    std::string out(node.contentType().view());
    if (node.charset().getCodePage() != 0) {
        out.append(";").append(node.charset().getName());
    }
    if (node.getNumParts() == 0) {
        return out.append("'").append(node.body().view()).append("'");
    }
    out += '[';
    for (int i = 0; i < node.getNumParts(); ++i) {
        out.append(i == 0 ? "" : ", ").append(describe(*node.getPart(i)));
    }
    return out += ']';
}

/// The tree that a file's bytes, or a string's, are parsed into.
inline std::string describeFile(std::string_view bytes) {
    MimeMessage2 node;
    return node.LoadMimeComplete2(bytes, false, nullptr, false) ? describe(node) : "refused";
}

inline std::string describeString(std::string_view text) {
    MimeMessage2 node;
    return node.LoadMimeComplete2(text, true, nullptr, !isAscii(text)) ? describe(node) : "refused";
}

/// The whole text of a node.
inline std::string rendered(const MimeMessage2& node) {
    DataBuffer out;
    node.getMimeTextDb(out, nullptr);
    return std::string(out.view());
}

}  // namespace borvik
