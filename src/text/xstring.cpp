#include "text/xstring.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "base/ascii_text.h"
#include "charset/ansi_text.h"
#include "charset/encoding_convert.h"
#include "charset/tables/code_pages.h"
#include "platform/code_page.h"

namespace borvik {

namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::size_t kUnitSize = sizeof(char16_t);

std::string_view withoutMark(std::string_view text) {
    if (text.starts_with(kUtf8Mark)) {
        text.remove_prefix(kUtf8Mark.size());
    }
    return text;
}

std::string_view bytesOf(std::u16string_view units) {
    return {reinterpret_cast<const char*>(units.data()), units.size() * kUnitSize};
}

/// Converts with room reserved for a text that grows a little, and for its terminator.
bool convertText(std::uint32_t from, std::uint32_t to, std::string_view text, DataBuffer& out) {
    constexpr std::size_t kGrowthPart = 16;
    constexpr std::size_t kTerminator = 4;
    if (text.empty()) {
        return true;
    }
    out.ensureCapacity(text.size() + text.size() / kGrowthPart + kTerminator);
    return EncodingConvert().convert(from, to, text, out);
}

/// What doesn't fit into a text must not be dropped in silence.
void require(bool fits) {
    if (!fits) {
        throw std::bad_alloc();
    }
}

StringBuffer bufferWith(std::string_view text) {
    StringBuffer buffer;
    require(buffer.append(text));
    return buffer;
}

/// Whether the ANSI and the UTF-8 face of a text are the same bytes, so that one serves as both.
/// Every ANSI page has ASCII in it.
bool isSameInBoth(std::string_view text) {
    return (platform::GetACP() == kUtf8 || isAscii(text)) &&
           text.find('\0') == std::string_view::npos;
}

/// Gives the converted bytes to a face, without a copy where they are many.
void takeConverted(StringBuffer& face, DataBuffer& bytes) {
    constexpr std::size_t kFew = 256;
    if (bytes.getSize() < kFew) {
        face.setString(bytes.view());
        return;
    }
    require(bytes.appendByte('\0'));
    bytes.minimizeMemory();
    require(face.takeBytes(bytes));
}

}  // namespace

void XString::clear() {
    wide_.clear();
    wide_.minimizeMemory();
    for (StringBuffer* face : {&ansi_, &utf8_}) {
        face->clear();
        face->minimizeMemory();
    }
    wideValid_ = ansiValid_ = utf8Valid_ = true;
    ansiState_ = AnsiState::kUnknown;
}

void XString::keepOnly(bool& face) {
    wideValid_ = ansiValid_ = utf8Valid_ = false;
    face = true;
    ansiState_ = AnsiState::kUnknown;
}

void XString::setFromAnsi(const char* text) {
    StringBuffer taken = bufferWith(text == nullptr ? std::string_view() : text);
    clear();
    if (!taken.empty()) {
        ansi_ = std::move(taken);
        keepOnly(ansiValid_);
        ansiState_ = AnsiState::kFits;
    }
}

void XString::setFromUtf8(const char* text) {
    setFromUtf8Bytes(text == nullptr ? std::string_view() : std::string_view(text));
}

void XString::setFromUtf8Bytes(const void* bytes, std::size_t length) {
    if (bytes == nullptr || length == 0) {
        clear();
        return;
    }
    StringBuffer taken = bufferWith(withoutMark({static_cast<const char*>(bytes), length}));
    clear();
    utf8_ = std::move(taken);
    keepOnly(utf8Valid_);
}

void XString::setFromWide(const char16_t* text) {
    setFromWide(text == nullptr ? std::u16string_view() : std::u16string_view(text));
}

void XString::setFromWide(std::u16string_view text) {
    DataBuffer taken;
    if (!text.empty()) {
        require(taken.ensureCapacity((text.size() + 1) * kUnitSize));
        taken.append(bytesOf(text));
        taken.appendWideString(nullptr);
    }
    clear();
    if (!text.empty()) {
        wide_.takeFrom(taken);
        keepOnly(wideValid_);
    }
}

void XString::setFromEither(const char* text, bool isUtf8) {
    if (isUtf8) {
        setFromUtf8(text);
    } else {
        setFromAnsi(text);
    }
}

void XString::setPath(const char* path, bool isUtf8) {
    const std::string_view given(path == nullptr ? "" : path);
    if (isUtf8) {
        setFromUtf8Bytes(given);
    } else {
        setFromUtf8Bytes(ansiToUtf8(given));
    }
}

const StringBuffer& XString::getUtf8Buffer() {
    if (!utf8Valid_ && ansiValid_ && isSameInBoth(ansi_.view())) {
        return ansi_;
    }
    makeUtf8();
    return utf8_;
}

void XString::makeUtf8() {
    if (utf8Valid_) {
        return;
    }
    DataBuffer converted;
    if (ansiValid_) {
        convertText(platform::GetACP(), kUtf8, ansi_.view(), converted);
    } else {
        convertText(kUtf16Le, kUtf8, bytesOf(heldUnits()), converted);
    }
    takeConverted(utf8_, converted);
    utf8Valid_ = true;
}

StringBuffer& XString::editUtf8() {
    makeUtf8();
    keepOnly(utf8Valid_);
    return utf8_;
}

std::u16string_view XString::heldUnits() const {
    const std::size_t units = wide_.getSize() / kUnitSize;
    return units < 2
               ? std::u16string_view()
               : std::u16string_view(reinterpret_cast<const char16_t*>(wide_.getData()), units - 1);
}

std::u16string_view XString::wideView() {
    if (!wideValid_) {
        wide_.clear();
        const std::uint32_t from = utf8Valid_ ? kUtf8 : platform::GetACP();
        const std::string_view text = utf8Valid_ ? utf8_.view() : ansi_.view();
        if (!text.empty()) {
            EncodingConvert().convert(from, kUtf16Le, text, wide_);
        }
        require(wide_.appendWideString(nullptr));
        wide_.minimizeMemory();
        wideValid_ = true;
    }
    return heldUnits();
}

const char16_t* XString::getWide() {
    const std::u16string_view units = wideView();
    return units.empty() ? u"" : units.data();
}

bool XString::convertWideOrUtf8ToAnsi(DataBuffer& out) {
    return wideValid_ ? convertText(kUtf16Le, platform::GetACP(), bytesOf(heldUnits()), out)
                      : convertText(kUtf8, platform::GetACP(), utf8_.view(), out);
}

const StringBuffer& XString::ansiFace() {
    if (!ansiValid_ && utf8Valid_ && isSameInBoth(utf8_.view())) {
        return utf8_;
    }
    makeAnsi();
    return ansi_;
}

void XString::makeAnsi() {
    if (ansiValid_) {
        return;
    }
    DataBuffer converted;
    const bool complete =
        utf8Valid_ ? convertText(kUtf8, platform::GetACP(), utf8_.view(), converted)
                   : convertText(kUtf16Le, platform::GetACP(), bytesOf(heldUnits()), converted);
    ansiState_ = complete ? AnsiState::kFits : AnsiState::kDoesNotFit;
    takeConverted(ansi_, converted);
    ansiValid_ = true;
}

bool XString::fitsAnsi() {
    if (ansiState_ != AnsiState::kUnknown) {
        return ansiState_ == AnsiState::kFits;
    }
    if ((!wideValid_ && !utf8Valid_) || platform::GetACP() == kUtf8) {
        return true;
    }
    DataBuffer converted;
    const bool complete = convertWideOrUtf8ToAnsi(converted);
    ansiValid_ = complete;
    ansiState_ = complete ? AnsiState::kFits : AnsiState::kDoesNotFit;
    if (complete) {
        takeConverted(ansi_, converted);
    } else {
        ansi_.clear();
    }
    return complete;
}

std::size_t XString::charCount() {
    return ansiValid_ ? ansi_.getSize() : wideView().size();
}

void XString::appendAnsi(const char* text) {
    if (text == nullptr) {
        return;
    }
    makeAnsi();
    keepOnly(ansiValid_);
    require(ansi_.append(text));
}

void XString::appendUtf8(const char* text) {
    if (text != nullptr) {
        require(editUtf8().append(withoutMark(text)));
    }
}

void XString::appendUtf8Bytes(const void* bytes, std::size_t length) {
    if (bytes != nullptr && length != 0) {
        require(editUtf8().append(withoutMark({static_cast<const char*>(bytes), length})));
    }
}

void XString::appendUnits(std::u16string_view units) {
    // The units may lie in the face itself.
    const std::u16string added(units);
    wideView();
    keepOnly(wideValid_);
    wide_.chopEnd(kUnitSize);
    require(wide_.append(bytesOf(added)) && wide_.appendWideString(nullptr));
}

void XString::appendWide(const char16_t* text) {
    if (text != nullptr) {
        appendUnits(text);
    }
}

void XString::appendXString(XString& other) {
    if (other.utf8Valid_) {
        require(editUtf8().append(other.utf8_.view()));
    } else if (other.wideValid_) {
        appendUnits(other.heldUnits());
    } else {
        appendAnsi(other.ansi_.getString());
    }
}

void XString::appendInCharset(const char* text, const char* charset) {
    if (text == nullptr) {
        return;
    }
    StringBuffer name(charset);
    name.trim();
    if (name.empty() || name.equalsNoCase("utf-8")) {
        appendUtf8(text);
    } else if (name.equalsNoCase("ansi")) {
        appendAnsi(text);
    } else {
        DataBuffer converted;
        EncodingConvert().convertFromName(name.getString(), kUtf8, text, strlen(text), converted);
        appendUtf8Bytes(converted.getData(), converted.getSize());
    }
}

bool XString::beginsWithUtf8(const char* text) {
    return text != nullptr && utf8View().starts_with(withoutMark(text));
}

bool XString::containsUtf8(const char* text) {
    return text != nullptr && find(utf8View(), withoutMark(text)) != std::string_view::npos;
}

std::ptrdiff_t XString::indexOfUtf8(const char* text) {
    if (text == nullptr) {
        return -1;
    }
    const std::size_t hit = find(utf8View(), withoutMark(text));
    if (hit == std::string_view::npos) {
        return -1;
    }
    XString ahead;
    ahead.setFromUtf8Bytes(utf8View().substr(0, hit));
    return static_cast<std::ptrdiff_t>(ahead.charCount());
}

void XString::replaceChar(char from, char to) {
    if (from == 0 || to == 0) {
        return;
    }
    if (utf8Valid_ && isAscii({&from, 1}) && isAscii({&to, 1})) {
        // In UTF-8 an ASCII byte is always the character, and nothing needs converting.
        editUtf8().replaceChar(from, to);
        return;
    }
    const std::u16string oldUnit = ansiToWide({&from, 1});
    const std::u16string newUnit = ansiToWide({&to, 1});
    wideView();
    keepOnly(wideValid_);
    if (!oldUnit.empty() && !newUnit.empty()) {
        wide_.replaceUnit(oldUnit.front(), newUnit.front());
    }
}

}  // namespace borvik
