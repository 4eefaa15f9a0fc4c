#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/borvik_object.h"
#include "base/data_buffer.h"
#include "base/string_buffer.h"

namespace borvik {

/// One text in up to three encodings at once, its faces: UTF-8, the ANSI code page, and UTF-16. It
/// is converted only when another face is asked for, and only once until the text changes. A new or
/// cleared text is valid in all three.
///
/// The getters never return null; what they return is good until the next change. Characters that
/// have no place in a face are missing from it. A read can make a face, so that owners serialise
/// reads, too. All pointers are NUL-terminated unless a length goes with them. Text that enters as
/// UTF-8 loses a byte-order mark at its start. A text that there is no memory for, or that passes
/// 2 GiB, throws `std::bad_alloc`.
class XString : public BorvikObject {
public:
    XString() = default;

    void clear();

    // Replacing the text. Null and empty clear it.

    void setFromAnsi(const char* text);
    void setFromUtf8(const char* text);
    void setFromUtf8Bytes(const void* bytes, std::size_t length);
    void setFromUtf8Bytes(std::string_view text) { setFromUtf8Bytes(text.data(), text.size()); }
    void setFromWide(const char16_t* text);
    void setFromWide(std::u16string_view text);
    void setFromEither(const char* text, bool isUtf8);
    /// As `setFromEither` for a path, of which no character may be dropped.
    void setPath(const char* path, bool isUtf8);

    // Reading.

    const char* getUtf8() { return getUtf8Buffer().getString(); }
    const char* getAnsi() { return ansiFace().getString(); }
    const char16_t* getWide();
    /// The UTF-8 face itself.
    const StringBuffer& getUtf8Buffer();
    std::string_view utf8View() { return getUtf8Buffer().view(); }
    std::string_view ansiView() { return ansiFace().view(); }
    /// The units of the UTF-16 face, without their terminator.
    std::u16string_view wideView();
    /// The UTF-8 face for changing it: the other two are given up.
    StringBuffer& editUtf8();
    /// Bytes of the UTF-8 face.
    std::size_t utf8Length() { return getUtf8Buffer().getSize(); }
    /// Bytes of the ANSI face when there is one, UTF-16 units otherwise.
    std::size_t charCount();
    bool empty() { return utf8Length() == 0; }
    /// Whether the text can be written in the ANSI code page without loss.
    bool fitsAnsi();

    // Appending. Null appends nothing.

    void appendAnsi(const char* text);
    void appendUtf8(const char* text);
    void appendUtf8Bytes(const void* bytes, std::size_t length);
    void appendWide(const char16_t* text);
    void appendXString(XString& other);
    /// `charset` is a name; null and empty mean UTF-8, an unknown one appends nothing.
    void appendInCharset(const char* text, const char* charset);

    // Searching the UTF-8 face, byte for byte. A byte-order mark at the start of `text` is skipped.

    bool beginsWithUtf8(const char* text);
    bool containsUtf8(const char* text);
    /// The number of UTF-16 units ahead of the first match, -1 when there is none.
    std::ptrdiff_t indexOfUtf8(const char* text);

    /// Replaces one ASCII character by another, everywhere.
    void replaceChar(char from, char to);

private:
    /// Whether the text fits the ANSI code page.
    enum class AnsiState : std::uint8_t { kUnknown, kFits, kDoesNotFit };

    void makeUtf8();
    void makeAnsi();
    const StringBuffer& ansiFace();
    void keepOnly(bool& face);
    bool convertWideOrUtf8ToAnsi(DataBuffer& out);
    void appendUnits(std::u16string_view units);
    std::u16string_view heldUnits() const;

    AnsiState ansiState_ = AnsiState::kUnknown;
    bool wideValid_ = true;
    bool ansiValid_ = true;
    bool utf8Valid_ = true;
    /// UTF-16 in host order with its terminator; without storage for the empty text.
    DataBuffer wide_;
    StringBuffer ansi_;
    StringBuffer utf8_;
};

}  // namespace borvik
