#include "mime/mime_tree_text.h"

#include <cstdio>

#include "base/ascii_text.h"

namespace borvik {

std::string visible(std::string_view bytes) {
    std::string out;
    for (const char c : bytes) {
        if (c == '\r') {
            out += "\\r";
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\0' || static_cast<unsigned char>(c) >= 0x80) {
            char hex[5];
            std::snprintf(hex, sizeof hex, "\\x%02X",
                          static_cast<unsigned>(static_cast<unsigned char>(c)));
            out += hex;
        } else {
            out += c;
        }
    }
    return out;
}

std::string describe(const MimeMessage2& node) {
    std::string out(node.contentType().view());
    if (node.charset().getCodePage() != 0) {
        out.append(";").append(node.charset().getName());
    }
    if (node.getNumParts() == 0) {
        return out.append("'").append(visible(node.body().view())).append("'");
    }
    out += '[';
    for (int i = 0; i < node.getNumParts(); ++i) {
        out.append(i == 0 ? "" : ", ").append(describe(*node.getPart(i)));
    }
    return out += ']';
}

std::string describeFile(std::string_view bytes) {
    MimeMessage2 node;
    return node.LoadMimeComplete2(bytes, false, nullptr, false) ? describe(node) : "refused";
}

std::string describeString(std::string_view text) {
    MimeMessage2 node;
    return node.LoadMimeComplete2(text, true, nullptr, !isAscii(text)) ? describe(node) : "refused";
}

std::string rendered(const MimeMessage2& node) {
    DataBuffer out;
    node.getMimeTextDb(out, nullptr);
    return std::string(out.view());
}

}  // namespace borvik
