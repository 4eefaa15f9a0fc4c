#include "mime/header/content_params.h"

#include <algorithm>
#include <cstdint>
#include <string>

#include "base/ascii_text.h"
#include "base/data_buffer.h"
#include "charset/encoding_convert.h"
#include "charset/tables/code_pages.h"
#include "mime/coding/url_encode.h"
#include "mime/header/param_string.h"

namespace borvik {

namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kFirstPiece = "*0*";

/// A value with its quoted strings masked, so that ";" and "=" in them don't count.
class MaskedValue {
public:
    explicit MaskedValue(std::string_view value) {
        params_.setParamString(value, true);
        text_ = params_.getMaskedString();
    }

    void removeBlanks(std::size_t from) {
        const auto start = text_.begin() + static_cast<std::ptrdiff_t>(from);
        text_.erase(
            std::remove_if(start, text_.end(),
                           [](char c) { return kBlanks.find(c) != std::string_view::npos; }),
            text_.end());
    }

    std::string_view text() const { return text_; }

    /// Goes over the "name=value" pieces behind `from`; quoted values come unmasked.
    template <class Store>
    void forEach(std::size_t from, Store&& store) const {
        std::string_view rest = text().substr(std::min(from, text_.size()));
        while (!rest.empty()) {
            const std::string_view name = takeUpTo(rest, '=');
            const std::string_view value = takeUpTo(rest, ';');
            store(name, params_.resolve(value));
        }
    }

private:
    /// Cuts off what stands before the next `end`, and every `end` behind it.
    static std::string_view takeUpTo(std::string_view& rest, char end) {
        const std::string_view taken = rest.substr(0, rest.find(end));
        rest.remove_prefix(taken.size());
        rest.remove_prefix(std::min(rest.find_first_not_of(end), rest.size()));
        return taken;
    }

    ParamString params_;
    std::string text_;
};

/// A text that may come whole or in numbered pieces.
class PiecedText {
public:
    PiecedText(std::string_view name, StringBuffer& out) : name_(name), out_(out) {}

    /// False when the parameter isn't this one.
    bool take(std::string_view name, std::string_view value) {
        if (!beginsWithNoCase(name, name_)) {
            return false;
        }
        const std::string_view suffix = name.substr(name_.size());
        if (suffix.empty()) {
            out_.setString(value);
        } else if (suffix == kFirstPiece) {
            decodeExtendedParam(value, {}, out_, charset_);
        } else if (suffix.starts_with('*')) {
            StringBuffer piece;
            StringBuffer charsetRead;
            decodeExtendedParam(value, charset_.view(), piece, charsetRead);
            out_.appendBuffer(piece);
        } else {
            return false;
        }
        return true;
    }

private:
    std::string_view name_;
    StringBuffer& out_;
    StringBuffer charset_;
};

void setLowered(StringBuffer& out, std::string_view text) {
    out.setString(text);
    out.toLowerCase();
}

void appendParam(StringBuffer& out, std::string_view name, const StringBuffer& value, bool quoted) {
    if (value.empty()) {
        return;
    }
    const std::string_view quote = quoted ? "\"" : "";
    out.append(name);
    out.append("=");
    out.append(quote);
    out.appendBuffer(value);
    out.append(quote);
    out.append(";");
}

std::uint32_t codePageOf(std::string_view charsetName) {
    const std::uint32_t codePage = CharsetNaming::lookUp(charsetName);
    return codePage == kNoCodePage ? kUtf8 : codePage;
}

}  // namespace

void ContentTypeParams::clear() {
    charset.clear();
    for (StringBuffer* text :
         {&mediaType, &name, &protocol, &micalg, &boundary, &smimeType, &type}) {
        text->clear();
    }
}

void ContentTypeParams::parse(std::string_view value) {
    clear();
    MaskedValue masked(value);
    const std::size_t typeEnd =
        std::min(masked.text().find_first_of("; \t\r"), masked.text().size());
    setLowered(mediaType, masked.text().substr(0, typeEnd));
    const std::size_t start =
        std::min(masked.text().find_first_not_of("; \t\r\n", typeEnd), masked.text().size());
    masked.removeBlanks(start);

    PiecedText pieces("name", name);
    masked.forEach(start, [&](std::string_view param, std::string_view text) {
        if (equalsNoCase(param, "protocol")) {
            setLowered(protocol, text);
        } else if (equalsNoCase(param, "micalg")) {
            setLowered(micalg, text);
        } else if (equalsNoCase(param, "boundary")) {
            boundary.setString(text);
        } else if (equalsNoCase(param, "charset")) {
            charset.setByName(std::string(text).c_str());
        } else if (equalsNoCase(param, "smime-type")) {
            setLowered(smimeType, text);
        } else if (equalsNoCase(param, "type")) {
            setLowered(type, text);
        } else {
            pieces.take(param, text);
        }
    });
}

StringBuffer ContentTypeParams::format(bool defaultCharset) const {
    const std::string_view typeText = mediaType.view();
    _bvCharset label = charset;
    if (defaultCharset && label.getCodePage() == kNoCodePage &&
        beginsWithNoCase(typeText, "text") &&
        findNoCase(typeText, "rfc822-headers") == std::string_view::npos) {
        label.setByCodePage(kUsAscii);
    }
    StringBuffer out(typeText);
    if (label.getCodePage() == kNoCodePage) {
        out.append(";");
    } else {
        out.append("; charset=\"");
        out.append(label.getName());
        out.append("\";");
    }
    if (!out.contains("multipart")) {
        appendParam(out, " type", type, true);
    }
    appendParam(out, "boundary", boundary, true);
    appendParam(out, "name", name, true);
    appendParam(out, "protocol", protocol, true);
    appendParam(out, "micalg", micalg, false);
    appendParam(out, "smime-type", smimeType, false);
    out.trim();
    if (out.lastChar() == ';') {
        out.chopEnd(1);
        out.trim();
    }
    return out;
}

void ContentDispositionParams::clear() {
    disposition.clear();
    filename.clear();
}

void ContentDispositionParams::parse(std::string_view value) {
    clear();
    MaskedValue masked(value);
    masked.removeBlanks(0);
    const std::size_t end = std::min(masked.text().find(';'), masked.text().size());
    disposition.setString(masked.text().substr(0, end));
    PiecedText pieces("filename", filename);
    masked.forEach(std::min(masked.text().find_first_not_of(';', end), masked.text().size()),
                   [&](std::string_view name, std::string_view text) { pieces.take(name, text); });
}

StringBuffer ContentDispositionParams::format() const {
    StringBuffer out(disposition);
    if (!filename.empty()) {
        out.append("; filename=\"");
        out.appendBuffer(filename);
        out.append("\"");
    }
    return out;
}

void decodeExtendedParam(std::string_view value, std::string_view charsetName, StringBuffer& out,
                         StringBuffer& charsetRead) {
    constexpr std::string_view kNoLanguage = "''";
    charsetRead.clear();
    std::uint32_t codePage = kUtf8;
    const std::size_t mark = value.find(kNoLanguage);
    if (mark == std::string_view::npos) {
        codePage = codePageOf(charsetName);
        out.setString(value);
    } else {
        setLowered(charsetRead, value.substr(0, value.find('\'')));
        codePage = codePageOf(charsetRead.view());
        out.setString(value.substr(mark + kNoLanguage.size()));
    }
    if (out.containsChar('%')) {
        UrlEncode::urlDecode(out);
    }
    if (codePage != kUtf8) {
        DataBuffer converted;
        EncodingConvert().convert(codePage, kUtf8, out.view(), converted);
        out.setString(converted.view());
    }
}

}  // namespace borvik
