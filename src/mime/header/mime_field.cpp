#include "mime/header/mime_field.h"

#include <algorithm>

#include "base/ascii_text.h"
#include "mime/coding/byte_set.h"
#include "mime/coding/content_coding.h"
#include "mime/coding/encoded_word_reader.h"
#include "mime/header/field_writer.h"
#include "mime/header/rfc822_address.h"

namespace borvik {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t kNone = std::string_view::npos;

/// Not wanted in a name that is read: they become "-".
constexpr ByteSet kNotInNames(" <>\"'");
/// Must not reach the wire inside a field.
constexpr std::string_view kLineBreakers = "\r\n\0"sv;

void replaceAll(std::string& text, std::string_view wanted, std::string_view replacement) {
    std::size_t hit = find(text, wanted);
    if (hit == kNone) {
        return;
    }
    std::string replaced;
    replaced.reserve(text.size());
    std::size_t copied = 0;
    for (; hit != kNone; hit = find(text, wanted, copied)) {
        replaced.append(text, copied, hit - copied);
        replaced += replacement;
        copied = hit + wanted.size();
    }
    replaced.append(text, copied);
    text.swap(replaced);
}

/// Removes every CRLF together with the tab or blank behind it.
void removeFolds(std::string& value) {
    if (value.find('\n') != kNone) {
        replaceAll(value, "\r\n\t", "");
        replaceAll(value, "\r\n ", "");
    }
}

void collapseBlanks(std::string& value) {
    std::size_t kept = 0;
    bool inBlanks = false;
    for (const char c : value) {
        const bool blank = c == ' ' || c == '\t' || c == '\r' || c == '\n';
        if (!blank || !inBlanks) {
            value[kept++] = blank ? ' ' : c;
        }
        inBlanks = blank;
    }
    value.resize(kept);
}

/// Writes a list of addresses anew, with the commas of display names back in place and those names
/// between double quotes.
std::string rebuildAddressList(std::string_view list) {
    std::string rebuilt;
    rebuilt.reserve(list.size());
    forEachAddress(list, [&rebuilt](const Rfc822Address& address) {
        if (!rebuilt.empty()) {
            rebuilt += ',';
        }
        std::string name;
        address.friendlyName(name);
        replaceAll(name, ContentCoding::kCommaMark, ",");
        const std::string_view quote = name.find_first_of(", ") == kNone ? "" : "\"";
        rebuilt += quote;
        rebuilt += name;
        rebuilt += quote;
        rebuilt += " <";
        address.address(rebuilt);
        rebuilt += '>';
    });
    return rebuilt;
}

void decodeWords(std::string& value, FieldTraits traits) {
    if ((traits & kAddressField) == 0) {
        ContentCoding::decodeEncodedWords(value);
    } else if (ContentCoding::decodeEncodedWordsForAddress(value)) {
        value = rebuildAddressList(value);
    }
}

/// What a field holds of a value that needs more than trimming.
std::string readValue(std::string_view value, FieldTraits traits) {
    std::string text(value);
    if (hasWordMark(text)) {
        decodeWords(text, traits);
    }
    removeFolds(text);
    if ((traits & kSemicolonList) != 0) {
        std::replace(text.begin(), text.end(), ';', ',');
    }
    if ((traits & kCollapsesBlanks) != 0) {
        collapseBlanks(text);
    }
    return text;
}

}  // namespace

bool MimeField::loadFromUnfolded(std::string_view line) {
    const std::size_t colon = line.find(':');
    if (colon == kNone) {
        *this = MimeField();
        return false;
    }
    std::string_view name = trimmed(line.substr(0, colon));
    std::string mendedName;
    if (kNotInNames.findIn(name) != kNone) {
        mendedName = name;
        std::replace_if(
            mendedName.begin(), mendedName.end(), [](char c) { return kNotInNames.contains(c); },
            '-');
        name = mendedName;
    }
    std::string_view value = line.substr(colon + 1);
    if (!value.empty() && (value.front() == ' ' || value.front() == '\t')) {
        value.remove_prefix(1);
    }
    traits_ = traitsOfField(name);
    noFold_ = (traits_ & kNeverFoldedWhenRead) != 0;
    if ((traits_ & kKeepsBlanks) == 0) {
        value = trimmed(value);
    }
    constexpr FieldTraits kChangedOnReading = kSemicolonList | kCollapsesBlanks;
    if ((traits_ & kChangedOnReading) == 0 && value.find('\n') == kNone && !hasWordMark(value)) {
        store(name, value);
    } else {
        store(name, readValue(value, traits_));
    }
    return true;
}

void MimeField::setNameValue(std::string_view name, std::string_view value) {
    traits_ = traitsOfField(name);
    noFold_ = (traits_ & kNeverFoldedWhenSet) != 0;
    if (!hasWordMark(value) && value.find('\n') == kNone) {
        store(name, value);
        return;
    }
    std::string text(value);
    if (hasQWordMark(text)) {
        ContentCoding::decodeEncodedWords(text);
    }
    if (hasBWordMark(text)) {
        ContentCoding::decodeEncodedWords(text);
    }
    removeFolds(text);
    store(name, text);
}

bool MimeField::hasName(std::string_view name) const {
    return equalsNoCase(this->name(), name);
}

void MimeField::store(std::string_view name, std::string_view value) {
    std::string text;
    text.reserve(name.size() + value.size());
    text += name;
    text += value;
    text_.swap(text);
    nameLength_ = name.size();
}

void MimeField::emitField(std::string& out, const _bvCharset& charset, LogBase* log) const {
    const HeaderCharset target{charset.getCodePage(), charset.getName()};
    const bool harmlessAlready = std::all_of(kLineBreakers.begin(), kLineBreakers.end(),
                                             [this](char c) { return text_.find(c) == kNone; });
    if (harmlessAlready) {
        FieldWriter(traits_, noFold_, target, log).write(name(), value(), out);
        return;
    }
    std::string harmless = text_;
    std::replace_if(
        harmless.begin(), harmless.end(), [](char c) { return kLineBreakers.find(c) != kNone; },
        ' ');
    const std::string_view text = harmless;
    FieldWriter(traits_, noFold_, target, log)
        .write(text.substr(0, nameLength_), text.substr(nameLength_), out);
}

}  // namespace borvik
